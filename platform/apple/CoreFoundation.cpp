#include "platform/apple/CoreFoundation.hpp"

#include <utility>

#include "platform/apple/Handles.hpp"

namespace KavrelCrypto {
namespace {

CFRef<CFStringRef> makeCFString(const std::string& text) {
    return CFRef<CFStringRef>::adopting(
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

std::string utf8Of(CFStringRef text) {
    if (text == nullptr) {
        return {};
    }
    // What UTF-8 cannot carry, an unpaired surrogate, becomes a question mark: these texts are for people.
    constexpr UInt8 lossByte = '?';
    const CFRange whole = CFRangeMake(0, CFStringGetLength(text));
    CFIndex size = 0;
    CFStringGetBytes(text, whole, kCFStringEncodingUTF8, lossByte, false, nullptr, 0, &size);
    std::string utf8(static_cast<std::size_t>(size), '\0');
    CFStringGetBytes(text, whole, kCFStringEncodingUTF8, lossByte, false,
                     reinterpret_cast<UInt8*>(utf8.data()), size, nullptr);
    return utf8;
}

/// Makes the CoreFoundation object for each kind of value; null when it cannot be made.
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

Bytes bytesOf(CFDataRef data) {
    const UInt8* first = CFDataGetBytePtr(data);
    return {first, first + CFDataGetLength(data)};
}

NSError errorOf(CFErrorRef error) {
    const auto description = CFRef<CFStringRef>::adopting(CFErrorCopyDescription(error));
    const auto printedForm = CFRef<CFStringRef>::adopting(CFCopyDescription(error));
    return {.domain = utf8Of(CFErrorGetDomain(error)),
            .code = CFErrorGetCode(error),
            .userInfo = {{std::string(NSLocalizedDescriptionKey), utf8Of(description.get())}},
            .printedForm = utf8Of(printedForm.get())};
}

}  // namespace KavrelCrypto
