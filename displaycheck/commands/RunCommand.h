#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulated_mac/description/Assumption.h"

namespace displaycheck {

struct RunOptions {
    std::vector<std::string> files;
    bool json = false;
    bool log = false;
    bool trace = false;
    bool realtime = false;
    std::string language;  ///< one of the pane's; empty for English
    /// What to assume of unknown monitors; nothing to play both.
    std::optional<simulated_mac::Assumption> assume;
};

/// `displaycheck run`: runs the pane on the Mac of each file, in a process of its own, and prints
/// the reports in order. A Mac with unknown monitors is run once for each assumption about them.
/// Runs nothing if any file is invalid. Returns the exit status.
int runMacFiles(const RunOptions& options);

}  // namespace displaycheck
