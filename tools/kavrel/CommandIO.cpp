#include "tools/kavrel/CommandIO.hpp"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace KavrelCrypto::Host {
namespace {

/// Repeats `transfer`, a read or a write on `descriptor`, until it has moved some bytes, has met the end of
/// the file (0) or has failed (-1). Whoever opened the descriptor may have set it not to block, so this waits
/// for `event`.
template <typename Transfer>
ssize_t transferWhenReady(int descriptor, short event, Transfer transfer) {
    while (true) {
        const ssize_t count = transfer();
        if (count != -1 || (errno != EAGAIN && errno != EINTR)) {
            return count;
        }
        if (errno == EAGAIN) {
            pollfd wanted{.fd = descriptor, .events = event, .revents = 0};
            ::poll(&wanted, 1, -1);
        }
    }
}

void readAll(int descriptor, const std::string& name, const std::function<void(std::string_view)>& take) {
    std::array<char, 65536> buffer{};
    while (true) {
        const ssize_t count = transferWhenReady(
            descriptor, POLLIN, [&] { return ::read(descriptor, buffer.data(), buffer.size()); });
        if (count == -1) {
            throw CommandError(name + " cannot be read: " + std::strerror(errno));
        }
        if (count == 0) {
            return;
        }
        take({buffer.data(), static_cast<std::size_t>(count)});
    }
}

bool isOpenForWriting(int descriptor) {
    const int flags = ::fcntl(descriptor, F_GETFL);
    return flags != -1 && (flags & O_ACCMODE) != O_RDONLY;
}

}  // namespace

FileDescriptor::~FileDescriptor() {
    if (isOpen()) {
        ::close(number_);
    }
}

void occupyStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) == -1) {
            // This number is the lowest one that is free, so the file gets it. It is opened for the wrong
            // direction.
            ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

std::string readStandardInput() {
    std::string text;
    readAll(STDIN_FILENO, "standard input", [&](std::string_view piece) { text += piece; });
    return text;
}

std::string readFile(const std::string& path) {
    std::string text;
    readFile(path, [&](std::string_view piece) { text += piece; });
    return text;
}

void readFile(const std::string& path, const std::function<void(std::string_view)>& take) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) {
        throw CommandError("\"" + path + "\" cannot be opened: " + std::strerror(errno));
    }
    readAll(file.number(), "\"" + path + "\"", take);
}

Output::Output(int others) : descriptor_(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)) {
    if (!descriptor_.isOpen() || !isOpenForWriting(STDOUT_FILENO)) {
        throw CommandError("standard output is closed, so there is nowhere to write the result.");
    }
    if (::dup2(others, STDOUT_FILENO) == -1) {
        throw CommandError(std::string("standard output cannot be redirected: ") + std::strerror(errno));
    }
}

Output::~Output() {
    std::fflush(stdout);
    ::dup2(descriptor_.number(), STDOUT_FILENO);
}

void Output::write(std::string_view text) const {
    while (!text.empty()) {
        const ssize_t count = transferWhenReady(descriptor_.number(), POLLOUT, [&] {
            return ::write(descriptor_.number(), text.data(), text.size());
        });
        if (count == -1) {
            throw CommandError(std::string("standard output cannot be written: ") + std::strerror(errno));
        }
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

}  // namespace KavrelCrypto::Host
