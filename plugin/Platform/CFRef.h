#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace vorn {

/// Owns one reference of a Core Foundation object and releases it. Made from the result of a
/// function with "Create" or "Copy" in its name; empty if that was NULL.
template <class Ref>
class CFRef {
  public:
    CFRef() = default;
    explicit CFRef(Ref owned) : ref_(owned) {}
    CFRef(CFRef&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
    CFRef& operator=(CFRef&& other) noexcept {
        std::swap(ref_, other.ref_);
        return *this;
    }
    ~CFRef() {
        if (ref_ != nullptr) CFRelease(ref_);
    }

    explicit operator bool() const { return ref_ != nullptr; }
    Ref get() const { return ref_; }
    /// Gives the reference away, to a function that consumes it or an owner that keeps it.
    Ref release() { return std::exchange(ref_, nullptr); }

  private:
    Ref ref_ = nullptr;
};

}  // namespace vorn
