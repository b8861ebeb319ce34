// Whole calls on the desktop device, beside OpenSSL doing the same with a key that it has to decode; and what
// becomes of them in large keychains.

#include <sqlite3.h>

#include "bench/Calls.hpp"
#include "bench/Comparison.hpp"
#include "bench/OpenSSL.hpp"
#include "devices/desktop/CurrentDevice.hpp"
#include "devices/desktop/Device.hpp"
#include "devices/desktop/MainQueue.hpp"
#include "devices/desktop/Sensor.hpp"
#include "text/Base64.hpp"

namespace KavrelCrypto::Bench {
namespace {

constexpr int keychainSizes[] = {10, 1000, 10'000, 100'000};

/// Makes a call on the desktop device. It may be settled on the main queue, so one thread at a time may call
/// this for "signDigest".
std::string call(std::string_view method, const JSObject& options, std::string_view member) {
    static const DigitalSignPlugin plugin;
    const auto pending = std::make_shared<Call>(options);
    plugin.perform(method, pending);
    if (!pending->isSettled()) {
        Desktop::runMainQueueUntil([&] { return pending->isSettled(); });
    }
    const std::string* value = pending->result().find(member)->as<std::string>();
    return value != nullptr ? *value : "";
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
    const JSObject request = requestOptions();
    const JSObject signing = digestOptions(user.nationalCode, base64Encode(digest));
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
                                          return call("createCSR", request, "csrPem");
                                      }},
                                     {"OpenSSL", [=] { return requestWithOpenSSL(user, storedKey); }}}));
    inRealTime(compare<std::string>("a call on the desktop device/signDigest",
                                    {{"KavrelCrypto",
                                      [=] {
                                          use(folder);
                                          return call("signDigest", signing, "signatureB64");
                                      }},
                                     {"OpenSSL", [=] { return signatureWithOpenSSL(digest, storedKey); }}}));
}

/// The pieces of which a call that signs consists.
void addParts(const OpenSSL::Key& key, const std::filesystem::path& folder) {
    const Desktop::ItemQuery query{
        .kinds = {Desktop::ItemKind::rsaPrivateKey, Desktop::ItemKind::rsaPublicKey},
        .name = bytesOf("com.solbera.app.privatekey." + sara().nationalCode)};
    const Bytes storedKey = OpenSSL::privateKey(key);
    const Bytes digest = someBytes(32);
    time("the parts of a signature/looking the key up/KavrelCrypto", [=] {
        use(folder);
        return Desktop::currentKeychain()->find(query);
    });
    time("the parts of a signature/reading the item and opening its seal/KavrelCrypto", [=] {
        use(folder);
        return Desktop::currentKeychain()->read(1);
    });
    time("the parts of a signature/decoding the key/OpenSSL",
         [=] { return OpenSSL::readPrivateKey(storedKey); });
    time("the parts of a signature/decoding the key and signing/OpenSSL",
         [=] { return OpenSSL::sign(OpenSSL::readPrivateKey(storedKey), digest); });
    time("the parts of a signature/signing with a key that has signed before/OpenSSL",
         [=] { return OpenSSL::sign(key, digest); });
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
            const JSObject person = personOptions(sara().nationalCode);
            for ([[maybe_unused]] auto _ : state) {
                benchmark::DoNotOptimize(call("hasKey", person, "exists"));
            }
        });
}

}  // namespace

void addDesktopCalls(const std::filesystem::path& folder) {
    const OpenSSL::Key key = OpenSSL::newRSAKey(2048);
    Desktop::answerPromptsWith([](const std::string&) { return Desktop::PromptAnswer::match; });
    makeDevice(folder / "device", key);
    addComparedCalls(key, folder / "device");
    addParts(key, folder / "device");
    for (const int persons : keychainSizes) {
        addGrowth(key, folder / std::to_string(persons), persons);
    }
}

}  // namespace KavrelCrypto::Bench
