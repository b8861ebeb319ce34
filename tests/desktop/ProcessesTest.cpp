// Several processes on one desktop device, processes that are killed, and a disk without room.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <future>
#include <gmock/gmock.h>
#include <random>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

#include "devices/desktop/FolderLock.hpp"
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

class Processes : public testing::Test {
  protected:
    /// Lets eight processes with these options open a device at once, some times. Its folder is made by them,
    /// or is there and empty.
    void openAtOnce(bool isFolderThere, const std::vector<std::string>& options) const {
        for (int round = 0; round < 5; ++round) {
            const std::filesystem::path device = folder / std::to_string(round);
            if (isFolderThere) {
                std::filesystem::create_directories(device);
                std::filesystem::permissions(device, std::filesystem::perms(0755));
            }
            std::vector<Worker> workers;
            for (int i = 0; i < 8; ++i) {
                std::vector<std::string> words = options;
                words.insert(words.end(), {"generate", device, "of" + std::to_string(i) + "-", "1"});
                workers.emplace_back(words);
            }
            expectSuccess(workers);
            Desktop::openDevice(device);
            for (int i = 0; i < 8; ++i) {
                EXPECT_TRUE(pairWorks("of" + std::to_string(i) + "-0"));
            }
            expectNothingLeftBehind(device);
        }
    }

    static void expectNothingLeftBehind(const std::filesystem::path& device) {
        for (const auto& entry : std::filesystem::directory_iterator(device)) {
            EXPECT_THAT(entry.path().filename().string(), StartsWith("keychain.sqlite"));
        }
    }

    const TemporaryFolder temporary;
    const std::filesystem::path folder = temporary.path() / "device";
    const std::filesystem::path file = folder / "keychain.sqlite";
};

class LongProcesses : public Processes {};

TEST_F(Processes, ThatOpenANewDeviceAtOnceShareOneKeychain) {
    openAtOnce(false, {});
}

TEST_F(Processes, ThatOpenAnEmptyFolderAtOnceShareOneKeychain) {
    openAtOnce(true, {});
}

TEST_F(Processes, ThatOpenAnEmptyFolderAtOnceShareOneKeychainWhereItCannotBeLocked) {
    openAtOnce(true, {"--refuse", "flock"});
}

// Two of them come and go: the last one to leave moves the log into the file, and who comes meanwhile must
// not take that for damage.
TEST_F(Processes, ThatGenerateAndDeleteAtOnceLoseNothing) {
    std::vector<Worker> workers;
    for (int i = 0; i < 4; ++i) {
        std::vector<std::string> words{"generate", folder, "of" + std::to_string(i) + "-", "25"};
        if (i % 2 != 0) {
            words.push_back(temporary.path() / std::to_string(i));
        }
        workers.emplace_back(words);
    }
    for (int i = 0; i < 2; ++i) {
        workers.emplace_back(std::vector<std::string>{"replace", folder, "shared", "25"});
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

// A signal ends no wait: whoever went on without the lock would not take turns.
TEST_F(Processes, ThatWaitToWriteWaitOnAfterASignal) {
    struct sigaction action {};
    action.sa_handler = [](int) {};  // and no SA_RESTART
    ASSERT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
    Desktop::openDevice(folder);
    std::future<Desktop::FolderLock::State> state;
    {
        const HeldFolder held(folder);
        state = std::async(std::launch::async, [&] {
            return Desktop::FolderLock(Desktop::openFolder(folder), std::chrono::minutes(1)).state();
        });
        held.waitForOthers(1);
        for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
            ::syscall(SYS_tgkill, ::getpid(), std::stoi(thread.path().filename()), SIGUSR1);
        }
        EXPECT_EQ(state.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    }
    EXPECT_EQ(state.get(), Desktop::FolderLock::State::held);
}

// Its wait takes as long as the device's patience.
TEST_F(LongProcesses, ThatWaitForOneThatHasStoppedSaySo) {
    const std::filesystem::path empty = temporary.path() / "empty";
    std::filesystem::create_directory(empty);
    const HeldFolder heldEmpty(empty);
    Worker stopped({"hold", folder});
    EXPECT_EQ(stopped.readLines(1), "holding\n");
    stopped.signal(SIGSTOP);
    Worker writing({"generate", folder, "p", "1"});
    Worker making({"open", empty});
    writing.letGo();
    making.letGo();
    EXPECT_EQ(Worker({"lookup", folder, "tag"}).finish().output, "-25300\n")
        << "who only reads does not wait";
    const std::string problem =
        "/keychain.sqlite is held by another process (database is locked). Wait until that one has "
        "finished, or end it, and try again.";
    EXPECT_THAT(writing.finish().output, HasSubstr(folder.string() + problem));
    EXPECT_EQ(making.finish().output, empty.string() + problem + "\n");
    EXPECT_TRUE(std::filesystem::is_empty(empty));
    stopped.kill();  // as the sentence advises
    EXPECT_EQ(Worker({"generate", folder, "p", "1"}).finish().output, "");
}

TEST_F(Processes, KilledAtAnyMomentLeaveBothHalvesOrNone) {
    Desktop::openDevice(folder);
    makePair("bystander");
    addPassword("bystander", "value");
    std::mt19937 random(1);
    for (int round = 0; round < 20; ++round) {
        const std::string tag = "round" + std::to_string(round);
        Worker worker({"replace", folder, tag, "1000000"});
        worker.letGo();
        for (int i = 0; i < 10'000 && findKey(tag) == nullptr; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        waitAtMost(std::chrono::milliseconds(30), random);
        worker.kill();
    }
    Desktop::openDevice(folder);
    expectIntact(file);
    EXPECT_EQ(
        select(file,
               "SELECT CAST(name AS TEXT) FROM items WHERE CAST(name AS TEXT) LIKE 'round%' GROUP BY name "
               "HAVING count(*) <> 2 OR count(DISTINCT kind) <> 2"),
        std::vector<std::string>{});
    EXPECT_TRUE(pairWorks("bystander"));
    EXPECT_EQ(SecItemCopyMatching(passwordQuery("bystander"), nullptr), errSecSuccess);
    EXPECT_NE(makePair("after"), nullptr);
}

TEST_F(Processes, KilledWhileTheyMakeADeviceLeaveOneThatOpens) {
    std::mt19937 random(2);
    for (int round = 0; round < 20; ++round) {
        const std::filesystem::path device = folder / std::to_string(round);
        Worker worker({"open", device});
        worker.letGo();
        waitAtMost(std::chrono::milliseconds(20), random);
        worker.kill();
        Desktop::openDevice(device);
        EXPECT_NE(makePair("p"), nullptr);
        EXPECT_TRUE(pairWorks("p"));
        expectNothingLeftBehind(device);
    }
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

class FullDisk : public Processes, public testing::WithParamInterface<const char*> {};

TEST_P(FullDisk, IsToldWithTheWayOutAndTakesNothingFromWhatWasStored) {
    Desktop::openDevice(folder);
    makePair("bystander");
    const Outcome outcome = Worker({GetParam(), "100000", "generate", folder, "p", "100000"}).finish();
    const bool isDisk = GetParam() == std::string("--disk-size");
    const std::string problem =
        file.string() + (isDisk ? " cannot grow, because its disk is full (database or disk is full). Make "
                                  "room there and try again."
                                : " cannot be read or written (disk I/O error). Check the disk that it is "
                                  "on, and your quota there.");
    EXPECT_THAT(outcome.output, AllOf(HasSubstr("desktop device: " + problem + "\n"),
                                      HasSubstr(std::string("Error Domain=NSOSStatusErrorDomain Code=") +
                                                (isDisk ? "-34" : "-36") + " \"" + problem + "\"")));
    int made = 0;
    for (; findKey("p" + std::to_string(made) + ".private") != nullptr; ++made) {
        EXPECT_TRUE(pairWorks("p" + std::to_string(made))) << made;
    }
    EXPECT_GT(made, 0);
    EXPECT_EQ(select(file, "SELECT count(*) FROM items"), std::vector{std::to_string(2 * made + 2)})
        << "a half was stored";
    EXPECT_TRUE(pairWorks("bystander"));
    expectIntact(file);
    EXPECT_NE(makePair("p"), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Kinds, FullDisk, testing::Values("--disk-size", "--file-limit"));

}  // namespace
}  // namespace KavrelCrypto
