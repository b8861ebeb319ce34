#pragma once

#include <string>

namespace KavrelCrypto::Host {

/// A folder of a new name, for its owner's eyes only, which is removed with all that is in it.
class TemporaryFolder {
  public:
    /// Makes the folder: its path is `beginning`, a dot, and characters that make it unique. Throws
    /// CommandError.
    explicit TemporaryFolder(const std::string& beginning);
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    /// From now on the folder is removed also when the process is told to end (SIGINT, SIGTERM, SIGHUP),
    /// which then ends as it would have. To be called before any other thread is started.
    void removeWhenInterrupted() const;

    [[nodiscard]] const std::string& path() const {
        return path_;
    }

  private:
    std::string path_;
};

}  // namespace KavrelCrypto::Host
