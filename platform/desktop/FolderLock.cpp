#include "platform/desktop/FolderLock.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

namespace KavrelCrypto::Desktop {

FileDescriptor openFolder(const std::filesystem::path& folder) {
    return FileDescriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

FolderLock::FolderLock(const FileDescriptor& folder) : folder_(folder) {
    while (::flock(folder_.number(), LOCK_EX) != 0 && errno == EINTR) {
    }
}

FolderLock::~FolderLock() {
    ::flock(folder_.number(), LOCK_UN);
}

}  // namespace KavrelCrypto::Desktop
