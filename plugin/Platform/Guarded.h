#pragma once

#include <mutex>
#include <utility>

namespace vorn {

/// A process-wide value that detection runs on several threads may touch: the pane can be entered
/// again while an earlier entry's run continues.
template <class T>
class Guarded {
  public:
    T get() const {
        const std::lock_guard lock(mutex_);
        return value_;
    }
    void set(T value) {
        const std::lock_guard lock(mutex_);
        std::swap(value_, value);  // destroys the old value outside the lock
    }
    /// Calls `change` with the value. No platform call may be made inside.
    template <class Change>
    auto update(Change change) {
        const std::lock_guard lock(mutex_);
        return change(value_);
    }

  private:
    mutable std::mutex mutex_;
    T value_{};
};

}  // namespace vorn
