#include <cstdio>

#include "platform/Foundation.hpp"

void KavrelCrypto::print(const std::string& line) {
    const std::string whole = line + "\n";
    // One call, so that the lines of several threads do not mix.
    static_cast<void>(std::fwrite(whole.data(), 1, whole.size(), stdout));
    static_cast<void>(std::fflush(stdout));
}
