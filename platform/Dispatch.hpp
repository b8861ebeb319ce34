#pragma once

#include <functional>

/// What the component uses of Dispatch.
namespace KavrelCrypto {

/// Posts `task` to the main queue and returns at once; the main thread runs the tasks one after the other, in
/// the order posted. The queue owns the task until it has run. Any thread. The device defines it.
void dispatchAsyncMain(std::function<void()> task);

}  // namespace KavrelCrypto
