#include "tools/kavrel/TemporaryFolder.hpp"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "tools/kavrel/CommandIO.hpp"

namespace KavrelCrypto::Host {
namespace {

void remove(const std::string& path) {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

}  // namespace

TemporaryFolder::TemporaryFolder(const std::string& beginning) : path_(beginning + ".XXXXXX") {
    if (::mkdtemp(path_.data()) == nullptr) {
        throw CommandError("\"" + path_ + "\" cannot be created: " + std::strerror(errno));
    }
}

TemporaryFolder::~TemporaryFolder() {
    remove(path_);
}

void TemporaryFolder::removeWhenInterrupted() const {
    sigset_t interruptions;
    sigemptyset(&interruptions);
    sigaddset(&interruptions, SIGINT);
    sigaddset(&interruptions, SIGTERM);
    sigaddset(&interruptions, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &interruptions, nullptr);  // here, and in the threads that this one starts
    std::thread([path = path_, interruptions] {
        int signal = 0;
        sigwait(&interruptions, &signal);
        remove(path);
        pthread_sigmask(SIG_UNBLOCK, &interruptions, nullptr);
        std::raise(signal);
    }).detach();
}

}  // namespace KavrelCrypto::Host
