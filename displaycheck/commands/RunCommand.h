#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "simulated_mac/description/Assumption.h"

namespace displaycheck {

struct RunOptions {
    std::vector<std::string> files;
    bool json = false;
    bool details = false;             ///< whole reports on many files too
    std::optional<std::size_t> jobs;  ///< runs at a time; nothing for one on each core
    std::string junit;                ///< file to write; empty for none
    std::string html;                 ///< likewise
    bool log = false;
    /// Which platform calls to show, as a pattern of their names; nothing for none.
    std::optional<std::string> trace;
    std::string traceFile;  ///< where to write them instead; empty for the report
    bool realtime = false;
    std::string language;  ///< one of the pane's; empty for English
    /// What to assume of unknown monitors; nothing to play both.
    std::optional<simulated_mac::Assumption> assume;
};

/// `displaycheck run`: runs the pane on the Mac of each file, in a process of its own, and prints
/// the reports in order, or a summary of many files. A Mac with unknown monitors is run once for
/// each assumption about them. Runs nothing if any file is invalid. Returns the exit status.
int runMacFiles(const RunOptions& options);

}  // namespace displaycheck
