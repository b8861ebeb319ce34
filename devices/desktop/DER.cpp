#include "devices/desktop/DER.hpp"

#include <openssl/asn1.h>
#include <openssl/err.h>
#include <optional>
#include <vector>

namespace KavrelCrypto::Desktop {
namespace {

struct Element {
    BytesView content;
    std::size_t size;  // with its tag and its length
    bool isConstructed;
};

/// Returns the element that `data` begins with, or an absent value if that is not DER.
std::optional<Element> readElement(BytesView data) {
    const unsigned char* content = data.data();
    long length = 0;
    int tag = 0;
    int tagClass = 0;
    const int form = ASN1_get_object(&content, &length, &tag, &tagClass, static_cast<long>(data.size()));
    const bool isConstructed = form == V_ASN1_CONSTRUCTED;
    if (form != 0 && !isConstructed) {  // further bits stand for errors and for the indefinite length
        return std::nullopt;
    }
    const auto size = static_cast<std::size_t>(content - data.data() + length);
    if (ASN1_object_size(form, static_cast<int>(length), tag) != static_cast<int>(size)) {
        return std::nullopt;
    }
    if (tagClass == V_ASN1_UNIVERSAL) {
        const bool isBoolean = length == 1 && (*content == 0x00 || *content == 0xFF);
        if (isConstructed != (tag == V_ASN1_SEQUENCE || tag == V_ASN1_SET) ||
            (tag == V_ASN1_BOOLEAN && !isBoolean)) {
            return std::nullopt;
        }
    }
    return Element{{content, static_cast<std::size_t>(length)}, size, isConstructed};
}

}  // namespace

bool isDER(BytesView data) {
    std::vector<BytesView> unread{data};
    while (!unread.empty()) {
        const BytesView rest = unread.back();
        unread.pop_back();
        if (rest.empty()) {
            continue;
        }
        const std::optional<Element> element = readElement(rest);
        if (!element) {
            ERR_clear_error();
            return false;
        }
        unread.push_back(rest.subspan(element->size));
        if (element->isConstructed) {
            unread.push_back(element->content);
        }
    }
    return true;
}

}  // namespace KavrelCrypto::Desktop
