#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

/// What the commands read and write.
namespace KavrelCrypto::Host {

/// A command line or an input that is wrong. `what()` is a sentence for people: what is wrong, where, and
/// what to do.
class CommandError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Owns an open file.
class FileDescriptor {
  public:
    /// `number` is what open(2) returned, -1 included.
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

/// Puts something that can be neither read nor written in the place of each standard descriptor that is
/// closed. Otherwise the next file to be opened would take that place, and be read or written by mistake.
void occupyStandardDescriptors();

/// Reads all of standard input, or of the file at `path`. Throws CommandError when it cannot be read.
std::string readStandardInput();
std::string readFile(const std::string& path);

/// Standard output, kept for what the command itself says. While it lives, whatever else is written to
/// standard output (the component's console lines) goes to `others`, a file descriptor.
class Output {
  public:
    /// Throws CommandError when standard output is closed.
    explicit Output(int others);
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output();

    /// Writes all of `text`, however long it takes. Throws CommandError when it cannot be written.
    void write(std::string_view text) const;

  private:
    FileDescriptor descriptor_;
};

}  // namespace KavrelCrypto::Host
