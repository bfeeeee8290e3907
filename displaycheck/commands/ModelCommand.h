#pragma once

#include <string>
#include <vector>

namespace displaycheck {

/// `displaycheck model`: prints how the pane classifies display names. Returns the exit status.
int showModels(const std::vector<std::string>& names, bool json);

}  // namespace displaycheck
