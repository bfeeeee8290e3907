#pragma once

#include <string>
#include <vector>

namespace displaycheck {

struct EDIDOptions {
    std::vector<std::string> files;  ///< "-", or none at all, means standard input
    bool json = false;
    /// Gives the pane's decoder each line as it is, or a binary file as hex, instead of the EDIDs
    /// that are found in it.
    bool verbatim = false;
};

/// `displaycheck edid`: shows the EDIDs in files and what the pane reads from them. Returns the
/// exit status.
int showEDIDs(const EDIDOptions& options);

}  // namespace displaycheck
