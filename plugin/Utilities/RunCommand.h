#pragma once

#include <optional>
#include <string>

#include "plugin/Platform/Exported.h"

/// Runs the system's tools.
class RunCommand {
  public:
    /// Runs a command line with /bin/sh and returns all that it wrote to standard output; nothing
    /// when that is not UTF-8, the empty text when it could not be started. Blocks until the end
    /// of that output, not until the command has ended; its exit status is not looked at. Of this
    /// process's descriptors only standard error reaches the command, and nothing of its
    /// environment: its PATH is that of the system's tools.
    std::optional<std::string> runCommand(const std::string& commandLine) const;
};

/// The one that the model list uses; made with the first WhiteList.
EXPORTED RunCommand* runCmd;
