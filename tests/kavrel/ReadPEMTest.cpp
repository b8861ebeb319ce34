#include <climits>
#include <cstddef>
#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <string_view>

#include "tools/kavrel/OpenSSL.hpp"

namespace KavrelCrypto::Host {
namespace {

TEST(ReadPEM, RefusesMoreThanOpenSSLCanCount) {
    // Nobody reads past the first byte, since the size is looked at first.
    const std::string_view text("-", std::size_t{INT_MAX} + 1);
    EXPECT_THROW((readPEM<Certificate, &PEM_read_bio_X509>(text)), CommandError);
}

TEST(ReadPEM, ReturnsNullForWhatIsNoSuchObject) {
    EXPECT_EQ((readPEM<Certificate, &PEM_read_bio_X509>("-----BEGIN CERTIFICATE-----")), nullptr);
}

}  // namespace
}  // namespace KavrelCrypto::Host
