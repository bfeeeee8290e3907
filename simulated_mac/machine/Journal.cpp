#include "simulated_mac/machine/Journal.h"

namespace simulated_mac {

void Journal::note(std::string source, std::string what) {
    TimelineEntry entry{{}, std::move(source), std::move(what)};
    Listener listener;
    {
        const std::lock_guard lock(mutex_);
        entry.time = clock_.now();
        timeline_.push_back(entry);
        listener = listener_;
    }
    if (listener) listener(entry);
}

std::vector<TimelineEntry> Journal::timeline() const {
    const std::lock_guard lock(mutex_);
    return timeline_;
}

void Journal::onNote(Listener listener) {
    const std::lock_guard lock(mutex_);
    listener_ = std::move(listener);
}

void Journal::log(std::string message) {
    const std::lock_guard lock(mutex_);
    systemLog_.push_back(std::move(message));
}

std::vector<std::string> Journal::systemLog() const {
    const std::lock_guard lock(mutex_);
    return systemLog_;
}

void Journal::misuse(std::string what) {
    const std::lock_guard lock(mutex_);
    misuses_.push_back(std::move(what));
}

std::vector<std::string> Journal::misuses() const {
    const std::lock_guard lock(mutex_);
    return misuses_;
}

}  // namespace simulated_mac
