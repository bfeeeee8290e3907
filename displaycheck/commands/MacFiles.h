#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulated_mac/description/MacDescription.h"

namespace displaycheck {

/// The result of reading a Mac file: a description or an error.
struct MacFile {
    std::string path;
    simulated_mac::MacDescription description;
    std::optional<std::string> error;  ///< lines "FILE:LINE:COLUMN: ..."
    std::string warnings;              ///< lines likewise, of a description without error
};

/// Reads a Mac file, or standard input for "-", whose path is then "standard input". Where nothing
/// comes, says on standard error what it waits for.
MacFile readMacFile(const std::string& path);

/// The same for several. A folder stands for all Mac files in it and below.
std::vector<MacFile> readMacFiles(const std::vector<std::string>& paths);

/// `displaycheck check`: reports whether each file is valid. Returns the exit status.
int checkMacFiles(const std::vector<std::string>& paths);

}  // namespace displaycheck
