#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <openssl/cms.h>
#include <openssl/objects.h>
#include <openssl/pem.h>
#include <openssl/sha.h>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "text/Base64.hpp"
#include "tools/kavrel/CertificationRequest.hpp"
#include "tools/kavrel/CommandIO.hpp"
#include "tools/kavrel/Commands.hpp"
#include "tools/kavrel/DocumentSignature.hpp"
#include "tools/kavrel/JSON.hpp"
#include "tools/kavrel/PluginCall.hpp"
#include "tools/kavrel/Prompt.hpp"
#include "tools/kavrel/TemporaryFolder.hpp"
#include "tools/kavrel/TestAuthority.hpp"
#include "tools/kavrel/Text.hpp"

namespace KavrelCrypto::Host {
namespace {

namespace fs = std::filesystem;

/// Thrown when a step goes wrong. `what()` says which one, and what happened.
class DemoFailure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

constexpr const char* nationalCode = "DEMO-0000000000";
constexpr const char* contract = "I, Jane Example, rent the lighthouse for a week.";

JSObject person() {
    return {{"identificationId", "0"},
            {"nationalCode", nationalCode},
            {"name", "Jane"},
            {"lastName", "Example"},
            {"enName", "Jane"},
            {"enLastName", "Example"},
            {"postalCode", "00000"},
            {"phoneNumber", "000"},
            {"birthCertificateId", "0"},
            {"birthDate", "2000-01-01"},
            {"city", "Sampletown"},
            {"provinceName", "Nowhere"},
            {"gender", "F"},
            {"citizenship", "Utopia"}};
}

/// Returns `value` with its long strings cut short.
JSValue abridged(const JSValue& value) {
    constexpr std::size_t longest = 44;
    constexpr std::size_t kept = 32;
    if (const auto* text = value.as<std::string>()) {
        return text->size() <= longest ? value : JSValue(text->substr(0, kept) + "…");
    }
    const auto* object = value.as<JSObject>();
    if (object == nullptr) {
        return value;
    }
    std::vector<JSMember> members;
    for (const auto& [key, member] : object->members()) {
        members.push_back({key, abridged(member)});
    }
    return JSObject(std::move(members));
}

/// Folds `line` to the width that the margin leaves.
std::string foldedLine(const std::string& line) {
    return folded(line, 76, "   ");
}

std::string stringUnder(const JSObject& result, std::string_view key) {
    const JSValue* value = result.find(key);
    const auto* text = value == nullptr ? nullptr : value->as<std::string>();
    if (text == nullptr) {
        throw DemoFailure("the result has no string \"" + std::string(key) + "\": " + writeJSON(result));
    }
    return *text;
}

Bytes sha256(const std::string& text) {
    Bytes digest(SHA256_DIGEST_LENGTH);
    SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data());
    return digest;
}

Certificate readCertificate(const std::string& pem) {
    auto certificate = readPEM<Certificate, &PEM_read_bio_X509>(pem);
    if (!certificate) {
        throw DemoFailure("OpenSSL cannot read the certificate that the device has kept.");
    }
    return certificate;
}

std::string describeCertificate(X509& certificate) {
    const auto name = [](const X509_NAME* which) {
        return foldedLine(
            writeToString([&](BIO* output) { X509_NAME_print_ex(output, which, 0, XN_FLAG_ONELINE); }));
    };
    return "for:   " + name(X509_get_subject_name(&certificate)) +
           "\nfrom:  " + name(X509_get_issuer_name(&certificate)) + "\nuntil: " +
           writeToString([&](BIO* output) { ASN1_TIME_print(output, X509_get0_notAfter(&certificate)); });
}

/// Returns whether `document` is a detached CMS signature of `content` (CAdES) with a certificate that
/// `authority` has issued.
bool isDocumentOf(const Bytes& document, const std::string& content, X509& authority) {
    const unsigned char* end = document.data();
    const std::unique_ptr<CMS_ContentInfo, Release<&CMS_ContentInfo_free>> cms(
        d2i_CMS_ContentInfo(nullptr, &end, static_cast<long>(document.size())));
    const BIOOwner input(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
    const std::unique_ptr<X509_STORE, Release<&X509_STORE_free>> trusted(X509_STORE_new());
    return X509_STORE_add_cert(trusted.get(), &authority) == 1 &&
           X509_STORE_set_purpose(trusted.get(), X509_PURPOSE_ANY) == 1 && cms &&
           CMS_verify(cms.get(), nullptr, trusted.get(), input.get(), nullptr, CMS_BINARY | CMS_CADES) == 1;
}

/// The demonstration, which is told on `output`.
class Demo {
  public:
    Demo(const Output& output, fs::path device) : output_(output), device_(std::move(device)) {}

    void run() {
        makeKeys();
        const std::string request = requestCertificate();
        storeCertificate(issueCertificate(request));
        lookAtSensor();
        const Certificate certificate = checkSignature(sign());
        checkDocument(signDocument(*certificate));
    }

  private:
    void step(const std::string& title) {
        std::ostringstream line;
        line << '\n' << ++steps_ << ". " << title << "\n\n";
        output_.write(line.str());
    }
    void tell(const std::string& text) const {
        output_.write(indented(text, 3) + "\n");
    }
    void show(const std::string& text) const {
        output_.write(indented(text, 7));
    }

    /// Makes one plugin call, shows it, and returns its result.
    JSObject call(const std::string& method, const JSObject& options) const {
        const auto outcome = performCall(plugin_, method, options);
        const std::string ended = outcome ? writeJSON(abridged(outcomeValue(*outcome))) : "never settled";
        show(foldedLine("kavrel call " + method + " '" + writeJSON(abridged(options)) + "'") + "\n" +
             foldedLine("-> " + ended));
        if (!outcome || !std::holds_alternative<JSObject>(*outcome)) {
            throw DemoFailure("the call of " + method + " was not resolved: " + ended);
        }
        return std::get<JSObject>(*outcome);
    }

    void makeKeys() {
        step("A key pair");
        tell(
            "Jane Example, whom we invented, enrols on this phone. Her RSA key pair is\n"
            "generated in its keychain, and the private key never leaves it.");
        call("ensureKey", {{"nationalCode", nationalCode}});
    }

    std::string requestCertificate() {
        step("A certification request");
        tell(
            "The component writes down who Jane is and what her public key is, and signs\n"
            "that with her private key.");
        std::string request = stringUnder(call("createCSR", {{"userInfo", person()}}), "csrPem");
        // OpenSSL has no name for this key purpose, and would print its number.
        OBJ_create("1.3.6.1.4.1.311.10.3.12", "documentSigning", "Document Signing");
        output_.write("\n");
        tell("This is what an authority reads in it, without the numbers of key and signature:");
        show(describeRequest(*readRequest(request)));
        return request;
    }

    std::string issueCertificate(const std::string& request) {
        step("A certificate");
        tell(
            "The request goes to an authority, which certifies that the key is Jane's. Here\n"
            "it is a test authority, which kavrel keeps in the folder of the device.");
        std::string pem = TestAuthority(device_).issue(*readRequest(request));
        show("kavrel issue\n" + describeCertificate(*readCertificate(pem)));
        return pem;
    }

    void storeCertificate(const std::string& pem) {
        step("The certificate goes into the keychain");
        tell("The component keeps a certificate only if the public key in it is the person's.");
        call("storeCertificate", {{"nationalCode", nationalCode}, {"certPem", pem}});
    }

    void lookAtSensor() {
        step("Is the biometric sensor ready?");
        tell("Nothing is signed without it. Type 2 is Face ID, type 1 is Touch ID.");
        const JSObject status = call("getBiometricStatus", {});
        if (const JSValue* enabled = status.find("enabled");
            enabled == nullptr || *enabled != JSValue(true)) {
            throw DemoFailure(
                "the sensor is not ready. Look at its state with \"kavrel device show\", and change it with "
                "\"kavrel device set\".");
        }
    }

    JSObject sign() {
        step("A signature");
        tell("Jane agrees to a contract: \"" + std::string(contract) +
             "\"\n"
             "The web app hashes it with SHA-256 and hands over the digest. Jane looks at her\n"
             "phone, and it recognises her. Her private key signs SHA-256 of the digest.");
        return call("signDigest",
                    {{"nationalCode", nationalCode}, {"digestB64", base64Encode(sha256(contract))}});
    }

    Certificate checkSignature(const JSObject& result) {
        step("Is the signature valid?");
        tell(
            "Whoever has the contract, the signature and the certificate can check it. We ask\n"
            "OpenSSL, and give it the certificate that the device has kept.");
        const std::string pem =
            stringUnder(call("getCertificate", {{"nationalCode", nationalCode}}), "certPem");
        const auto signature = base64Decode(stringUnder(result, "signatureB64"));
        Certificate certificate = readCertificate(pem);
        if (!signature || !isSignedBy(*certificate, *signature, sha256(contract))) {
            throw DemoFailure(
                "OpenSSL does not accept the signature with the key of the stored certificate.");
        }
        output_.write(
            "\n   The signature is Jane's: OpenSSL accepts it with the key of the stored certificate.\n");
        return certificate;
    }

    Bytes signDocument(X509& certificate) {
        step("A signed document");
        tell(
            "Other programs open a signature in a format that they know. A .p7s beside the\n"
            "contract holds its digest, the time, Jane's certificate and her signature over\n"
            "these. Jane looks at her phone once more.");
        show("kavrel sign contract.txt\n");
        return signCMS(sha256(contract), certificate, [&](BytesView message) {
            const JSObject result =
                call("signDigest", {{"nationalCode", nationalCode}, {"digestB64", base64Encode(message)}});
            return base64Decode(stringUnder(result, "signatureB64")).value_or(Bytes());
        });
    }

    void checkDocument(const Bytes& document) {
        step("Is the document Jane's?");
        tell(
            "OpenSSL opens the .p7s, and is told which authority to trust. The purposes of\n"
            "the certificate are for whoever relies on it to check.");
        show(
            "openssl cms -verify -cades -purpose any -CAfile authority/certificate.pem\n"
            "   -binary -content contract.txt -inform DER -in contract.txt.p7s\n");
        if (!isDocumentOf(document, contract, TestAuthority(device_).certificate())) {
            throw DemoFailure("OpenSSL does not accept the signed document.");
        }
        output_.write(
            "\n   The contract is signed: OpenSSL accepts the document, and the certificate in it.\n");
    }

    const Output& output_;
    const fs::path device_;
    const DigitalSignPlugin plugin_;
    int steps_ = 0;
};

std::string introduction(const Settings& settings, const std::string& folder) {
    return "A person enrols for a certificate and signs with it.\n\n"
           "The phone is simulated. Its keychain is in the folder " +
           folder + ",\n" +
           (settings.device ? "where the certificate and any keys of " + std::string(nationalCode) +
                                  " are now replaced.\n"
                            : "which will be removed at the end.\n") +
           "The component is the one that runs on a real phone. Each step shows a call as a\n"
           "web app makes it, and what comes back.\n";
}

void copyTo(std::FILE* to, std::FILE* from) {
    std::rewind(from);
    for (int c = std::fgetc(from); c != EOF; c = std::fgetc(from)) {
        std::fputc(c, to);
    }
}

}  // namespace

int demoCommand(const Settings& settings) {
    // The component's console lines would interrupt the story. They are shown if something goes wrong.
    const std::unique_ptr<std::FILE, Release<&std::fclose>> console(std::tmpfile());
    if (!console) {
        throw CommandError(std::string("no temporary file can be created: ") + std::strerror(errno));
    }
    const Output output(::fileno(console.get()));
    std::optional<TemporaryFolder> temporary;
    if (!settings.device) {
        const char* parent = std::getenv("TMPDIR");
        temporary.emplace(std::string(parent != nullptr ? parent : "/tmp") + "/kavrel-demo");
        temporary->removeWhenInterrupted();
    }
    const fs::path folder =
        openChosenDevice({.device = settings.device ? settings.device : temporary->path(), .prompt = {}});
    answerPrompts(settings.prompt.value_or("match"));
    try {
        output.write(introduction(settings, folder.string()));
        Demo(output, folder).run();
        output.write("\nThat was all. \"kavrel --help\" explains how to make these calls yourself.\n");
        return 0;
    } catch (const DemoFailure& failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "\nkavrel: %s\nThis is what the component wrote on its console:\n",
                     failure.what());
        copyTo(stderr, console.get());
        return 1;
    }
}

}  // namespace KavrelCrypto::Host
