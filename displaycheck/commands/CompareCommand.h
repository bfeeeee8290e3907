#pragma once

#include <string>
#include <vector>

namespace displaycheck {

/// Says where the Mac that a file describes shows something else than the dumps of a real one, for
/// what the pane reads. Returns the exit status: 1 where they differ.
int compareWithDumps(const std::string& macFile, const std::vector<std::string>& dumps);

}  // namespace displaycheck
