#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace KavrelCrypto {

/// A folder that exists as long as the object does.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "kavrel-test-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        path_ = name;
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    [[nodiscard]] const std::filesystem::path& path() const {
        return path_;
    }

  private:
    std::filesystem::path path_;
};

}  // namespace KavrelCrypto
