#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "plugin/Display/EDIDInfo.h"
#include "plugin/Display/displayInfo.h"

namespace vorn {

/// The identity in an EDID that was read as hex text; nothing where it is too short to hold one.
std::optional<EDIDInfo> decodeEDID(const std::string& EDID);

/// What an EDID and a display are paired by.
struct MonitorKey {
    std::string name;  ///< in upper case; empty if there is none
    std::uint32_t serialNumber;
};

MonitorKey keyOf(const EDIDInfo& info);

/// Whether an EDID's identity is that of a display: its name is part of the display's.
bool fits(const MonitorKey& EDID, const MonitorKey& display);

/// Whether the EDID that was paired with a display has the maker's PnP letters.
bool isFromMaker(const displayInfo& display);

}  // namespace vorn
