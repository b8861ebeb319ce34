#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/Capacitor.hpp"

/// Conversion between JSON (RFC 8259) and the values that cross the plugin runtime.
namespace KavrelCrypto::Host {

/// Thrown for a text that is not JSON. `what()` says what is wrong and, as far as it is known, at which line
/// and column.
class JSONError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Returns the value that `text` (UTF-8) represents. If an object has several members of one name, the last
/// one counts. An integer outside the range of std::int64_t becomes a double. Throws JSONError if `text` is
/// not JSON, or if its values are nested deeper than 512 levels.
JSValue parseJSON(std::string_view text);

/// Returns `value` as one line of JSON without a line feed. Characters outside ASCII are not escaped, and
/// bytes that are not UTF-8 become U+FFFD. `value` must not be nested deeper than parseJSON allows.
std::string writeJSON(const JSValue& value);

}  // namespace KavrelCrypto::Host
