#include <dispatch/dispatch.h>
#include <memory>
#include <utility>

#include "platform/Dispatch.hpp"

namespace KavrelCrypto {
namespace {

using Task = std::function<void()>;

void run(void* context) {
    const std::unique_ptr<Task> task(static_cast<Task*>(context));
    (*task)();
}

}  // namespace

void dispatchAsyncMain(Task task) {
    dispatch_async_f(dispatch_get_main_queue(), std::make_unique<Task>(std::move(task)).release(), run);
}

}  // namespace KavrelCrypto
