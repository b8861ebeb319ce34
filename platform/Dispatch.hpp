#pragma once

#include <functional>

/// What the component uses of Dispatch.
namespace KavrelCrypto {

/// Posts `task` to the main queue and returns at once. The main thread runs the tasks one after the other, in
/// the order in which they were posted, and destroys each one after it has run. Any thread may call. The
/// device defines this.
void dispatchAsyncMain(std::function<void()> task);

}  // namespace KavrelCrypto
