#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace KavrelCrypto {

struct Outcome {
    int status;  // as the shell has it: 0 to 255, or -1 when a signal ended the process
    std::string output;
};

/// Runs a shell command; its output is standard output and standard error together.
Outcome run(const std::string& command);

/// `text` as one word of a shell command.
std::string quoted(const std::string& text);

/// The worker program, started; it waits until it is let go. What is still running is killed at the end.
class Worker {
  public:
    explicit Worker(const std::vector<std::string>& arguments);
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    Worker(Worker&& other) noexcept;
    ~Worker();

    void letGo();

    /// Lets it go and waits until it says something.
    void waitForSign();

    /// SIGKILL, and waits until the process is gone.
    void kill();

    /// Lets it go and waits for its end.
    Outcome finish();

  private:
    int waitForEnd();

    pid_t process_ = -1;
    int input_ = -1;
    int output_ = -1;
};

}  // namespace KavrelCrypto
