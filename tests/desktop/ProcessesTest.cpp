// Several processes on one desktop device, processes that are killed, and a disk without room.

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <random>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>

#include "devices/desktop/FileDescriptor.hpp"
#include "tests/desktop/TestDevice.hpp"
#include "tests/desktop/TestProcess.hpp"

namespace KavrelCrypto {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

void expectSuccess(std::vector<Worker>& workers) {
    for (Worker& worker : workers) {
        worker.letGo();
    }
    for (Worker& worker : workers) {
        const Outcome outcome = worker.finish();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.output, "");
    }
}

void expectIntact(const std::filesystem::path& file) {
    EXPECT_EQ(select(file, "PRAGMA integrity_check"), std::vector<std::string>{"ok"});
}

/// A random moment after a worker was let go.
void waitAtMost(std::chrono::microseconds most, std::mt19937& random) {
    std::this_thread::sleep_for(most * (random() % 1000) / 1000);
}

/// A folder that is locked as a writer would, and as "flock -x" does.
class HeldFolder {
  public:
    explicit HeldFolder(const std::filesystem::path& folder)
        : descriptor_(::open(folder.c_str(), O_RDONLY | O_CLOEXEC)) {
        EXPECT_EQ(::flock(descriptor_.number(), LOCK_EX), 0);
    }

    /// Waits until this many others wait for the lock.
    void waitForOthers(int count) const {
        struct stat status {};
        ASSERT_EQ(::fstat(descriptor_.number(), &status), 0);
        const std::string inode = ":" + std::to_string(status.st_ino) + " ";
        for (int found = 0; found < count;) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            found = 0;
            std::ifstream locks("/proc/locks");
            for (std::string line; std::getline(locks, line);) {
                found += line.find("-> FLOCK") != std::string::npos && line.find(inode) != std::string::npos;
            }
        }
    }

  private:
    Desktop::FileDescriptor descriptor_;
};

class Processes : public testing::Test {
  protected:
    /// Lets twelve processes with this option open an empty folder at once, some times.
    void openEmptyFolders(const std::vector<std::string>& options) const {
        for (int round = 0; round < 8; ++round) {
            const std::filesystem::path device = temporary.path() / std::to_string(round);
            std::filesystem::create_directory(device);
            std::filesystem::permissions(device, std::filesystem::perms(0755));
            std::vector<std::string> words = options;
            words.insert(words.end(), {"open", device});
            std::vector<Worker> workers;
            for (int i = 0; i < 12; ++i) {
                workers.emplace_back(words);
            }
            expectSuccess(workers);
            expectIntact(device / "keychain.sqlite");
            for (const auto& entry : std::filesystem::directory_iterator(device)) {
                EXPECT_THAT(entry.path().filename().string(), StartsWith("keychain.sqlite"));
            }
        }
    }

    const TemporaryFolder temporary;
    const std::filesystem::path folder = temporary.path() / "device";
    const std::filesystem::path file = folder / "keychain.sqlite";
};

TEST_F(Processes, ThatOpenANewDeviceAtOnceShareOneKeychain) {
    for (int round = 0; round < 5; ++round) {
        const std::filesystem::path device = folder / std::to_string(round);
        std::vector<Worker> workers;
        for (int i = 0; i < 8; ++i) {
            workers.emplace_back(
                std::vector<std::string>{"generate", device, "of" + std::to_string(i) + "-", "1"});
        }
        expectSuccess(workers);
        Desktop::openDevice(device);
        for (int i = 0; i < 8; ++i) {
            EXPECT_TRUE(pairWorks("of" + std::to_string(i) + "-0"));
        }
    }
}

TEST_F(Processes, ThatGenerateAndDeleteAtOnceLoseNothing) {
    std::vector<Worker> workers;
    for (int i = 0; i < 4; ++i) {
        workers.emplace_back(
            std::vector<std::string>{"generate", folder, "of" + std::to_string(i) + "-", "25"});
    }
    for (int i = 0; i < 2; ++i) {
        workers.emplace_back(std::vector<std::string>{"rivals", folder, "shared", "25"});
    }
    expectSuccess(workers);
    Desktop::openDevice(folder);
    for (int i = 0; i < 4; ++i) {
        for (int pair = 0; pair < 25; ++pair) {
            EXPECT_TRUE(pairWorks("of" + std::to_string(i) + "-" + std::to_string(pair)));
        }
    }
    expectIntact(file);
    EXPECT_EQ(select(file, "SELECT count(*) FROM items WHERE kind = 4"),
              select(file, "SELECT count(*) FROM items WHERE kind = 5"));
}

TEST_F(Processes, ThatWaitToWriteTakeTurns) {
    Desktop::openDevice(folder);
    std::vector<Worker> workers;
    {
        const HeldFolder held(folder);
        for (int i = 0; i < 5; ++i) {
            workers.emplace_back(std::vector<std::string>{"count", folder}).letGo();
            held.waitForOthers(i + 1);
        }
    }
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(workers[static_cast<std::size_t>(i)].finish().output, std::to_string(i) + "\n");
    }
}

TEST_F(Processes, ThatWaitForOneThatHasStoppedSaySo) {
    const std::filesystem::path empty = temporary.path() / "empty";
    Desktop::openDevice(folder);
    std::filesystem::create_directory(empty);
    const HeldFolder held(folder);
    const HeldFolder heldEmpty(empty);
    Worker writing({"generate", folder, "p", "1"});
    Worker making({"open", empty});
    writing.letGo();
    EXPECT_EQ(Worker({"lookup", folder, "tag"}).finish().output, "-25300\n")
        << "who only reads does not wait";
    making.letGo();
    const std::string problem =
        "/keychain.sqlite is held by another process (database is locked). Wait until that one has "
        "finished, or end it, and try again.";
    EXPECT_THAT(writing.finish().output, HasSubstr(folder.string() + problem));
    EXPECT_EQ(making.finish().output, empty.string() + problem + "\n");
    EXPECT_TRUE(std::filesystem::is_empty(empty));
}

// The last one to leave moves the log into the file; who comes meanwhile must not take that for damage.
TEST_F(Processes, ThatComeAndGoFindAnIntactDevice) {
    std::vector<Worker> workers;
    for (int i = 0; i < 4; ++i) {
        const std::string name = "of" + std::to_string(i) + "-";
        workers.emplace_back(std::vector<std::string>{"visits", folder, name, "50", temporary.path() / name});
    }
    expectSuccess(workers);
    Desktop::openDevice(folder);
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(pairWorks("of" + std::to_string(i) + "-49"));
    }
}

TEST_F(Processes, SeeWhatAnotherOneStores) {
    Desktop::openDevice(folder);
    EXPECT_EQ(findKey("p0.private"), nullptr);
    EXPECT_EQ(Worker({"generate", folder, "p", "1"}).finish().status, 0);
    EXPECT_TRUE(pairWorks("p0"));
}

TEST_F(Processes, KilledAtAnyMomentLeaveBothHalvesOrNone) {
    Desktop::openDevice(folder);
    makePair("bystander");
    addPassword("bystander", "value");
    std::mt19937 random(1);
    for (int round = 0; round < 40; ++round) {
        const std::string prefix = "round" + std::to_string(round) + "-";
        Worker worker({"churn", folder, prefix});
        worker.waitForSign();
        waitAtMost(std::chrono::milliseconds(60), random);
        worker.kill();
    }
    Desktop::openDevice(folder);
    expectIntact(file);
    // Both halves of each pair are under one tag.
    EXPECT_EQ(
        select(file,
               "SELECT CAST(name AS TEXT) FROM items WHERE CAST(name AS TEXT) LIKE 'round%' GROUP BY name "
               "HAVING count(*) <> 2 OR count(DISTINCT kind) <> 2"),
        std::vector<std::string>{});
    EXPECT_NE(select(file, "SELECT count(*) FROM items WHERE CAST(name AS TEXT) LIKE 'round%'"),
              std::vector<std::string>{"0"})
        << "no worker lived long enough to store anything";
    EXPECT_TRUE(pairWorks("bystander"));
    EXPECT_EQ(SecItemCopyMatching(passwordQuery("bystander"), nullptr), errSecSuccess);
    EXPECT_NE(makePair("after"), nullptr);
}

TEST_F(Processes, KilledWhileTheyMakeADeviceLeaveOneThatOpens) {
    std::mt19937 random(2);
    for (int round = 0; round < 40; ++round) {
        const std::filesystem::path device = folder / std::to_string(round);
        Worker worker({"open", device});
        worker.letGo();
        waitAtMost(std::chrono::milliseconds(20), random);
        worker.kill();
        Desktop::openDevice(device);
        EXPECT_NE(makePair("p"), nullptr);
        EXPECT_TRUE(pairWorks("p"));
        for (const auto& entry : std::filesystem::directory_iterator(device)) {
            EXPECT_THAT(entry.path().filename().string(), StartsWith("keychain.sqlite"));
        }
    }
}

TEST_F(Processes, ThatOpenAnEmptyFolderAtOnceAreAllAccepted) {
    openEmptyFolders({});
}

TEST_F(Processes, ThatOpenAnEmptyFolderAtOnceAreAllAcceptedWhereItCannotBeLocked) {
    openEmptyFolders({"--no-locks"});
}

// The file as it is when a process was killed while it moved the log into the file: its first page has
// arrived, which tells of more pages than there are yet.
TEST_F(Processes, KilledWhileTheyMoveTheLogLeaveADeviceThatOpens) {
    const std::filesystem::path log = file.string() + "-wal";
    Desktop::openDevice(folder);
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
    Desktop::openDevice(folder);
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(pairWorks("p" + std::to_string(i)));
    }
    expectIntact(file);
}

class FullDisk : public Processes, public testing::WithParamInterface<const char*> {
  protected:
    FullDisk() {
        Desktop::openDevice(folder);
        makePair("bystander");
        outcome = Worker({GetParam(), "100000", "fill", folder, "p"}).finish();
        EXPECT_EQ(outcome.status, 0);
        made = std::stoi(outcome.output.substr(outcome.output.rfind("made ") + 5));
    }

    Outcome outcome;
    int made = 0;
};

TEST_P(FullDisk, IsToldWithTheFileAndTheWayOut) {
    const std::string problem = GetParam() == std::string("--disk-size")
                                    ? " cannot grow, because its disk is full (database or disk is full). "
                                      "Make room there and try again."
                                    : " cannot be read or written (disk I/O error). Check the disk that it "
                                      "is on, and your quota there.";
    const std::string code = GetParam() == std::string("--disk-size") ? "-34" : "-36";
    EXPECT_THAT(outcome.output, HasSubstr("desktop device: " + file.string() + problem + "\n"));
    EXPECT_THAT(outcome.output, HasSubstr("Error Domain=NSOSStatusErrorDomain Code=" + code + " \"" +
                                          file.string() + problem + "\""));
}

TEST_P(FullDisk, TakesNothingFromWhatWasStored) {
    EXPECT_GT(made, 0);
    for (int i = 0; i < made; ++i) {
        EXPECT_TRUE(pairWorks("p" + std::to_string(i))) << i;
    }
    EXPECT_TRUE(pairWorks("bystander"));
    expectIntact(file);
}

TEST_P(FullDisk, LeavesNothingHalfStored) {
    const std::string person = "p" + std::to_string(made);
    EXPECT_EQ(findKey(person + ".private"), nullptr);
    EXPECT_EQ(findKey(person + ".public"), nullptr);
    EXPECT_NE(makePair(person), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Kinds, FullDisk, testing::Values("--disk-size", "--file-limit"));

TEST_F(Processes, WithoutRoomForADeviceSaySo) {
    const Outcome outcome = Worker({"--file-limit", "1000", "open", temporary.path() / "new"}).finish();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.output,
                AllOf(HasSubstr((temporary.path() / "new").string()), HasSubstr("File too large")));
    EXPECT_TRUE(std::filesystem::is_empty(temporary.path() / "new"));
}

}  // namespace
}  // namespace KavrelCrypto
