#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <concepts>
#include <utility>

namespace KavrelCrypto {

/// Owns one reference to a CoreFoundation object, or none. Nothing else here retains or releases.
template <typename Ref>
class CFRef {
  public:
    CFRef() = default;

    /// Takes over a reference, which a function with Create or Copy in its name returned.
    static CFRef adopting(Ref reference) {
        return CFRef(reference);
    }

    /// Shares an object that belongs to somebody else: a constant, or what a Get function returned.
    static CFRef retaining(Ref reference) {
        if (reference != nullptr) {
            CFRetain(reference);
        }
        return CFRef(reference);
    }

    template <typename Other>
    requires std::convertible_to<Other, Ref> CFRef(CFRef<Other>&& other)
    noexcept : reference_(other.release()) {}

    CFRef(CFRef&& other) noexcept : reference_(other.release()) {}
    CFRef(const CFRef&) = delete;
    CFRef& operator=(const CFRef&) = delete;
    CFRef& operator=(CFRef&&) = delete;

    ~CFRef() {
        if (reference_ != nullptr) {
            CFRelease(reference_);
        }
    }

    [[nodiscard]] Ref get() const {
        return reference_;
    }

    explicit operator bool() const {
        return reference_ != nullptr;
    }

    /// Returns the place for a reference that a function returns through a pointer. Use it only while nothing
    /// is owned.
    Ref* receive() {
        return &reference_;
    }

    /// Hands the reference over to the caller.
    [[nodiscard]] Ref release() {
        return std::exchange(reference_, nullptr);
    }

  private:
    explicit CFRef(Ref reference) : reference_(reference) {}

    Ref reference_ = nullptr;
};

}  // namespace KavrelCrypto
