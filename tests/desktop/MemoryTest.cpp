// Operations of the desktop device for which there is not enough memory: each allocation fails once, whoever
// makes it, and none of them ends in anything but an answer. A program of its own, since it replaces operator
// new.

#include <atomic>
#include <cstdlib>
#include <gmock/gmock.h>
#include <new>
#include <openssl/crypto.h>
#include <semaphore>
#include <sqlite3.h>
#include <stdexcept>

#include "devices/desktop/Sensor.hpp"
#include "tests/desktop/TestDevice.hpp"

// The allocations of C++, of OpenSSL and of SQLite are counted together.
namespace FailingAllocations {
namespace {

enum class Fault { once, forGood };
enum class Failed { nothing, something, openSSL };

constexpr long none = -1;
std::atomic<long> remaining = none;
std::atomic<Fault> fault = Fault::once;
std::atomic<Failed> failed = Failed::nothing;

/// Counts one allocation; false if it is the one to fail.
bool isGranted(Failed asWhat = Failed::something) {
    long before = remaining;
    while (before != none && !(before == 0 && fault == Fault::forGood) &&
           !remaining.compare_exchange_weak(before, before - 1)) {
    }
    if (before == 0) {
        failed = asWhat;
    }
    return before != 0;
}

sqlite3_mem_methods sqlite;

void* allocateForSQLite(int size) {
    return isGranted() ? sqlite.xMalloc(size) : nullptr;
}

void* reallocateForSQLite(void* old, int size) {
    return isGranted() ? sqlite.xRealloc(old, size) : nullptr;
}

void* allocateForOpenSSL(std::size_t size, const char*, int) {
    return isGranted(Failed::openSSL) ? std::malloc(size) : nullptr;
}

void* reallocateForOpenSSL(void* old, std::size_t size, const char*, int) {
    return isGranted(Failed::openSSL) ? std::realloc(old, size) : nullptr;
}

void releaseForOpenSSL(void* memory, const char*, int) {
    std::free(memory);
}

/// Puts itself under OpenSSL and SQLite. To be called before either has allocated anything.
void install() {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &sqlite);
    sqlite3_mem_methods counting = sqlite;
    counting.xMalloc = allocateForSQLite;
    counting.xRealloc = reallocateForSQLite;
    if (sqlite3_config(SQLITE_CONFIG_MALLOC, &counting) != SQLITE_OK ||
        CRYPTO_set_mem_functions(allocateForOpenSSL, reallocateForOpenSSL, releaseForOpenSSL) != 1) {
        throw std::logic_error("too late to count allocations");
    }
}

/// Lets the allocation fail that comes after `count` others; for good, all that come after it fail too.
void failAfter(long count, Fault newFault = Fault::once) {
    fault = newFault;
    remaining = count;
}

/// Lets no allocation fail from now on. Returns what has failed since failAfter.
Failed stop() {
    remaining = none;
    return failed.exchange(Failed::nothing);
}

}  // namespace
}  // namespace FailingAllocations

void* operator new(std::size_t size) {
    void* memory = FailingAllocations::isGranted() ? std::malloc(size) : nullptr;
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace KavrelCrypto {
namespace {

constexpr OSStatus errSecAllocate = -108;
constexpr SecKeyAlgorithm ecSHA256 = kSecKeyAlgorithmECDSASignatureMessageX962SHA256;

OSStatus statusOf(bool success, const std::optional<NSError>& error) {
    // Without memory for the reason there is none.
    return success ? errSecSuccess : error ? static_cast<OSStatus>(error->code) : errSecAllocate;
}

/// Runs what throws if there is no memory, which its caller deals with.
template <typename Operation>
OSStatus statusOfHost(const Operation& operation) {
    try {
        operation();
        return errSecSuccess;
    } catch (const std::bad_alloc&) {
        return errSecAllocate;
    }
}

class Memory : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        FailingAllocations::install();
    }

    /// Runs `operation` again and again, each time with the next allocation failing, until there is none left
    /// to fail. `operation` returns a status; `undo` undoes what it did.
    static void failEachAllocation(const std::function<OSStatus()>& operation,
                                   const std::function<void()>& undo) {
        ASSERT_EQ(operation(), errSecSuccess);  // what is made only once is there from now on
        undo();
        for (long count = 0; count < 100'000; ++count) {
            FailingAllocations::failAfter(count);
            const OSStatus status = operation();
            switch (FailingAllocations::stop()) {
                case FailingAllocations::Failed::nothing:
                    EXPECT_EQ(status, errSecSuccess);
                    EXPECT_GT(count, 0);
                    return;
                case FailingAllocations::Failed::something:  // SQLite can do without some of its allocations
                    EXPECT_THAT(status, testing::AnyOf(errSecAllocate, errSecSuccess)) << count;
                    break;
                case FailingAllocations::Failed::openSSL:  // which does not always pass the reason on
                    break;
            }
            undo();
        }
        FAIL() << "there is no end of allocations";
    }

    const TestDevice device;
};

TEST_F(Memory, MayLackForAddingAPassword) {
    const CFDictionary attributes{{kSecClass, kSecClassGenericPassword},
                                  {kSecAttrAccount, std::string("an account with a long name")},
                                  {kSecValueData, Bytes(1000)}};
    failEachAllocation([&] { return SecItemAdd(attributes, nullptr); },
                       [] {
                           SecItemDelete({{kSecClass, kSecClassGenericPassword}});
                       });
}

TEST_F(Memory, MayLackForReadingAPassword) {
    addPassword("account", std::string(1000, 'x'));
    const CFDictionary query = passwordQuery("account");
    SecItemResult result;
    failEachAllocation([&] { return SecItemCopyMatching(query, &result); }, [&] { result = {}; });
}

TEST_F(Memory, MayLackForDeletingAKey) {
    const CFDictionary query{{kSecClass, kSecClassKey}};
    makePair("p");
    failEachAllocation([&] { return SecItemDelete(query); },
                       [] {
                           if (findKey("p.private") == nullptr) {
                               makePair("p");
                           }
                       });
}

TEST_F(Memory, MayLackForGeneratingAPair) {
    const CFDictionary parameters =
        pairParameters(kSecAttrKeyTypeECSECPrimeRandom, 256, "p.private", "p.public");
    failEachAllocation(
        [&] {
            std::optional<NSError> error;
            return statusOf(SecKeyCreateRandomKey(parameters, &error) != nullptr, error);
        },
        [] {
            EXPECT_TRUE(pairWorks("p") ||
                        (findKey("p.private") == nullptr && findKey("p.public") == nullptr));
            SecItemDelete({{kSecClass, kSecClassKey}});
        });
}

TEST_F(Memory, MayLackForSigning) {
    makePair("p");
    const CFDictionary query = keyQuery("p.private");
    const SecKeyRef publicKey = findKey("p.public");
    const Bytes message(1000);
    std::optional<Bytes> signature;
    failEachAllocation(
        [&] {
            SecItemResult result;
            const OSStatus status = SecItemCopyMatching(query, &result);
            if (status != errSecSuccess) {
                return status;
            }
            std::optional<NSError> error;
            signature = SecKeyCreateSignature(std::get<SecKeyRef>(result), ecSHA256, message, &error);
            return statusOf(signature.has_value(), error);
        },
        [&] {
            EXPECT_TRUE(!signature ||
                        SecKeyVerifySignature(publicKey, ecSHA256, message, *signature, nullptr));
            signature.reset();
        });
}

TEST_F(Memory, MayLackForVerifyingASignatureAndExportingAKey) {
    const SecKeyRef key = makePair("p");
    const Bytes message(1000);
    const Bytes signature = SecKeyCreateSignature(key, ecSHA256, message, nullptr).value();
    failEachAllocation(
        [&] {
            const SecKeyRef publicKey = SecKeyCopyPublicKey(key);
            std::optional<NSError> error;
            return statusOf(publicKey != nullptr &&
                                SecKeyVerifySignature(publicKey, ecSHA256, message, signature, &error) &&
                                SecKeyCopyExternalRepresentation(publicKey, &error),
                            error);
        },
        [] {});
}

TEST_F(Memory, MayLackForChangingTheDevicesState) {
    failEachAllocation(
        [] { return statusOfHost([] { Desktop::setDeviceState({.biometry = LABiometryType::touchID}); }); },
        [] { Desktop::setDeviceState({}); });
}

// Without memory, a change that fails cannot even be taken back. Nobody is to see it all the same.
TEST_F(Memory, MayLackForTakingAChangeOfTheStateBack) {
    const Desktop::DeviceState changed{.biometry = LABiometryType::touchID};
    for (long count = 0, failures = 1; failures > 0; ++count) {
        Desktop::setDeviceState({});
        FailingAllocations::failAfter(count, FailingAllocations::Fault::forGood);
        const OSStatus status = statusOfHost([&] { Desktop::setDeviceState(changed); });
        failures = FailingAllocations::stop() != FailingAllocations::Failed::nothing;
        EXPECT_EQ(Desktop::deviceState(), status == errSecSuccess ? changed : Desktop::DeviceState())
            << count;
    }
}

TEST_F(Memory, MayLackForOpeningADevice) {
    const std::filesystem::path folder = device.folder();
    const TestDevice elsewhere;
    failEachAllocation([&] { return statusOfHost([&] { Desktop::openDevice(folder); }); },
                       [&] { Desktop::openDevice(elsewhere.folder()); });
}

TEST_F(Memory, MayLackForAPrompt) {
    Desktop::answerPromptsWith([](const std::string&) { return Desktop::PromptAnswer::match; });
    const LAContextRef context = makeLAContext();
    const std::string reason = "a reason that is longer than a short string";
    std::binary_semaphore isAnswered(0);
    std::atomic<OSStatus> status;
    failEachAllocation(
        [&] {
            const OSStatus called = statusOfHost([&] {
                evaluatePolicy(context, LAPolicy::deviceOwnerAuthenticationWithBiometrics, reason,
                               [&](bool success, const std::optional<NSError>& error) {
                                   status = statusOf(success, error);
                                   isAnswered.release();
                               });
            });
            if (called != errSecSuccess) {
                return called;
            }
            isAnswered.acquire();
            return status.load();
        },
        [] {});
}

}  // namespace
}  // namespace KavrelCrypto
