#pragma once

namespace KavrelCrypto::Bench {

/// Runs the tasks that the calling thread has posted to the main queue.
void runMainQueue();

}  // namespace KavrelCrypto::Bench
