#pragma once

#include <functional>
#include <sys/resource.h>
#include <sys/types.h>
#include <utility>

namespace KavrelCrypto {

/// Trouble that this process has with the system. It ends with the object.
class [[nodiscard]] SystemTrouble {
  public:
    explicit SystemTrouble(std::function<void()> end) : end_(std::move(end)) {}
    SystemTrouble(const SystemTrouble&) = delete;
    SystemTrouble& operator=(const SystemTrouble&) = delete;
    ~SystemTrouble() {
        end_();
    }

  private:
    std::function<void()> end_;
};

/// The system refuses a call: "chmod", "flock", "link", "readdir", "fsync file" or "fsync folder".
SystemTrouble refusing(const char* call);

/// Returns how many calls have been refused since `refusing`.
int refusals();

/// The system lets no file grow beyond this many bytes.
SystemTrouble withFileLimit(rlim_t bytes);

/// The disk under SQLite has no room for files of more bytes.
SystemTrouble withDiskFor(off_t bytes);

/// The system has no memory for the stack of another thread.
SystemTrouble withoutThreads();

/// The process lacks the rights of root, which would read and write everything. One that is not started by
/// root stays as it is.
SystemTrouble asNobody();

}  // namespace KavrelCrypto
