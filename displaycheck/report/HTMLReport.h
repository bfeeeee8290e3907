#pragma once

#include <string>
#include <vector>

#include "displaycheck/report/RunRecord.h"

namespace displaycheck {

/// The runs as a page that needs no other file and no network: a table of all, and for each run the
/// pane as it looks, its displays with the reasons for their verdicts, the bytes on the bus, the
/// timeline and the Mac file.
std::string htmlReport(const std::vector<RunRecord>& runs);

}  // namespace displaycheck
