#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>

#include "simulated_mac/description/MacDescription.h"

/// What an EDID says besides what the pane reads from it: when it was made, the size, how many
/// blocks there are and whether their checksums are right.
namespace displaycheck {

/// Where the facts begin on a line for people, behind their labels.
inline constexpr std::size_t edidTextIndent = 17;

/// Lines for people, of `labelledWords`. `edid` begins with a whole base block.
std::string edidFactsAsText(const simulated_mac::Bytes& edid, std::size_t columns);

/// The keys "header" to "height_cm" of `displaycheck edid --json` (docs/report.md).
nlohmann::ordered_json edidFactsAsJSON(const simulated_mac::Bytes& edid);

}  // namespace displaycheck
