// Reads requests with mbed TLS, and checks their signatures, which the library leaves to its user. Each
// argument is a file in DER; it is answered with a line of JSON: the `refusal`, or the subject and the key.
// (mbed TLS 2.28 does not show the extensions that a request asks for.)

#include <cstdio>
#include <fstream>
#include <iterator>
#include <mbedtls/error.h>
#include <mbedtls/oid.h>
#include <mbedtls/sha256.h>
#include <mbedtls/x509_csr.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

void check(int status) {
    if (status != 0) {
        char message[200];
        mbedtls_strerror(status, message, sizeof message);
        throw std::runtime_error(message);
    }
}

/// A request, which is freed with what it holds.
struct Request {
    Request() {
        mbedtls_x509_csr_init(&csr);
    }
    ~Request() {
        mbedtls_x509_csr_free(&csr);
    }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    mbedtls_x509_csr csr{};
};

std::string hex(const mbedtls_asn1_buf& bytes) {
    std::string digits;
    for (std::size_t index = 0; index < bytes.len; ++index) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", bytes.p[index]);
        digits += pair;
    }
    return digits;
}

std::string dotted(const mbedtls_asn1_buf& type) {
    char numbers[100];
    if (mbedtls_oid_get_numeric_string(numbers, sizeof numbers, &type) < 0) {
        throw std::runtime_error("a type of attribute that has no numbers");
    }
    return numbers;
}

std::string subject(const mbedtls_x509_csr& csr) {
    std::string list;
    for (const mbedtls_x509_name* name = &csr.subject; name != nullptr; name = name->next) {
        list += (list.empty() ? "" : ",");
        list += "[\"" + dotted(name->oid) + "\",\"" + hex(name->val) + "\"]";
    }
    return "[" + list + "]";
}

std::string integer(const mbedtls_mpi& value) {
    char digits[5000];
    std::size_t length = 0;
    check(mbedtls_mpi_write_string(&value, 16, digits, sizeof digits, &length));
    return digits;
}

void verifySignature(mbedtls_x509_csr& csr) {
    unsigned char digest[32];
    check(mbedtls_sha256_ret(csr.cri.p, csr.cri.len, digest, 0));
    check(mbedtls_pk_verify(&csr.pk, MBEDTLS_MD_SHA256, digest, sizeof digest, csr.sig.p, csr.sig.len));
}

std::string reading(const char* path) {
    std::ifstream file(path, std::ios::binary);
    const Bytes der{std::istreambuf_iterator<char>(file), {}};
    Request request;
    check(mbedtls_x509_csr_parse_der(&request.csr, der.data(), der.size()));
    verifySignature(request.csr);
    const mbedtls_rsa_context& key = *mbedtls_pk_rsa(request.csr.pk);
    return R"({"subject":)" + subject(request.csr) + R"(,"modulus":")" + integer(key.N) +
           R"(","exponent":")" + integer(key.E) + "\"}";
}

}  // namespace

int main(int argc, char** argv) {
    for (int index = 1; index < argc; ++index) {
        std::string line;
        try {
            line = reading(argv[index]);
        } catch (const std::runtime_error& error) {
            line = R"({"refusal":")" + std::string(error.what()) + "\"}";
        }
        std::puts(line.c_str());
    }
}
