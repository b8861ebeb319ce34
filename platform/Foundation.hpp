#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What the component uses of Foundation: the error value, the console, and a way to stop the process.
namespace KavrelCrypto {

/// The user-info key under which an error carries its message.
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";

/// An error of the platform or of the component. It is a plain value, and it is what operations throw.
struct NSError {
    std::string domain;
    std::int64_t code = 0;
    /// Strings in UTF-8, in the order in which they were added.
    std::vector<std::pair<std::string, std::string>> userInfo{};
    /// The platform's own printed form of an error that the platform made. Empty for an error made here.
    std::string printedForm{};

    /// Returns the message under NSLocalizedDescriptionKey. Without one, returns Foundation's generic
    /// sentence: "The operation couldn’t be completed. (DOMAIN error CODE.)".
    [[nodiscard]] std::string localizedDescription() const;

    /// Returns the printed form for console lines: the platform's own if there is one, otherwise Foundation's
    /// `Error Domain=DOMAIN Code=CODE "MESSAGE" UserInfo={KEY=VALUE}`.
    [[nodiscard]] std::string description() const;

    friend bool operator==(const NSError&, const NSError&) = default;
};

/// Writes `line`, which is UTF-8 without a line feed, and a line feed to the console. What cannot be written
/// is lost without a word. Any thread may call, and lines do not mix. The device defines this.
void print(const std::string& line);

/// Stops the process: prints "precondition failed: " and `precondition`, which says what must hold, on
/// standard error, then aborts. It is for states that cannot arise in normal use, and nothing catches it.
[[noreturn]] void fatalError(std::string_view precondition);

}  // namespace KavrelCrypto
