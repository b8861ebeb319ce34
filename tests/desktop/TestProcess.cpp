#include "tests/desktop/TestProcess.hpp"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <signal.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace KavrelCrypto {
namespace {

int exitStatus(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::array<int, 2> makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    return ends;
}

}  // namespace

Outcome run(const std::string& command) {
    FILE* pipe = ::popen(("{ " + command + "\n} 2>&1").c_str(), "re");
    if (pipe == nullptr) {
        throw std::runtime_error("no shell");
    }
    std::string output;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
        output += static_cast<char>(c);
    }
    return {exitStatus(::pclose(pipe)), output};
}

std::string quoted(const std::string& text) {
    std::string word = "'";
    for (const char c : text) {
        word += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return word + "'";
}

Worker::Worker(const std::vector<std::string>& arguments) {
    const std::array<int, 2> input = makePipe();
    const std::array<int, 2> output = makePipe();
    std::vector<std::string> words{WORKER};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDERR_FILENO);
    const int problem = ::posix_spawn(&process_, WORKER, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(input[0]);
    ::close(output[1]);
    input_ = input[1];
    output_ = output[0];
    if (problem != 0) {
        throw std::runtime_error("no worker at " WORKER);
    }
}

Worker::Worker(Worker&& other) noexcept
    : process_(std::exchange(other.process_, -1)),
      input_(std::exchange(other.input_, -1)),
      output_(std::exchange(other.output_, -1)) {}

Worker::~Worker() {
    if (process_ > 0) {
        kill();
    }
    letGo();
    if (output_ >= 0) {
        ::close(output_);
    }
}

void Worker::letGo() {
    if (input_ >= 0) {
        ::close(std::exchange(input_, -1));
    }
}

std::string Worker::readLines(std::size_t count) {
    letGo();
    std::string output;
    while (count > 0) {
        char c = 0;
        if (::read(output_, &c, 1) != 1) {
            throw std::runtime_error("the worker ended after " + output);
        }
        output += c;
        count -= c == '\n' ? 1 : 0;
    }
    return output;
}

void Worker::signal(int number) const {
    ::kill(process_, number);
}

std::string Worker::kill() {
    signal(SIGKILL);
    waitForEnd();
    return readAll();
}

std::string Worker::readAll() {
    std::string output;
    std::array<char, 4096> buffer{};
    for (ssize_t count = 1; count > 0;) {
        count = ::read(output_, buffer.data(), buffer.size());
        output.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return output;
}

int Worker::waitForEnd() {
    int status = 0;
    while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    return status;
}

Outcome Worker::finish() {
    letGo();
    Outcome outcome{};
    outcome.output = readAll();
    outcome.status = exitStatus(waitForEnd());
    return outcome;
}

HeldFolder::HeldFolder(const std::filesystem::path& folder)
    : descriptor_(::open(folder.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (::flock(descriptor_.number(), LOCK_EX) != 0) {
        throw std::runtime_error("no lock");
    }
}

void HeldFolder::waitForOthers(int count) const {
    struct stat status {};
    ::fstat(descriptor_.number(), &status);
    const std::string inode = ":" + std::to_string(status.st_ino) + " ";
    for (int found = 0; found < count;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        found = 0;
        std::ifstream locks("/proc/locks");
        for (std::string line; std::getline(locks, line);) {
            found += line.find("-> FLOCK") != std::string::npos && line.find(inode) != std::string::npos;
        }
    }
}

}  // namespace KavrelCrypto
