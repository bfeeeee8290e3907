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

bool fits(const EDIDInfo& info, const displayInfo& display) {
    const std::string modelName = info.modelName.value_or("");
    const std::string name = display.name.value_or("");
    if (modelName.empty()) return false;
    return uppercaseText(name).find(uppercaseText(modelName)) != std::string::npos &&
           display.serialNumber == info.serialNumber;
}

bool isFromMaker(const displayInfo& display) {
    return lowercaseText(display.plugNplayID.value_or("")).find(ProductData::manufacturerID) !=
           std::string::npos;
}

}  // namespace vorn
