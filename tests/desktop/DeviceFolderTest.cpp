// The folder of the desktop device: how it is made, and what is refused and left as it was.

#include <cstdlib>
#include <gmock/gmock.h>
#include <map>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "tests/desktop/SystemTrouble.hpp"
#include "tests/desktop/TestDevice.hpp"

namespace KavrelCrypto {
namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

unsigned modeOf(const fs::path& path) {
    return static_cast<unsigned>(fs::status(path).permissions());
}

/// Returns everything in `folder` with its mode and its content, and the mode of the folder itself.
std::map<std::string, std::pair<unsigned, Bytes>> everythingIn(const fs::path& folder) {
    std::map<std::string, std::pair<unsigned, Bytes>> result{{"", {modeOf(folder), {}}}};
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        result[entry.path()] = {modeOf(entry.path()),
                                entry.is_regular_file() ? readFile(entry.path()) : Bytes()};
    }
    return result;
}

std::vector<std::string> namesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    return names;
}

/// Returns the message with which opening `folder` fails.
std::string refusal(const fs::path& folder) {
    return messageOf([&] { Desktop::openDevice(folder); });
}

/// Goes to `folder` and does `work` there.
void workIn(const fs::path& folder, const std::function<void()>& work) {
    const fs::path before = fs::current_path();
    fs::current_path(folder);
    work();
    fs::current_path(before);
}

class DeviceFolder : public testing::Test {
  protected:
    DeviceFolder() {
        fs::create_directory(folder, temporary.path());  // with the mode of a temporary folder, 0700
    }

    /// A database of another program in the place of the keychain.
    void makeForeignDatabase(const std::string& sql) const {
        sqlite3* database = nullptr;
        sqlite3_open(file.c_str(), &database);
        // The log is to stay, as if the other program had been killed.
        int yes = 1;
        sqlite3_file_control(database, "main", SQLITE_FCNTL_PERSIST_WAL, &yes);
        sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        ASSERT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(database);
    }

    /// Gives `path` to the user nobody. Returns false if that failed, as it does unless root runs the test.
    static bool giveToNobody(const fs::path& path) {
        constexpr unsigned nobody = 65534;
        return ::chown(path.c_str(), nobody, nobody) == 0;
    }

    void expectRefused(const std::string& reason) const {
        const auto before = everythingIn(folder);
        EXPECT_THAT(refusal(folder), AllOf(HasSubstr(reason), HasSubstr(folder.string())));
        EXPECT_EQ(everythingIn(folder), before);
    }

    const TemporaryFolder temporary;
    const fs::path folder = temporary.path() / "device";
    const fs::path file = folder / "keychain.sqlite";
};

TEST_F(DeviceFolder, IsMadeForItsOwnerOnly) {
    const mode_t mask = ::umask(0);
    Desktop::openDevice(temporary.path() / "some/new/device");
    makePair("p");
    ::umask(mask);
    const fs::path made = temporary.path() / "some/new/device";
    for (const fs::path& each : {made, made.parent_path(), made.parent_path().parent_path()}) {
        EXPECT_EQ(modeOf(each), 0700U) << each;
    }
    for (const char* name : {"keychain.sqlite", "keychain.sqlite-wal", "keychain.sqlite-shm"}) {
        EXPECT_EQ(modeOf(made / name), 0600U) << name;
    }
    EXPECT_EQ(everythingIn(made).size(), 4U);
}

TEST_F(DeviceFolder, MayHaveAnyName) {
    for (const char* name :
         {"a?b#c%41", "two words", "ä", "file:x?mode=memory", "'", "a slash at the end/"}) {
        Desktop::openDevice(temporary.path() / name);
        EXPECT_TRUE(fs::exists(temporary.path() / name / "keychain.sqlite")) << name;
    }
}

TEST_F(DeviceFolder, OfARelativePathStaysTheDeviceWhenTheProcessGoesElsewhere) {
    workIn(temporary.path(), [] { Desktop::openDevice("relative"); });
    EXPECT_NE(makePair("p"), nullptr);
    EXPECT_TRUE(fs::exists(temporary.path() / "relative/keychain.sqlite"));
}

TEST_F(DeviceFolder, OfARelativePathIsNamedInFullWhenItIsRefusedAndNeedsAWorkingFolder) {
    writeFile(file, {});
    workIn(temporary.path(), [&] { EXPECT_THAT(refusal("device"), HasSubstr(file.string())); });
    workIn(temporary.path(), [&] {
        fs::current_path(folder);
        fs::remove_all(folder);
        EXPECT_THAT(refusal("device"), HasSubstr("there is no working directory"));
    });
}

TEST_F(DeviceFolder, IsClosedToOthersWhetherItIsEmptyOrADevice) {
    for (int round = 0; round < 2; ++round) {
        fs::permissions(folder, fs::perms(0755));
        Desktop::openDevice(folder);
        EXPECT_EQ(modeOf(folder), 0700U);
    }
}

TEST_F(DeviceFolder, WithOtherFilesIsMadeADeviceOnlyIfItIsClosedToOthers) {
    writeFile(folder / "letter", bytesOf("x"));
    fs::permissions(folder, fs::perms(0755));
    expectRefused("chmod 700");
    fs::permissions(folder, fs::perms(0700));
    EXPECT_EQ(refusal(folder), "(no error)");
}

TEST_F(DeviceFolder, ThatIsAFileIsRefused) {
    writeFile(temporary.path() / "letter", bytesOf("x"));
    EXPECT_THAT(refusal(temporary.path() / "letter"), HasSubstr("is not a folder"));
    EXPECT_THAT(refusal(temporary.path() / "letter/device"), HasSubstr("Not a directory"));
    EXPECT_THAT(refusal(""), HasSubstr("no name"));
    EXPECT_EQ(readFile(temporary.path() / "letter"), bytesOf("x"));
}

TEST_F(DeviceFolder, OrKeychainOfAnotherUserIsRefused) {
    Desktop::openDevice(folder);
    { const TestDevice elsewhere; }
    if (!giveToNobody(file)) {
        GTEST_SKIP() << "only root can give a file to another user";
    }
    expectRefused("belongs to another user");
    fs::remove(file);
    giveToNobody(folder);
    expectRefused("belongs to another user");
}

TEST_F(DeviceFolder, OfTooLongAPathIsRefusedAndGetsNoKeychain) {
    fs::path deep = folder;
    while (deep.native().size() < 500) {
        deep /= std::string(100, 'x');
    }
    EXPECT_THAT(refusal(deep), AllOf(HasSubstr(deep.string()), HasSubstr("too long")));
    EXPECT_TRUE(fs::is_empty(deep));
}

TEST_F(DeviceFolder, LosesWhatAKilledProcessHasLeft) {
    for (int round = 0; round < 2; ++round) {  // before there is a keychain, and beside one
        for (const char* name : {".keychain-abcdef", ".keychain-abcdef-wal"}) {
            writeFile(folder / name, bytesOf("x"));
        }
        Desktop::openDevice(folder);
        { const TestDevice elsewhere; }
        EXPECT_THAT(namesIn(folder), ElementsAre("keychain.sqlite"));
    }
}

TEST_F(DeviceFolder, WithAForeignDatabaseIsRefused) {
    for (const char* mode : {"DELETE", "WAL"}) {
        makeForeignDatabase(
            std::string("PRAGMA journal_mode = ") + mode +
            "; PRAGMA application_id = 7; CREATE TABLE items (id); INSERT INTO items VALUES (1);");
        EXPECT_EQ(fs::exists(file.string() + "-wal"), mode == std::string("WAL"));
        writeFile(folder / ".keychain-abcdef", bytesOf("x"));
        expectRefused("database of another program");
        fs::remove(file);
    }
}

TEST_F(DeviceFolder, WithADatabaseOfAnotherVersionIsRefused) {
    for (const auto& [version, reason] : {std::pair{"2", "newer version"}, {"0", "has no format number"}}) {
        const TemporaryFolder elsewhere;
        Desktop::openDevice(folder);
        makeForeignDatabase(std::string("PRAGMA user_version = ") + version);
        Desktop::openDevice(elsewhere.path());
        expectRefused(reason);
        fs::remove_all(folder);
        fs::create_directory(folder, temporary.path());
    }
}

// The file itself still has the old number.
TEST_F(DeviceFolder, WithALogThatChangesTheFormatNumberIsRefused) {
    Desktop::openDevice(folder);
    { const TestDevice elsewhere; }
    const Bytes before = readFile(file);
    makeForeignDatabase("PRAGMA user_version = 0;");
    ASSERT_EQ(readFile(file), before);
    EXPECT_THAT(refusal(folder), AllOf(HasSubstr("has no format number"), HasSubstr(file.string())));
}

TEST_F(DeviceFolder, WithSomethingElseInThePlaceOfTheDatabaseIsRefused) {
    fs::create_directory(file);
    expectRefused("is not a file");
    fs::remove(file);
    writeFile(file,
              bytesOf("This is a letter to somebody, and it is longer than the header of a database is."));
    expectRefused("is not a database");
    writeFile(file, {});
    expectRefused("is not a database");
}

TEST_F(DeviceFolder, WithTheLogOfALostDatabaseIsRefused) {
    writeFile(file.string() + "-wal", bytesOf("x"));
    expectRefused("its log is still there");
}

TEST_F(DeviceFolder, RefusedLeavesTheDeviceThatIsOpen) {
    const TestDevice device;
    makePair("p");
    writeFile(file, {});
    expectRefused("");
    EXPECT_TRUE(pairWorks("p"));
}

struct Refusal {
    SystemTrouble (*begin)();
    const char* problem;
};

class DeviceFolderOnATroubledSystem : public DeviceFolder, public testing::WithParamInterface<Refusal> {};

TEST_P(DeviceFolderOnATroubledSystem, IsRefusedAndStaysEmpty) {
    fs::permissions(folder, fs::perms(0755));
    const auto refusalInTrouble = [&] {
        const SystemTrouble trouble = GetParam().begin();
        return refusal(folder);
    };
    EXPECT_THAT(refusalInTrouble(), HasSubstr(folder.string() + GetParam().problem));
    EXPECT_TRUE(fs::is_empty(folder));
}

INSTANTIATE_TEST_SUITE_P(
    Troubles, DeviceFolderOnATroubledSystem,
    testing::Values(
        Refusal{[] { return refusing("chmod"); },
                " is open to other people and cannot be closed to them (Operation not permitted)"},
        Refusal{[] { return refusing("fsync file"); }, " cannot be made a device (Input/output error)"},
        Refusal{[] { return refusing("link"); },
                "/keychain.sqlite cannot be created (Operation not permitted)"},
        Refusal{[] { return refusing("readdir"); }, " cannot be read (Input/output error)"},
        Refusal{[] { return withFileLimit(1000); }, " cannot be made a device (File too large)"}));

TEST_F(DeviceFolder, IsMadeEvenWhereItsNamesCannotBeWrittenThrough) {
    const SystemTrouble trouble = refusing("fsync folder");
    EXPECT_EQ(refusal(folder), "(no error)");
    EXPECT_EQ(refusals(), 1);
}

TEST_F(DeviceFolder, ThatIsClosedToItsUserIsRefused) {
    fs::permissions(temporary.path(), fs::perms(0777));
    giveToNobody(folder);  // a process that is not started by root runs as the user who owns it already
    const auto refusalToNobody = [&] {
        const TestDevice elsewhere;
        const SystemTrouble trouble = asNobody();
        return refusal(folder);
    };
    EXPECT_EQ(refusalToNobody(), "(no error)");
    fs::permissions(file, fs::perms(0444));
    EXPECT_THAT(refusalToNobody(), HasSubstr(file.string() + " cannot be written"));
    fs::remove(file);
    for (const int mode : {0555, 0}) {
        fs::permissions(folder, fs::perms(mode));
        EXPECT_THAT(refusalToNobody(), AllOf(HasSubstr(folder.string()), HasSubstr("(Permission denied)")));
    }
    fs::remove_all(folder);
    fs::permissions(temporary.path(), fs::perms(0555));
    EXPECT_THAT(refusalToNobody(), HasSubstr(folder.string() + " cannot be created (Permission denied)"));
}

/// Starts a process in which no device is open, and none of the variables that name one is set.
class DefaultDeviceFolder : public testing::Test {
  protected:
    static void expect(void (*work)()) {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        const auto workAndExit = [&] {
            for (const char* name : {"KAVREL_DEVICE", "XDG_DATA_HOME", "HOME"}) {
                ::unsetenv(name);
            }
            work();
            std::exit(testing::Test::HasFailure() ? 1 : 0);
        };
        EXPECT_EXIT(workAndExit(), testing::ExitedWithCode(0), "");
    }
};

TEST_F(DefaultDeviceFolder, IsTheFirstOfThreeThatIsSet) {
    expect([] {
        EXPECT_THROW(Desktop::defaultDeviceFolder(), Desktop::DeviceError);
        ::setenv("HOME", "/home", 1);
        EXPECT_EQ(Desktop::defaultDeviceFolder(), "/home/.local/share/kavrel/device");
        ::setenv("XDG_DATA_HOME", "data", 1);
        ::setenv("KAVREL_DEVICE", "", 1);
        EXPECT_EQ(Desktop::defaultDeviceFolder(), "/home/.local/share/kavrel/device")
            << "the others are relative and empty";
        ::setenv("XDG_DATA_HOME", "/data", 1);
        EXPECT_EQ(Desktop::defaultDeviceFolder(), "/data/kavrel/device");
        ::setenv("KAVREL_DEVICE", "device", 1);
        EXPECT_EQ(Desktop::defaultDeviceFolder(), "device");
    });
}

TEST_F(DefaultDeviceFolder, IsOpenedByTheFirstUseAndToldOnStandardErrorWhenItCannotBe) {
    expect([] {
        testing::internal::CaptureStderr();
        EXPECT_EQ(SecItemCopyMatching(keyQuery("tag"), nullptr), -36);
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("$KAVREL_DEVICE"));
        static const TemporaryFolder temporary;
        ::setenv("KAVREL_DEVICE", (temporary.path() / "device").c_str(), 1);
        makePair("p");
        Desktop::openDevice(temporary.path() / "device");
        EXPECT_TRUE(pairWorks("p"));
    });
}

}  // namespace
}  // namespace KavrelCrypto
