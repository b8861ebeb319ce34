#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "text/Bytes.hpp"

/// What every fuzz target needs.
///
/// A fuzz target is one source file, which defines LLVMFuzzerTestOneInput. libFuzzer calls that with inputs
/// of its own making and takes a stopped process for a finding. A target must give the same answer for the
/// same input each time, and keep nothing between two inputs that grows.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace KavrelCrypto::Fuzz {

/// Stops the process, and so reports a finding, unless `holds`. `claim` says what should hold.
inline void check(bool holds, const char* claim) {
    if (!holds) {
        static_cast<void>(std::fprintf(stderr, "Finding: this does not hold: %s\n", claim));
        std::abort();
    }
}

}  // namespace KavrelCrypto::Fuzz
