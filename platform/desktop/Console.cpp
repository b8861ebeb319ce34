#include <cstdio>

#include "platform/Foundation.hpp"

void KavrelCrypto::print(const std::string& line) {
    const std::string whole = line + "\n";
    // One call, so that the lines of several threads do not mix.
    std::fwrite(whole.data(), 1, whole.size(), stdout);
    std::fflush(stdout);
}
