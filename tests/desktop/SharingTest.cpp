// Several that use one desktop device at once: each has the keychain open for itself, as a process of its own
// would.

#include <csignal>
#include <future>
#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "devices/desktop/Keychain.hpp"
#include "tests/desktop/SystemTrouble.hpp"
#include "tests/desktop/TestDevice.hpp"

namespace KavrelCrypto {
namespace {

using Desktop::FolderLock;
using Desktop::Keychain;

class SharedDevice : public testing::Test {
  protected:
    const TemporaryFolder temporary;
    const std::filesystem::path folder = temporary.path() / "device";
};

struct NewDevice {
    bool isFolderThere;
    const char* refused;  // by the system
};

class NewSharedDevice : public SharedDevice, public testing::WithParamInterface<NewDevice> {
  protected:
    static constexpr int visitors = 8;
    static constexpr int visits = 5;

    /// Opens the keychain, stores a password and leaves, again and again. The last one to leave moves the log
    /// into the file; who comes meanwhile must not take that for damage.
    static void visit(const std::filesystem::path& device, int visitor) {
        for (int i = 0; i < visits; ++i) {
            const Desktop::Item item{Desktop::ItemKind::genericPassword,
                                     bytesOf(std::to_string(visitor) + " " + std::to_string(i)),
                                     Desktop::Accessibility::whenUnlocked, bytesOf("secret")};
            Keychain(device).add({&item, 1});
        }
    }
};

TEST_P(NewSharedDevice, IsMadeOnceAndLosesNothing) {
    const SystemTrouble trouble = refusing(GetParam().refused);
    for (int round = 0; round < 5; ++round) {
        const std::filesystem::path device = folder / std::to_string(round);
        if (GetParam().isFolderThere) {
            std::filesystem::create_directories(device);
            std::filesystem::permissions(device, std::filesystem::perms(0755));
        }
        std::vector<std::future<void>> all;
        for (int i = 0; i < visitors; ++i) {
            all.push_back(std::async(std::launch::async, [&device, i] { visit(device, i); }));
        }
        for (std::future<void>& each : all) {
            EXPECT_NO_THROW(each.get());
        }
        const std::filesystem::path file = device / "keychain.sqlite";
        EXPECT_EQ(select(file, "SELECT count(*) FROM items"), std::vector{std::to_string(visitors * visits)});
        EXPECT_EQ(select(file, "PRAGMA integrity_check"), std::vector<std::string>{"ok"});
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(device), {}), 1)
            << "something is left behind";
    }
}

INSTANTIATE_TEST_SUITE_P(Folders, NewSharedDevice,
                         testing::Values(NewDevice{false, ""}, NewDevice{true, ""},
                                         NewDevice{true, "flock"}));

// A signal ends no wait: whoever went on without the lock would not take turns.
TEST_F(SharedDevice, IsChangedInTurnsThatNoSignalEnds) {
    struct sigaction action {};
    action.sa_handler = [](int) {};  // and no SA_RESTART
    ASSERT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
    Desktop::openDevice(folder);
    std::mutex mutex;
    std::vector<int> turns;
    std::vector<std::future<void>> waiting;
    {
        const FolderLock held(Desktop::openFolder(folder), std::chrono::seconds(0));
        for (int i = 0; i < 5; ++i) {
            waiting.push_back(std::async(std::launch::async, [&, i] {
                const FolderLock lock(Desktop::openFolder(folder), std::chrono::minutes(1));
                const std::lock_guard guard(mutex);
                turns.push_back(lock.state() == FolderLock::State::held ? i : -1);
            }));
            waitForWaiters(folder, i + 1);
            if (i == 0) {
                for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
                    ::syscall(SYS_tgkill, ::getpid(), std::stoi(thread.path().filename()), SIGUSR1);
                }
                EXPECT_EQ(waiting[0].wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
            }
        }
    }
    waiting.clear();  // which waits for them
    EXPECT_THAT(turns, testing::ElementsAre(0, 1, 2, 3, 4));
}

TEST_F(SharedDevice, IsWaitedForEvenIfTheSystemHasNoThreadForThat) {
    Desktop::openDevice(folder);
    std::optional<FolderLock> held(std::in_place, Desktop::openFolder(folder), std::chrono::seconds(0));
    auto state = std::async(std::launch::async, [&] {
        const SystemTrouble trouble = withoutThreads();
        return FolderLock(Desktop::openFolder(folder), std::chrono::minutes(1)).state();
    });
    waitForWaiters(folder, 1);
    held.reset();
    EXPECT_EQ(state.get(), FolderLock::State::held);
}

using LongSharedDevice = SharedDevice;

// The waits take as long as the device's patience.
TEST_F(LongSharedDevice, ThatSomebodyKeepsSaysSo) {
    const std::filesystem::path empty = temporary.path() / "empty";
    std::filesystem::create_directory(empty);
    const FolderLock heldEmpty(Desktop::openFolder(empty), std::chrono::seconds(0));
    const std::string problem =
        "/keychain.sqlite is held by another process (database is locked). Wait until that one has "
        "finished, or end it, and try again.";
    const auto making = std::async(std::launch::async, [&] {
        EXPECT_EQ(messageOf([&] { const Keychain keychain(empty); }), empty.string() + problem);
        EXPECT_TRUE(std::filesystem::is_empty(empty));
    });
    Desktop::openDevice(folder);
    Desktop::changeDeviceState([&](Desktop::DeviceState&) {
        Keychain another(folder);
        EXPECT_EQ(another.state(), Desktop::DeviceState()) << "who only reads does not wait";
        EXPECT_EQ(messageOf([&] { another.reset(); }), folder.string() + problem);
    });
}

}  // namespace
}  // namespace KavrelCrypto
