#include "tests/browser/HostProcess.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <spawn.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tools/kavrel/JSON.hpp"

namespace KavrelCrypto {
HostProcess::HostProcess(std::string tarball) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::runtime_error("The system has no socket left for the browser device.");
    }
    const timeval minute{.tv_sec = 60, .tv_usec = 0};
    ::setsockopt(ends[0], SOL_SOCKET, SO_SNDTIMEO, &minute, sizeof minute);
    ::setsockopt(ends[0], SOL_SOCKET, SO_RCVTIMEO, &minute, sizeof minute);
    stream_.reset(::fdopen(ends[0], "r"));

    std::string node = "node";
    std::string script = HOST;
    std::array<char*, 4> arguments{node.data(), script.data(), tarball.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    const int problem = ::posix_spawnp(&process_, node.c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    if (problem != 0) {
        throw std::runtime_error("The browser device needs Node.js, as \"node\" on the PATH.");
    }
}

HostProcess::~HostProcess() {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
    std::free(line_);
}

JSValue HostProcess::ask(const JSObject& message) {
    const std::string question = Host::writeJSON(message) + '\n';
    const int socket = ::fileno(stream_.get());
    const bool asked = ::send(socket, question.data(), question.size(), MSG_NOSIGNAL) == std::ssize(question);
    const ssize_t length = asked ? ::getline(&line_, &capacity_, stream_.get()) : -1;
    if (length < 0) {
        const bool silent = errno == EAGAIN;
        // An answer that comes later would be taken for that to the next question.
        ::shutdown(socket, SHUT_RDWR);
        throw std::runtime_error(
            silent ? "The browser device has not answered for a minute."
                   : "The browser device's process is gone. Standard error says why, if it could.");
    }
    const JSValue answer = Host::parseJSON({line_, static_cast<std::size_t>(length)});
    const JSObject& reply = *answer.as<JSObject>();
    if (const JSValue* error = reply.find("error")) {
        throw std::runtime_error("The browser device failed at " + *error->as<std::string>() + '.');
    }
    return *reply.find("result");
}

}  // namespace KavrelCrypto
