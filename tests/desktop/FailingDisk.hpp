#pragma once

#include <filesystem>

/// A disk under SQLite whose operations can fail: opening, deleting, reading, writing, truncating and syncing
/// a file, asking for its size, and mapping shared memory.
namespace KavrelCrypto::FailingDisk {

/// Puts itself between SQLite and the files in `folder`. To be called once, before a database is opened.
void install(const std::filesystem::path& folder);

enum class Fault {
    once,      // one operation fails
    forGood,   // it fails, and so do all after it
    full,      // there is no room for it and what comes after it; only what takes room is counted
    powerCut,  // as forGood, and what has not been synced will be gone
};

/// Lets the operation fail that comes after `count` others.
void failAfter(long count, Fault fault);

/// Returns how many operations have failed since `failAfter`.
long failures();

/// Lets nothing fail from now on. After a power cut the files are as they were when they were last synced,
/// and no database may be open.
void repair();

}  // namespace KavrelCrypto::FailingDisk
