#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <openssl/sha.h>
#include <unistd.h>
#include <utility>

#include "devices/desktop/Sync.hpp"
#include "text/Base64.hpp"
#include "text/PEM.hpp"
#include "tools/kavrel/CommandIO.hpp"
#include "tools/kavrel/Commands.hpp"
#include "tools/kavrel/DocumentSignature.hpp"
#include "tools/kavrel/PluginCall.hpp"
#include "tools/kavrel/Prompt.hpp"
#include "tools/kavrel/TemporaryFolder.hpp"

namespace KavrelCrypto::Host {
namespace {

namespace fs = std::filesystem;

enum class SignStatus { written = 0, refused = 1, neverAnswered = 3 };

/// Thrown when the device does not sign.
class NotSigned : public std::runtime_error {
  public:
    NotSigned(SignStatus ended, const std::string& sentence) : std::runtime_error(sentence), status_(ended) {}

    [[nodiscard]] int exitStatus() const {
        return static_cast<int>(status_);
    }

  private:
    SignStatus status_;
};

/// A file that appears under its name only when all of it is there.
class NewFile {
  public:
    /// Throws CommandError if there is a file of this name, or if none can be made.
    explicit NewFile(std::string path) : path_(freeName(std::move(path))), beside_(path_) {
        beside_.removeWhenInterrupted();
    }

    void write(std::string_view content) const {
        const std::string temporary = beside_.path() + "/complete";
        const std::unique_ptr<std::FILE, Release<&std::fclose>> file(std::fopen(temporary.c_str(), "wxe"));
        if (!file || std::fwrite(content.data(), 1, content.size(), file.get()) != content.size() ||
            std::fflush(file.get()) != 0 || !Desktop::syncFile(::fileno(file.get())) ||
            ::rename(temporary.c_str(), freeName(path_).c_str()) != 0) {
            throw CommandError("\"" + path_ + "\" cannot be written: " + std::strerror(errno));
        }
    }

  private:
    static std::string freeName(std::string path) {
        if (fs::exists(fs::symlink_status(path))) {
            throw CommandError("\"" + path +
                               "\" exists already and is left as it is. Move it away or remove it, and sign "
                               "again.");
        }
        return path;
    }

    const std::string path_;
    const TemporaryFolder beside_;
};

/// The person who signs, on the device that is open.
class Person {
  public:
    explicit Person(const std::optional<std::string>& chosenCode)
        : certificate_(storedCertificate(chosenCode.value_or("0"))),
          nationalCode_(chosenCode ? *chosenCode : codeInCertificate()) {
        checkKey();
    }

    [[nodiscard]] X509& certificate() const {
        return *certificate_;
    }

    [[nodiscard]] Bytes sign(BytesView message) const {
        const auto outcome = performCall(
            plugin_, "signDigest", {{"nationalCode", nationalCode_}, {"digestB64", base64Encode(message)}});
        if (!outcome) {
            throw NotSigned(SignStatus::neverAnswered,
                            "the device was asked for a signature, but nothing will ever answer.");
        }
        const auto signature = stringIn(*outcome, "signatureB64");
        if (!signature) {
            throw NotSigned(SignStatus::refused,
                            "the device did not sign. It signs once the biometric prompt is answered with a "
                            "match; \"kavrel device show\" says whether it can ask.");
        }
        return base64Decode(*signature).value_or(Bytes());
    }

  private:
    /// Returns the string `name` in what a call was resolved with.
    static std::optional<std::string> stringIn(const std::optional<Outcome>& outcome, std::string_view name) {
        const auto* result = outcome ? std::get_if<JSObject>(&*outcome) : nullptr;
        const JSValue* value = result != nullptr ? result->find(name) : nullptr;
        const auto* text = value != nullptr ? value->as<std::string>() : nullptr;
        return text != nullptr ? std::optional(*text) : std::nullopt;
    }

    /// The device has one slot, whoever asks.
    [[nodiscard]] Certificate storedCertificate(const std::string& anyCode) const {
        const auto pem =
            stringIn(performCall(plugin_, "getCertificate", {{"nationalCode", anyCode}}), "certPem");
        if (!pem) {
            throw CommandError(
                "the device has no certificate, so nobody could tell whose signature it is. Get one with "
                "\"kavrel issue\", and store it with \"kavrel call storeCertificate\".");
        }
        const Bytes der = base64Decode(certificatePEMBody(*pem)).value_or(Bytes());
        const unsigned char* end = der.data();
        Certificate certificate(d2i_X509(nullptr, &end, static_cast<long>(der.size())));
        if (!certificate || X509_get0_pubkey(certificate.get()) == nullptr) {
            throw CommandError("OpenSSL cannot read the certificate of the device. Store another one.");
        }
        return certificate;
    }

    [[nodiscard]] std::string codeInCertificate() const {
        const X509_NAME* subject = X509_get_subject_name(certificate_.get());
        const int position = X509_NAME_get_index_by_NID(subject, NID_serialNumber, -1);
        const ASN1_STRING* code =
            position == -1 ? nullptr : X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, position));
        if (code == nullptr || ASN1_STRING_length(code) == 0) {
            throw CommandError(
                "the certificate of the device does not say whose it is (it has no serialNumber). Give "
                "--national-code.");
        }
        return writeToString([&](BIO* output) { ASN1_STRING_print_ex(output, code, 0); });
    }

    void checkKey() const {
        const auto pem =
            stringIn(performCall(plugin_, "getKeyInfo", {{"nationalCode", nationalCode_}}), "publicKeyPem");
        if (!pem) {
            throw CommandError("the device has no key of \"" + nationalCode_ +
                               "\", or it is locked. \"kavrel call ensureKey\" makes a key.");
        }
        // Of this PEM only the body is what its label says.
        const std::string_view body =
            std::string_view(*pem).substr(0, pem->rfind("-----END")).substr(pem->find('\n'));
        std::string base64;
        std::copy_if(body.begin(), body.end(), std::back_inserter(base64),
                     [](char c) { return c != '\r' && c != '\n'; });
        if (base64Decode(base64) != encoded<&i2d_PublicKey>(X509_get0_pubkey(certificate_.get()))) {
            throw CommandError(
                "the certificate of the device is not for the key of \"" + nationalCode_ +
                "\". Get one for that key with \"kavrel issue\", and store it with \"kavrel call "
                "storeCertificate\".");
        }
    }

    const DigitalSignPlugin plugin_;
    const Certificate certificate_;
    const std::string nationalCode_;
};

Bytes sha256Of(const std::string& path) {
    const std::unique_ptr<EVP_MD_CTX, Release<&EVP_MD_CTX_free>> context(EVP_MD_CTX_new());
    Bytes digest(SHA256_DIGEST_LENGTH);
    EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
    readFile(path,
             [&](std::string_view piece) { EVP_DigestUpdate(context.get(), piece.data(), piece.size()); });
    EVP_DigestFinal_ex(context.get(), digest.data(), nullptr);
    return digest;
}

}  // namespace

int signCommand(const Settings& settings, const std::string& path, const SignOptions& options) {
    const Output output(STDERR_FILENO);
    const std::string target = path + (options.jws ? ".jws" : ".p7s");
    const std::string content = options.jws ? readFile(path) : std::string();
    const Bytes digest = options.jws ? Bytes() : sha256Of(path);
    const NewFile file(target);
    openChosenDevice(settings);
    answerPrompts(settings.prompt);
    try {
        const Person person(options.nationalCode);
        const Signer signer = [&](BytesView message) { return person.sign(message); };
        if (options.jws) {
            file.write(signJWS(content, person.certificate(), signer));
        } else {
            const Bytes der = signCMS(digest, person.certificate(), signer);
            file.write({reinterpret_cast<const char*>(der.data()), der.size()});
        }
        output.write(target + "\n");
        return static_cast<int>(SignStatus::written);
    } catch (const NotSigned& failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "kavrel: %s\n", failure.what());
        return failure.exitStatus();
    }
}

}  // namespace KavrelCrypto::Host
