#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace KavrelCrypto::Desktop {

/// Writes a file through to its disk. Returns false, with the reason in errno, if that failed.
inline bool syncFile(int descriptor) {
#ifdef F_FULLFSYNC  // fsync of macOS leaves the content in the disk's own memory
    if (::fcntl(descriptor, F_FULLFSYNC) == 0) {
        return true;
    }  // not every file system can do that
#endif
    return ::fsync(descriptor) == 0;
}

}  // namespace KavrelCrypto::Desktop
