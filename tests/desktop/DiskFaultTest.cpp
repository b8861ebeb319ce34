// The plugin on a desktop device whose disk fails: each operation of the disk in turn, found by counting,
// while every method is called.

#include <gmock/gmock.h>
#include <iostream>

#include "devices/desktop/Device.hpp"
#include "devices/desktop/Sensor.hpp"
#include "tests/desktop/FailingDisk.hpp"
#include "tests/desktop/Session.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace KavrelCrypto {
namespace {

using FailingDisk::Fault;

class DiskFaults : public testing::TestWithParam<std::pair<const char*, Fault>> {
  protected:
    static void SetUpTestSuite() {
        FailingDisk::install(folder().path() / "device");
        Desktop::answerPromptsWith([](const std::string&) { return Desktop::PromptAnswer::match; });
    }

    static const TemporaryFolder& folder() {
        static const TemporaryFolder instance;
        return instance;
    }

    static void close() {
        Desktop::openDevice(folder().path() / "elsewhere");
    }

    /// Opens the device as another process would, unless the disk is in the way.
    static bool open() {
        close();
        try {
            Desktop::openDevice(folder().path() / "device" / GetParam().first);
            return true;
        } catch (const Desktop::DeviceError&) {
            EXPECT_GT(FailingDisk::failures(), 0);
            return false;
        }
    }

    /// Calls every method on a device that has just been opened. The first failure of the disk may be
    /// anywhere.
    void callAll() {
        if (!open()) {
            return;
        }
        session_.ensureKey("Sara");
        session_.getKeyInfo("Sara");
        session_.storeCertificate("Sara");
        session_.getCertificate("Sara");
        session_.signDigest("Sara");
        session_.deleteKey("Omid");
        session_.createCSR("Omid");
        session_.hasKey("Omid");
        session_.getBiometricStatus("Omid");
    }

    Session session_{{{"Sara", "Omid", "Nima"}, false, true, 1},
                     [](const std::string&, const std::string&) {}};
};

TEST_P(DiskFaults, EndEveryCallOnceAndTakeNothingThatWasAcknowledged) {
    session_.expectFailures(FailingDisk::failures);
    ASSERT_TRUE(open());
    session_.ensureKey("Nima");
    session_.getKeyInfo("Nima");
    for (long count = 0; count < 10'000; ++count) {
        FailingDisk::failAfter(count, GetParam().second);
        callAll();
        const long failures = FailingDisk::failures();
        close();
        FailingDisk::repair();
        ASSERT_TRUE(open());
        session_.acknowledged().expectKept();
        ASSERT_FALSE(HasFailure()) << "after " << count << " operations";
        if (failures == 0) {
            std::cout << "Let each of " << count << " operations of the disk fail (" << GetParam().first
                      << ").\n";
            return;
        }
    }
    FAIL() << "there is no end of operations";
}

INSTANTIATE_TEST_SUITE_P(Kinds, DiskFaults,
                         testing::Values(std::pair("Once", Fault::once), std::pair("ForGood", Fault::forGood),
                                         std::pair("Full", Fault::full),
                                         std::pair("PowerCut", Fault::powerCut)),
                         [](const auto& test) { return std::string(test.param.first); });

}  // namespace
}  // namespace KavrelCrypto
