#pragma once

#include <functional>

/// The main queue, as the host drains it.
namespace KavrelCrypto::Desktop {

/// Runs the tasks of the main queue on the calling thread, in the order posted, waiting for more, until
/// `done` answers true. `done` is asked before the first task and after each one. Only the host's main thread
/// calls it, and never from within a task.
void runMainQueueUntil(const std::function<bool()>& done);

}  // namespace KavrelCrypto::Desktop
