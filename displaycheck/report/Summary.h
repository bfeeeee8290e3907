#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "displaycheck/report/RunRecord.h"
#include "displaycheck/report/TerminalText.h"

namespace displaycheck {

/// A table with a line for each run, and below it how many have which verdict. Lines are at most
/// `columns` wide; names that are longer lose their beginnings.
std::string summary(const std::vector<RunRecord>& runs, std::size_t columns,
                    const Palette& palette);

/// Where a run shows something else than its file expects, such as "warning: found yes, expected
/// no".
std::vector<std::string> differenceTexts(const RunRecord& run);

}  // namespace displaycheck
