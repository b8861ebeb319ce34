#pragma once

/// Lets one allocation of the process fail: those of C++, of OpenSSL and of SQLite are counted together.
namespace KavrelCrypto::FailingAllocations {

/// Puts itself under OpenSSL and SQLite. To be called before either has allocated anything.
void install();

enum class Fault { once, forGood };

/// Lets the allocation fail that comes after `count` others; for good, all that come after it fail too.
void failAfter(long count, Fault fault = Fault::once);

enum class Failed { nothing, something, openSSL };

/// Lets no allocation fail from now on. Returns what has failed since failAfter.
Failed stop();

}  // namespace KavrelCrypto::FailingAllocations
