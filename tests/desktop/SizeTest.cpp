// Values of 2 GiB and more, which libraries that count in int cannot take. Nothing here allocates as much.

#include <algorithm>
#include <climits>
#include <functional>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include "devices/desktop/OpenSSL.hpp"
#include "devices/desktop/SQLite.hpp"
#include "devices/desktop/Sealing.hpp"
#include "tests/plugin/OpenSSL.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {
namespace {

/// 3 GiB of address space that begin with `beginning`; the system gives memory only for what is touched.
class LargeBytes {
  public:
    explicit LargeBytes(const Bytes& beginning = {}) {
        if (start_ == MAP_FAILED) {
            throw std::bad_alloc();
        }
        std::copy(beginning.begin(), beginning.end(), static_cast<std::uint8_t*>(start_));
    }
    LargeBytes(const LargeBytes&) = delete;
    LargeBytes& operator=(const LargeBytes&) = delete;
    ~LargeBytes() {
        ::munmap(start_, size);
    }

    [[nodiscard]] BytesView view() const {
        return {static_cast<const std::uint8_t*>(start_), size};
    }

  private:
    static constexpr std::size_t size = std::size_t{3} << 30;
    void* start_ =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
};

OSStatus statusOf(const std::function<void()>& operation) {
    return Desktop::statusOf([&] {
        operation();
        return errSecSuccess;
    });
}

TEST(Size, IsCheckedWhereOpenSSLCountsInInt) {
    const LargeBytes large;
    EXPECT_EQ(Desktop::intSize(large.view().first(INT_MAX)), INT_MAX);
    EXPECT_EQ(statusOf([&] { Desktop::intSize(large.view().first(std::size_t{INT_MAX} + 1)); }), errSecParam);
}

TEST(Size, IsCheckedBeforeASecretIsSealedAndBeforeAnItemIsStoredOrLookedUp) {
    const LargeBytes large;
    const Desktop::SealingKey key{};
    EXPECT_EQ(statusOf([&] { Desktop::seal(key, large.view(), {}); }), errSecParam);
    EXPECT_EQ(statusOf([&] { Desktop::seal(key, {}, large.view()); }), errSecParam);
    Desktop::Database database = Desktop::Database::inMemory();
    EXPECT_EQ(statusOf([&] { Desktop::Statement(database, "SELECT ?1", {large.view()}); }), errSecParam);
}

TEST(Size, OfWhatFollowsACertificateDoesNotMatter) {
    const Bytes certificate = OpenSSL::certificate(OpenSSL::newKey("ED25519"));
    EXPECT_NE(SecCertificateCreateWithData(LargeBytes(certificate).view()), nullptr);
}

// One that claims to be longer than OpenSSL can count.
TEST(Size, OfACertificateHasALimit) {
    EXPECT_EQ(SecCertificateCreateWithData(LargeBytes(hex("30 84 B0 00 00 00")).view()), nullptr);
}

}  // namespace
}  // namespace KavrelCrypto
