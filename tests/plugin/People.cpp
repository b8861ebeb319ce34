#include "tests/plugin/People.hpp"

#include "tests/support/DeviceUnderTest.hpp"

namespace KavrelCrypto {
namespace {

struct Enrolment {
    OpenSSL::Key key;
    Bytes certificate;
};

Enrolment& enrolment() {
    static Enrolment last;
    return last;
}

}  // namespace

std::string publicKeyPem(const std::string& nationalCode) {
    return text(call("getKeyInfo", person(nationalCode)), "publicKeyPem");
}

std::string fallbackPrivateTag(const std::string& nationalCode) {
    return "com.kavrel.app.privatekey" + nationalCode;
}

std::string fallbackPublicTag(const std::string& nationalCode) {
    return "com.kavrel.app.publickey" + nationalCode;
}

void OnANewDevice::SetUp() {
    DeviceUnderTest::startNew();
}

void WithSaraEnrolled::SetUpTestSuite() {
    DeviceUnderTest::startNew();
    ASSERT_EQ(call("ensureKey", person(sara)), resolved({{"ok", true}}));
    const OpenSSL::Key key = OpenSSL::publicKey(publicKeyPem(sara));
    enrolment() = {key, OpenSSL::certificate(key)};
}

void WithSaraEnrolled::SetUp() {
    DeviceUnderTest::setBiometrics(LABiometryType::faceID, true, false);
    DeviceUnderTest::answerPrompts(DeviceUnderTest::PromptAnswer::match);
    promptsBefore_ = DeviceUnderTest::promptsShown().size();
    ASSERT_EQ(call("storeCertificate", certificateOf(sara, saraCertificatePem())),
              resolved({{"stored", true}}));
}

OpenSSL::Key WithSaraEnrolled::saraKey() {
    return enrolment().key;
}

Bytes WithSaraEnrolled::saraCertificate() {
    return enrolment().certificate;
}

std::string WithSaraEnrolled::saraCertificatePem() {
    return OpenSSL::pem(enrolment().certificate);
}

std::string WithSaraEnrolled::slot() {
    return text(call("getCertificate", person(sara)), "certPem");
}

std::vector<std::string> WithSaraEnrolled::promptsShown() const {
    const std::vector<std::string> all = DeviceUnderTest::promptsShown();
    return {all.begin() + static_cast<std::ptrdiff_t>(promptsBefore_), all.end()};
}

void WithSaraUntouched::SetUp() {
    WithSaraEnrolled::SetUp();
    before_ = call("getKeyInfo", person(sara));
}

void WithSaraUntouched::TearDown() {
    EXPECT_EQ(call("getKeyInfo", person(sara)), before_);
}

}  // namespace KavrelCrypto
