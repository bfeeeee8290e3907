#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "displaycheck/facts/Report.h"
#include "displaycheck/report/TerminalText.h"

namespace displaycheck {

struct TextReportOptions {
    bool log = false;    ///< the system log and the plug-in's standard output too
    bool trace = false;  ///< every platform call too
    std::size_t columns = 80;
};

/// The report for people.
std::string textReport(const Report& report, const TextReportOptions& options,
                       const Palette& palette);

/// What was found and what the pane made of it, in a sentence.
std::string conclusionText(const Report& report);

/// Platform calls, a line for each, whatever its length.
std::string traceText(const std::vector<simulated_mac::TracedCall>& trace, const Palette& palette);

/// One entry of a timeline, wrapped below itself, with a line break at its end.
std::string timelineText(const simulated_mac::TimelineEntry& entry, std::size_t columns,
                         const Palette& palette);

}  // namespace displaycheck
