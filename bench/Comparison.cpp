#include "bench/Comparison.hpp"

#include <cstdio>
#include <exception>

/// Takes Google Benchmark's options. The exit status is 1 if contenders do not do the same.
int main(int argc, char** argv) try {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    KavrelCrypto::Bench::addBenchmarks();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
} catch (const std::exception& problem) {
    static_cast<void>(std::fprintf(stderr, "%s: %s\n", argv[0], problem.what()));
    return 1;
}
