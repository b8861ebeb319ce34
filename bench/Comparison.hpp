#pragma once

#include <benchmark/benchmark.h>
#include <functional>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

/// Benchmarks of the same work done by several programs' libraries.
namespace KavrelCrypto::Bench {

/// Times `work` as the benchmark `name`, which is "GROUP/CASE/WHO". What `work` returns is destroyed within
/// the time that is measured. Returns the benchmark, for options.
template <typename Work>
benchmark::internal::Benchmark* time(const std::string& name, Work work) {
    return benchmark::RegisterBenchmark(name.c_str(), [work](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state) {
            benchmark::DoNotOptimize(work());
        }
    });
}

template <typename Result>
struct Contender {
    std::string name;
    std::function<Result()> work;
};

/// Times the contenders as "`work`/NAME", after they have shown that they do the same: throws
/// std::runtime_error if the result of one of them is not that of the first. Returns the benchmarks, for
/// options.
template <typename Result>
std::vector<benchmark::internal::Benchmark*> compare(const std::string& work,
                                                     std::initializer_list<Contender<Result>> contenders) {
    std::vector<benchmark::internal::Benchmark*> timed;
    const Result expected = contenders.begin()->work();
    for (const Contender<Result>& contender : contenders) {
        if (contender.work() != expected) {
            throw std::runtime_error(work + ": the result of " + contender.name + " is not that of " +
                                     contenders.begin()->name + ".");
        }
        timed.push_back(time(work + "/" + contender.name, contender.work));
    }
    return timed;
}

/// Registers the benchmarks of the program.
void addBenchmarks();

/// Each registers the benchmarks of one group.
void addBase64();
void addCertificateText();
void addRequestInfo();

}  // namespace KavrelCrypto::Bench
