// What a second process does to a device while a test looks on. It starts when its standard input ends.
//
//   desktop_device_worker [OPTION…] JOB FOLDER [ARGUMENT…]
//
// FOLDER may be empty: then the device is the default one, opened by the first use. Of the options, --refuse
// CALL lets the system refuse a call to this process: "chmod", "flock", "link", "readdir", "fsync file" or
// "fsync folder". The others are --as-nobody, --no-threads, --no-working-folder, --file-limit BYTES and
// --disk-size BYTES.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <dlfcn.h>
#include <grp.h>
#include <iostream>
#include <map>
#include <set>
#include <sqlite3.h>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "devices/desktop/Device.hpp"
#include "devices/desktop/Sensor.hpp"
#include "platform/Security.hpp"
#include "text/Bytes.hpp"

using namespace KavrelCrypto;

namespace {

using Words = std::vector<std::string>;

void require(bool condition, const std::string& what) {
    if (!condition) {
        std::cerr << "the worker cannot do this: " << what << std::endl;
        std::_Exit(2);
    }
}

// The jobs. Each takes what follows its name, and returns the exit status.

/// Makes a pair of P-256 keys; says why not on standard output.
bool makePair(const std::string& privateTag, const std::string& publicTag) {
    const auto half = [](const std::string& tag) {
        return CFDictionary{{kSecAttrIsPermanent, true}, {kSecAttrApplicationTag, bytesOf(tag)}};
    };
    std::optional<NSError> error;
    const SecKeyRef key = SecKeyCreateRandomKey({{kSecAttrKeyType, kSecAttrKeyTypeECSECPrimeRandom},
                                                 {kSecAttrKeySizeInBits, std::int64_t{256}},
                                                 {kSecPrivateKeyAttrs, half(privateTag)},
                                                 {kSecPublicKeyAttrs, half(publicTag)}},
                                                &error);
    if (key == nullptr) {
        std::cout << (error ? error->description() : "no error") << std::endl;
    }
    return key != nullptr;
}

/// generate FOLDER PREFIX COUNT [ELSEWHERE]: pairs under PREFIX0.private, PREFIX0.public, PREFIX1.private, …
/// Turns to the device ELSEWHERE after each of them.
int generate(const Words& words) {
    for (int i = 0; i < std::stoi(words.at(3)); ++i) {
        const std::string person = words.at(2) + std::to_string(i);
        if (!makePair(person + ".private", person + ".public")) {
            return 1;
        }
        if (words.size() > 4) {
            Desktop::openDevice(words.at(4));
            Desktop::openDevice(words.at(1));
        }
    }
    return 0;
}

/// replace FOLDER TAG COUNT: a pair, both halves under TAG, and then another one in its place, and so on.
int replace(const Words& words) {
    for (int i = 0; i < std::stoi(words.at(3)); ++i) {
        const OSStatus status =
            SecItemDelete({{kSecClass, kSecClassKey}, {kSecAttrApplicationTag, bytesOf(words.at(2))}});
        if ((status != errSecSuccess && status != errSecItemNotFound) ||
            !makePair(words.at(2), words.at(2))) {
            return 1;
        }
    }
    return 0;
}

/// count FOLDER: adds one to the number of failed prompts, and prints what it was.
int count(const Words&) {
    Desktop::changeDeviceState(
        [](Desktop::DeviceState& state) { std::cout << state.failedPrompts++ << std::endl; });
    return 0;
}

/// hold FOLDER: says that it begins to change the state of the device, and takes ten minutes for it.
int hold(const Words&) {
    Desktop::changeDeviceState([](Desktop::DeviceState&) {
        std::cout << "holding" << std::endl;
        std::this_thread::sleep_for(std::chrono::minutes(10));
    });
    return 0;
}

/// lookup FOLDER TAG: the status of looking the key up.
int lookup(const Words& words) {
    std::cout << SecItemCopyMatching(
                     {{kSecClass, kSecClassKey}, {kSecAttrApplicationTag, bytesOf(words.at(2))}}, nullptr)
              << std::endl;
    return 0;
}

/// prompt FOLDER: ends while a prompt is still being answered; the answer must find everything it needs.
int prompt(const Words&) {
    Desktop::answerPromptsWith([](const std::string&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        return Desktop::PromptAnswer::noMatch;
    });
    evaluatePolicy(
        makeLAContext(), LAPolicy::deviceOwnerAuthenticationWithBiometrics, "reason",
        [](bool, const std::optional<NSError>& error) { print("answered " + std::to_string(error->code)); });
    return 0;
}

/// print FOLDER THREADS LINES: console lines from many threads.
int printMany(const Words& words) {
    std::vector<std::thread> threads;
    for (int i = 0; i < std::stoi(words.at(2)); ++i) {
        threads.emplace_back([&, i] {
            for (int line = 0; line < std::stoi(words.at(3)); ++line) {
                print(std::string(500, static_cast<char>('a' + i)));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return 0;
}

const std::map<std::string, int (*)(const Words&)> jobs{
    {"generate", generate}, {"replace", replace},
    {"count", count},       {"hold", hold},
    {"lookup", lookup},     {"prompt", prompt},
    {"print", printMany},   {"open", [](const Words&) { return 0; }}};

// The options. Each takes the word behind it, which most leave alone.

std::set<std::string>& refused() {
    static std::set<std::string> calls;
    return calls;
}

void becomeNobody() {
    constexpr unsigned nobody = 65534;
    require(
        ::getuid() != 0 || (::setgroups(0, nullptr) == 0 && ::setgid(nobody) == 0 && ::setuid(nobody) == 0),
        "become nobody");
}

void setLimit(__rlimit_resource resource, rlim_t most) {
    rlimit limit{};
    ::getrlimit(resource, &limit);
    limit.rlim_cur = std::min(most, limit.rlim_max);
    require(::setrlimit(resource, &limit) == 0, "set a limit");
}

/// Lets the system refuse to make threads until the process ends, when a sanitizer may want one. It never
/// refuses them to root.
void forbidThreads() {
    std::atexit([] { setLimit(RLIMIT_NPROC, RLIM_INFINITY); });
    setLimit(RLIMIT_NPROC, 0);
}

void removeWorkingFolder() {
    std::string name = "/tmp/kavrel-test-XXXXXX";
    require(::mkdtemp(name.data()) != nullptr && ::chdir(name.c_str()) == 0 && ::rmdir(name.c_str()) == 0,
            "remove the working folder");
}

/// How large a file of the database may become until the disk is full.
off_t diskSize = 0;

ssize_t writeToDisk(int file, const void* data, std::size_t count, off_t offset) {
    if (offset + static_cast<off_t>(count) > diskSize) {
        errno = ENOSPC;
        return -1;
    }
    return ::pwrite(file, data, count, offset);
}

/// Puts a full disk under SQLite, which lets tests replace the system calls that it makes.
void limitDisk(off_t bytes) {
    diskSize = bytes;
    sqlite3_initialize();
    sqlite3_vfs* vfs = sqlite3_vfs_find(nullptr);
    for (const char* name : {"pwrite", "pwrite64"}) {
        vfs->xSetSystemCall(vfs, name, reinterpret_cast<sqlite3_syscall_ptr>(writeToDisk));
    }
}

const std::map<std::string, void (*)()> options{{"--as-nobody", becomeNobody},
                                                {"--no-threads", forbidThreads},
                                                {"--no-working-folder", removeWorkingFolder}};
const std::map<std::string, void (*)(const std::string& value)> optionsWithValue{
    {"--refuse", [](const std::string& call) { refused().insert(call); }},
    {"--file-limit", [](const std::string& bytes) { setLimit(RLIMIT_FSIZE, std::stoul(bytes)); }},
    {"--disk-size", [](const std::string& bytes) { limitDisk(std::stol(bytes)); }}};

/// Takes the options out of `words` and does what they say.
void obeyOptions(Words& words) {
    while (words.at(0).starts_with("--")) {
        if (options.contains(words.at(0))) {
            options.at(words.at(0))();
        } else {
            optionsWithValue.at(words.at(0))(words.at(1));
            words.erase(words.begin());
        }
        words.erase(words.begin());
    }
}

/// Whether the system refuses `call`, and with which error.
bool refuses(const char* call, int error) {
    if (!refused().contains(call)) {
        return false;
    }
    errno = error;
    return true;
}

template <typename Function>
Function* ofLibrary(Function*, const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

// In the place of the C library's.

extern "C" int chmod(const char* path, mode_t mode) noexcept {
    return refuses("chmod", EPERM) ? -1 : ofLibrary(chmod, "chmod")(path, mode);
}

extern "C" int flock(int file, int operation) noexcept {
    return refuses("flock", ENOLCK) ? -1 : ofLibrary(flock, "flock")(file, operation);
}

extern "C" int link(const char* from, const char* to) noexcept {
    return refuses("link", EPERM) ? -1 : ofLibrary(link, "link")(from, to);
}

extern "C" dirent* readdir(DIR* directory) {
    return refuses("readdir", EIO) ? nullptr : ofLibrary(readdir, "readdir")(directory);
}

extern "C" int fsync(int file) {
    struct stat status {};
    ::fstat(file, &status);
    const char* call = S_ISDIR(status.st_mode) ? "fsync folder" : "fsync file";
    if (refuses(call, EIO)) {
        std::cout << "refused " << call << std::endl;
        return -1;
    }
    return ofLibrary(fsync, "fsync")(file);
}

int main(int argc, char** argv) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // no worker outlives its test, however that ends
    Words words(argv + 1, argv + argc);
    while (std::cin.get() != EOF) {
    }
    obeyOptions(words);
    try {
        if (!words.at(1).empty()) {
            Desktop::openDevice(words.at(1));
        }
        return jobs.at(words.at(0))(words);
    } catch (const Desktop::DeviceError& failure) {
        std::cout << failure.what() << std::endl;
        return 3;
    }
}
