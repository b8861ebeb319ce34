#include "platform/Foundation.hpp"
#include "platform/browser/Bridge.hpp"

void KavrelCrypto::print(const std::string& line) {
    Browser::device().call<void>("print", line);
}
