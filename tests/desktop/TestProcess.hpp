#pragma once

#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

#include "devices/desktop/FileDescriptor.hpp"

namespace KavrelCrypto {

struct Outcome {
    int status;  // 0 to 255, or -1 if a signal ended the process
    std::string output;
};

/// Runs a shell command. The output is standard output and standard error together.
Outcome run(const std::string& command);

/// Returns `text` as one word of a shell command.
std::string quoted(const std::string& text);

/// A running worker program, which waits until it is let go. A worker that still runs is killed by the
/// destructor.
class Worker {
  public:
    explicit Worker(const std::vector<std::string>& arguments);
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    Worker(Worker&& other) noexcept;
    ~Worker();

    void letGo();

    /// Lets it go and waits for this many lines of output, which it returns.
    std::string readLines(std::size_t count);

    /// Sends it a signal that does not end it.
    void signal(int number) const;

    /// Kills the process and waits until it is gone. Returns the output that has not been read.
    std::string kill();

    /// Lets it go and waits for its end.
    Outcome finish();

  private:
    std::string readAll();
    int waitForEnd();

    pid_t process_ = -1;
    int input_ = -1;
    int output_ = -1;
};

/// A folder that is locked as a writer would, and as "flock -x" does.
class HeldFolder {
  public:
    explicit HeldFolder(const std::filesystem::path& folder);

    /// Waits until this many others wait for the lock.
    void waitForOthers(int count) const;

  private:
    Desktop::FileDescriptor descriptor_;
};

}  // namespace KavrelCrypto
