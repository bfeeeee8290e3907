#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulated_mac/description/MacDescription.h"

namespace displaycheck {

/// A Mac file as read: either a description or what is wrong with the file.
struct MacFile {
    std::string path;
    simulated_mac::MacDescription description;
    std::optional<std::string> error;  ///< "FILE:LINE:COLUMN: ..."
};

std::vector<MacFile> readMacFiles(const std::vector<std::string>& paths);

/// `displaycheck check`: reports on each file. Returns the exit status.
int checkMacFiles(const std::vector<std::string>& paths);

}  // namespace displaycheck
