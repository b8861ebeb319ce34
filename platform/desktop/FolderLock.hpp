#pragma once

#include <filesystem>

#include "platform/desktop/FileDescriptor.hpp"

namespace KavrelCrypto::Desktop {

/// Opens `folder` for a FolderLock.
FileDescriptor openFolder(const std::filesystem::path& folder);

/// Waits for the lock of a folder and holds it as long as it lives. Every change of a device is made under
/// its folder's lock, so that writers take turns: SQLite lets a writer that waits look again only now and
/// then, and processes that write without a pause could keep it waiting until it gives up. It is still SQLite
/// that keeps the changes apart, so on a file system without such locks (NFS has none for folders) nothing is
/// lost but the fair turns.
class FolderLock {
  public:
    /// `folder` must outlive this object. Two descriptors of one folder exclude each other if each was opened
    /// on its own.
    explicit FolderLock(const FileDescriptor& folder);
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
    ~FolderLock();

  private:
    const FileDescriptor& folder_;
};

}  // namespace KavrelCrypto::Desktop
