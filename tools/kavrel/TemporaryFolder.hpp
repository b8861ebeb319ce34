#pragma once

#include <string>

namespace KavrelCrypto::Host {

/// A new folder that only its owner can read. It is removed together with its contents.
class TemporaryFolder {
  public:
    /// Creates the folder. Its path is `beginning`, a dot, and characters that make it unique. Throws
    /// CommandError if it cannot be created.
    explicit TemporaryFolder(const std::string& beginning);
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    /// From now on, SIGINT, SIGTERM and SIGHUP remove the folder before they end the process. Must be called
    /// before any other thread is started.
    void removeWhenInterrupted() const;

    [[nodiscard]] const std::string& path() const {
        return path_;
    }

  private:
    std::string path_;
};

}  // namespace KavrelCrypto::Host
