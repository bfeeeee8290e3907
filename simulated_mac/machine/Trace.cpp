#include "simulated_mac/machine/Trace.h"

#include <algorithm>

namespace simulated_mac {

Trace::Trace(std::vector<FaultDescription> faults)
    : faults_(std::move(faults)), counts_(!faults_.empty()) {}

void Trace::keepAll() {
    keepsAll_ = true;
    keeps_ = true;
}

void Trace::keepOnly(const std::set<std::string, std::less<>>& calls) {
    kept_.assign(calls.begin(), calls.end());
    keeps_ = true;
}

void Trace::countUses() {
    counts_ = true;
}

void Trace::before(CallUse use, std::function<void()> action) {
    const std::lock_guard lock(mutex_);
    planned_.emplace(std::pair(std::move(use.call), use.nth), std::move(action));
    counts_ = true;
}

std::optional<FaultDescription> Trace::use(std::string_view call) {
    if (!counts_) return std::nullopt;
    std::uint64_t count = 0;
    std::vector<std::function<void()>> due;  // outside the lock: they make calls of their own
    {
        const std::lock_guard lock(mutex_);
        auto found = uses_.find(call);
        if (found == uses_.end()) found = uses_.emplace(std::string(call), 0).first;
        count = ++found->second;
        const auto [first, last] = planned_.equal_range({std::string(call), count});
        for (auto action = first; action != last; ++action) due.push_back(action->second);
    }
    for (const auto& action : due) action();
    for (const FaultDescription& fault : faults_) {
        if (fault.call != call) continue;
        if (count == fault.nth || (fault.andLater && count > fault.nth)) return fault;
    }
    return std::nullopt;
}

bool Trace::keeps(std::string_view call) const {
    if (!keeps_) return false;
    // They are few, and most differ in length already.
    return keepsAll_ || std::find(kept_.begin(), kept_.end(), call) != kept_.end();
}

void Trace::add(TracedCall call) {
    const std::lock_guard lock(mutex_);
    if (call.failed) lastFailure_ = {call, calls_.size()};
    if (keeps(call.call)) calls_.push_back(std::move(call));
}

std::vector<TracedCall> Trace::calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

std::optional<Trace::Failure> Trace::lastFailure() const {
    const std::lock_guard lock(mutex_);
    return lastFailure_;
}

std::map<std::string, std::uint64_t, std::less<>> Trace::uses() const {
    const std::lock_guard lock(mutex_);
    return uses_;
}

}  // namespace simulated_mac
