#include "platform/Foundation.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace KavrelCrypto {
namespace {

const std::string* messageOf(const NSError& error) {
    const auto entry = std::find_if(error.userInfo.begin(), error.userInfo.end(),
                                    [](const auto& e) { return e.first == NSLocalizedDescriptionKey; });
    return entry == error.userInfo.end() ? nullptr : &entry->second;
}

}  // namespace

std::string NSError::localizedDescription() const {
    if (const std::string* text = messageOf(*this)) {
        return *text;
    }
    return "The operation couldn’t be completed. (" + domain + " error " + std::to_string(code) + ".)";
}

std::string NSError::description() const {
    if (!printedForm.empty()) {
        return printedForm;
    }
    const std::string* text = messageOf(*this);
    std::string printed = "Error Domain=" + domain + " Code=" + std::to_string(code) + " \"" +
                          (text != nullptr ? *text : "(null)") + "\"";
    if (!userInfo.empty()) {
        std::string entries;
        for (const auto& [key, value] : userInfo) {
            entries += entries.empty() ? "" : ", ";
            entries.append(key).append("=").append(value);
        }
        printed += " UserInfo={" + entries + "}";
    }
    return printed;
}

void fatalError(std::string_view precondition) {
    static_cast<void>(std::fprintf(stderr, "KavrelCrypto: precondition failed: %.*s\n",
                                   static_cast<int>(precondition.size()), precondition.data()));
    std::abort();
}

}  // namespace KavrelCrypto
