#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/machine/TracedCall.h"

namespace simulated_mac {

/// Keeps the platform calls and lets those fail that the Mac file names.
class Trace {
  public:
    explicit Trace(std::vector<FaultDescription> faults);

    /// Keeps every call, or those with these names only.
    void keepAll();
    void keepOnly(const std::set<std::string, std::less<>>& calls);

    /// Counts the uses of every call from now on, for uses().
    void countUses();

    /// Has something happen before a use of a call does its work, on the thread that makes it.
    void before(CallUse use, std::function<void()> action);

    /// Counts one use of a call and does what is planned for it; the fault that is due, if any.
    std::optional<FaultDescription> use(std::string_view call);
    bool keeps(std::string_view call) const;
    /// Notes a call that is kept or failed.
    void add(TracedCall call);

    std::vector<TracedCall> calls() const;

    /// A call that a fault made fail.
    struct Failure {
        TracedCall call;
        std::size_t callsBefore = 0;  ///< how many of calls() were noted before
    };
    /// The last one, whether calls() has it or not.
    std::optional<Failure> lastFailure() const;

    /// How often each call was used.
    std::map<std::string, std::uint64_t, std::less<>> uses() const;

  private:
    const std::vector<FaultDescription> faults_;
    std::atomic<bool> counts_;
    std::atomic<bool> keeps_ = false;
    mutable std::mutex mutex_;
    bool keepsAll_ = false;
    std::vector<std::string> kept_;
    std::map<std::string, std::uint64_t, std::less<>> uses_;
    std::multimap<std::pair<std::string, std::uint64_t>, std::function<void()>> planned_;
    std::vector<TracedCall> calls_;
    std::optional<Failure> lastFailure_;
};

}  // namespace simulated_mac
