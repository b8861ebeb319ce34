#include "devices/apple/CoreFoundation.hpp"

#include <utility>
#include <vector>

#include "devices/apple/Handles.hpp"

namespace KavrelCrypto {
namespace {

void appendUTF8(std::uint32_t codePoint, std::string& utf8) {
    const auto append = [&](std::uint32_t byte) { utf8.push_back(static_cast<char>(byte)); };
    if (codePoint < 0x80) {
        append(codePoint);
        return;
    }
    if (codePoint < 0x800) {
        append(0xC0 | codePoint >> 6U);
    } else {
        if (codePoint < 0x10000) {
            append(0xE0 | codePoint >> 12U);
        } else {
            append(0xF0 | codePoint >> 18U);
            append(0x80 | (codePoint >> 12U & 0x3F));
        }
        append(0x80 | (codePoint >> 6U & 0x3F));
    }
    append(0x80 | (codePoint & 0x3F));
}

/// Makes the CoreFoundation object for each kind of value, or null if it cannot be made.
struct MakeValue {
    CFRef<CFTypeRef> operator()(bool value) const {
        return CFRef<CFTypeRef>::retaining(value ? kCFBooleanTrue : kCFBooleanFalse);
    }
    CFRef<CFTypeRef> operator()(std::int64_t value) const {
        return CFRef<CFTypeRef>::adopting(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
    }
    CFRef<CFTypeRef> operator()(const std::string& value) const {
        return makeCFString(value);
    }
    CFRef<CFTypeRef> operator()(const Bytes& value) const {
        return makeCFData(value);
    }
    CFRef<CFTypeRef> operator()(SecConstant value) const {
        return CFRef<CFTypeRef>::retaining(constantOf(value));
    }
    CFRef<CFTypeRef> operator()(const CFDictionary& value) const {
        return makeCFDictionary(value);
    }
    CFRef<CFTypeRef> operator()(const LAContextRef& value) const {
        return CFRef<CFTypeRef>::retaining(referenceOf(value));
    }
    CFRef<CFTypeRef> operator()(const SecAccessControlRef& value) const {
        return CFRef<CFTypeRef>::retaining(referenceOf(value));
    }
};

}  // namespace

CFRef<CFStringRef> makeCFString(const std::string& utf8) {
    // A string in external representation would lose a U+FEFF that it begins with.
    constexpr Boolean isExternalRepresentation = false;
    return CFRef<CFStringRef>::adopting(CFStringCreateWithBytes(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(utf8.data()), static_cast<CFIndex>(utf8.size()),
        kCFStringEncodingUTF8, isExternalRepresentation));
}

CFRef<CFDataRef> makeCFData(BytesView bytes) {
    return CFRef<CFDataRef>::adopting(
        CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
}

CFRef<CFDictionaryRef> makeCFDictionary(const CFDictionary& map) {
    auto dictionary = CFRef<CFMutableDictionaryRef>::adopting(
        CFDictionaryCreateMutable(kCFAllocatorDefault, static_cast<CFIndex>(map.size()),
                                  &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    for (const CFDictionaryEntry& entry : map) {
        const CFRef<CFTypeRef> value = std::visit(MakeValue{}, entry.value);
        if (!value) {
            return {};
        }
        CFDictionarySetValue(dictionary.get(), constantOf(entry.key), value.get());
    }
    return dictionary;
}

std::string toString(CFStringRef string) {
    const CFIndex length = string == nullptr ? 0 : CFStringGetLength(string);
    if (length == 0) {
        return {};
    }
    std::vector<UniChar> units(static_cast<std::size_t>(length));
    CFStringGetCharacters(string, CFRangeMake(0, length), units.data());
    std::string utf8;
    utf8.reserve(units.size());
    for (std::size_t at = 0; at < units.size(); ++at) {
        std::uint32_t codePoint = units[at];
        const bool leads = (codePoint & 0xFC00) == 0xD800;
        if (leads && at + 1 < units.size() && (units[at + 1] & 0xFC00) == 0xDC00) {
            ++at;
            codePoint = 0x10000 + ((codePoint & 0x3FF) << 10U) + (units[at] & 0x3FFU);
        } else if ((codePoint & 0xF800) == 0xD800) {
            codePoint = 0xFFFD;
        }
        appendUTF8(codePoint, utf8);
    }
    return utf8;
}

Bytes bytesOf(CFDataRef data) {
    const UInt8* first = CFDataGetBytePtr(data);
    return {first, first + CFDataGetLength(data)};
}

NSError toNSError(CFErrorRef error) {
    const auto description = CFRef<CFStringRef>::adopting(CFErrorCopyDescription(error));
    const auto printedForm = CFRef<CFStringRef>::adopting(CFCopyDescription(error));
    return {.domain = toString(CFErrorGetDomain(error)),
            .code = CFErrorGetCode(error),
            .userInfo = {{std::string(NSLocalizedDescriptionKey), toString(description.get())}},
            .printedForm = toString(printedForm.get())};
}

}  // namespace KavrelCrypto
