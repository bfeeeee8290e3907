#pragma once

#include <string>
#include <vector>

#include "displaycheck/facts/Report.h"
#include "simulated_mac/description/Expectation.h"

namespace displaycheck {

/// Where a run shows something else than its Mac's file expects; empty where all is as expected.
std::vector<Difference> differencesFrom(const simulated_mac::Expectation& expected,
                                        const Report& report);

}  // namespace displaycheck
