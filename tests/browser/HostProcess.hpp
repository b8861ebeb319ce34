#pragma once

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
    /// minute; then it is ended too.
    JSValue ask(const JSObject& message);

  private:
    std::string answerTo(std::string line);
    void end();

    pid_t process_ = -1;
    int input_ = -1;
    int output_ = -1;
};

}  // namespace KavrelCrypto
