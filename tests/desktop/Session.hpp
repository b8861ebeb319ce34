#pragma once

#include <functional>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/plugin/WebLayer.hpp"

namespace KavrelCrypto {

/// What a device has acknowledged, and must keep whatever happens: each person's key and the content of the
/// slot, which goes by the name "slot".
class Acknowledged {
  public:
    /// Notes what is known about `name` from now on: nothing, if the value is empty; "none"; "some", which is
    /// a key that nobody has asked for yet; a fingerprint of the public key or of the certificate; or "?"
    /// while a call may change it.
    void note(const std::string& name, const std::string& value);

    /// Returns what is known about `name`, which is nothing at first.
    [[nodiscard]] std::string known(const std::string& name) const;

    /// Expects the open device to have all of it, and what is there to be usable: a key signs, a certificate
    /// is whole.
    void expectKept() const;

  private:
    std::map<std::string, std::string> values_;
};

/// Calls of all methods of the plugin, about a few persons, of which each is judged by the calls before it.
/// Nobody else makes calls about these persons meanwhile.
class Session {
  public:
    using Journal = std::function<void(const std::string& name, const std::string& value)>;

    struct Setting {
        std::vector<std::string> persons;
        bool isSlotShared;    // then it is not known what it holds
        bool isOnMainThread;  // otherwise somebody else runs the main queue meanwhile
        unsigned seed;
    };

    /// `journal` gets every note: before a call is made that may change something, and as soon as it has
    /// ended.
    Session(Setting setting, Journal journal);

    /// Lets calls fail: `failures` returns how often something below the device has failed so far. A call
    /// during which the number grows may end in any way that its method has, and what it was to change is not
    /// known from then on. Only an "ensureKey" that resolves promises a key all the same.
    void expectFailures(std::function<long()> failures);

    // Each makes a call about a person and judges how it ends.
    void ensureKey(const std::string& person);
    void deleteKey(const std::string& person);
    void hasKey(const std::string& person);
    void getKeyInfo(const std::string& person);
    void createCSR(const std::string& person);
    void storeCertificate(const std::string& person);
    void getCertificate(const std::string& person);
    void signDigest(const std::string& person);
    void getBiometricStatus(const std::string& person);

    /// Makes a call of a random method about a random person.
    void makeAny();

    [[nodiscard]] const Acknowledged& acknowledged() const {
        return acknowledged_;
    }

  private:
    [[nodiscard]] bool couldFail() const;
    void note(const std::string& name, const std::string& value);
    void noteSlot(const std::string& value);
    Outcome make(std::string_view method, JSObject options);

    const Setting setting_;
    std::mt19937 random_;
    Journal journal_;
    std::function<long()> failures_ = [] { return 0; };
    long failuresBefore_ = 0;  // before the call that is being made
    Acknowledged acknowledged_;
    /// The "publicKeyPem" of each person whose key is known.
    std::map<std::string, std::string> publicKeys_;
    int certificates_ = 0;
};

}  // namespace KavrelCrypto
