#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <sys/types.h>

#include "platform/Capacitor.hpp"

namespace KavrelCrypto {

/// The process of Node.js in which the browser device lives: host.mjs. It is ended with the object, or when
/// this process ends in any other way.
class HostProcess {
  public:
    /// Starts the process with the package in `tarball`. Throws std::runtime_error if there is no Node.js.
    explicit HostProcess(std::string tarball);
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;
    ~HostProcess();

    /// Has the process do the operation that `message` describes, and returns its result. Throws
    /// std::runtime_error if the operation fails, if the process is gone, or if it has not answered within a
    /// minute.
    JSValue ask(const JSObject& message);

  private:
    pid_t process_ = -1;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream_{nullptr, &std::fclose};
    char* line_ = nullptr;  // the last one that was read, which getline allocates
    std::size_t capacity_ = 0;
};

}  // namespace KavrelCrypto
