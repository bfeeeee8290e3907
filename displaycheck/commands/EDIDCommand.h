#pragma once

#include <string>
#include <vector>

namespace displaycheck {

/// `displaycheck edid`: decodes the EDIDs in files as the pane does; "-" or no file at all means
/// standard input. Returns the exit status.
int showEDIDs(const std::vector<std::string>& files, bool json);

}  // namespace displaycheck
