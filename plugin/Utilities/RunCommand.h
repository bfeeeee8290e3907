#pragma once

#include <optional>
#include <string>

#include "plugin/Platform/Exported.h"

/// Runs the system's tools.
class RunCommand {
  public:
    /// Runs a command line with /bin/sh and returns its standard output; nothing if that is not
    /// UTF-8, an empty text if the command could not be started. Blocks until the output ends, not
    /// until the command does; its exit status is ignored. The command inherits only standard error
    /// from this process, and a PATH of the system's folders as its whole environment.
    std::optional<std::string> runCommand(const std::string& commandLine) const;
};

/// The one that the model list uses; made with the first WhiteList.
EXPORTED RunCommand* runCmd;
