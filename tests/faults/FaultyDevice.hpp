#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/faults/MemoryPhone.hpp"

/// A device that passes every operation of platform/ on to a MemoryPhone, except those that are to fail. It
/// counts the operations, so that a test can let the first one fail, then the second one, until there is none
/// left.
namespace KavrelCrypto::FaultyDevice {

/// An operation that the component asked for.
struct Operation {
    std::string name;    // with the item that it is about: "SecItemDelete private key"
    std::size_t ways;    // in how many ways it can fail
    bool hasFailed;      // because it was told to, or because there was nothing to find
    std::string reason;  // the localized description of the error that it gave, or empty
};

/// The operation at `position`, counted from 0, is to fail in its way number `way`.
struct Fault {
    std::size_t position;
    std::size_t way;
};

/// Makes `phone` the device, and lets it fail as `faults` says.
void start(MemoryPhone phone, std::vector<Fault> faults);

/// Lets nothing fail from now on, and forgets the operations.
void repair();

MemoryPhone& phone();

/// Returns what the component asked for, in order.
const std::vector<Operation>& operations();

/// Returns whether anybody still refers to a context that the device has made.
bool hasContextInUse();

}  // namespace KavrelCrypto::FaultyDevice
