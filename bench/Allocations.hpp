#pragma once

namespace KavrelCrypto::Bench {

/// Lets the results of every benchmark say how often C++ code allocated in one iteration, and how many bytes
/// it held at most.
void countAllocations();

}  // namespace KavrelCrypto::Bench
