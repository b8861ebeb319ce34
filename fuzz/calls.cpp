// Sequences of calls of all methods, by several people, while prompts are open and the device is locked and
// unlocked: each answer is compared with a simple model of what the keychain, the slot and the sensor hold.
// An input is a row of steps of three bytes: what is done, to whom, and how.

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <deque>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <sqlite3.h>
#include <string>
#include <string_view>
#include <vector>

#include "devices/desktop/Device.hpp"
#include "devices/desktop/MainQueue.hpp"
#include "devices/desktop/Sensor.hpp"
#include "fuzz/check.hpp"
#include "platform/Security.hpp"
#include "plugin/DigitalSignPlugin.hpp"
#include "tests/plugin/OpenSSL.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TestCall.hpp"

extern "C" EVP_PKEY* __real_EVP_PKEY_Q_keygen(OSSL_LIB_CTX* context, const char* properties, const char* type,
                                              ...);

namespace KavrelCrypto {
namespace {

using Desktop::DeviceState;
using Desktop::PromptAnswer;
using Fuzz::check;

using Stock = std::array<EVP_PKEY*, 6>;

// Shorter than those that the component asks for: a signature takes a tenth of the time, and nobody looks at
// its length.
constexpr std::size_t bits = 512;

/// How many keys have been taken since the input began. The same input gets the same keys in the same order;
/// two in a row are different, and each comes back after a while.
std::size_t keysTaken = 0;

Stock madeStock() {
    Stock stock{};
    for (EVP_PKEY*& key : stock) {
        key = __real_EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", bits);
        check(key != nullptr, "OpenSSL generates a key");
    }
    return stock;
}

EVP_PKEY* keyInStock(std::size_t number) {
    static const Stock stock = madeStock();
    EVP_PKEY* key = stock[number % stock.size()];
    EVP_PKEY_up_ref(key);
    return key;
}

OpenSSL::Key lastKey() {
    return {keyInStock(keysTaken - 1), EVP_PKEY_free};
}

/// The people. The second has a blank more than the first, and the last is not in ASCII.
const std::array<std::string, 4> people = {"0012345678", "0012345678 ", "", "۰۰۱۲"};

/// The tags of one person's keys.
struct Tags {
    std::string privateKey;
    std::string publicKey;
};

Tags ownTags(const std::string& person) {
    return {"com.solbera.app.privatekey." + person, "com.solbera.app.publickey." + person};
}

Tags fallbackTags(const std::string& person) {
    return {"com.kavrel.app.privatekey" + person, "com.kavrel.app.publickey" + person};
}

/// What the device must hold.
struct Model {
    DeviceState state;
    std::map<std::string, OpenSSL::Key> keys;  // by their tags
    std::optional<std::string> slot;

    [[nodiscard]] bool sensorIsReady() const {
        return state.biometry != LABiometryType::none && state.enrolled && !state.lockedOut;
    }
    [[nodiscard]] OpenSSL::Key key(const std::string& tag) const {
        const auto found = keys.find(tag);
        return found == keys.end() ? nullptr : found->second;
    }
    /// Returns the private key of a person, or null if it is missing or, as the device is locked, out of
    /// reach. (The slot and the fallback keys are out of reach before the first unlock.)
    [[nodiscard]] OpenSSL::Key privateKey(const std::string& person) const {
        return state.locked ? nullptr : key(ownTags(person).privateKey);
    }
    void setKey(const Tags& tags, const OpenSSL::Key& key) {
        keys[tags.privateKey] = key;
        keys[tags.publicKey] = key;
    }
    [[nodiscard]] const char* whyLocked() const {
        return state.firstUnlock ? "The device is locked."
                                 : "The device has not been unlocked since it was started.";
    }
};

/// The prompts that are open, in the order in which they were shown. Each waits for its answer on a thread of
/// the sensor's.
class Prompts {
  public:
    /// Runs on the sensor's thread: shows a prompt and waits until it is answered.
    PromptAnswer show(const std::string& reason) {
        check(reason == "Authenticate to sign", "a prompt gives its reason");
        std::promise<PromptAnswer> prompt;
        std::future<PromptAnswer> answer = prompt.get_future();
        {
            const std::lock_guard lock(mutex_);
            open_.push_back(std::move(prompt));
        }
        shown_.notify_all();
        return answer.get();
    }
    void waitUntilShown(std::size_t count) {
        std::unique_lock lock(mutex_);
        check(shown_.wait_for(lock, std::chrono::seconds(60), [&] { return open_.size() == count; }),
              "a prompt is shown");
    }
    void answer(std::size_t index, PromptAnswer answer) {
        const std::lock_guard lock(mutex_);
        open_[index].set_value(answer);
        open_.erase(open_.begin() + static_cast<std::ptrdiff_t>(index));
    }

  private:
    std::mutex mutex_;
    std::condition_variable shown_;
    std::deque<std::promise<PromptAnswer>> open_;
};

/// The device, which is the same for all inputs, and is made like a new one for each.
struct World {
    World() {
        Desktop::openDevice(folder());
        Desktop::answerPromptsWith([this](const std::string& reason) { return prompts.show(reason); });
    }
    [[nodiscard]] std::filesystem::path folder() const {
        return folders.path() / "device";
    }
    [[nodiscard]] std::filesystem::path otherFolder() const {
        return folders.path() / "other";
    }

    const TemporaryFolder folders;
    const DigitalSignPlugin plugin;
    Prompts prompts;
};

World& world() {
    static World instance;
    return instance;
}

bool contains(const Bytes& bytes, BytesView part) {
    return std::search(bytes.begin(), bytes.end(), part.begin(), part.end()) != bytes.end();
}

/// Returns the certificate for `key`, in DER. Each is issued once.
const Bytes& certificateFor(const OpenSSL::Key& key) {
    static std::map<const EVP_PKEY*, Bytes> issued;
    const auto [entry, isNew] = issued.try_emplace(key.get());
    if (isNew) {
        entry->second = OpenSSL::certificate(key);
    }
    return entry->second;
}

JSObject identity(const std::string& person, const std::string& city) {
    UserInfo user;
    user.nationalCode = person;
    user.city = city;
#define FIELD(name) {#name, user.name},
    return {KAVREL_CRYPTO_USER_INFO(FIELD)};
#undef FIELD
}

void checkResolved(const TestCall& call, const JSObject& result) {
    check(call.timesFinished() == 1, "a call is settled once");
    check(call.results == std::vector{result}, "a call is resolved with this result");
}

void checkRejected(const TestCall& call, const char* message,
                   std::optional<std::string> code = std::nullopt) {
    check(call.timesFinished() == 1, "a call is settled once");
    check(call.rejections == std::vector{TestCall::Rejection{message, std::move(code)}},
          "a call is rejected with this message and this code");
}

/// Returns the one result of a call, which is not known to the byte.
const JSObject& resultOf(const TestCall& call) {
    check(call.timesFinished() == 1 && call.results.size() == 1, "a call is resolved once");
    return call.results.front();
}

std::string stringIn(const JSObject& result, const char* key) {
    const JSValue* value = result.find(key);
    const auto* string = value == nullptr ? nullptr : value->as<std::string>();
    check(string != nullptr, "a result has this string");
    return *string;
}

JSValue orNull(const std::optional<std::string>& string) {
    return string ? JSValue(*string) : JSValue(nullptr);
}

/// The certification request must be for `key` and, where it can be parsed, hold these values.
void checkRequest(const Bytes& der, const OpenSSL::Key& key, const std::string& person,
                  const std::string& city) {
    check(contains(der, OpenSSL::subjectPublicKeyInfo(key)), "a request holds its public key");
    check(contains(der, bytesOf(city)), "a request holds the city");
    if (std::all_of(person.begin(), person.end(),
                    [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
        const OpenSSL::Request request = OpenSSL::parsedRequest(der);
        check(request != nullptr, "a request is a request");
        check(X509_REQ_verify(request.get(), key.get()) == 1, "a request is signed with its key");
    }
}

/// One input: the steps, and what the device must hold after each of them.
class Run {
  public:
    Run() {
        Desktop::resetDevice();
        keysTaken = 0;
    }

    void step(std::uint8_t what, std::uint8_t who, std::uint8_t how) {
        constexpr void (Run::*steps[])(const std::string&, std::uint8_t) = {
            &Run::ensureKey,        &Run::hasKey,
            &Run::getKeyInfo,       &Run::deleteKey,
            &Run::storeCertificate, &Run::getCertificate,
            &Run::createCSR,        &Run::signDigest,
            &Run::answerPrompt,     &Run::getBiometricStatus,
            &Run::setState,         &Run::lockOrUnlock,
            &Run::addFallbackKeys,  &Run::deleteTag,
            &Run::reopen,           &Run::reset,
        };
        (this->*steps[what % std::size(steps)])(people[who % people.size()], how);
        check(Desktop::deviceState() == model_.state, "the device is in the state that the steps lead to");
    }

    /// Answers what is still open, and checks everything that the device holds.
    void finish() {
        while (!pending_.empty()) {
            answerPrompt("", 2);
        }
        model_.state = {};
        Desktop::setDeviceState(model_.state);
        for (const std::string& person : people) {
            for (const Tags& tags : {ownTags(person), fallbackTags(person)}) {
                check(storedKey(tags.privateKey, true) == exported(model_.key(tags.privateKey)),
                      "the keychain holds this private key or none");
                check(storedKey(tags.publicKey, false) == exported(model_.key(tags.publicKey)),
                      "the keychain holds this public key or none");
            }
        }
        getCertificate("", 0);
        check(itemCount() == model_.keys.size() + (model_.slot ? 1 : 0), "the keychain holds nothing else");
    }

  private:
    static TestCallRef begin(const char* method, JSObject options) {
        auto call = std::make_shared<TestCall>(std::move(options));
        check(world().plugin.perform(method, call), "the plugin has the method");
        return call;
    }

    static std::optional<Bytes> exported(const OpenSSL::Key& key) {
        return key == nullptr ? std::nullopt : std::optional(OpenSSL::rsaPublicKey(key));
    }

    /// Returns the public key of the key under `tag`, read behind the plugin's back.
    static std::optional<Bytes> storedKey(const std::string& tag, bool isPrivate) {
        SecItemResult result;
        const OSStatus status = SecItemCopyMatching(
            {{kSecClass, kSecClassKey},
             {kSecAttrApplicationTag, bytesOf(tag)},
             {kSecAttrKeyType, kSecAttrKeyTypeRSA},
             {kSecAttrKeyClass, isPrivate ? kSecAttrKeyClassPrivate : kSecAttrKeyClassPublic},
             {kSecReturnRef, true}},
            &result);
        if (status != errSecSuccess) {
            return std::nullopt;
        }
        const auto key = std::get<SecKeyRef>(result);
        return SecKeyCopyExternalRepresentation(isPrivate ? SecKeyCopyPublicKey(key) : key, nullptr);
    }

    static std::size_t itemCount() {
        sqlite3* database = nullptr;
        sqlite3_open_v2((world().folder() / "keychain.sqlite").c_str(), &database, SQLITE_OPEN_READONLY,
                        nullptr);
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(database, "SELECT count(*) FROM items", -1, &statement, nullptr);
        check(sqlite3_step(statement) == SQLITE_ROW, "the items can be counted");
        const auto count = static_cast<std::size_t>(sqlite3_column_int64(statement, 0));
        sqlite3_finalize(statement);
        sqlite3_close(database);
        return count;
    }

    void ensureKey(const std::string& person, std::uint8_t /*how*/) {
        const std::size_t before = keysTaken;
        const TestCallRef call = begin("ensureKey", {{"nationalCode", person}});
        check(keysTaken == before + 1, "one key is generated");
        if (model_.state.locked) {
            checkRejected(*call, "ensure_key_failed", model_.whyLocked());
            return;
        }
        checkResolved(*call, {{"ok", true}});
        model_.setKey(ownTags(person), lastKey());
    }

    void hasKey(const std::string& person, std::uint8_t /*how*/) {
        checkResolved(*begin("hasKey", {{"nationalCode", person}}),
                      {{"exists", model_.privateKey(person) != nullptr}});
    }

    void getKeyInfo(const std::string& person, std::uint8_t /*how*/) {
        const TestCallRef call = begin("getKeyInfo", {{"nationalCode", person}});
        const OpenSSL::Key key = model_.privateKey(person);
        if (key == nullptr) {
            checkRejected(*call, "not found");
            return;
        }
        const std::string pem = stringIn(resultOf(*call), "publicKeyPem");
        check(OpenSSL::rsaPublicKey(OpenSSL::publicKey(pem)) == OpenSSL::rsaPublicKey(key),
              "the page gets the person's public key");
        checkResolved(*call, {{"alias", person},
                              {"alg", "RSA_2048"},
                              {"createdAt", "unknown"},
                              {"hardwareBacked", false},
                              {"publicKeyPem", pem},
                              {"certificate", orNull(model_.slot)}});
    }

    void deleteKey(const std::string& person, std::uint8_t /*how*/) {
        checkResolved(*begin("deleteKey", {{"nationalCode", person}}), {{"deleted", true}});
        if (!model_.state.locked) {
            model_.keys.erase(ownTags(person).privateKey);
            model_.keys.erase(ownTags(person).publicKey);
        }
        if (model_.state.firstUnlock) {
            model_.slot.reset();
        }
    }

    void storeCertificate(const std::string& person, std::uint8_t how) {
        // For somebody's key or, for want of one, the authority's; some are cut short, are nothing or are
        // empty.
        const OpenSSL::Key somebody = model_.key(ownTags(people[how % people.size()]).privateKey);
        const OpenSSL::Key subject = somebody != nullptr ? somebody : OpenSSL::authorityKey();
        const Bytes& der = certificateFor(subject);
        const bool isWhole = how < 0xC0;
        const std::string certificate = isWhole        ? OpenSSL::pem(der)
                                        : how < 0xE0   ? OpenSSL::pem(BytesView(der).first(der.size() - 1))
                                        : how % 2 == 0 ? ""
                                                       : "no certificate";
        const TestCallRef call =
            begin("storeCertificate", {{"nationalCode", person}, {"certPem", certificate}});
        const OpenSSL::Key key = model_.privateKey(person);
        if (certificate.empty()) {
            checkRejected(*call, "Provide certPem");
        } else if (key == nullptr) {
            checkRejected(*call, "Certificate is not valid (key missing)");
        } else if (!isWhole || key.get() != subject.get()) {
            checkRejected(*call, "Certificate is not valid");
        } else {
            checkResolved(*call, {{"stored", true}});
            model_.slot = certificate;
        }
    }

    void getCertificate(const std::string& person, std::uint8_t /*how*/) {
        checkResolved(*begin("getCertificate", {{"nationalCode", person}}),
                      {{"certPem", orNull(model_.state.firstUnlock ? model_.slot : std::nullopt)}});
    }

    void createCSR(const std::string& person, std::uint8_t how) {
        const std::string city = "Shiraz" + std::string(how, 'i');
        const std::size_t before = keysTaken;
        const TestCallRef call = begin("createCSR", {{"userInfo", identity(person, city)}});
        const bool needsKey = !person.empty() && model_.privateKey(person) == nullptr;
        check(keysTaken == before + (needsKey ? 1 : 0), "a key is generated if there is none");
        if (person.empty()) {
            checkRejected(*call, "nationalCode required");
            return;
        }
        if (model_.state.locked) {
            checkRejected(*call, "ensure_key_failed", model_.whyLocked());
            return;
        }
        if (needsKey) {
            model_.setKey(ownTags(person), lastKey());
        }
        const Bytes der = OpenSSL::fromBase64(stringIn(resultOf(*call), "csrPem"));
        const Tags fallback = fallbackTags(person);
        const bool hasFallback =
            model_.key(fallback.privateKey) != nullptr && model_.key(fallback.publicKey) != nullptr;
        checkRequest(der, hasFallback ? model_.key(fallback.publicKey) : model_.privateKey(person), person,
                     city);
    }

    /// A signature that waits for its prompt.
    struct Pending {
        std::string person;
        std::string digestB64;
        TestCallRef call;
    };

    void signDigest(const std::string& person, std::uint8_t how) {
        if (pending_.size() == mostPrompts) {
            return;
        }
        const bool isBase64 = how % 8 != 7;
        const std::string digestB64 = OpenSSL::base64(Bytes(how / 8U, how)) + (isBase64 ? "" : " ");
        const TestCallRef call = begin("signDigest", {{"nationalCode", person}, {"digestB64", digestB64}});
        if (!isBase64) {
            checkRejected(*call, "invalid digestB64");
        } else if (!model_.sensorIsReady()) {
            checkRejected(*call, "sign_failed");
        } else {
            pending_.push_back({person, digestB64, call});
        }
        world().prompts.waitUntilShown(pending_.size());
    }

    void answerPrompt(const std::string& /*person*/, std::uint8_t how) {
        if (pending_.empty()) {
            return;
        }
        const std::size_t index = how / 4U % pending_.size();
        const Pending pending = pending_[index];
        pending_.erase(pending_.begin() + static_cast<std::ptrdiff_t>(index));
        check(pending.call->timesFinished() == 0, "a call waits for its prompt");
        const PromptAnswer answer = how % 4 == 0 || how % 4 == 3 ? PromptAnswer::match
                                    : how % 4 == 1               ? PromptAnswer::noMatch
                                                                 : PromptAnswer::cancel;
        world().prompts.answer(index, answer);
        Desktop::runMainQueueUntil([&] { return pending.call->timesFinished() != 0; });
        if (isRecognised(answer) && model_.privateKey(pending.person) != nullptr) {
            checkSignature(pending);
        } else {
            checkRejected(*pending.call, "sign_failed");
        }
    }

    bool isRecognised(PromptAnswer answer) {
        DeviceState& state = model_.state;
        if (answer == PromptAnswer::noMatch) {
            state.failedPrompts = std::min<std::int64_t>(state.failedPrompts + 1, 5);
            state.lockedOut = state.lockedOut || state.failedPrompts == 5;
        }
        if (answer != PromptAnswer::match || !model_.sensorIsReady()) {
            return false;
        }
        state.failedPrompts = 0;
        return true;
    }

    void checkSignature(const Pending& pending) {
        const std::string signature = stringIn(resultOf(*pending.call), "signatureB64");
        checkResolved(
            *pending.call,
            {{"signatureB64", signature}, {"algo", "RSA_SHA256"}, {"digestB64", pending.digestB64}});
        check(OpenSSL::verifies(model_.privateKey(pending.person), OpenSSL::fromBase64(pending.digestB64),
                                OpenSSL::fromBase64(signature)),
              "a signature is by the person's key over the digest");
    }

    void getBiometricStatus(const std::string& /*person*/, std::uint8_t /*how*/) {
        const DeviceState& state = model_.state;
        const char* status = state.biometry == LABiometryType::none ? "BIOMETRIC_ERROR_NO_HARDWARE"
                             : !state.enrolled                      ? "BIOMETRIC_ERROR_NONE_ENROLLED"
                             : state.lockedOut                      ? "BIOMETRIC_ERROR_LOCKOUT"
                                                                    : "BIOMETRIC_SUCCESS";
        checkResolved(*begin("getBiometricStatus", {}),
                      {{"enabled", model_.sensorIsReady()},
                       {"status", status},
                       {"type", static_cast<std::int64_t>(state.biometry)}});
    }

    void setState(const std::string& person, std::uint8_t how) {
        constexpr LABiometryType kinds[] = {LABiometryType::none, LABiometryType::touchID,
                                            LABiometryType::faceID, LABiometryType::opticID};
        const DeviceState state{.biometry = kinds[how % 4],
                                .enrolled = (how & 0x08U) == 0,
                                .lockedOut = (how & 0x10U) != 0,
                                .locked = (how & 0x60U) != 0,  // as it is before the first unlock
                                .firstUnlock = (how & 0x40U) == 0,
                                .failedPrompts = static_cast<std::int64_t>(person.size() % 6)};
        Desktop::setDeviceState(state);
        model_.state = state;
    }

    void lockOrUnlock(const std::string& /*person*/, std::uint8_t how) {
        model_.state.locked = how % 2 != 0;
        model_.state.firstUnlock = how % 4 != 3;
        Desktop::setDeviceState(model_.state);
    }

    void addFallbackKeys(const std::string& person, std::uint8_t /*how*/) {
        const Tags tags = fallbackTags(person);
        if (model_.key(tags.privateKey) != nullptr || model_.key(tags.publicKey) != nullptr) {
            return;
        }
        const auto half = [](const std::string& tag) {
            return CFDictionary{{kSecAttrIsPermanent, true},
                                {kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock},
                                {kSecAttrApplicationTag, bytesOf(tag)}};
        };
        const SecKeyRef key = SecKeyCreateRandomKey({{kSecAttrKeyType, kSecAttrKeyTypeRSA},
                                                     {kSecAttrKeySizeInBits, std::int64_t{2048}},
                                                     {kSecPublicKeyAttrs, half(tags.publicKey)},
                                                     {kSecPrivateKeyAttrs, half(tags.privateKey)}},
                                                    nullptr);
        check((key != nullptr) == model_.state.firstUnlock, "keys are stored once the device was unlocked");
        if (key != nullptr) {
            model_.setKey(tags, lastKey());
        }
    }

    /// Deletes one half of a pair behind the plugin's back, as an interrupted generation would leave it.
    void deleteTag(const std::string& person, std::uint8_t how) {
        const bool isOwn = how % 2 == 0;
        const Tags tags = isOwn ? ownTags(person) : fallbackTags(person);
        const std::string& tag = how % 4 < 2 ? tags.privateKey : tags.publicKey;
        const bool isInReach = isOwn ? !model_.state.locked : model_.state.firstUnlock;
        const OSStatus expected = model_.key(tag) == nullptr ? errSecItemNotFound
                                  : isInReach                ? errSecSuccess
                                                             : errSecInteractionNotAllowed;
        check(SecItemDelete({{kSecClass, kSecClassKey}, {kSecAttrApplicationTag, bytesOf(tag)}}) == expected,
              "an item is deleted if it is there and in reach");
        if (expected == errSecSuccess) {
            model_.keys.erase(tag);
        }
    }

    void reopen(const std::string& /*person*/, std::uint8_t /*how*/) {
        Desktop::openDevice(world().otherFolder());
        Desktop::openDevice(world().folder());
    }

    void reset(const std::string& /*person*/, std::uint8_t /*how*/) {
        Desktop::resetDevice();
        model_ = {};
    }

    static constexpr std::size_t mostPrompts = 3;

    Model model_;
    std::vector<Pending> pending_;
};

}  // namespace
}  // namespace KavrelCrypto

// The linker puts this in the place of OpenSSL's function (--wrap): to generate a key takes longer than all
// the rest of an execution.
extern "C" EVP_PKEY* __wrap_EVP_PKEY_Q_keygen(OSSL_LIB_CTX* /*context*/, const char* /*properties*/,
                                              const char* type, ...) {
    using namespace KavrelCrypto;
    std::va_list arguments;
    va_start(arguments, type);
    check(std::string_view(type) == "RSA" && va_arg(arguments, std::size_t) == 2048,
          "the component asks for RSA keys of 2048 bits and nothing else");
    va_end(arguments);
    return keyInStock(keysTaken++);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace KavrelCrypto;
    world();
    Run run;
    for (std::size_t i = 0; i + 3 <= size; i += 3) {
        run.step(data[i], data[i + 1], data[i + 2]);
    }
    run.finish();
    return 0;
}
