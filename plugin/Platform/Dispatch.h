#pragma once

#include <dispatch/dispatch.h>

#include <functional>

namespace vorn {

/// A serial dispatch queue: its work runs on a background thread, one item at a time.
class SerialQueue {
  public:
    explicit SerialQueue(const char* label) : queue_(dispatch_queue_create(label, nullptr)) {}
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;
    /// Submitted work still runs.
    ~SerialQueue();

    /// Submits work and returns at once. If no queue could be made, does the work at once instead.
    /// Exceptions from the work are logged; an exception from this function means that the work was
    /// not submitted.
    void async(std::function<void()> work) const;

  private:
    dispatch_queue_t queue_;
};

/// Runs work on the main thread and waits for its end. Exceptions from the work are logged.
void runOnMainThread(const std::function<void()>& work);

}  // namespace vorn
