#pragma once

#include <cstddef>
#include <string>

/// Layout of text for people.
namespace KavrelCrypto::Host {

/// Breaks `line` after commas into lines of at most `width` bytes; a line is longer only if it has no comma
/// to break after. Every line but the first begins with `indentation`, which is not counted.
std::string folded(std::string line, std::size_t width, const std::string& indentation);

/// Puts `margin` spaces before every line of `text` that is not empty, and a line feed after the last line.
std::string indented(const std::string& text, std::size_t margin);

}  // namespace KavrelCrypto::Host
