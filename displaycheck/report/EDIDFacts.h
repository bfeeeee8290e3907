#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "simulated_mac/description/MacDescription.h"

/// What an EDID says besides what the pane reads from it: when it was made, the size, how many
/// blocks there are and whether their checksums are right.
namespace displaycheck {

/// Lines for people, each indented by two blanks. `edid` begins with a whole base block.
std::string edidFactsAsText(const simulated_mac::Bytes& edid);

/// The keys "header" to "height_cm" of `displaycheck edid --json` (docs/report.md).
nlohmann::ordered_json edidFactsAsJSON(const simulated_mac::Bytes& edid);

}  // namespace displaycheck
