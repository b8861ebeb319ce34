#include "devices/browser/Bridge.hpp"
#include "platform/Foundation.hpp"

void KavrelCrypto::print(const std::string& line) {
    Browser::device().call<void>("print", line);
}
