#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <concepts>
#include <utility>

namespace KavrelCrypto {

/// Owns one reference to a CoreFoundation object, or none. It is the only place that retains and releases.
template <typename Ref>
class CFRef {
  public:
    CFRef() = default;

    /// Takes over the reference that a function with Create or Copy in its name gave.
    static CFRef adopting(Ref reference) {
        return CFRef(reference);
    }

    /// Shares an object that somebody else owns: what a Get function gave, or a constant.
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

    /// Where a function that gives a reference through a pointer is to put it. Only while nothing is owned.
    Ref* receive() {
        return &reference_;
    }

    /// Gives the reference up; the caller owns it then.
    [[nodiscard]] Ref release() {
        return std::exchange(reference_, nullptr);
    }

  private:
    explicit CFRef(Ref reference) : reference_(reference) {}

    Ref reference_ = nullptr;
};

}  // namespace KavrelCrypto
