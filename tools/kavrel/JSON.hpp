#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/Capacitor.hpp"

/// JSON texts (RFC 8259) and the values that cross the plugin runtime.
namespace KavrelCrypto::Host {

/// A text that is no JSON. `what()` says what is wrong and, where that can be told, at which line and column.
class JSONError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The value that `text` (UTF-8) stands for. Of an object's members of one name the last one counts; an
/// integer past the range of std::int64_t becomes a double. Throws JSONError for anything that is no JSON,
/// and for values nested deeper than 512 levels.
JSValue parseJSON(std::string_view text);

/// `value` as one line of JSON, without a line feed, characters outside ASCII as they are. Bytes that are no
/// UTF-8 become U+FFFD. `value` is nested no deeper than parseJSON allows.
std::string writeJSON(const JSValue& value);

}  // namespace KavrelCrypto::Host
