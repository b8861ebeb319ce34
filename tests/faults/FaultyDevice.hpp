#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/faults/MemoryPhone.hpp"

namespace KavrelCrypto {

/// A device that passes every operation of platform/ on to a MemoryPhone, except those that are to fail. It
/// counts the operations, so that a test can let the first one fail, then the second one, until there is none
/// left.
struct FaultyDevice {
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

    MemoryPhone phone{};
    std::vector<Fault> faults{};
    std::vector<Operation> operations{};               // in the order in which the component asked for them
    std::vector<std::weak_ptr<LAContext>> contexts{};  // that it has made
    std::vector<std::function<void()>> replies{};      // of prompts, for a thread of the device's own
    std::vector<std::function<void()>> mainQueue{};
};

/// Returns the device.
FaultyDevice& device();

}  // namespace KavrelCrypto
