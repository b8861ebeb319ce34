#include "tests/desktop/TestDevice.hpp"

#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sqlite3.h>
#include <sys/stat.h>
#include <thread>

namespace KavrelCrypto {

TestDevice::TestDevice() {
    Desktop::openDevice(folder());
}

void TestDevice::reopen() const {
    const TemporaryFolder elsewhere;
    Desktop::openDevice(elsewhere.path());
    Desktop::openDevice(folder());
}

void TestDevice::execute(const std::string& sql) const {
    select(file(), sql);
}

std::vector<std::string> select(const std::filesystem::path& file, const std::string& sql, int column) {
    struct Collected {
        int column;
        std::vector<std::string> rows;
    } collected{column, {}};
    const auto collect = [](void* into, int, char** values, char**) {
        auto& rows = *static_cast<Collected*>(into);
        rows.rows.emplace_back(values[rows.column]);
        return 0;
    };
    sqlite3* database = nullptr;
    sqlite3_open(file.c_str(), &database);
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), collect, &collected, nullptr), SQLITE_OK)
        << sql << ": " << sqlite3_errmsg(database);
    sqlite3_close(database);
    return collected.rows;
}

Bytes readFile(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void writeFile(const std::filesystem::path& file, const Bytes& content) {
    std::ofstream stream(file, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
}

CFDictionary pairParameters(SecConstant keyType, std::int64_t bits, const std::string& privateTag,
                            const std::string& publicTag) {
    return {{kSecAttrKeyType, keyType},
            {kSecAttrKeySizeInBits, bits},
            {kSecPrivateKeyAttrs,
             CFDictionary{{kSecAttrIsPermanent, true},
                          {kSecAttrApplicationTag, bytesOf(privateTag)},
                          {kSecAttrAccessible, kSecAttrAccessibleWhenUnlockedThisDeviceOnly}}},
            {kSecPublicKeyAttrs,
             CFDictionary{{kSecAttrIsPermanent, true}, {kSecAttrApplicationTag, bytesOf(publicTag)}}}};
}

SecKeyRef makePair(const std::string& person, std::optional<NSError>* error) {
    return SecKeyCreateRandomKey(
        pairParameters(kSecAttrKeyTypeECSECPrimeRandom, 256, person + ".private", person + ".public"), error);
}

CFDictionary keyQuery(const std::string& tag) {
    return {{kSecClass, kSecClassKey}, {kSecAttrApplicationTag, bytesOf(tag)}, {kSecReturnRef, true}};
}

SecKeyRef findKey(const std::string& tag) {
    SecItemResult result;
    SecItemCopyMatching(keyQuery(tag), &result);
    const auto* key = std::get_if<SecKeyRef>(&result);
    return key != nullptr ? *key : nullptr;
}

CFDictionary passwordQuery(const std::string& account) {
    return {{kSecClass, kSecClassGenericPassword},
            {kSecAttrAccount, account},
            {kSecReturnData, true},
            {kSecMatchLimit, kSecMatchLimitOne}};
}

OSStatus addPassword(const std::string& account, const std::string& value, SecConstant accessible) {
    return SecItemAdd({{kSecClass, kSecClassGenericPassword},
                       {kSecAttrAccount, account},
                       {kSecValueData, bytesOf(value)},
                       {kSecAttrAccessible, accessible}},
                      nullptr);
}

bool pairWorks(const std::string& person) {
    const SecKeyRef privateKey = findKey(person + ".private");
    const SecKeyRef publicKey = findKey(person + ".public");
    if (privateKey == nullptr || publicKey == nullptr) {
        return false;
    }
    const Bytes message = bytesOf("message");
    const std::optional<Bytes> signature =
        SecKeyCreateSignature(privateKey, kSecKeyAlgorithmECDSASignatureMessageX962SHA256, message, nullptr);
    return signature && SecKeyVerifySignature(publicKey, kSecKeyAlgorithmECDSASignatureMessageX962SHA256,
                                              message, *signature, nullptr);
}

std::string messageOf(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const Desktop::DeviceError& failure) {
        return failure.what();
    }
    return "(no error)";
}

void waitForWaiters(const std::filesystem::path& folder, int count) {
    struct stat status {};
    ::stat(folder.c_str(), &status);
    const std::string inode = ":" + std::to_string(status.st_ino) + " ";
    for (int found = 0; found < count;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        found = 0;
        std::ifstream locks("/proc/locks");
        for (std::string line; std::getline(locks, line);) {
            found += line.find("-> FLOCK") != std::string::npos && line.find(inode) != std::string::npos;
        }
    }
}

}  // namespace KavrelCrypto
