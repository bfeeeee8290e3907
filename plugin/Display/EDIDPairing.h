#pragma once

#include <optional>
#include <string>

#include "plugin/Display/EDIDInfo.h"
#include "plugin/Display/displayInfo.h"

namespace vorn {

/// The identity in an EDID that was read as hex text; nothing where it is too short to hold one.
std::optional<EDIDInfo> decodeEDID(const std::string& EDID);

/// Whether an EDID's identity is that of a display, by name and serial number.
bool fits(const EDIDInfo& info, const displayInfo& display);

/// Whether the EDID that was paired with a display has the maker's PnP letters.
bool isFromMaker(const displayInfo& display);

}  // namespace vorn
