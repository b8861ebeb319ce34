#include "tools/kavrel/TestAuthority.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "devices/desktop/Sync.hpp"
#include "tools/kavrel/CommandIO.hpp"
#include "tools/kavrel/TemporaryFolder.hpp"

namespace KavrelCrypto::Host {
namespace {

namespace fs = std::filesystem;

constexpr const char* keyFile = "key.pem";
constexpr const char* certificateFile = "certificate.pem";

/// Returns `result`, or throws if it is what OpenSSL's functions return on failure.
template <typename T>
T require(T result) {
    if (!result) {
        throw CommandError(std::string("OpenSSL cannot make the certificate: ") +
                           ERR_error_string(ERR_get_error(), nullptr));
    }
    return result;
}

void addExtension(X509* certificate, X509* issuer, int type, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const Extension extension(require(X509V3_EXT_conf_nid(nullptr, &context, type, value)));
    require(X509_add_ext(certificate, extension.get(), -1));
}

/// Sets `date` to this many days and seconds from now.
void setDate(ASN1_TIME* date, int days, long seconds) {
    if (X509_time_adj_ex(date, days, seconds, nullptr) == nullptr) {
        throw CommandError(
            "the clock of this machine shows a date that a certificate cannot hold, which are those of the "
            "years 0 to 9999. Set the clock and try again.");
    }
}

/// Makes a certificate for `key` with what all certificates of this authority have in common. It is not
/// signed yet.
Certificate newCertificate(const X509_NAME* subject, EVP_PKEY* key) {
    constexpr int serialNumberBits = 127;     // 16 octets; RFC 5280 allows 20
    constexpr long allowanceForClocks = 300;  // seconds
    Certificate certificate(require(X509_new()));
    const BigNumber serialNumber(require(BN_new()));
    require(BN_rand(serialNumber.get(), serialNumberBits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY));
    require(BN_to_ASN1_INTEGER(serialNumber.get(), X509_get_serialNumber(certificate.get())));
    require(X509_set_version(certificate.get(), X509_VERSION_3));
    setDate(X509_getm_notBefore(certificate.get()), 0, -allowanceForClocks);
    require(X509_set_subject_name(certificate.get(), subject));
    require(X509_set_pubkey(certificate.get(), key));
    return certificate;
}

Certificate selfSignedCertificate(EVP_PKEY* key) {
    const std::unique_ptr<X509_NAME, Release<&X509_NAME_free>> name(require(X509_NAME_new()));
    const auto add = [&](const char* type, const char* text) {
        require(X509_NAME_add_entry_by_txt(name.get(), type, MBSTRING_UTF8,
                                           reinterpret_cast<const unsigned char*>(text), -1, -1, 0));
    };
    add("O", "For development and tests only");
    add("CN", "KavrelCrypto test authority");
    Certificate certificate = newCertificate(name.get(), key);
    X509* const self = certificate.get();
    require(X509_set_issuer_name(self, name.get()));
    // With this date a certificate has no well-defined end (RFC 5280).
    require(ASN1_TIME_set_string(X509_getm_notAfter(self), "99991231235959Z"));
    addExtension(self, self, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
    addExtension(self, self, NID_key_usage, "critical,keyCertSign,cRLSign");
    addExtension(self, self, NID_subject_key_identifier, "hash");
    require(X509_sign(self, key, EVP_sha256()));
    return certificate;
}

CommandError fileError(const fs::path& path, const char* problem) {
    const int reason = errno;
    return CommandError("\"" + path.string() + "\" cannot be " + problem + ": " + std::strerror(reason));
}

void writePrivately(const fs::path& path, const std::string& text) {
    const std::unique_ptr<std::FILE, Release<&std::fclose>> file(std::fopen(path.c_str(), "wxe"));
    if (!file || ::fchmod(::fileno(file.get()), S_IRUSR | S_IWUSR) != 0 ||
        std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() || std::fflush(file.get()) != 0 ||
        !Desktop::syncFile(::fileno(file.get()))) {
        throw fileError(path, "written");
    }
}

/// Makes an authority beside `folder` and then moves it there as a whole, so that nobody ever finds half of
/// one. If another process was faster, its authority stays.
void makeAuthority(const fs::path& folder) {
    const TemporaryFolder beside(folder.string());
    const PrivateKey key(require(EVP_EC_gen("P-256")));
    const Certificate certificate = selfSignedCertificate(key.get());
    writePrivately(
        fs::path(beside.path()) / keyFile, writeToString([&](BIO* output) {
            require(PEM_write_bio_PrivateKey(output, key.get(), nullptr, nullptr, 0, nullptr, nullptr));
        }));
    writePrivately(fs::path(beside.path()) / certificateFile, writeToString([&](BIO* output) {
                       require(PEM_write_bio_X509(output, certificate.get()));
                   }));
    if (::rename(beside.path().c_str(), folder.c_str()) != 0 && errno != EEXIST && errno != ENOTEMPTY) {
        throw fileError(folder, "made");
    }
}

/// Returns the extended key usage that `request` asks for, or null if it asks for none.
Extension requestedKeyUsage(X509_REQ& request) {
    if (X509_REQ_get_attr_by_NID(&request, NID_ext_req, -1) == -1) {
        return nullptr;
    }
    const auto freeAll = [](STACK_OF(X509_EXTENSION) * all) {
        sk_X509_EXTENSION_pop_free(all, X509_EXTENSION_free);
    };
    const std::unique_ptr<STACK_OF(X509_EXTENSION), decltype(freeAll)> requested(
        X509_REQ_get_extensions(&request), freeAll);
    const int position = requested ? X509v3_get_ext_by_NID(requested.get(), NID_ext_key_usage, -1) : -1;
    Extension usage(position == -1 ? nullptr : X509_EXTENSION_dup(X509v3_get_ext(requested.get(), position)));
    const std::unique_ptr<EXTENDED_KEY_USAGE, Release<&EXTENDED_KEY_USAGE_free>> readable(
        usage ? static_cast<EXTENDED_KEY_USAGE*>(X509V3_EXT_d2i(usage.get())) : nullptr);
    if (!requested || (usage && !readable)) {
        throw CommandError(
            "the extensions that the certification request asks for cannot be read. Make a new request.");
    }
    return usage;
}

}  // namespace

TestAuthority::TestAuthority(const fs::path& deviceFolder) {
    const fs::path folder = deviceFolder / "authority";
    if (!fs::exists(folder)) {
        makeAuthority(folder);
    }
    key_ = readPEM<PrivateKey, &PEM_read_bio_PrivateKey>(readFile(folder / keyFile));
    certificate_ = readPEM<Certificate, &PEM_read_bio_X509>(readFile(folder / certificateFile));
    if (!key_ || !certificate_ || X509_check_private_key(certificate_.get(), key_.get()) != 1) {
        throw CommandError(
            "the test authority in \"" + folder.string() +
            "\" is damaged or encrypted. Remove that folder, and a new authority will be created.");
    }
}

std::string TestAuthority::issue(X509_REQ& request) const {
    constexpr int validDays = 365;
    const Certificate certificate =
        newCertificate(X509_REQ_get_subject_name(&request), X509_REQ_get0_pubkey(&request));
    X509* const subject = certificate.get();
    X509* const issuer = certificate_.get();
    require(X509_set_issuer_name(subject, X509_get_subject_name(issuer)));
    setDate(X509_getm_notAfter(subject), validDays, 0);
    addExtension(subject, issuer, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(subject, issuer, NID_key_usage, "critical,digitalSignature,nonRepudiation");
    if (const Extension usage = requestedKeyUsage(request)) {
        require(X509_add_ext(subject, usage.get(), -1));
    }
    addExtension(subject, issuer, NID_subject_key_identifier, "hash");
    addExtension(subject, issuer, NID_authority_key_identifier, "keyid:always");
    require(X509_sign(subject, key_.get(), EVP_sha256()));
    return writeToString([&](BIO* output) { require(PEM_write_bio_X509(output, subject)); });
}

}  // namespace KavrelCrypto::Host
