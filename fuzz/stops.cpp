#include "fuzz/stops.hpp"

#include <string_view>

// The linker puts this in the place of fatalError (--wrap).
extern "C" [[noreturn]] void __wrap__ZN12KavrelCrypto10fatalErrorESt17basic_string_viewIcSt11char_traitsIcEE(
    std::string_view /*precondition*/) {
    throw KavrelCrypto::Fuzz::Stop();
}
