#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "displaycheck/facts/Report.h"

namespace displaycheck {

/// A run that is over, as its process has handed it on.
struct RunRecord {
    std::string name;  ///< the file and what was assumed, for people
    Verdict verdict = Verdict::failed;
    nlohmann::ordered_json report;  ///< as docs/report.md describes it
    std::string trace;              ///< the platform calls that were asked for, a line for each
    std::string text;  ///< the report for people, if it was asked for; empty for a run that failed
};

}  // namespace displaycheck
