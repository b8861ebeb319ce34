#include "platform/desktop/FolderLock.hpp"

#include <cerrno>
#include <sys/file.h>

namespace KavrelCrypto::Desktop {

FolderLock::FolderLock(const FileDescriptor& folder) : folder_(folder) {
    while (::flock(folder_.number(), LOCK_EX) != 0 && errno == EINTR) {
    }
}

FolderLock::~FolderLock() {
    ::flock(folder_.number(), LOCK_UN);
}

}  // namespace KavrelCrypto::Desktop
