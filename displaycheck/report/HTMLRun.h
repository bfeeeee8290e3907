#pragma once

#include <pugixml.hpp>
#include <string>

#include "displaycheck/report/RunRecord.h"

namespace displaycheck {

/// Adds a run's section to an HTML page.
void addRun(pugi::xml_node parent, const RunRecord& run, const std::string& id);

/// The class of style for a verdict.
const char* styleOf(Verdict verdict);

}  // namespace displaycheck
