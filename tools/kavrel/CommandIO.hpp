#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

/// Input and output of the commands.
namespace KavrelCrypto::Host {

/// Thrown for a command line or an input that is wrong. `what()` is a sentence for people, which says what is
/// wrong, where, and what to do.
class CommandError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Owns an open file.
class FileDescriptor {
  public:
    /// Takes what open(2) returned, which is -1 if the file could not be opened.
    explicit FileDescriptor(int number) : number_(number) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor();

    [[nodiscard]] bool isOpen() const {
        return number_ != -1;
    }
    [[nodiscard]] int number() const {
        return number_;
    }

  private:
    int number_;
};

/// Occupies each standard descriptor that is closed with a file that can be used neither as input nor as
/// output. Otherwise the next file to be opened would get that descriptor, and be read or written by mistake.
void occupyStandardDescriptors();

/// Return all of standard input, or of the file at `path`. Throw CommandError if it cannot be read.
std::string readStandardInput();
std::string readFile(const std::string& path);

/// Gives `take` the file at `path` piece by piece. Throws CommandError if it cannot be read.
void readFile(const std::string& path, const std::function<void(std::string_view)>& take);

/// Reserves standard output for the command itself. While an Output lives, everything else that is written to
/// standard output (the component's console lines) goes to `others`, a file descriptor.
class Output {
  public:
    /// Throws CommandError if standard output is closed.
    explicit Output(int others);
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output();

    /// Writes all of `text`, and waits for the reader if need be. Throws CommandError if it cannot be
    /// written.
    void write(std::string_view text) const;

  private:
    FileDescriptor descriptor_;
};

}  // namespace KavrelCrypto::Host
