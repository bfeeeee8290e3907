#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "displaycheck/report/RunRecord.h"
#include "displaycheck/report/TerminalText.h"

namespace displaycheck {

/// What a run shows, in a word or two for each column.
struct SummaryRow {
    std::string name;
    std::string verdict;
    std::string states;  ///< of the displays
    std::string time;    ///< to Continue
    std::string expected;
};

SummaryRow summaryRow(const RunRecord& run);

/// How many runs have which verdict, and if any expects something, how many are as expected.
std::vector<std::string> totals(const std::vector<RunRecord>& runs);

/// A table with a line for each run, and below it how many have which verdict. Lines are at most
/// `columns` wide; names that are longer lose their beginnings.
std::string summary(const std::vector<RunRecord>& runs, std::size_t columns,
                    const Palette& palette);

/// What is wrong with the run itself.
std::vector<std::string> problemTexts(const RunRecord& run);

/// Where a run is not as its file expects, such as "warning: found yes, expected
/// no".
std::vector<std::string> differenceTexts(const RunRecord& run);

}  // namespace displaycheck
