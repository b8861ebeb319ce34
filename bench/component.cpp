// The benchmarks of what needs no real device, each beside its peers.

#include "bench/Allocations.hpp"
#include "bench/Comparison.hpp"

int main(int argc, char** argv) {
    using namespace KavrelCrypto::Bench;
    return run(argc, argv, [] {
        countAllocations();
        addRequestInfo();
        addBase64();
        addCertificateText();
        addCalls();
    });
}
