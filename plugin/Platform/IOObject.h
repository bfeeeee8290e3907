#pragma once

#include <IOKit/IOKitLib.h>

#include <utility>

namespace vorn {

/// Owns one reference of a registry object (entry, service or iterator) and releases it. Empty if
/// the handle is 0.
class IOObject {
  public:
    IOObject() = default;
    explicit IOObject(io_object_t owned) : object_(owned) {}
    IOObject(IOObject&& other) noexcept : object_(std::exchange(other.object_, IO_OBJECT_NULL)) {}
    IOObject& operator=(IOObject&& other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~IOObject() {
        if (object_ != IO_OBJECT_NULL) IOObjectRelease(object_);
    }

    explicit operator bool() const { return object_ != IO_OBJECT_NULL; }
    io_object_t get() const { return object_; }
    io_object_t release() { return std::exchange(object_, IO_OBJECT_NULL); }

  private:
    io_object_t object_ = IO_OBJECT_NULL;
};

}  // namespace vorn
