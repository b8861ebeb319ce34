#pragma once

#include <unistd.h>
#include <utility>

namespace KavrelCrypto::Desktop {

/// A file descriptor with an owner; negative if there is none.
class FileDescriptor {
  public:
    explicit FileDescriptor(int number) : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&&) = delete;
    ~FileDescriptor() {
        ::close(number_);
    }

    [[nodiscard]] int number() const {
        return number_;
    }

  private:
    int number_;
};

}  // namespace KavrelCrypto::Desktop
