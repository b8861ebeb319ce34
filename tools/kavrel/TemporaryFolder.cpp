#include "tools/kavrel/TemporaryFolder.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "tools/kavrel/CommandIO.hpp"

namespace KavrelCrypto::Host {

TemporaryFolder::TemporaryFolder(const std::string& beginning) : path_(beginning + ".XXXXXX") {
    if (::mkdtemp(path_.data()) == nullptr) {
        throw CommandError("\"" + path_ + "\" cannot be made: " + std::strerror(errno));
    }
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace KavrelCrypto::Host
