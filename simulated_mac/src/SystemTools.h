#pragma once

#include <string>
#include <vector>

namespace simulated_mac {

class Mac;

/// What a system tool prints to standard output, and its exit status.
struct ToolOutput {
    std::string text;
    int status = 0;
};

/// What `ioreg`, `system_profiler` or `afktool` prints of the Mac's own state, in the real tool's
/// form. Status 64 with no output for arguments that the tool here doesn't know, 127 for another
/// tool.
ToolOutput runSystemTool(const Mac& mac, const std::string& tool,
                         const std::vector<std::string>& arguments);

}  // namespace simulated_mac
