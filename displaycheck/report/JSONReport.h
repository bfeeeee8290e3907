#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "displaycheck/facts/Report.h"

namespace displaycheck {

/// The report as docs/report.md describes it.
nlohmann::ordered_json jsonReport(const Report& report, bool withTrace);

/// The report on a run that gave none.
nlohmann::ordered_json jsonReportOfFailure(const std::string& mac, const std::string& file,
                                           const std::optional<simulated_mac::Assumption>& assumed,
                                           const std::string& problem);

/// A value in one line. Invalid UTF-8 in its texts is replaced by U+FFFD.
std::string jsonText(const nlohmann::ordered_json& value);

}  // namespace displaycheck
