#include <CoreGraphics/CoreGraphics.h>

#include <chrono>

#include "plugin/Cocoa/ThreadSleep.h"
#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/Display/EDIDPairing.h"
#include "plugin/MyInstallerPane.h"
#include "plugin/Platform/Text.h"
#include "plugin/ProductData.h"

// Identifying each display's monitor, and the verdict on it.

using namespace std::chrono_literals;

using ProductData::confirmationBit;
using ProductData::confirmationCode;

namespace vorn {

void MyInstallerPane::parseMonitorEDIDWithScreenNumber(const std::vector<DisplayService>& matches,
                                                       std::vector<std::string> EDIDs,
                                                       const DisplayList& displays) {
    if (EDIDs.size() + 1 != displays.size()) {
        Cocoa::sleepThread(1s);
        EDIDs = readEDIDs(matches);
    }
    std::vector<std::pair<MonitorKey, displayInfo*>> candidates;
    for (const auto& display : displays) {
        if (!CGDisplayIsBuiltin(display->screenNumber) &&
            display->displayState != displayInfo::notSupported) {
            candidates.push_back(
                {{display->forms().upperCase, display->serialNumber}, display.get()});
        }
    }
    // Of several EDIDs that fit a display, the last one wins.
    for (const std::string& EDID : EDIDs) {
        const auto info = decodeEDID(EDID);
        if (!info) continue;
        const MonitorKey key = keyOf(*info);
        for (const auto& [displayKey, display] : candidates) {
            if (!fits(key, displayKey)) continue;
            display->EDIDString = EDID;
            display->serviceTag = info->serviceTag;
            display->modelInfo = info->modelInfo;
            display->plugNplayID = info->plugNplayID;
        }
    }
}

void MyInstallerPane::setupM1DDCCIServices(const std::vector<DisplayService>& matches,
                                           const DisplayList& displays) {
    for (const auto& display : displays) {
        for (const DisplayService& match : matches) {
            if (match.displayID != display->screenNumber) continue;
            display->arm64avService = match.avService;
            break;
        }
    }
}

void MyInstallerPane::setDisplayConnectionState(const DisplayList& displays) {
    for (const auto& display : displays) {
        const std::string name = display->name.value_or("");
        if (CGDisplayIsBuiltin(display->screenNumber) ||
            name.find("Build-in") != std::string::npos) {
            continue;
        }
        const bool listed = ::whiteList->isListed(display->forms().upperCase);
        const bool recent = isYear25orAbove(display->forms().bareModel);
        const bool fromMaker = isFromMaker(*display);
        if (!listed && !recent) {
            display->displayState = displayInfo::notSupported;
            continue;
        }
        // The state while the monitor is asked, which an earlier run that ends meanwhile shows.
        display->displayState = displayInfo::supportedAndAnswering;
        if (!fromMaker) {
            display->displayState = displayInfo::notSupported;
        } else if (!answersOverDDCCI(*display)) {
            // A recent model counts only if it answers; an older one counts by the list alone.
            display->displayState =
                recent ? displayInfo::notSupported : displayInfo::supportedByList;
        }
    }
}

bool MyInstallerPane::answersOverDDCCI(const displayInfo& display) const {
    std::uint32_t result = DDCCtl::nothingRead;
    const std::int32_t status = DDC->Get(confirmationCode, display, &result);
    const auto value = static_cast<std::int32_t>(result);
    return status == DDCCtl::success && value >= 0 && (value & confirmationBit) != 0;
}

bool MyInstallerPane::isYear25orAbove(const std::string& name) const {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };

    const auto last = name.find_last_of("0123456789");
    if (last == std::string::npos || last == 0) return false;
    // Only two digits can read as 25 or more.
    if (!isDigit(name[last - 1])) return false;
    return (name[last - 1] - '0') * 10 + (name[last] - '0') >= 25;
}

}  // namespace vorn
