#pragma once

#include <string>
#include <vector>

namespace displaycheck {

struct RunOptions {
    std::vector<std::string> files;
    bool json = false;
    bool log = false;
    bool trace = false;
    bool realtime = false;
};

/// `displaycheck run`: runs the pane on the Mac of each file, in a process of its own, and prints
/// the reports in order. Runs nothing if any file is invalid. Returns the exit status.
int runMacFiles(const RunOptions& options);

}  // namespace displaycheck
