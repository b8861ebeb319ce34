// The UTF-8 validator, and the conversion to ASCII, compared with the C library's conversion to UTF-32.

#include "text/UTF8.hpp"

#include <cstdlib>
#include <iconv.h>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/check.hpp"
#include "text/ASCII.hpp"

namespace KavrelCrypto {
namespace {

using Fuzz::check;

/// Returns the code points of `text`, or an absent value if the C library says that it is not UTF-8.
std::optional<std::u32string> codePoints(std::string_view text) {
    static const iconv_t converter = iconv_open("UTF-32LE", "UTF-8");
    check(converter != reinterpret_cast<iconv_t>(-1), "the C library has the converter");  // NOLINT
    iconv(converter, nullptr, nullptr, nullptr, nullptr);

    std::u32string points(text.size(), U'\0');
    char* in = const_cast<char*>(text.data());
    std::size_t inLeft = text.size();
    char* out = reinterpret_cast<char*>(points.data());
    std::size_t outLeft = points.size() * sizeof(char32_t);
    if (iconv(converter, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1) || inLeft != 0) {
        return std::nullopt;
    }
    points.resize(points.size() - outLeft / sizeof(char32_t));
    return points;
}

}  // namespace
}  // namespace KavrelCrypto

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace KavrelCrypto;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::optional<std::u32string> points = codePoints(text);
    check(isUTF8(text) == points.has_value(), "both validators agree");
    if (!points.has_value()) {
        return 0;
    }
    std::string ascii;
    std::size_t others = 0;
    for (const char32_t point : *points) {
        ascii += point < 0x80 ? static_cast<char>(point) : '?';
        others += point < 0x80 ? 0 : 1;
    }
    check(lossyASCII(text) == ascii, "each character outside ASCII becomes one question mark");
    check(asciiLength(text) == (others == 0 ? size : 0), "a string has a length in ASCII if it is all ASCII");
    return 0;
}
