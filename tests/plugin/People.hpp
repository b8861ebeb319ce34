#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/plugin/OpenSSL.hpp"
#include "tests/plugin/WebLayer.hpp"

/// The beginnings of the tests: a new device, or one on which a person is enrolled.
namespace KavrelCrypto {

/// The public key of a person who has one, as "getKeyInfo" returns it.
std::string publicKeyPem(const std::string& nationalCode);

/// Every test begins on a new device.
class OnANewDevice : public testing::Test {
  protected:
    void SetUp() override;
};

/// Sara has a key and a certificate that was issued for it and stored; the prompts are answered with a match.
/// She is enrolled once for all tests of a suite, since making a key takes its time; so the tests keep her
/// key. Each of them begins with her certificate in the slot.
class WithSaraEnrolled : public testing::Test {
  protected:
    static inline const std::string sara = "0012345678";

    static void SetUpTestSuite();
    void SetUp() override;

    static OpenSSL::Key saraKey();

    /// Sara's certificate, in DER and as it was stored.
    static Bytes saraCertificate();
    static std::string saraCertificatePem();

    static std::string slot();

    /// The reasons of the prompts shown since this test began.
    [[nodiscard]] std::vector<std::string> promptsShown() const;

  private:
    std::size_t promptsBefore_ = 0;
};

/// The same for tests of calls that leave everything as it was, the slot too.
class WithSaraUntouched : public WithSaraEnrolled {
  protected:
    void SetUp() override;
    void TearDown() override;

  private:
    Outcome before_;
};

}  // namespace KavrelCrypto
