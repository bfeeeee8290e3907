#include <CoreGraphics/CoreGraphics.h>

#include <algorithm>
#include <chrono>

#include "plugin/Cocoa/Screens.h"
#include "plugin/Cocoa/ThreadSleep.h"
#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/MyInstallerPane.h"
#include "plugin/Platform/Text.h"
#include "plugin/Utilities/StringUtil.h"

using namespace vorn;

// Listing the screens and gathering their data.

using namespace std::chrono_literals;

Guarded<DisplayList>& displayInfoArray = *new Guarded<DisplayList>;

namespace vorn {

void MyInstallerPane::getDisplayInfo() {
    displayInfoArray.set({});

    const std::int32_t externalScreens = getNSScreenCount();
    if (externalScreens == 0) Cocoa::sleepThread(2s);

    std::vector<DisplayService> matches;
    if (DDC->UseArm64 && externalScreens != 0) {
        const auto arm64 = arm64Util.get();
        matches = arm64->getServiceMatches(getDisplayIDsArr());
        // Display services may still be starting: waits of 2, 3, 4, 5 and 6 seconds.
        for (int k = 1; matches.empty() && k < 6; ++k) {
            Cocoa::sleepThread(std::chrono::seconds(k + 1));
            matches = arm64->getServiceMatches(getDisplayIDsArr());
        }
    }
    auto EDIDs = readEDIDs(matches);

    const DisplayList displays = ReturnAllDisplaysWithBuiltIn();
    displayInfoArray.set(displays);
    mappingUSBDisplays(displays);
    parseMonitorEDIDWithScreenNumber(matches, std::move(EDIDs), displays);
    if (DDC->UseArm64) setupM1DDCCIServices(matches, displays);
    setDisplayConnectionState(displays);
}

std::int32_t MyInstallerPane::getNSScreenCount() const {
    const auto screens = Cocoa::screens();
    return static_cast<std::int32_t>(
        std::count_if(screens.begin(), screens.end(), [](const Cocoa::Screen& screen) {
            return screen.deviceIsScreen && !CGDisplayIsBuiltin(screen.screenNumber);
        }));
}

std::vector<CGDirectDisplayID> MyInstallerPane::getDisplayIDsArr() const {
    std::vector<CGDirectDisplayID> displayIDs;
    for (const Cocoa::Screen& screen : Cocoa::screens()) {
        if (screen.deviceIsScreen) displayIDs.push_back(screen.screenNumber);
    }
    return displayIDs;
}

DisplayList MyInstallerPane::ReturnAllDisplaysWithBuiltIn() const {
    DisplayList displays;
    for (const Cocoa::Screen& screen : Cocoa::screens()) {
        // Ends the list here, while the two functions above skip such an entry and continue.
        if (!screen.deviceIsScreen) break;
        const auto display = std::make_shared<displayInfo>();
        display->idx = static_cast<std::int32_t>(displays.size());
        display->screenNumber = screen.screenNumber;
        display->serialNumber = CGDisplaySerialNumber(screen.screenNumber);
        if (CGDisplayIsBuiltin(screen.screenNumber)) {
            display->name = "Build-in Display";
            display->modelInfo = "Build-in";
        } else {
            display->name = screen.localizedName;
            if (!::whiteList->isListed(display->forms().upperCase) &&
                !isYear25orAbove(display->forms().bareModel)) {
                display->displayState = displayInfo::notSupported;
            }
        }
        displays.push_back(display);
    }
    return displays;
}

void MyInstallerPane::mappingUSBDisplays(const DisplayList& displays) {
    if (!DDC->usbAllDisplays) return;
    for (const auto& display : displays) {
        const std::string name = display->name.value_or("");
        if (CGDisplayIsBuiltin(display->screenNumber) ||
            display->displayState == displayInfo::notSupported || name.empty()) {
            continue;
        }
        // The last fit wins.
        for (const auto& entry : *DDC->usbAllDisplays) {
            const std::string entryName = entry->name.value_or("");
            if (entryName.empty() || name.find(entryName) == std::string::npos ||
                entry->serialNumber != display->serialNumber) {
                continue;
            }
            display->USBIdx = entry->USBIdx;
            display->isUSBPassthrough = entry->USBIdx >= 0;
        }
    }
}

std::vector<std::string> MyInstallerPane::readEDIDs(
    const std::vector<DisplayService>& matches) const {
    if (!DDC->UseArm64 || matches.empty()) return strUtil->getEDIDString(DDC->UseArm64);
    const auto arm64 = arm64Util.get();
    std::vector<std::string> EDIDs;
    const auto contains = [&EDIDs](const std::string& text) {
        return std::find(EDIDs.begin(), EDIDs.end(), text) != EDIDs.end();
    };
    for (const DisplayService& match : matches) {
        const std::string text = arm64->readEDID(match.avService).value_or("");
        if (!text.empty() && !contains(lowercaseText(text)) && !contains(uppercaseText(text))) {
            EDIDs.push_back(text);
        }
    }
    return EDIDs;
}

}  // namespace vorn
