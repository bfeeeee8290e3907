#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/hardware/Display.h"
#include "simulated_mac/hardware/Registry.h"
#include "simulated_mac/tools/ToolOutput.h"

namespace simulated_mac {

/// `ioreg`, `system_profiler` and `afktool`: their output for a Mac's state, in the real tools'
/// form, or the output given in the Mac file.
class SystemTools {
  public:
    using Displays = std::function<std::vector<const Display*>()>;

    /// `screens` gives those that the window system has so far, `listed` those whose EDID the tools
    /// print so far. All arguments outlive the tools.
    SystemTools(const MacDescription& description, const Registry& registry, Displays screens,
                Displays listed);

    /// Runs a command line, the tool first. Returns its exit status: 64 with no output for
    /// arguments that are not supported here, 127 for another tool. One call at a time.
    int run(const std::vector<std::string>& commandLine, const Print& print);
    /// The seconds that the next call of a tool takes; 0 for another program. From any thread.
    double secondsOf(const std::string& tool) const;

  private:
    using Arguments = std::vector<std::string>;

    int runReal(const std::string& tool, const Arguments& arguments, const Print& print) const;
    int ioreg(const Arguments& arguments, const Print& print) const;
    int systemProfiler(const Arguments& arguments, const Print& print) const;
    int afktool(const Arguments& arguments, const Print& print) const;

    /// What the file has for a tool's call, counted from 0; nullptr if it has nothing.
    const ToolOverride* overrideOf(const std::string& tool, std::size_t call) const;

    const MacDescription& description_;
    const Registry& registry_;
    const Displays screens_;
    const Displays listed_;
    mutable std::mutex mutex_;
    std::map<std::string, std::size_t> calls_;  ///< so far, by tool
};

}  // namespace simulated_mac
