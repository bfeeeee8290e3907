#pragma once

#include <string>
#include <vector>

namespace displaycheck {

/// Shows the pane on a Mac in a window until that is closed. The words are a good Mac file, a
/// language, a file for a screenshot (or nothing) and how many of the Mac's seconds pass in one.
/// Returns the exit status.
int showWindow(const std::vector<std::string>& words);

}  // namespace displaycheck
