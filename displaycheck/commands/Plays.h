#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/report/RunRecord.h"
#include "displaycheck/report/Terminal.h"
#include "simulated_mac/description/Assumption.h"
#include "simulated_mac/description/MacDescription.h"

namespace displaycheck {

/// One run of a Mac.
struct Play {
    std::string path;  ///< of the Mac's file
    simulated_mac::MacDescription description;
    /// Of its unknown monitors; nothing for a Mac without any.
    std::optional<simulated_mac::Assumption> assumed;
    /// What tells it from other runs of the same file, in place of its name.
    std::string label = {};

    /// The file, and what is assumed, as messages name the run.
    std::string name() const;
};

struct PlayOptions {
    bool text = false;  ///< makes the report for people
    bool log = false;   ///< is in it
    /// The platform calls that JSON and the trace have, as a pattern of their names; nothing for
    /// none.
    std::optional<std::string> trace;
    bool traceApart = false;  ///< the report for people leaves them out
    bool realtime = false;    ///< shows its progress on standard error
    std::string language;     ///< of the pane; empty for English
    std::size_t jobs = 1;     ///< how many runs at a time
};

/// Plays each in a process of its own. `take` gets their records in the order of the plays, each as
/// soon as it and all before it are there; `progress` is told how many are over.
void playAll(const std::vector<Play>& plays, const PlayOptions& options, const Terminal& terminal,
             const std::function<void(const RunRecord&)>& take,
             const std::function<void(std::size_t)>& progress);

/// As many as asked for, or one for each core.
std::size_t jobsFor(const std::optional<std::size_t>& asked);

/// Tells on standard error what is wrong with a run and what is not as expected. Returns the exit
/// status that follows.
ExitStatus complain(const RunRecord& run);

}  // namespace displaycheck
