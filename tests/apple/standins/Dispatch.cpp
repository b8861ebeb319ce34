#include <chrono>
#include <condition_variable>
#include <deque>
#include <dispatch/dispatch.h>
#include <mutex>

#include "apple/standins/Object.hpp"

struct dispatch_queue_s {
    std::mutex mutex;
    std::condition_variable posted;
    std::deque<std::pair<dispatch_function_t, void*>> tasks;
};

dispatch_queue_s _dispatch_main_q;

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
    if (queue == nullptr || work == nullptr) {
        AppleStandIns::fault("a task was posted to no queue, or no task to one");
    }
    const std::lock_guard lock(queue->mutex);
    queue->tasks.emplace_back(work, context);
    queue->posted.notify_one();
}

void AppleStandIns::runMainQueueUntil(const std::function<bool()>& done) {
    dispatch_queue_t queue = dispatch_get_main_queue();
    while (!done()) {
        std::unique_lock lock(queue->mutex);
        if (!queue->posted.wait_for(lock, std::chrono::minutes(1), [&] { return !queue->tasks.empty(); })) {
            fault("nothing was posted to the main queue for a minute");
        }
        const auto [work, context] = queue->tasks.front();
        queue->tasks.pop_front();
        lock.unlock();
        work(context);
    }
}
