#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What the component uses of Foundation: the error value, the console, and the way to stop.
namespace KavrelCrypto {

/// The user-info key under which an error carries its message.
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";

/// An error of the platform or of the component: a plain value, copied freely, and what operations throw.
struct NSError {
    std::string domain;
    std::int64_t code = 0;
    /// Texts in UTF-8, in the order in which they were put.
    std::vector<std::pair<std::string, std::string>> userInfo{};
    /// How the platform itself prints an error that it made. Empty for an error made here.
    std::string printedForm{};

    /// The text under NSLocalizedDescriptionKey; without one, the sentence that Foundation words for the
    /// domain and the code: "The operation couldn’t be completed. (DOMAIN error CODE.)".
    [[nodiscard]] std::string localizedDescription() const;

    /// The printed form for console lines: the platform's own where there is one, else as Foundation words
    /// it: `Error Domain=DOMAIN Code=CODE "TEXT" UserInfo={KEY=TEXT}`.
    [[nodiscard]] std::string description() const;

    friend bool operator==(const NSError&, const NSError&) = default;
};

/// Writes one console line and its line feed. The device defines it; any thread may call it, and lines do
/// not mix. `line` is UTF-8 without a line feed. Never fails.
void print(const std::string& line);

/// Stops the process: prints "precondition failed: " and `precondition`, which says what must hold, on
/// standard error, then aborts. It is for states that cannot arise in normal use, and nothing catches it.
[[noreturn]] void fatalError(std::string_view precondition);

}  // namespace KavrelCrypto
