// The benchmarks of whole calls on the desktop device.

#include "bench/Comparison.hpp"
#include "tests/support/TemporaryFolder.hpp"

int main(int argc, char** argv) {
    const KavrelCrypto::TemporaryFolder folder;
    return KavrelCrypto::Bench::run(argc, argv, [&] { KavrelCrypto::Bench::addDesktopCalls(folder.path()); });
}
