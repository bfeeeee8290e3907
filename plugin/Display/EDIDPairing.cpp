#include "plugin/Display/EDIDPairing.h"

#include <stdexcept>

#include "plugin/Platform/Text.h"
#include "plugin/ProductData.h"
#include "plugin/Utilities/EDIDUtils.h"

namespace vorn {

std::optional<EDIDInfo> decodeEDID(const std::string& EDID) {
    try {
        return edidUtils->generateEDIDInfo(EDID);
    } catch (const std::out_of_range&) {
        return std::nullopt;
    }
}

MonitorKey keyOf(const EDIDInfo& info) {
    return {uppercaseText(info.modelName.value_or("")), info.serialNumber};
}

bool fits(const MonitorKey& EDID, const MonitorKey& display) {
    return !EDID.name.empty() && display.serialNumber == EDID.serialNumber &&
           display.name.find(EDID.name) != std::string::npos;
}

bool isFromMaker(const displayInfo& display) {
    return lowercaseText(display.plugNplayID.value_or("")).find(ProductData::manufacturerID) !=
           std::string::npos;
}

}  // namespace vorn
