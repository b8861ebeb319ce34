#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/plugin/OpenSSL.hpp"
#include "tests/plugin/WebLayer.hpp"

/// How tests begin: on a new device, or with a person enrolled.
namespace KavrelCrypto {

/// Returns the public key of a person who has one, as "getKeyInfo" gives it to the page.
std::string publicKeyPem(const std::string& nationalCode);

/// Return the application tags of the pair that "createCSR" keeps for a person for whom it could not get the
/// key.
std::string fallbackPrivateTag(const std::string& nationalCode);
std::string fallbackPublicTag(const std::string& nationalCode);

/// Each test begins on a new device.
class OnANewDevice : public testing::Test {
  protected:
    void SetUp() override;
};

/// Sara has a key, her certificate is in the slot, and prompts are answered with a match. Generating a key
/// takes long, so she is enrolled once for all tests of a suite, which must not replace her key.
class WithSaraEnrolled : public testing::Test {
  protected:
    static inline const std::string sara = "0012345678";

    static void SetUpTestSuite();
    void SetUp() override;

    static OpenSSL::Key saraKey();

    /// Return Sara's certificate, in DER and as it was stored.
    static Bytes saraCertificate();
    static std::string saraCertificatePem();

    static std::string slot();

    /// Returns the reasons of the prompts shown since this test began.
    [[nodiscard]] std::vector<std::string> promptsShown() const;

  private:
    std::size_t promptsBefore_ = 0;
};

/// The same, for calls that leave everything as it was, the slot included. Each test fails if they do not.
class WithSaraUntouched : public WithSaraEnrolled {
  protected:
    void SetUp() override;
    void TearDown() override;

  private:
    Outcome before_;
};

}  // namespace KavrelCrypto
