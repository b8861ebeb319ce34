#include "tests/desktop/FailingAllocations.hpp"

#include <atomic>
#include <cstdlib>
#include <new>
#include <openssl/crypto.h>
#include <sqlite3.h>
#include <stdexcept>

namespace KavrelCrypto::FailingAllocations {
namespace {

constexpr long none = -1;
std::atomic<long> remaining = none;
std::atomic<Fault> fault = Fault::once;
std::atomic<Failed> failed = Failed::nothing;

/// Counts one allocation; false if it is the one to fail.
bool isGranted(Failed asWhat = Failed::something) {
    long before = remaining;
    while (before != none && !(before == 0 && fault == Fault::forGood) &&
           !remaining.compare_exchange_weak(before, before - 1)) {
    }
    if (before == 0) {
        failed = asWhat;
    }
    return before != 0;
}

sqlite3_mem_methods sqlite;

void* allocateForSQLite(int size) {
    return isGranted() ? sqlite.xMalloc(size) : nullptr;
}

void* reallocateForSQLite(void* old, int size) {
    return isGranted() ? sqlite.xRealloc(old, size) : nullptr;
}

void* allocateForOpenSSL(std::size_t size, const char*, int) {
    return isGranted(Failed::openSSL) ? std::malloc(size) : nullptr;
}

void* reallocateForOpenSSL(void* old, std::size_t size, const char*, int) {
    return isGranted(Failed::openSSL) ? std::realloc(old, size) : nullptr;
}

void releaseForOpenSSL(void* memory, const char*, int) {
    std::free(memory);
}

}  // namespace

void install() {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &sqlite);
    sqlite3_mem_methods counting = sqlite;
    counting.xMalloc = allocateForSQLite;
    counting.xRealloc = reallocateForSQLite;
    if (sqlite3_config(SQLITE_CONFIG_MALLOC, &counting) != SQLITE_OK ||
        CRYPTO_set_mem_functions(allocateForOpenSSL, reallocateForOpenSSL, releaseForOpenSSL) != 1) {
        throw std::logic_error("too late to count allocations");
    }
}

void failAfter(long count, Fault newFault) {
    fault = newFault;
    remaining = count;
}

Failed stop() {
    remaining = none;
    return failed.exchange(Failed::nothing);
}

}  // namespace KavrelCrypto::FailingAllocations

void* operator new(std::size_t size) {
    void* memory = KavrelCrypto::FailingAllocations::isGranted() ? std::malloc(size) : nullptr;
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
