#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace simulated_mac {

/// While an object of this class exists, ThreadSanitizer ignores its thread: both its memory
/// accesses and the order created by its locks. The Mac's own bookkeeping is hidden in this way,
/// because its locks order threads that no Mac orders, which would hide races of the plug-in.
/// Without ThreadSanitizer it does nothing.
class HiddenFromRaceDetection {
  public:
    explicit HiddenFromRaceDetection(bool hides);
    HiddenFromRaceDetection(const HiddenFromRaceDetection&) = delete;
    HiddenFromRaceDetection& operator=(const HiddenFromRaceDetection&) = delete;
    ~HiddenFromRaceDetection();

  private:
    [[maybe_unused]] const bool hides_;
};

/// An order that the platform guarantees, seen even where the thread is hidden: whatever happens
/// before orderBefore happens before what follows a later orderAfter of the same place.
void orderBefore(const void* place);
void orderAfter(const void* place);

/// Work that a thread hands over to another one, once: what the first thread did before happens
/// before the work.
class HandedOverWork {
  public:
    explicit HandedOverWork(std::function<void()> work)
        : work_(std::move(work)), place_(std::make_unique<char>()) {
        orderBefore(place_.get());
    }
    void operator()() const {
        orderAfter(place_.get());
        work_();
    }

  private:
    std::function<void()> work_;
    std::unique_ptr<char> place_;  ///< only its address counts
};

}  // namespace simulated_mac
