#include "bench/Comparison.hpp"

#include <cstdio>
#include <exception>

int KavrelCrypto::Bench::run(int argc, char** argv, const std::function<void()>& add) try {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    add();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
} catch (const std::exception& problem) {
    static_cast<void>(std::fprintf(stderr, "%s: %s\n", argv[0], problem.what()));
    return 1;
}
