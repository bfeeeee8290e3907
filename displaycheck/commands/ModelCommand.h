#pragma once

#include <string>
#include <vector>

namespace displaycheck {

/// `displaycheck model`: what the pane makes of display names. Returns the exit status.
int showModels(const std::vector<std::string>& names, bool json);

}  // namespace displaycheck
