#include "tools/kavrel/Prompt.hpp"

#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <unistd.h>
#include <utility>

#include "devices/desktop/Sensor.hpp"
#include "tools/kavrel/CommandIO.hpp"

namespace KavrelCrypto::Host {
namespace {

using Desktop::PromptAnswer;

/// The terminal of the process, wherever its standard input and output lead.
class Terminal {
  public:
    [[nodiscard]] bool isThere() const {
        return descriptor_.isOpen();
    }

    /// Shows `question` and returns the line that the person types, without its line feed; nothing at the end
    /// of the file.
    [[nodiscard]] std::optional<std::string> ask(const std::string& question) const {
        ::dprintf(descriptor_.number(), "%s", question.c_str());
        std::string line;
        char character = 0;
        while (::read(descriptor_.number(), &character, 1) == 1) {
            if (character == '\n') {
                return line;
            }
            line += character;
        }
        return std::nullopt;
    }

  private:
    const FileDescriptor descriptor_{::open("/dev/tty", O_RDWR | O_CLOEXEC)};
};

std::optional<PromptAnswer> answerNamed(const std::string& name) {
    if (name == "m" || name == "match") {
        return PromptAnswer::match;
    }
    if (name == "n" || name == "no-match") {
        return PromptAnswer::noMatch;
    }
    if (name == "c" || name == "cancel") {
        return PromptAnswer::cancel;
    }
    return std::nullopt;
}

/// There is one prompt at a time, since each command waits for its call to end.
Desktop::PromptAnswerer askOn(std::shared_ptr<Terminal> terminal) {
    return [terminal = std::move(terminal)](const std::string& reason) {
        std::string question = "Biometric prompt: " + reason + "\n";
        while (true) {
            const auto line = terminal->ask(question + "Type m (match), n (no-match) or c (cancel): ");
            if (!line) {
                return PromptAnswer::cancel;
            }
            if (const auto answer = answerNamed(*line)) {
                return *answer;
            }
            question.clear();
        }
    };
}

PromptAnswer cancelUnasked(const std::string& reason) {
    std::fprintf(stderr,
                 "kavrel: there is no terminal to show the biometric prompt \"%s\" on, so it was cancelled. "
                 "Give --prompt match to answer it.\n",
                 reason.c_str());
    return PromptAnswer::cancel;
}

}  // namespace

void answerPrompts(const std::optional<std::string>& how) {
    if (how && how != "ask") {
        Desktop::answerPromptsWith(
            [answer = answerNamed(*how).value()](const std::string&) { return answer; });
        return;
    }
    auto terminal = std::make_shared<Terminal>();
    const bool personIsThere = ::isatty(STDIN_FILENO) == 1 || ::isatty(STDERR_FILENO) == 1;
    if (terminal->isThere() && (how || personIsThere)) {
        Desktop::answerPromptsWith(askOn(std::move(terminal)));
    } else if (how) {
        throw CommandError(
            "--prompt ask needs a terminal, and there is none. Give --prompt match, no-match or cancel.");
    } else {
        Desktop::answerPromptsWith(cancelUnasked);
    }
}

}  // namespace KavrelCrypto::Host
