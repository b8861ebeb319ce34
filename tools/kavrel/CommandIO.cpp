#include "tools/kavrel/CommandIO.hpp"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace KavrelCrypto::Host {
namespace {

std::string readAll(std::FILE* file, const std::string& name) {
    std::string text;
    std::array<char, 65536> buffer{};
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), file)) {
        text.append(buffer.data(), count);
    }
    if (std::ferror(file) != 0) {
        throw CommandError(name + " cannot be read: " + std::strerror(errno));
    }
    return text;
}

}  // namespace

std::string readStandardInput() {
    return readAll(stdin, "standard input");
}

std::string readFile(const std::string& path) {
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen(path.c_str(), "re"),
                                                                  &std::fclose);
    if (!file) {
        throw CommandError("\"" + path + "\" cannot be opened: " + std::strerror(errno));
    }
    return readAll(file.get(), "\"" + path + "\"");
}

// The copy is kept clear of the three standard descriptors, one of which may be closed.
Output::Output(int others) : descriptor_(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
    if (descriptor_ == -1 || ::dup2(others, STDOUT_FILENO) == -1) {
        throw CommandError(std::string("standard output cannot be used: ") + std::strerror(errno));
    }
}

Output::~Output() {
    std::fflush(stdout);
    ::dup2(descriptor_, STDOUT_FILENO);
    ::close(descriptor_);
}

void Output::write(std::string_view text) const {
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor_, text.data(), text.size());
        if (count == -1) {
            throw CommandError(std::string("standard output cannot be written: ") + std::strerror(errno));
        }
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

}  // namespace KavrelCrypto::Host
