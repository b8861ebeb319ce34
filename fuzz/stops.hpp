#pragma once

#include <optional>

namespace KavrelCrypto::Fuzz {

/// Thrown in a fuzz target in the place of fatalError's abort. A stop is how some operations answer some
/// inputs, so it is an outcome to be compared, and not a finding. No code under test catches it.
struct Stop {
    friend bool operator==(const Stop&, const Stop&) = default;
};

/// Returns what `operation` returns, or an absent value if it stops the process.
template <typename Operation>
auto unlessStopped(Operation operation) -> std::optional<decltype(operation())> {
    try {
        return operation();
    } catch (const Stop&) {
        return std::nullopt;
    }
}

}  // namespace KavrelCrypto::Fuzz
