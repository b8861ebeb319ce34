#pragma once

#include <cstddef>
#include <cstdint>

#include "text/Bytes.hpp"

/// A writer of DER of the plainest kind, to compare the component's with.
namespace KavrelCrypto::Fuzz {

inline Bytes joined(Bytes left, BytesView right) {
    append(right, left);
    return left;
}

/// Returns a tag and the length of `size` bytes. From 32,768 bytes on, the length is left out.
inline Bytes header(std::uint8_t tag, std::size_t size) {
    const auto low = static_cast<std::uint8_t>(size % 0x100);
    if (size < 0x80) {
        return {tag, low};
    }
    if (size < 0x100) {
        return {tag, 0x81, low};
    }
    return size < 0x8000 ? Bytes{tag, 0x82, static_cast<std::uint8_t>(size / 0x100), low} : Bytes{tag};
}

inline Bytes element(std::uint8_t tag, BytesView content) {
    return joined(header(tag, content.size()), content);
}

}  // namespace KavrelCrypto::Fuzz
