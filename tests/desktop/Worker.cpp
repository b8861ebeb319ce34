// What a second process does to a device while a test looks on. It starts when its standard input ends.
//
//   desktop_device_worker [OPTION…] JOB FOLDER [ARGUMENT…]
//
// FOLDER may be empty: then the device is the default one, opened by the first use. The options say what the
// system refuses to this process: --as-nobody, --keep-modes, --no-listing, --no-locks, --no-threads,
// --no-working-folder, --file-limit BYTES and --disk-size BYTES.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <iostream>
#include <sqlite3.h>
#include <string>
#include <sys/file.h>
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

using Arguments = std::vector<std::string>;

std::string folder;

/// Makes a pair of P-256 keys; says why not on standard output.
bool generate(const std::string& privateTag, const std::string& publicTag) {
    const CFDictionary privateHalf{{kSecAttrIsPermanent, true},
                                   {kSecAttrApplicationTag, bytesOf(privateTag)}};
    const CFDictionary publicHalf{{kSecAttrIsPermanent, true}, {kSecAttrApplicationTag, bytesOf(publicTag)}};
    std::optional<NSError> error;
    const SecKeyRef key = SecKeyCreateRandomKey({{kSecAttrKeyType, kSecAttrKeyTypeECSECPrimeRandom},
                                                 {kSecAttrKeySizeInBits, std::int64_t{256}},
                                                 {kSecPrivateKeyAttrs, privateHalf},
                                                 {kSecPublicKeyAttrs, publicHalf}},
                                                &error);
    if (key == nullptr) {
        std::cout << (error ? error->description() : "no error") << std::endl;
    }
    return key != nullptr;
}

OSStatus removeKeys(const std::string& tag) {
    return SecItemDelete({{kSecClass, kSecClassKey}, {kSecAttrApplicationTag, bytesOf(tag)}});
}

/// generate FOLDER PREFIX COUNT: pairs under PREFIX0.private, PREFIX0.public, PREFIX1.private, …
int generateMany(const Arguments& arguments) {
    for (int i = 0; i < std::stoi(arguments.at(1)); ++i) {
        const std::string person = arguments.at(0) + std::to_string(i);
        if (!generate(person + ".private", person + ".public")) {
            return 1;
        }
    }
    return 0;
}

/// fill FOLDER PREFIX: pairs as above until one fails; tells how many were made.
int fill(const Arguments& arguments) {
    int made = 0;
    while (generate(arguments.at(0) + std::to_string(made) + ".private",
                    arguments.at(0) + std::to_string(made) + ".public")) {
        ++made;
    }
    std::cout << "made " << made << std::endl;
    return 0;
}

/// churn FOLDER PREFIX: for ever a pair, both halves under the tag PREFIX0, PREFIX1, …, and the pair before
/// it deleted. Says when it begins.
int churn(const Arguments& arguments) {
    std::cout << "begun" << std::endl;
    for (int i = 0;; ++i) {
        const std::string tag = arguments.at(0) + std::to_string(i);
        if (!generate(tag, tag) ||
            (i > 0 && removeKeys(arguments.at(0) + std::to_string(i - 1)) != errSecSuccess)) {
            return 1;
        }
    }
}

/// rivals FOLDER TAG COUNT: deletes and makes a pair under the same tag as other processes do.
int rivals(const Arguments& arguments) {
    for (int i = 0; i < std::stoi(arguments.at(1)); ++i) {
        const OSStatus status = removeKeys(arguments.at(0));
        if ((status != errSecSuccess && status != errSecItemNotFound) ||
            !generate(arguments.at(0), arguments.at(0))) {
            return 1;
        }
    }
    return 0;
}

/// count FOLDER: adds one to the number of failed prompts, and prints what it was.
int count(const Arguments&) {
    Desktop::changeDeviceState(
        [](Desktop::DeviceState& state) { std::cout << state.failedPrompts++ << std::endl; });
    return 0;
}

/// visits FOLDER PREFIX COUNT ELSEWHERE: as generate, and turns to the device ELSEWHERE after each pair.
int visit(const Arguments& arguments) {
    for (int i = 0; i < std::stoi(arguments.at(1)); ++i) {
        const std::string person = arguments.at(0) + std::to_string(i);
        Desktop::openDevice(folder);
        if (!generate(person + ".private", person + ".public")) {
            return 1;
        }
        Desktop::openDevice(arguments.at(2));
    }
    return 0;
}

/// lookup FOLDER TAG: the status of looking the key up.
int lookup(const Arguments& arguments) {
    std::cout << SecItemCopyMatching(
                     {{kSecClass, kSecClassKey}, {kSecAttrApplicationTag, bytesOf(arguments.at(0))}}, nullptr)
              << std::endl;
    return 0;
}

/// prompt FOLDER: ends while a prompt is still being answered; the answer must find everything it needs.
int prompt(const Arguments&) {
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
int printMany(const Arguments& arguments) {
    std::vector<std::thread> threads;
    for (int i = 0; i < std::stoi(arguments.at(0)); ++i) {
        threads.emplace_back([&, i] {
            for (int line = 0; line < std::stoi(arguments.at(1)); ++line) {
                print(std::string(500, static_cast<char>('a' + i)));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return 0;
}

int open(const Arguments&) {
    return 0;
}

int work(const std::string& job, const Arguments& arguments) {
    const std::vector<std::pair<std::string, int (*)(const Arguments&)>> jobs{{"generate", generateMany},
                                                                              {"fill", fill},
                                                                              {"churn", churn},
                                                                              {"rivals", rivals},
                                                                              {"visits", visit},
                                                                              {"lookup", lookup},
                                                                              {"prompt", prompt},
                                                                              {"print", printMany},
                                                                              {"open", open},
                                                                              {"count", count}};
    for (const auto& [name, function] : jobs) {
        if (name == job) {
            return function(arguments);
        }
    }
    std::cerr << "no such job: " << job << std::endl;
    return 2;
}

void becomeNobody() {
    constexpr unsigned nobody = 65534;
    if (::getuid() == 0 && (::setgroups(0, nullptr) != 0 || ::setgid(nobody) != 0 || ::setuid(nobody) != 0)) {
        std::cerr << "cannot become nobody" << std::endl;
        std::exit(2);
    }
}

void setMostThreads(rlim_t count) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NPROC, &limit);
    limit.rlim_cur = std::min(count, limit.rlim_max);
    if (::setrlimit(RLIMIT_NPROC, &limit) != 0) {
        std::cerr << "cannot limit threads" << std::endl;
        std::_Exit(2);
    }
}

/// Lets the system refuse to make threads until the process ends, when a sanitizer may want one. It never
/// refuses them to root.
void forbidThreads() {
    std::atexit([] { setMostThreads(RLIM_INFINITY); });
    setMostThreads(0);
}

void removeWorkingFolder() {
    std::string name = "/tmp/kavrel-test-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr || ::chdir(name.c_str()) != 0 || ::rmdir(name.c_str()) != 0) {
        std::cerr << "cannot remove the working folder" << std::endl;
        std::exit(2);
    }
}

void limitFiles(rlim_t bytes) {
    const rlimit limit{bytes, bytes};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) {
        std::cerr << "cannot limit files" << std::endl;
        std::exit(2);
    }
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

/// Whether the mode of a file cannot be changed, as on file systems that have none.
bool keepsModes = false;

/// Whether folders cannot be locked, as on network file systems that have no such locks.
bool hasNoLocks = false;

/// Whether what is in a folder cannot be read, as on a disk with a fault.
bool hasNoListing = false;

}  // namespace

// In the place of the C library's.
extern "C" int chmod(const char* path, mode_t mode) noexcept {
    if (keepsModes) {
        errno = EPERM;
        return -1;
    }
    return ::fchmodat(AT_FDCWD, path, mode, 0);
}

extern "C" int flock(int file, int operation) noexcept {
    static const auto system = reinterpret_cast<int (*)(int, int)>(::dlsym(RTLD_NEXT, "flock"));
    if (hasNoLocks) {
        errno = ENOLCK;
        return -1;
    }
    return system(file, operation);
}

extern "C" dirent* readdir(DIR* directory) {
    static const auto system = reinterpret_cast<dirent* (*)(DIR*)>(::dlsym(RTLD_NEXT, "readdir"));
    if (hasNoListing) {
        errno = EIO;
        return nullptr;
    }
    return system(directory);
}

namespace {

/// Takes the first option, with its value, out of `words` and does what it says.
void obey(Arguments& words) {
    const auto take = [&] {
        std::string word = words.at(0);
        words.erase(words.begin());
        return word;
    };
    const std::string option = take();
    if (option == "--as-nobody") {
        becomeNobody();
    } else if (option == "--keep-modes") {
        keepsModes = true;
    } else if (option == "--no-listing") {
        hasNoListing = true;
    } else if (option == "--no-locks") {
        hasNoLocks = true;
    } else if (option == "--no-threads") {
        forbidThreads();
    } else if (option == "--no-working-folder") {
        removeWorkingFolder();
    } else if (option == "--file-limit") {
        limitFiles(std::stoul(take()));
    } else if (option == "--disk-size") {
        limitDisk(std::stol(take()));
    } else {
        std::cerr << "no such option: " << option << std::endl;
        std::exit(2);
    }
}

}  // namespace

int main(int argc, char** argv) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // no worker outlives its test, however that ends
    Arguments words(argv + 1, argv + argc);
    while (std::cin.get() != EOF) {
    }
    while (words.at(0).starts_with("--")) {
        obey(words);
    }
    try {
        folder = words.at(1);
        if (!folder.empty()) {
            Desktop::openDevice(folder);
        }
        return work(words.at(0), {words.begin() + 2, words.end()});
    } catch (const Desktop::DeviceError& failure) {
        std::cout << failure.what() << std::endl;
        return 3;
    }
}
