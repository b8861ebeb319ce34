#pragma once

/// Says for Clang's thread safety analysis which mutex protects what. Clang knows the mutexes of libc++ only,
/// so a build with libc++ checks it, and to every other build these words mean nothing.
#ifdef __clang__
#define KAVREL_CRYPTO_GUARDED_BY(mutex) __attribute__((guarded_by(mutex)))
#define KAVREL_CRYPTO_REQUIRES(mutex) __attribute__((requires_capability(mutex)))
#else
#define KAVREL_CRYPTO_GUARDED_BY(mutex)
#define KAVREL_CRYPTO_REQUIRES(mutex)
#endif
