#pragma once

#include <string>
#include <vector>

#include "displaycheck/report/RunRecord.h"

namespace displaycheck {

/// The runs as JUnit's XML, which test servers show: each a test case whose time is the Mac's until
/// Continue. One that shows something else than expected is a failure, one that gave no good report
/// an error.
std::string junitReport(const std::vector<RunRecord>& runs);

}  // namespace displaycheck
