#include "devices/desktop/FolderLock.hpp"

#include <cerrno>
#include <fcntl.h>
#include <future>
#include <sys/file.h>
#include <system_error>
#include <thread>

namespace KavrelCrypto::Desktop {
namespace {

constexpr int openingFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

using State = FolderLock::State;

State lock(const FileDescriptor& folder, int flags) {
    while (::flock(folder.number(), LOCK_EX | flags) != 0) {
        if (errno != EINTR) {
            return errno == EWOULDBLOCK ? State::heldByAnother : State::unavailable;
        }
    }
    return State::held;
}

/// Waits in the kernel's queue, which keeps the turns fair but knows no end of patience: so a thread stands
/// in it. One that nobody waits for any more gives the lock up as soon as it has it.
State waitForLock(const std::shared_ptr<const FileDescriptor>& folder, std::chrono::milliseconds limit) {
    std::packaged_task<State()> task([folder] { return lock(*folder, 0); });
    std::future<State> state = task.get_future();
    try {
        std::thread(std::move(task)).detach();
    } catch (const std::system_error&) {  // the system has no thread
        return lock(*folder, 0);
    }
    return state.wait_for(limit) == std::future_status::ready ? state.get() : State::heldByAnother;
}

}  // namespace

FileDescriptor openFolder(const std::filesystem::path& folder) {
    return FileDescriptor(::open(folder.c_str(), openingFlags));
}

FolderLock::FolderLock(const FileDescriptor& folder, std::chrono::milliseconds limit)
    : folder_(std::make_shared<FileDescriptor>(::openat(folder.number(), ".", openingFlags))),
      state_(lock(*folder_, LOCK_NB)) {
    if (state_ == State::heldByAnother && limit.count() > 0) {
        state_ = waitForLock(folder_, limit);
    }
}

FolderLock::~FolderLock() {
    if (state_ == State::held) {
        ::flock(folder_->number(), LOCK_UN);  // the thread that waited may not have let go of it yet
    }
}

}  // namespace KavrelCrypto::Desktop
