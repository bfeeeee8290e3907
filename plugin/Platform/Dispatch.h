#pragma once

#include <dispatch/dispatch.h>

#include <functional>

/// A serial dispatch queue of its own: its work runs on a background thread, one piece at a time.
class SerialQueue {
  public:
    explicit SerialQueue(const char* label) : queue_(dispatch_queue_create(label, nullptr)) {}
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;
    /// Work that was submitted still runs.
    ~SerialQueue();

    /// Submits work and returns at once. Where no queue could be made the work is done here and
    /// now, so that it is done at all. An exception that leaves the work is logged; one that leaves
    /// this function means that the work was not submitted.
    void async(std::function<void()> work) const;

  private:
    dispatch_queue_t queue_;
};

/// Runs work on the main thread and waits for its end. An exception that leaves the work is logged.
void runOnMainThread(const std::function<void()>& work);
