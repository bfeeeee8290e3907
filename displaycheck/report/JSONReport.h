#pragma once

#include <string>

#include "displaycheck/facts/Report.h"

namespace displaycheck {

/// The report as one line of JSON with a line break at its end (docs/report.md). Invalid UTF-8 in
/// the run's texts is replaced by U+FFFD.
std::string jsonReport(const Report& report, bool withTrace);

}  // namespace displaycheck
