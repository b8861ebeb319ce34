#include "tests/browser/HostProcess.hpp"

#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdexcept>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "tools/kavrel/JSON.hpp"

namespace KavrelCrypto {
namespace {

using Clock = std::chrono::steady_clock;

std::array<int, 2> makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("The system has no pipe left for the browser device.");
    }
    return ends;
}

/// Waits until `file` can be read or written, as `event` says.
void wait(int file, short event, Clock::time_point deadline) {
    pollfd descriptor{.fd = file, .events = event, .revents = 0};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        const int ready = left > 0 ? ::poll(&descriptor, 1, static_cast<int>(left)) : 0;
        if (ready == 0) {
            throw std::runtime_error("The browser device has not answered for a minute.");
        }
        if (ready > 0) {
            return;
        }
    }
}

[[noreturn]] void throwGone() {
    throw std::runtime_error("The browser device's process is gone. Standard error says why, if it could.");
}

}  // namespace

HostProcess::HostProcess(std::string tarball) {
    ::signal(SIGPIPE, SIG_IGN);  // a process that is gone is an error of the write
    const std::array<int, 2> input = makePipe();
    const std::array<int, 2> output = makePipe();
    std::string node = "node";
    std::string script = HOST;
    std::array<char*, 4> arguments{node.data(), script.data(), tarball.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    const int problem = ::posix_spawnp(&process_, node.c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(input[0]);
    ::close(output[1]);
    input_ = input[1];
    output_ = output[0];
    ::fcntl(input_, F_SETFL, O_NONBLOCK);
    if (problem != 0) {
        process_ = -1;
        end();
        throw std::runtime_error("The browser device needs Node.js, as \"node\" on the PATH.");
    }
}

HostProcess::~HostProcess() {
    end();
}

JSValue HostProcess::ask(const JSObject& message) {
    JSValue answer;
    try {
        answer = Host::parseJSON(answerTo(Host::writeJSON(message) + '\n'));
    } catch (...) {
        end();
        throw;
    }
    const JSObject& reply = *answer.as<JSObject>();
    if (const JSValue* error = reply.find("error")) {
        throw std::runtime_error("The browser device failed at " + *error->as<std::string>() + '.');
    }
    return *reply.find("result");
}

/// Writes `line` and returns the line that the process writes then.
std::string HostProcess::answerTo(std::string line) {
    if (process_ < 0) {
        throwGone();
    }
    const auto deadline = Clock::now() + std::chrono::minutes(1);
    for (std::string_view left = line; !left.empty();) {
        wait(input_, POLLOUT, deadline);
        const ssize_t count = ::write(input_, left.data(), left.size());
        if (count < 0 && errno != EAGAIN && errno != EINTR) {
            throwGone();
        }
        left.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    std::string answer;
    std::array<char, 65536> buffer{};
    while (!answer.ends_with('\n')) {
        wait(output_, POLLIN, deadline);
        const ssize_t count = ::read(output_, buffer.data(), buffer.size());
        if (count == 0 || (count < 0 && errno != EINTR)) {
            throwGone();
        }
        answer.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return answer;
}

void HostProcess::end() {
    for (int* const file : {&input_, &output_}) {
        if (*file >= 0) {
            ::close(std::exchange(*file, -1));
        }
    }
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
        }
        process_ = -1;
    }
}

}  // namespace KavrelCrypto
