#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "simulated_mac/description/Time.h"
#include "simulated_mac/machine/Scheduler.h"

namespace simulated_mac {

/// Something that happened, for the report's timeline.
struct TimelineEntry {
    Time time{0};
    std::string source;  ///< "user", "pane" or "mac"
    std::string what;
};

/// The record of a Mac's run, written by any thread.
class Journal {
  public:
    using Listener = std::function<void(const TimelineEntry&)>;

    /// `clock` gives each entry its time, and outlives the journal.
    explicit Journal(const Scheduler& clock) : clock_(clock) {}

    void note(std::string source, std::string what);
    std::vector<TimelineEntry> timeline() const;
    /// Called with each entry when it is written, for a host that shows progress. It may read the
    /// journal.
    void onNote(Listener listener);

    void log(std::string message);
    std::vector<std::string> systemLog() const;

    /// Actions of the plug-in that a Mac may survive but does not allow: labels touched off the
    /// main thread, registry objects released too often.
    void misuse(std::string what);
    std::vector<std::string> misuses() const;

  private:
    const Scheduler& clock_;
    mutable std::mutex mutex_;
    Listener listener_;
    std::vector<TimelineEntry> timeline_;
    std::vector<std::string> systemLog_;
    std::vector<std::string> misuses_;
};

}  // namespace simulated_mac
