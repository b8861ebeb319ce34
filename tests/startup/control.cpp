// What the component must not have: an object whose construction runs before main.

#include <cstdlib>
#include <string>

namespace KavrelCrypto {

extern const std::string madeAtStartUp;
const std::string madeAtStartUp = std::getenv("HOME") == nullptr ? "" : std::getenv("HOME");

}  // namespace KavrelCrypto
