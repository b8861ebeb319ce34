#include "devices/desktop/Device.hpp"

#include <cstdlib>
#include <mutex>
#include <system_error>

#include "devices/desktop/Keychain.hpp"

namespace KavrelCrypto::Desktop {
namespace {

struct Current {
    std::mutex mutex;
    std::shared_ptr<Keychain> keychain;
};

Current& current() {
    static Current instance;
    return instance;
}

/// The value of an environment variable; empty when it is not set.
std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::shared_ptr<Keychain> openKeychain(const std::filesystem::path& folder) {
    if (folder.empty()) {
        throw DeviceError("The device's folder has no name. Name one.");
    }
    std::error_code problem;
    const std::filesystem::path path = std::filesystem::absolute(folder, problem);
    if (problem) {
        throw DeviceError(folder.string() + " cannot be found, because there is no working directory (" +
                          problem.message() + "). Change to a directory that exists, or give the full path.");
    }
    return std::make_shared<Keychain>(path.has_filename() ? path
                                                          : path.parent_path());  // no slash at the end
}

}  // namespace

std::shared_ptr<Keychain> currentKeychain() {
    const std::lock_guard lock(current().mutex);
    if (current().keychain == nullptr) {
        current().keychain = openKeychain(defaultDeviceFolder());
    }
    return current().keychain;
}

void prepareCurrentDevice() {
    current();
}

void openDevice(const std::filesystem::path& folder) {
    const std::lock_guard lock(current().mutex);
    current().keychain = openKeychain(folder);
}

std::filesystem::path defaultDeviceFolder() {
    if (const std::string folder = environment("KAVREL_DEVICE"); !folder.empty()) {
        return folder;
    }
    // A relative $XDG_DATA_HOME is to be ignored (XDG Base Directory Specification).
    if (const std::filesystem::path data = environment("XDG_DATA_HOME"); data.is_absolute()) {
        return data / "kavrel/device";
    }
    if (const std::string home = environment("HOME"); !home.empty()) {
        return std::filesystem::path(home) / ".local/share/kavrel/device";
    }
    throw DeviceError(
        "There is no place for a device, since neither $KAVREL_DEVICE nor $XDG_DATA_HOME nor $HOME is "
        "set. Set one of them, or name a folder.");
}

DeviceState deviceState() {
    return currentKeychain()->state();
}

void setDeviceState(const DeviceState& state) {
    changeDeviceState([&](DeviceState& present) { present = state; });
}

void changeDeviceState(const std::function<void(DeviceState&)>& change) {
    currentKeychain()->changeState(change);
}

void resetDevice() {
    currentKeychain()->reset();
}

}  // namespace KavrelCrypto::Desktop
