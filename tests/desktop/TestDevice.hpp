#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "devices/desktop/Device.hpp"
#include "platform/Security.hpp"
#include "tests/support/Hex.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace KavrelCrypto {

/// A new desktop device, open, in a temporary folder.
class TestDevice {
  public:
    TestDevice();

    [[nodiscard]] std::filesystem::path folder() const {
        return temporary_.path() / "device";
    }
    [[nodiscard]] std::filesystem::path file() const {
        return folder() / "keychain.sqlite";
    }

    /// Closes the device and opens it again, as another process would find it.
    void reopen() const;

    /// Changes the database behind the device's back. Fails the test if it cannot.
    void execute(const std::string& sql) const;

  private:
    TemporaryFolder temporary_;
};

/// Returns one column of what `sql` selects from the database in `file`, as strings. Fails the test if it
/// cannot.
std::vector<std::string> select(const std::filesystem::path& file, const std::string& sql, int column = 0);

Bytes readFile(const std::filesystem::path& file);
void writeFile(const std::filesystem::path& file, const Bytes& content);

/// Returns the parameters of a pair of keys whose halves are both stored, under these tags.
CFDictionary pairParameters(SecConstant keyType, std::int64_t bits, const std::string& privateTag,
                            const std::string& publicTag);

/// Makes a pair of P-256 keys under PERSON.private and PERSON.public.
SecKeyRef makePair(const std::string& person, std::optional<NSError>* error = nullptr);

/// Returns the query for the keys under `tag`.
CFDictionary keyQuery(const std::string& tag);

/// Returns the key under `tag`, or null if there is none.
SecKeyRef findKey(const std::string& tag);

/// Returns the query for the password of `account`, with its value.
CFDictionary passwordQuery(const std::string& account);

OSStatus addPassword(const std::string& account, const std::string& value,
                     SecConstant accessible = kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly);

/// Returns whether the keys under PERSON.private and PERSON.public sign and verify.
bool pairWorks(const std::string& person);

/// Returns the message of the DeviceError that `operation` throws; "(no error)" if it throws none.
std::string messageOf(const std::function<void()>& operation);

/// Waits until this many wait for the lock of `folder`, which somebody holds.
void waitForWaiters(const std::filesystem::path& folder, int count);

}  // namespace KavrelCrypto
