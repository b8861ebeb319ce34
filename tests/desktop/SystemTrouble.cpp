#include "tests/desktop/SystemTrouble.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <dirent.h>
#include <dlfcn.h>
#include <pthread.h>
#include <sqlite3.h>
#include <stdexcept>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KavrelCrypto {
namespace {

std::atomic<const char*> refusedCall = "";
std::atomic<int> refused = 0;

/// Whether the system refuses `call`, and with which error.
bool refuses(std::string_view call, int error) {
    if (refusedCall.load() != call) {
        return false;
    }
    ++refused;
    errno = error;
    return true;
}

template <typename Function>
Function* ofLibrary(Function*, const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

void require(bool success) {
    if (!success) {
        throw std::logic_error("the system gives no such trouble");
    }
}

off_t diskSize = 0;

ssize_t writeToDisk(int file, const void* data, std::size_t count, off_t offset) {
    if (offset + static_cast<off_t>(count) > diskSize) {
        errno = ENOSPC;
        return -1;
    }
    return ::pwrite(file, data, count, offset);
}

/// SQLite lets tests replace the system calls that it makes.
void writeWith(decltype(&writeToDisk) function) {
    sqlite3_vfs* vfs = sqlite3_vfs_find(nullptr);
    for (const char* name : {"pwrite", "pwrite64"}) {
        vfs->xSetSystemCall(vfs, name, reinterpret_cast<sqlite3_syscall_ptr>(function));
    }
}

}  // namespace

SystemTrouble refusing(const char* call) {
    refused = 0;
    refusedCall = call;
    return SystemTrouble([] { refusedCall = ""; });
}

int refusals() {
    return refused;
}

SystemTrouble withFileLimit(rlim_t bytes) {
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limit{std::min(bytes, before.rlim_max), before.rlim_max};
    require(::setrlimit(RLIMIT_FSIZE, &limit) == 0);
    return SystemTrouble([before] { ::setrlimit(RLIMIT_FSIZE, &before); });
}

SystemTrouble withDiskFor(off_t bytes) {
    diskSize = bytes;
    writeWith(writeToDisk);
    return SystemTrouble([] { writeWith(nullptr); });
}

SystemTrouble withoutThreads() {
    pthread_attr_t before;
    ::pthread_getattr_default_np(&before);
    pthread_attr_t huge = before;
    require(::pthread_attr_setstacksize(&huge, std::size_t{1} << 50) == 0 &&
            ::pthread_setattr_default_np(&huge) == 0);
    return SystemTrouble([before] { ::pthread_setattr_default_np(&before); });
}

SystemTrouble asNobody() {
    constexpr uid_t nobody = 65534;
    const uid_t before = ::geteuid();
    require(before != 0 || ::seteuid(nobody) == 0);
    return SystemTrouble([before] { require(::seteuid(before) == 0); });
}

}  // namespace KavrelCrypto

// In the place of the C library's.

extern "C" int chmod(const char* path, mode_t mode) noexcept {
    using namespace KavrelCrypto;
    return refuses("chmod", EPERM) ? -1 : ofLibrary(chmod, "chmod")(path, mode);
}

extern "C" int flock(int file, int operation) noexcept {
    using namespace KavrelCrypto;
    return refuses("flock", ENOLCK) ? -1 : ofLibrary(flock, "flock")(file, operation);
}

extern "C" int link(const char* from, const char* to) noexcept {
    using namespace KavrelCrypto;
    return refuses("link", EPERM) ? -1 : ofLibrary(link, "link")(from, to);
}

extern "C" dirent* readdir(DIR* directory) {
    using namespace KavrelCrypto;
    return refuses("readdir", EIO) ? nullptr : ofLibrary(readdir, "readdir")(directory);
}

extern "C" int fsync(int file) {
    using namespace KavrelCrypto;
    struct stat status {};
    ::fstat(file, &status);
    const char* call = S_ISDIR(status.st_mode) ? "fsync folder" : "fsync file";
    return refuses(call, EIO) ? -1 : ofLibrary(fsync, "fsync")(file);
}
