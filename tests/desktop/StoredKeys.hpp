#pragma once

#include <filesystem>

/// Replaces OpenSSL's generation of RSA keys, which takes most of the time of a test that makes many of them:
/// the keys come out of a file, one after the other, and then again from the first on.
namespace KavrelCrypto::StoredKeys {

/// Generates five keys of 2048 bits, writes them to `file`, and uses them.
void make(const std::filesystem::path& file);

/// Takes the keys from `file`, beginning with number `first`. To be called before a key is generated.
void use(const std::filesystem::path& file, std::size_t first = 0);

}  // namespace KavrelCrypto::StoredKeys
