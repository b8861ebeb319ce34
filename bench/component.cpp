// The benchmarks of what needs no real device, each beside its peers.

#include "bench/Comparison.hpp"

int main(int argc, char** argv) {
    using namespace KavrelCrypto::Bench;
    return run(argc, argv, [] {
        addRequestInfo();
        addBase64();
        addCertificateText();
        addCalls();
    });
}
