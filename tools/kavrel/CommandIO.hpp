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

/// All of standard input, or of the file at `path`. Throws CommandError when it cannot be read.
std::string readStandardInput();
std::string readFile(const std::string& path);

/// Standard output, kept for what the command itself says. While it lives, whatever else is written to
/// standard output (the component's console lines) goes to `others`, a file descriptor.
class Output {
  public:
    explicit Output(int others);
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output();

    /// Throws CommandError when the text cannot be written.
    void write(std::string_view text) const;

  private:
    int descriptor_;
};

}  // namespace KavrelCrypto::Host
