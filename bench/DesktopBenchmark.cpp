// Whole calls on the desktop device, beside OpenSSL doing the same with a key that it has to decode; and what
// becomes of them in large keychains.

#include <sqlite3.h>

#include "bench/Calls.hpp"
#include "bench/Comparison.hpp"
#include "bench/OpenSSL.hpp"
#include "devices/desktop/Device.hpp"
#include "devices/desktop/Keychain.hpp"
#include "devices/desktop/MainQueue.hpp"
#include "devices/desktop/Sensor.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "text/Base64.hpp"

namespace KavrelCrypto::Bench {
namespace {

constexpr int keychainSizes[] = {10, 1000, 10'000, 100'000};

std::string stringIn(std::string_view member, const JSObject& result) {
    return *result.find(member)->as<std::string>();
}

std::string requestWithOpenSSL(const UserInfo& user, const Bytes& storedKey) {
    const OpenSSL::Key key = OpenSSL::readPrivateKey(storedKey);
    const OpenSSL::Request request = OpenSSL::requestFor(user);
    OpenSSL::setPublicKey(request, OpenSSL::rsaPublicKey(key));
    return OpenSSL::base64(OpenSSL::signAndVerify(request, key));
}

std::string signatureWithOpenSSL(const Bytes& digest, const Bytes& storedKey) {
    return OpenSSL::base64(OpenSSL::sign(OpenSSL::readPrivateKey(storedKey), digest));
}

/// Makes the device in `folder` this process's, if another one is.
void use(const std::filesystem::path& folder) {
    static std::filesystem::path current;
    if (current != folder) {
        Desktop::openDevice(folder);
        current = folder;
    }
}

/// Puts the key pair of `person` into the keychain, as "ensureKey" would.
void addKeyPair(const std::string& person, const OpenSSL::Key& key) {
    using namespace Desktop;
    const Item items[] = {
        {ItemKind::rsaPrivateKey, bytesOf("com.solbera.app.privatekey." + person),
         Accessibility::whenUnlockedThisDeviceOnly, OpenSSL::privateKey(key)},
        {ItemKind::rsaPublicKey, bytesOf("com.solbera.app.publickey." + person), Accessibility::whenUnlocked,
         OpenSSL::subjectPublicKeyInfo(key)},
    };
    currentKeychain()->add(items);
}

/// Makes a device in `folder` that has one person.
void makeDevice(const std::filesystem::path& folder, const OpenSSL::Key& key) {
    use(folder);
    addKeyPair(sara().nationalCode, key);
}

/// Fills the keychain in `folder`, which has one person, with others until there are `persons`. Their items
/// are copies under other tags: found as any others, but their seals are broken.
void copyPersons(const std::filesystem::path& folder, int persons) {
    sqlite3* database = nullptr;
    const std::string copies =
        "WITH RECURSIVE numbers(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM numbers LIMIT " +
        std::to_string(persons - 1) +
        ") INSERT INTO items (kind, name, accessibility, sealed) "
        "SELECT kind, CAST(name || n AS BLOB), accessibility, sealed FROM numbers, items";
    const bool copied = sqlite3_open((folder / "keychain.sqlite").c_str(), &database) == SQLITE_OK &&
                        sqlite3_exec(database, copies.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(database);
    if (!copied) {
        throw std::runtime_error("The keychain cannot be filled.");
    }
}

void addComparedCalls(const OpenSSL::Key& key, const std::filesystem::path& folder) {
    const UserInfo user = sara();
    const Bytes storedKey = OpenSSL::privateKey(key);
    const Bytes digest = someBytes(32);
    const auto request = std::make_shared<TestCall>(requestOptions());
    const auto signing = std::make_shared<TestCall>(digestOptions(user.nationalCode, base64Encode(digest)));
    // A call may wait for other threads, so what counts is the time that passes.
    const auto inRealTime = [](const std::vector<benchmark::internal::Benchmark*>& timed) {
        for (benchmark::internal::Benchmark* const each : timed) {
            each->MeasureProcessCPUTime()->UseRealTime();
        }
    };
    inRealTime(compare<std::string>("a call on the desktop device/createCSR",
                                    {{"KavrelCrypto",
                                      [=] {
                                          use(folder);
                                          return stringIn("csrPem", resultOf("createCSR", request));
                                      }},
                                     {"OpenSSL", [=] { return requestWithOpenSSL(user, storedKey); }}}));
    inRealTime(compare<std::string>("a call on the desktop device/signDigest",
                                    {{"KavrelCrypto",
                                      [=] {
                                          use(folder);
                                          return stringIn("signatureB64", resultOf("signDigest", signing));
                                      }},
                                     {"OpenSSL", [=] { return signatureWithOpenSSL(digest, storedKey); }}}));
}

void addGrowth(const OpenSSL::Key& key, const std::filesystem::path& folder, int persons) {
    benchmark::RegisterBenchmark(
        ("hasKey, by the number of persons/" + std::to_string(persons) + "/KavrelCrypto").c_str(),
        [key, folder, persons](benchmark::State& state) {
            if (!std::filesystem::exists(folder)) {  // not before it is needed: the largest one takes a while
                makeDevice(folder, key);
                copyPersons(folder, persons);
            }
            use(folder);
            const auto lookup = std::make_shared<TestCall>(personOptions(sara().nationalCode));
            for ([[maybe_unused]] auto _ : state) {
                benchmark::DoNotOptimize(resultOf("hasKey", lookup));
            }
        });
}

}  // namespace

void runMainQueueUntil(const std::function<bool()>& done) {
    Desktop::runMainQueueUntil(done);
}

void addBenchmarks() {
    static const TemporaryFolder temporary;
    const std::filesystem::path& folder = temporary.path();
    const OpenSSL::Key key = OpenSSL::newRSAKey(2048);
    Desktop::answerPromptsWith([](const std::string&) { return Desktop::PromptAnswer::match; });
    makeDevice(folder / "device", key);
    addComparedCalls(key, folder / "device");
    for (const int persons : keychainSizes) {
        addGrowth(key, folder / std::to_string(persons), persons);
    }
}

}  // namespace KavrelCrypto::Bench
