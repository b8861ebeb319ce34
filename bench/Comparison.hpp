#pragma once

#include <benchmark/benchmark.h>
#include <filesystem>
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

/// Runs the benchmarks that `add` registers, as Google Benchmark's options in `argv` say. Returns the
/// program's exit status, which is 1 if contenders do not do the same.
int run(int argc, char** argv, const std::function<void()>& add);

/// Each registers the benchmarks of one group.
void addBase64();
void addCertificateText();
void addRequestInfo();
void addCalls();

/// Makes devices in `folder`, which outlives the benchmarks.
void addDesktopCalls(const std::filesystem::path& folder);

}  // namespace KavrelCrypto::Bench
