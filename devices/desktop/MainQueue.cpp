#include "devices/desktop/MainQueue.hpp"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/Dispatch.hpp"

namespace KavrelCrypto {
namespace {

class MainQueue {
  public:
    void post(std::function<void()> task) {
        {
            const std::lock_guard lock(mutex_);
            tasks_.push_back(std::move(task));
        }
        posted_.notify_one();
    }

    std::function<void()> next() {
        std::unique_lock lock(mutex_);
        posted_.wait(lock, [&] { return !tasks_.empty(); });
        std::function<void()> task = std::move(tasks_.front());
        tasks_.pop_front();
        return task;
    }

  private:
    std::mutex mutex_;
    std::condition_variable posted_;
    std::deque<std::function<void()>> tasks_;
};

/// Never destroyed: a prompt that is answered while the process ends still posts here.
MainQueue& mainQueue() {
    static MainQueue& instance = *new MainQueue;
    return instance;
}

}  // namespace

void dispatchAsyncMain(std::function<void()> task) {
    mainQueue().post(std::move(task));
}

void Desktop::runMainQueueUntil(const std::function<bool()>& done) {
    while (!done()) {
        mainQueue().next()();
    }
}

}  // namespace KavrelCrypto
