#include <cstdio>

#include "platform/Foundation.hpp"

void KavrelCrypto::print(const std::string& line) {
    // Without a copy of the line, since this has to work without memory as well. The lock keeps the lines of
    // several threads apart.
    ::flockfile(stdout);
    static_cast<void>(std::fwrite(line.data(), 1, line.size(), stdout));
    static_cast<void>(std::fputc('\n', stdout));
    static_cast<void>(std::fflush(stdout));
    ::funlockfile(stdout);
}
