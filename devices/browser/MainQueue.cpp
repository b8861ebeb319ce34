#include <cstdint>
#include <emscripten/bind.h>
#include <memory>
#include <utility>

#include "devices/browser/Bridge.hpp"
#include "platform/Dispatch.hpp"

namespace KavrelCrypto {

using Task = std::function<void()>;

void dispatchAsyncMain(Task task) {
    // Owned by the device until it calls `run`.
    auto* const posted = new Task(std::move(task));
    Browser::device().call<void>("dispatchAsyncMain", reinterpret_cast<std::uintptr_t>(posted));
}

namespace {

void run(std::uintptr_t posted) {
    const std::unique_ptr<Task> task(reinterpret_cast<Task*>(posted));
    (*task)();
}

EMSCRIPTEN_BINDINGS(MainQueue) {
    emscripten::function("run", &run);
}

}  // namespace
}  // namespace KavrelCrypto
