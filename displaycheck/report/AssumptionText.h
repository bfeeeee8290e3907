#pragma once

#include <cstddef>
#include <string>

#include "displaycheck/facts/Report.h"
#include "simulated_mac/description/Assumption.h"

/// What people read about runs in which the answers of unknown monitors are assumed.
namespace displaycheck {

/// "If it answers over DDC/CI", or "If they stay silent" with several unknown monitors.
std::string condition(simulated_mac::Assumption assumption, std::size_t unknownMonitors);
/// "Whether it answers over DDC/CI or not".
std::string eitherWay(std::size_t unknownMonitors);
/// "If it answers over DDC/CI, the pane warns."
std::string singleVerdict(simulated_mac::Assumption assumption, Verdict verdict,
                          std::size_t unknownMonitors);
/// Both verdicts in one sentence, or the one that holds either way.
std::string bothVerdicts(Verdict ifItAnswers, Verdict ifItIsSilent, std::size_t unknownMonitors);

}  // namespace displaycheck
