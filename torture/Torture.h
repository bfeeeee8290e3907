#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "simulated_mac/description/MacDescription.h"

/// Anomaly runs of the pane: the same Mac again and again, with another platform call made to fail
/// each time.
namespace torture {

/// How often each platform call is used.
using Uses = std::map<std::string, std::uint64_t>;

/// The outcome of a run on a Mac.
struct RunResult {
    Uses uses;
    /// What the run must not do: crash, hang, leave Continue greyed, misuse the platform, or keep
    /// other references than those that the pane keeps on purpose. Empty for a good run.
    std::vector<std::string> problems;
};

/// Runs the pane on a Mac, in a process of its own.
RunResult runOn(const simulated_mac::MacDescription& description);

/// The Mac with fewer registry entries of no interest: each would need a run of its own.
simulated_mac::MacDescription trimmed(simulated_mac::MacDescription description);

/// One failure: a call's n-th use, or that and all later ones.
simulated_mac::FaultDescription failureOf(const std::string& call, std::uint64_t nth,
                                          bool andLater);

/// "IOIteratorNext, use 3 and all later ones".
std::string textOf(const simulated_mac::FaultDescription& failure);

/// Whether Continue stays greyed for good after this failure: no run reaches the point at which it
/// is enabled.
bool leavesContinueGreyed(const std::string& call);

}  // namespace torture
