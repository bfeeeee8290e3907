#pragma once

#include <string>
#include <vector>

namespace displaycheck {

/// Shows the pane on a Mac in a window until that is closed. The arguments are a valid Mac file, a
/// language, a file for a screenshot (or an empty text), the speed of the Mac's clock, the name of
/// what is assumed of unknown monitors and the appearance, "light" or "dark". Returns the exit
/// status.
int showWindow(const std::vector<std::string>& words);

}  // namespace displaycheck
