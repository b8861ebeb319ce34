// Counts what the C++ code of a program allocates, and reports it with the results of each benchmark.

#include "bench/Allocations.hpp"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

// Of the thread that runs the benchmarks. The others do not allocate while one counts.
thread_local bool isCounting = false;
thread_local std::int64_t allocations = 0;
thread_local std::int64_t bytes = 0;
thread_local std::int64_t mostBytes = 0;

class Counter final : public benchmark::MemoryManager {
  public:
    void Start() override {
        allocations = bytes = mostBytes = 0;
        isCounting = true;
    }
    void Stop(Result& result) override {
        isCounting = false;
        result.num_allocs = allocations;
        result.max_bytes_used = mostBytes;
    }
    void Stop(Result* result) override {
        Stop(*result);
    }
};

}  // namespace

// NOLINTBEGIN(cppcoreguidelines-no-malloc,misc-new-delete-overloads)
void* operator new(std::size_t size) {
    void* const memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    if (isCounting) {
        ++allocations;
        bytes += static_cast<std::int64_t>(malloc_usable_size(memory));
        mostBytes = std::max(mostBytes, bytes);
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    if (isCounting) {
        bytes -= static_cast<std::int64_t>(malloc_usable_size(memory));
    }
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}
// NOLINTEND(cppcoreguidelines-no-malloc,misc-new-delete-overloads)

void KavrelCrypto::Bench::countAllocations() {
    static Counter counter;
    benchmark::RegisterMemoryManager(&counter);
}
