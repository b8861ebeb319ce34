#pragma once

#include <cstddef>
#include <string>

/// Text for people, in lines.
namespace KavrelCrypto::Host {

/// Breaks `line` after commas into lines of at most `width` bytes, longer ones only where there is no comma
/// to break after. Each line but the first begins with `indentation`, which is not counted.
std::string folded(std::string line, std::size_t width, const std::string& indentation);

/// Puts `margin` spaces before each line of `text` that is not empty, and a line feed after the last one.
std::string indented(const std::string& text, std::size_t margin);

}  // namespace KavrelCrypto::Host
