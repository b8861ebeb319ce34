#include <cstdio>

#include "platform/Foundation.hpp"

namespace KavrelCrypto {

void print(const std::string& line) {
    // One write, so that the lines of several threads do not mix.
    const std::string whole = line + '\n';
    std::fwrite(whole.data(), 1, whole.size(), stdout);
}

}  // namespace KavrelCrypto
