// A keychain file that was damaged, or altered behind the device's back: found out, told, and never taken for
// a good one.

#include <algorithm>
#include <gmock/gmock.h>
#include <random>

#include "tests/desktop/TestDevice.hpp"

namespace KavrelCrypto {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;

constexpr SecKeyAlgorithm ecSHA256 = kSecKeyAlgorithmECDSASignatureMessageX962SHA256;
constexpr OSStatus errSecIO = -36;
constexpr std::size_t pageSize = 4096;

class DamagedKeychain : public testing::Test {
  protected:
    DamagedKeychain() {
        for (int i = 0; i < 40; ++i) {
            makePair("p" + std::to_string(i));
        }
        addPassword("account", "value");
        publicKey = SecKeyCopyPublicKey(findKey("p7.private"));
        close();
        content = readFile(device.file());
    }

    /// Turns to another device, so that everything is in the file of this one, and nobody uses it.
    void close() const {
        Desktop::openDevice(elsewhere.folder());
    }

    /// Does everything with the device whose file is now `damaged`. No operation may do harm, or give
    /// anything that is not right.
    void useWith(const Bytes& damaged) {
        writeFile(device.file(), damaged);
        std::filesystem::remove(device.file().string() + "-wal");
        std::filesystem::remove(device.file().string() + "-shm");
        testing::internal::CaptureStderr();
        try {
            Desktop::openDevice(device.folder());
            use();
            Desktop::deviceState();
            Desktop::setDeviceState({});
        } catch (const Desktop::DeviceError& failure) {
            EXPECT_THAT(failure.what(), HasSubstr(device.file().string()));
            ++failures;
        }
        told += testing::internal::GetCapturedStderr();
        close();
    }

    void use() {
        const auto possible = AnyOf(errSecSuccess, errSecItemNotFound, errSecInteractionNotAllowed, errSecIO);
        SecItemResult result;
        const OSStatus status = SecItemCopyMatching(passwordQuery("account"), &result);
        EXPECT_THAT(status, possible);
        if (status == errSecSuccess) {
            EXPECT_EQ(std::get<Bytes>(result), bytesOf("value"));
        }
        if (const SecKeyRef key = findKey("p7.private")) {
            if (const auto signature = SecKeyCreateSignature(key, ecSHA256, bytesOf("x"), nullptr)) {
                EXPECT_TRUE(SecKeyVerifySignature(publicKey, ecSHA256, bytesOf("x"), *signature, nullptr));
            }
        }
        makePair("new");
        EXPECT_THAT(
            SecItemDelete({{kSecClass, kSecClassKey}, {kSecAttrApplicationTag, bytesOf("p9.private")}}),
            possible);
    }

    const TestDevice elsewhere;
    const TestDevice device;
    SecKeyRef publicKey;
    Bytes content;
    int failures = 0;
    std::string told;
};

TEST_F(DamagedKeychain, IsUsableWhileItIsWholeAndRefusedWithoutItsHeader) {
    useWith(content);
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(told, "");
    Bytes damaged = content;
    std::fill_n(damaged.begin(), 16, std::uint8_t{0});
    useWith(damaged);
    EXPECT_EQ(failures, 1);
    EXPECT_EQ(readFile(device.file()), damaged) << "it was not left alone";
}

using LongDamagedKeychain = DamagedKeychain;

TEST_F(LongDamagedKeychain, WithAPageOverwrittenSaysSo) {
    for (std::size_t page = 0; page < content.size(); page += pageSize) {
        Bytes damaged = content;
        std::fill_n(damaged.begin() + static_cast<std::ptrdiff_t>(page), pageSize, std::uint8_t{0xAB});
        useWith(damaged);
    }
    EXPECT_GT(failures, 0);
    EXPECT_THAT(told, HasSubstr(device.file().string() + " is damaged"));
}

TEST_F(LongDamagedKeychain, CutShortAnywhereDoesNoHarmAndWithoutItsLastPagesIsRefused) {
    for (std::size_t length = 0; length < content.size(); length += pageSize / 8) {
        failures = 0;
        useWith(Bytes(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(length)));
        EXPECT_TRUE(failures == 1 || length % pageSize != 0) << length;
    }
}

TEST_F(LongDamagedKeychain, WithABitFlippedNeverGivesAnythingWrong) {
    std::mt19937 random(7);
    for (int i = 0; i < 300; ++i) {
        const std::size_t bit = random() % (8 * content.size());
        SCOPED_TRACE("bit " + std::to_string(bit));
        Bytes damaged = content;
        damaged[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
        useWith(damaged);
    }
}

// The file as it is when a process was killed while it moved the log into the file: its first page has
// arrived, which tells of more pages than there are yet.
TEST(KilledDevice, WhoseLogWasBeingMovedOpens) {
    const TestDevice device;
    const std::filesystem::path file = device.file();
    const std::filesystem::path log = file.string() + "-wal";
    for (int i = 0; i < 20; ++i) {
        makePair("p" + std::to_string(i));
    }
    Bytes content = readFile(file);
    const Bytes logged = readFile(log);
    { const TestDevice elsewhere; }  // the last one to leave moves the log
    const Bytes moved = readFile(file);
    ASSERT_GT(moved.size(), content.size());
    std::copy_n(moved.begin(), 4096, content.begin());
    writeFile(file, content);
    writeFile(log, logged);
    Desktop::openDevice(device.folder());
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(pairWorks("p" + std::to_string(i)));
    }
    EXPECT_EQ(select(file, "PRAGMA integrity_check"), std::vector<std::string>{"ok"});
}

class AlteredKeychain : public testing::Test {
  protected:
    AlteredKeychain() {
        makePair("p");
        makePair("q");
        addPassword("account", "value");
        addPassword("another", "other value");
    }

    void expectSealBroken() const {
        const SecKeyRef key = findKey("p.private");
        ASSERT_NE(key, nullptr) << "a lookup reads no key";
        testing::internal::CaptureStderr();
        std::optional<NSError> error;
        EXPECT_EQ(SecKeyCreateSignature(key, ecSHA256, bytesOf("x"), &error), std::nullopt);
        EXPECT_EQ(error.value().code, errSecIO);
        SecItemResult result;
        EXPECT_EQ(SecItemCopyMatching(passwordQuery("account"), &result), errSecIO);
        EXPECT_THAT(testing::internal::GetCapturedStderr(),
                    AllOf(HasSubstr("seal is broken"), HasSubstr(device.file().string())));
    }

    const TestDevice device;
};

struct Alteration {
    const char* name;
    const char* sql;
};

class EveryAlteration : public AlteredKeychain, public testing::WithParamInterface<Alteration> {};

TEST_P(EveryAlteration, IsFoundOut) {
    device.execute(GetParam().sql);
    expectSealBroken();
}

INSTANTIATE_TEST_SUITE_P(
    Items, EveryAlteration,
    testing::Values(
        Alteration{"SecretFlipped",
                   "UPDATE items SET sealed = CAST(substr(sealed, 1, length(sealed) - 1) ||"
                   "CASE substr(sealed, -1) WHEN x'00' THEN x'01' ELSE x'00' END AS BLOB)"},
        Alteration{
            "SecretOfAnotherItem",
            "CREATE TEMP TABLE was AS SELECT id, kind, sealed FROM items;"
            "UPDATE items SET sealed = (SELECT sealed FROM was WHERE was.kind = items.kind AND was.id <> "
            "items.id)"},
        Alteration{"Renamed",
                   "UPDATE items SET name = CAST('p.private' AS BLOB) WHERE name = CAST('q.private' AS BLOB);"
                   "UPDATE items SET name = CAST('x' AS BLOB) WHERE id = 1;"
                   "UPDATE items SET name = CAST('x' AS BLOB) WHERE name = CAST('account' AS BLOB);"
                   "UPDATE items SET name = CAST('account' AS BLOB) WHERE name = CAST('another' AS BLOB);"},
        Alteration{"AnotherAccessibility", "UPDATE items SET accessibility = 3"}),
    [](const auto& alteration) { return alteration.param.name; });

TEST_F(AlteredKeychain, IsFoundOutByAHalfInThePlaceOfTheOtherOneOfTheSameTag) {
    SecKeyCreateRandomKey(pairParameters(kSecAttrKeyTypeRSA, 512, "same", "same"), nullptr);
    device.execute(
        "UPDATE items SET accessibility = 1, sealed = (SELECT sealed FROM items WHERE kind = 2) WHERE kind = "
        "3");
    SecItemResult result;
    SecItemCopyMatching({{kSecClass, kSecClassKey},
                         {kSecAttrKeyType, kSecAttrKeyTypeRSA},
                         {kSecAttrKeyClass, kSecAttrKeyClassPrivate},
                         {kSecReturnRef, true}},
                        &result);
    testing::internal::CaptureStderr();
    EXPECT_EQ(SecKeyGetBlockSize(std::get<SecKeyRef>(result)), 0U);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("seal is broken"));
}

TEST_F(AlteredKeychain, IsFoundOutByAnAccessibilityThatWasChangedTogetherWithItsKey) {
    Desktop::resetDevice();
    device.execute(
        "UPDATE classKeys SET sealingKey = (SELECT sealingKey FROM classKeys WHERE accessibility = 1)");
    makePair("p");
    addPassword("account", "value");
    ASSERT_TRUE(pairWorks("p"));
    device.execute("UPDATE items SET accessibility = 3");
    expectSealBroken();
}

TEST_F(AlteredKeychain, IsMendedByDeletingWhatIsDamaged) {
    device.execute("UPDATE items SET sealed = x'00'");
    EXPECT_EQ(SecItemDelete({{kSecClass, kSecClassKey}}), errSecSuccess);
    EXPECT_EQ(SecItemDelete({{kSecClass, kSecClassGenericPassword}}), errSecSuccess);
    makePair("p");
    EXPECT_TRUE(pairWorks("p"));
}

class ImpossibleKeychain : public AlteredKeychain, public testing::WithParamInterface<const char*> {};

TEST_P(ImpossibleKeychain, IsReportedAsDamagedWhenItIsUsedOrOpened) {
    device.execute(GetParam());
    const std::string problem = device.file().string() + " is damaged: ";
    testing::internal::CaptureStderr();
    EXPECT_EQ(makePair("r"), nullptr);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(problem));
    const TestDevice elsewhere;
    try {
        Desktop::openDevice(device.folder());
        ADD_FAILURE() << "it was opened";
    } catch (const Desktop::DeviceError& failure) {
        EXPECT_THAT(failure.what(), StartsWith(problem));
    }
}

INSTANTIATE_TEST_SUITE_P(Values, ImpossibleKeychain,
                         testing::Values("UPDATE state SET biometry = 3", "UPDATE state SET biometry = -1",
                                         "UPDATE state SET biometry = 4294967298",
                                         "UPDATE state SET enrolled = 2", "UPDATE state SET lockedOut = -1",
                                         "UPDATE state SET locked = 2", "UPDATE state SET firstUnlock = 0",
                                         "UPDATE state SET failedPrompts = -1",
                                         "UPDATE state SET failedPrompts = 6",
                                         "UPDATE state SET failedPrompts = 9223372036854775807",
                                         "DELETE FROM state", "UPDATE classKeys SET sealingKey = x''",
                                         "UPDATE classKeys SET sealingKey = randomblob(31)",
                                         "UPDATE classKeys SET sealingKey = randomblob(33)",
                                         "DELETE FROM classKeys"));

TEST_F(AlteredKeychain, IsReportedByAnItemOfNoKnownAccessibility) {
    for (const char* accessibility : {"0", "5", "-1", "4294967297"}) {
        device.execute(std::string("UPDATE items SET accessibility = ") + accessibility);
        testing::internal::CaptureStderr();
        EXPECT_EQ(SecItemCopyMatching(keyQuery("p.private"), nullptr), errSecIO);
        EXPECT_EQ(SecItemDelete({{kSecClass, kSecClassKey}}), errSecIO);
        EXPECT_EQ(addPassword("account", "value"), errSecIO);
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("no known accessibility"));
    }
}

TEST_F(AlteredKeychain, IsReportedByAnItemOfNoKnownKind) {
    const SecKeyRef key = findKey("p.private");
    device.execute("UPDATE items SET kind = 6");
    testing::internal::CaptureStderr();
    EXPECT_EQ(SecKeyGetBlockSize(key), 0U);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("no known kind"));
}

}  // namespace
}  // namespace KavrelCrypto
