#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <unistd.h>
#include <utility>

namespace KavrelCrypto::Desktop {

/// A file descriptor with an owner; negative if there is none.
class FileDescriptor {
  public:
    explicit FileDescriptor(int number) : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&&) = delete;
    ~FileDescriptor() {
        ::close(number_);
    }

    [[nodiscard]] int number() const {
        return number_;
    }

  private:
    int number_;
};

/// Opens `folder` for a FolderLock.
FileDescriptor openFolder(const std::filesystem::path& folder);

/// Waits for the lock of a folder and holds it as long as it lives. Every change of a device is made under
/// its folder's lock, so that writers take turns: SQLite lets a writer that waits look again only now and
/// then, and processes that write without a pause could keep it waiting until it gives up. It is still SQLite
/// that keeps the changes apart. On a file system without such locks (NFS may have none) there are no fair
/// turns, and what a killed process has left of a keychain stays; nothing else is lost.
class FolderLock {
  public:
    enum class State {
        held,
        heldByAnother,  // for as long as this one had patience
        unavailable,    // the file system has no such locks
    };

    /// Two locks of one folder exclude each other, in one process as well.
    FolderLock(const FileDescriptor& folder, std::chrono::milliseconds limit);
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
    ~FolderLock();

    [[nodiscard]] State state() const {
        return state_;
    }

  private:
    std::shared_ptr<const FileDescriptor> folder_;  // opened for this lock alone
    State state_;
};

}  // namespace KavrelCrypto::Desktop
