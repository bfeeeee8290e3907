#pragma once

#include <string>
#include <vector>

#include "simulated_mac/hardware/CFValue.h"
#include "simulated_mac/hardware/Display.h"

namespace simulated_mac {

/// What `system_profiler SPDisplaysDataType` says of a Mac's graphics and screens, for people.
std::string displaysProfileText(const std::string& chipset,
                                const std::vector<const Display*>& screens);

/// The same as data, an array of one dictionary for each graphics chip: its screens are in
/// "spdisplays_ndrvs", a screen's identity in keys that begin with "_spdisplays_display".
CFPointer displaysProfile(const std::string& chipset, const std::vector<const Display*>& screens);

/// The property list of `system_profiler -xml`, in which the chips are the items.
CFPointer displaysReport(const CFPointer& chips);

}  // namespace simulated_mac
