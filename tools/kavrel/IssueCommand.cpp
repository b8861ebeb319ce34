#include <unistd.h>

#include "tools/kavrel/CertificationRequest.hpp"
#include "tools/kavrel/CommandIO.hpp"
#include "tools/kavrel/Commands.hpp"
#include "tools/kavrel/TestAuthority.hpp"

namespace KavrelCrypto::Host {

int issueCommand(const Settings& settings) {
    const CertificationRequest request = readRequest(readStandardInput());
    const Output output(STDERR_FILENO);
    output.write(TestAuthority(openChosenDevice(settings)).issue(*request));
    return 0;
}

}  // namespace KavrelCrypto::Host
