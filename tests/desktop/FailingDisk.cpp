#include "tests/desktop/FailingDisk.hpp"

#include <atomic>
#include <fstream>
#include <map>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace KavrelCrypto::FailingDisk {
namespace {

sqlite3_vfs* disk = nullptr;  // the system's
sqlite3_vfs failingDisk;
std::string folder;

Fault fault = Fault::once;
long remaining = -1;
long failed = 0;
std::map<std::string, std::vector<char>> unsynced;  // the files, as they were when they were last synced

/// A file that SQLite has opened. The system's handle of it lies behind it.
struct File {
    sqlite3_file base;
    const char* path;  // SQLite's, which outlives this; null for a file that never fails

    sqlite3_file* real() {
        return reinterpret_cast<sqlite3_file*>(this + 1);
    }
    const sqlite3_io_methods* methods() {
        return real()->pMethods;
    }
};

File* of(sqlite3_file* file) {
    return reinterpret_cast<File*>(file);
}

const char* ifInFolder(const char* path) {
    return path != nullptr && std::string_view(path).starts_with(folder) ? path : nullptr;
}

/// Counts one operation on the file at `path`; true if it is to fail.
bool fails(const char* path, bool takesRoom = false) {
    if (path == nullptr || remaining < 0 || (fault == Fault::full && !takesRoom)) {
        return false;
    }
    if (remaining > 0) {
        --remaining;
        return false;
    }
    if (fault == Fault::once && failed > 0) {
        return false;
    }
    ++failed;
    return true;
}

int codeOf(int code) {
    return fault == Fault::full ? SQLITE_FULL : code;
}

/// Keeps the file as it is, before the first change since it was synced.
int remember(File* file) {
    if (file->path == nullptr || unsynced.count(file->path) > 0) {
        return SQLITE_OK;
    }
    sqlite3_int64 size = 0;
    int code = file->methods()->xFileSize(file->real(), &size);
    std::vector<char> content(static_cast<std::size_t>(size));
    if (code == SQLITE_OK && size > 0) {
        code = file->methods()->xRead(file->real(), content.data(), static_cast<int>(size), 0);
    }
    unsynced.emplace(file->path, std::move(content));
    return code;
}

/// An operation that never fails of its own.
template <auto Method, typename... Arguments>
auto pass(sqlite3_file* file, Arguments... arguments) {
    return (of(file)->methods()->*Method)(of(file)->real(), arguments...);
}

int readFile(sqlite3_file* file, void* data, int count, sqlite3_int64 offset) {
    return fails(of(file)->path) ? SQLITE_IOERR_READ
                                 : of(file)->methods()->xRead(of(file)->real(), data, count, offset);
}

int writeFile(sqlite3_file* file, const void* data, int count, sqlite3_int64 offset) {
    if (const int code = remember(of(file)); code != SQLITE_OK) {
        return code;
    }
    const bool isCut = fails(of(file)->path, true);
    // Half of a write that fails reaches the file.
    const int code = of(file)->methods()->xWrite(of(file)->real(), data, isCut ? count / 2 : count, offset);
    return isCut ? codeOf(SQLITE_IOERR_WRITE) : code;
}

int truncateFile(sqlite3_file* file, sqlite3_int64 size) {
    if (fails(of(file)->path)) {
        return SQLITE_IOERR_TRUNCATE;
    }
    const int code = remember(of(file));
    return code == SQLITE_OK ? of(file)->methods()->xTruncate(of(file)->real(), size) : code;
}

// The system need not sync anything, since no power is really cut. That saves time. As on macOS, less than a
// full sync leaves the content in the disk's own memory.
int syncFile(sqlite3_file* file, int flags) {
    if (fails(of(file)->path)) {
        return SQLITE_IOERR_FSYNC;
    }
    if (of(file)->path != nullptr && (flags & SQLITE_SYNC_FULL) == SQLITE_SYNC_FULL) {
        unsynced.erase(of(file)->path);
    }
    return SQLITE_OK;
}

int sizeOfFile(sqlite3_file* file, sqlite3_int64* size) {
    return fails(of(file)->path) ? SQLITE_IOERR_FSTAT
                                 : of(file)->methods()->xFileSize(of(file)->real(), size);
}

int mapShared(sqlite3_file* file, int page, int size, int extend, void volatile** memory) {
    return fails(of(file)->path, true)
               ? codeOf(SQLITE_IOERR_SHMMAP)
               : of(file)->methods()->xShmMap(of(file)->real(), page, size, extend, memory);
}

const sqlite3_io_methods methods = {
    .iVersion = 2,
    .xClose = pass<&sqlite3_io_methods::xClose>,
    .xRead = readFile,
    .xWrite = writeFile,
    .xTruncate = truncateFile,
    .xSync = syncFile,
    .xFileSize = sizeOfFile,
    .xLock = pass<&sqlite3_io_methods::xLock>,
    .xUnlock = pass<&sqlite3_io_methods::xUnlock>,
    .xCheckReservedLock = pass<&sqlite3_io_methods::xCheckReservedLock>,
    .xFileControl = pass<&sqlite3_io_methods::xFileControl>,
    .xSectorSize = pass<&sqlite3_io_methods::xSectorSize>,
    .xDeviceCharacteristics = pass<&sqlite3_io_methods::xDeviceCharacteristics>,
    .xShmMap = mapShared,
    .xShmLock = pass<&sqlite3_io_methods::xShmLock>,
    .xShmBarrier = pass<&sqlite3_io_methods::xShmBarrier>,
    .xShmUnmap = pass<&sqlite3_io_methods::xShmUnmap>,
    .xFetch = nullptr,
    .xUnfetch = nullptr,
};

int openFile(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    file->pMethods = nullptr;
    of(file)->path = ifInFolder(name);
    if (fails(of(file)->path)) {
        return SQLITE_CANTOPEN;
    }
    const int code = disk->xOpen(disk, name, of(file)->real(), flags, outFlags);
    if (of(file)->methods() != nullptr) {
        file->pMethods = &methods;
    }
    return code;
}

int deleteFile(sqlite3_vfs*, const char* name, int isSynced) {
    if (fails(ifInFolder(name))) {
        return SQLITE_IOERR_DELETE;
    }
    unsynced.erase(name);
    return disk->xDelete(disk, name, isSynced);
}

}  // namespace

void install(const std::filesystem::path& newFolder) {
    folder = newFolder.string();
    sqlite3_initialize();
    disk = sqlite3_vfs_find(nullptr);
    failingDisk = *disk;
    failingDisk.zName = "failing disk";
    failingDisk.szOsFile = static_cast<int>(sizeof(File)) + disk->szOsFile;
    failingDisk.xOpen = openFile;
    failingDisk.xDelete = deleteFile;
    if (sqlite3_vfs_register(&failingDisk, 1) != SQLITE_OK) {
        throw std::logic_error("the failing disk cannot be installed");
    }
}

void failAfter(long count, Fault newFault) {
    fault = newFault;
    failed = 0;
    remaining = count;
}

long failures() {
    return failed;
}

void repair() {
    if (fault == Fault::powerCut && failed > 0) {
        for (const auto& [path, content] : unsynced) {
            std::ofstream(path, std::ios::binary)
                .write(content.data(), static_cast<std::streamsize>(content.size()));
        }
        unsynced.clear();
    }
    remaining = -1;
}

}  // namespace KavrelCrypto::FailingDisk
