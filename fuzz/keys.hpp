#pragma once

#include <cstddef>

#include "tests/plugin/OpenSSL.hpp"

/// A stock of RSA keys for a fuzz target. Every key that OpenSSL is asked to generate comes out of it. The
/// keys are made when the first one is taken, belong to nobody and go with the process.
namespace KavrelCrypto::Fuzz {

/// Begins again with the first key in stock, so that the same input gets the same keys in the same order.
void restartKeys();

/// Returns how many keys have been taken since then. Two in a row are different; each comes back after a
/// while.
std::size_t keysTaken();

/// Returns the key that was taken last.
OpenSSL::Key lastKey();

}  // namespace KavrelCrypto::Fuzz
