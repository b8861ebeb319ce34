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

/// A file of the folder that SQLite has opened.
struct OpenFile {
    std::string path;
    const sqlite3_io_methods* system;
    sqlite3_io_methods failing;
};
std::map<sqlite3_file*, OpenFile> openFiles;

bool isInFolder(const char* path) {
    return path != nullptr && std::string_view(path).starts_with(folder);
}

const sqlite3_io_methods& systemOf(sqlite3_file* file) {
    return *openFiles.at(file).system;
}

/// Counts one operation on a file of the folder; true if it is to fail.
bool fails(bool takesRoom = false) {
    if (remaining < 0 || (fault == Fault::full && !takesRoom)) {
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
int remember(sqlite3_file* file) {
    const std::string& path = openFiles.at(file).path;
    if (unsynced.count(path) > 0) {
        return SQLITE_OK;
    }
    sqlite3_int64 size = 0;
    int code = systemOf(file).xFileSize(file, &size);
    std::vector<char> content(static_cast<std::size_t>(size));
    if (code == SQLITE_OK && size > 0) {
        code = systemOf(file).xRead(file, content.data(), static_cast<int>(size), 0);
    }
    unsynced.emplace(path, std::move(content));
    return code;
}

int readFile(sqlite3_file* file, void* data, int count, sqlite3_int64 offset) {
    return fails() ? SQLITE_IOERR_READ : systemOf(file).xRead(file, data, count, offset);
}

int writeFile(sqlite3_file* file, const void* data, int count, sqlite3_int64 offset) {
    if (const int code = remember(file); code != SQLITE_OK) {
        return code;
    }
    const bool isCut = fails(true);
    // Half of a write that fails reaches the file.
    const int code = systemOf(file).xWrite(file, data, isCut ? count / 2 : count, offset);
    return isCut ? codeOf(SQLITE_IOERR_WRITE) : code;
}

int truncateFile(sqlite3_file* file, sqlite3_int64 size) {
    if (fails()) {
        return SQLITE_IOERR_TRUNCATE;
    }
    const int code = remember(file);
    return code == SQLITE_OK ? systemOf(file).xTruncate(file, size) : code;
}

// The system need not sync anything, since no power is really cut. That saves time. As on macOS, less than a
// full sync leaves the content in the disk's own memory.
int syncFile(sqlite3_file* file, int flags) {
    if (fails()) {
        return SQLITE_IOERR_FSYNC;
    }
    if ((flags & SQLITE_SYNC_FULL) == SQLITE_SYNC_FULL) {
        unsynced.erase(openFiles.at(file).path);
    }
    return SQLITE_OK;
}

int sizeOfFile(sqlite3_file* file, sqlite3_int64* size) {
    return fails() ? SQLITE_IOERR_FSTAT : systemOf(file).xFileSize(file, size);
}

int mapShared(sqlite3_file* file, int page, int size, int extend, void volatile** memory) {
    return fails(true) ? codeOf(SQLITE_IOERR_SHMMAP)
                       : systemOf(file).xShmMap(file, page, size, extend, memory);
}

int closeFile(sqlite3_file* file) {
    const int code = systemOf(file).xClose(file);
    openFiles.erase(file);
    return code;
}

int openFile(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    if (!isInFolder(name)) {
        return disk->xOpen(disk, name, file, flags, outFlags);
    }
    file->pMethods = nullptr;
    if (fails()) {
        return SQLITE_CANTOPEN;
    }
    const int code = disk->xOpen(disk, name, file, flags, outFlags);
    if (file->pMethods != nullptr) {
        OpenFile& opened = openFiles[file] = {name, file->pMethods, *file->pMethods};
        opened.failing.iVersion = 2;  // no reading by mapped memory, which would not be counted
        opened.failing.xClose = closeFile;
        opened.failing.xRead = readFile;
        opened.failing.xWrite = writeFile;
        opened.failing.xTruncate = truncateFile;
        opened.failing.xSync = syncFile;
        opened.failing.xFileSize = sizeOfFile;
        opened.failing.xShmMap = mapShared;
        file->pMethods = &opened.failing;
    }
    return code;
}

int deleteFile(sqlite3_vfs*, const char* name, int isSynced) {
    if (isInFolder(name) && fails()) {
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
