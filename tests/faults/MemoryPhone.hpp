#pragma once

#include <string>
#include <variant>
#include <vector>

#include "platform/LocalAuthentication.hpp"
#include "platform/Security.hpp"

namespace KavrelCrypto {

/// One half of a key pair. A pair is a number, and its public key and its signatures are spelled from it.
class SecKey {
  public:
    SecKey(int ofPair, bool isItsPrivateHalf) : pair(ofPair), isPrivate(isItsPrivateHalf) {}

    const int pair;
    const bool isPrivate;
};

class SecCertificate {
  public:
    explicit SecCertificate(int ofPair) : pair(ofPair) {}

    const int pair;
};

class SecTrust : public SecCertificate {
    using SecCertificate::SecCertificate;
};

class SecPolicy {};
class SecAccessControl {};
class LAContext {};

/// The keychain of a phone, in memory. It never fails of its own accord. It is quick, since its keys are only
/// numbers: thousands of calls of the plugin take a second.
class MemoryPhone {
  public:
    OSStatus add(const CFDictionary& attributes);
    OSStatus copyMatching(const CFDictionary& query, SecItemResult* result) const;
    OSStatus remove(const CFDictionary& query);

    /// Makes the next pair and stores both halves.
    SecKeyRef createRandomKey(const CFDictionary& parameters);

    /// Makes the next pair and stores only its private or its public half, as a generation does that is
    /// interrupted.
    void createHalf(const CFDictionary& parameters, bool isPrivate);

    void addKey(const std::string& tag, int pair, bool isPrivate);
    void addPassword(const std::string& account, const std::string& value);

    /// Returns the items in the order in which they were stored, each as "NAME = VALUE". The value of a key
    /// is "private 3" or "public 3".
    [[nodiscard]] std::vector<std::string> items() const;

    /// Returns whether anybody but the phone still refers to one of its keys.
    [[nodiscard]] bool hasKeysInUse() const;

    /// Returns the public half of a pair.
    static SecKeyRef publicHalf(int pair);

    /// Returns the PKCS #1 RSAPublicKey of a pair: its modulus repeats the pair's number.
    static Bytes publicKey(int pair);

    /// Returns a signature of 256 bytes, which depends on the pair and on the data.
    static Bytes signature(int pair, BytesView data);

    /// Returns the bytes that the phone takes for the certificate of a pair, and the certificate in `data`,
    /// which is of the pair 0 if that is anything else.
    static Bytes certificate(int pair);
    static SecCertificateRef certificateIn(BytesView data);

  private:
    struct Item {
        std::string name;  // a key's tag, a password's account
        std::variant<SecKeyRef, Bytes> value;
    };

    static bool matches(const Item& item, const CFDictionary& query);

    std::vector<Item> items_;
    int pairs_ = 100;  // the numbers below are for the keys that a test puts there
};

/// Returns the value of `key` in `map`, or null if there is none of this type.
template <typename T>
const T* valueIn(const CFDictionary& map, SecConstant key) {
    for (const CFDictionaryEntry& entry : map) {
        if (entry.key == key) {
            return std::get_if<T>(&entry.value);
        }
    }
    return nullptr;
}

/// Returns the tag or the account that `map` has, as a string; empty if it has neither.
std::string nameIn(const CFDictionary& map);

}  // namespace KavrelCrypto
