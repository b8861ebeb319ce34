// The certificate and trust operations of the Apple device, where the framework does not do as it is asked.

#include <gtest/gtest.h>

#include "apple/AppleDeviceTest.hpp"
#include "platform/Security.hpp"
#include "tests/plugin/OpenSSL.hpp"

namespace KavrelCrypto {
namespace {

using AppleStandIns::failNext;
using AppleStandIns::Nothing;

class AppleCertificates : public AppleDeviceTest {
  protected:
    const Bytes der = OpenSSL::certificate(OpenSSL::newECKey("P-256"));
    const SecCertificateRef certificate = SecCertificateCreateWithData(der);
    SecTrustRef trust;
};

TEST_F(AppleCertificates, AreTakenIntoATrustObjectWithoutAPolicy) {
    EXPECT_EQ(SecTrustCreateWithCertificates(certificate, nullptr, &trust), errSecSuccess);
    EXPECT_NE(trust, nullptr);
}

TEST_F(AppleCertificates, PassTheStatusOnThatTheTrustObjectCannotBeMade) {
    failNext("SecTrustCreateWithCertificates", errSecParam);
    EXPECT_EQ(SecTrustCreateWithCertificates(certificate, SecPolicyCreateBasicX509(), &trust), errSecParam);
    EXPECT_EQ(trust, nullptr);
}

TEST_F(AppleCertificates, AreNothingWhereTheFrameworkGivesNothingAndSoAreThePolicyTheTrustObjectAndTheKey) {
    failNext("SecCertificateCreateWithData", Nothing{});
    EXPECT_EQ(SecCertificateCreateWithData(der), nullptr);
    failNext("SecPolicyCreateBasicX509", Nothing{});
    EXPECT_EQ(SecPolicyCreateBasicX509(), nullptr);
    failNext("SecTrustCreateWithCertificates", Nothing{});
    EXPECT_EQ(SecTrustCreateWithCertificates(certificate, nullptr, &trust), errSecSuccess);
    EXPECT_EQ(trust, nullptr);
    SecTrustCreateWithCertificates(certificate, nullptr, &trust);
    failNext("SecTrustCopyKey", Nothing{});
    EXPECT_EQ(SecTrustCopyKey(trust), nullptr);
}

}  // namespace
}  // namespace KavrelCrypto
