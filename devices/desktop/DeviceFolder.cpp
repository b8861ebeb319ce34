#include "devices/desktop/DeviceFolder.hpp"

#include <cerrno>
#include <dirent.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace KavrelCrypto::Desktop {
namespace {

namespace fs = std::filesystem;

struct stat fileStatus(const fs::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        throw systemFailure(path, "cannot be looked at", errno);
    }
    return status;
}

/// As makeFolder, whatever is there already.
void makeMissing(const fs::path& folder) {
    int systemError = ::mkdir(folder.c_str(), 0700) == 0 ? 0 : errno;
    if (systemError == ENOENT && folder.has_relative_path()) {
        makeMissing(folder.parent_path());
        systemError = ::mkdir(folder.c_str(), 0700) == 0 ? 0 : errno;
    }
    if (systemError != 0 && systemError != EEXIST) {
        throw systemFailure(folder, "cannot be created", systemError);
    }
}

}  // namespace

DeviceError systemFailure(const fs::path& path, const std::string& what, int systemError) {
    return DeviceError{path.string() + " " + what + " (" + std::generic_category().message(systemError) +
                       "). Check the path and the permissions, or choose another folder."};
}

void makeFolder(const fs::path& folder) {
    makeMissing(folder);
    if (!S_ISDIR(fileStatus(folder).st_mode)) {
        throw DeviceError(folder.string() + " is not a folder. Choose another path for the device.");
    }
    checkOwner(folder);
}

void checkOwner(const fs::path& path) {
    const uid_t owner = fileStatus(path).st_uid;
    if (owner != ::geteuid()) {
        throw DeviceError(
            path.string() + " belongs to another user (number " + std::to_string(owner) +
            "), and a device belongs to the user who runs it. Choose another folder, or run this "
            "as its owner.");
    }
}

// The directory iterator of GCC's standard library ends the process when it gets no memory.
bool anyNameIn(const fs::path& folder, const std::function<bool(std::string_view)>& isWanted) {
    const auto close = [](DIR* directory) { ::closedir(directory); };
    const std::unique_ptr<DIR, decltype(close)> directory(::opendir(folder.c_str()), close);
    if (directory == nullptr) {
        throw systemFailure(folder, "cannot be read", errno);
    }
    for (;;) {
        errno = 0;  // which tells a failure from the end
        const dirent* const entry = ::readdir(directory.get());
        if (entry == nullptr) {
            break;
        }
        const std::string_view name = entry->d_name;
        if (name != "." && name != ".." && isWanted(name)) {
            return true;
        }
    }
    if (errno != 0) {
        throw systemFailure(folder, "cannot be read", errno);
    }
    return false;
}

bool isOpenToOthers(const fs::path& folder) {
    return (fileStatus(folder).st_mode & 077) != 0;
}

void closeToOthers(const fs::path& folder) {
    if (isOpenToOthers(folder) && ::chmod(folder.c_str(), fileStatus(folder).st_mode & 0700) != 0) {
        throw systemFailure(folder, "is open to other people and cannot be closed to them", errno);
    }
}

}  // namespace KavrelCrypto::Desktop
