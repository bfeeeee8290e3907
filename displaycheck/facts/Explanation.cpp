#include "displaycheck/facts/Explanation.h"

#include <stdexcept>

#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/Extension/NSString+normalization.h"
#include "plugin/Utilities/EDIDUtils.h"
#include "plugin/WhiteList.h"
#include "simulated_mac/description/HexText.h"

namespace displaycheck {

namespace {

using simulated_mac::Bytes;
using simulated_mac::Mac;
using simulated_mac::TracedCall;

std::optional<EDIDInfo> decode(const std::string& EDID) {
    try {
        return edidUtils->generateEDIDInfo(EDID);
    } catch (const std::out_of_range&) {
        return std::nullopt;
    }
}

/// Whether the pane pairs an EDID with a display, by its own operation on a copy of the display.
bool wouldPair(vorn::MyInstallerPane& pane, const displayInfo& display, const std::string& EDID) {
    const auto copy = std::make_shared<displayInfo>();
    copy->screenNumber = display.screenNumber;
    copy->name = display.name;
    copy->serialNumber = display.serialNumber;
    // With one display more than EDIDs the pane does not wait and read the EDIDs again.
    const auto other = std::make_shared<displayInfo>();
    other->displayState = displayInfo::notSupported;
    pane.parseMonitorEDIDWithScreenNumber({}, {EDID}, {copy, other});
    return copy->EDIDString.has_value();
}

void explainPairing(Explanation& why, const Mac& mac, vorn::MyInstallerPane& pane,
                    const displayInfo& display) {
    if (display.EDIDString) {
        why.paired = decode(*display.EDIDString);
        return;
    }
    const auto* const screen = mac.display(display.screenNumber);
    if (screen == nullptr) return;
    const std::string EDID = simulated_mac::hexText(screen->screen.monitor.edid);
    why.unpaired = decode(EDID);
    why.unpairedFits = why.unpaired && wouldPair(pane, display, EDID);
}

/// The pane asks only the maker's monitors for their answer, and of those that it does not ask it
/// supports none of another maker.
std::optional<bool> isFromMaker(const Explanation& why, const displayInfo& display) {
    if (!why.listed && !why.recent) return std::nullopt;
    if (why.reading || display.displayState != displayInfo::notSupported) return true;
    // A recent model that could not be asked for want of an AV service ends alike.
    if (why.recent && DDC->UseArm64 && display.arm64avService == nullptr) return std::nullopt;
    return false;
}

}  // namespace

Explanation explain(const Mac& mac, vorn::MyInstallerPane& pane, const displayInfo& display,
                    const std::vector<TracedCall>& trace) {
    Explanation why;
    const auto* const screen = mac.display(display.screenNumber);
    why.builtIn = screen != nullptr && screen->screen.builtIn;
    if (why.builtIn) return why;

    const std::string name = display.name.value_or("");
    why.listed = whiteList->availableDisplay(display.name);
    why.regularName = regularMonitorName(name);
    why.recent = pane.isYear25orAbove(why.regularName);
    explainPairing(why, mac, pane, display);
    why.reading = lastReading(mac, display.screenNumber, trace);
    why.fromMaker = isFromMaker(why, display);
    return why;
}

}  // namespace displaycheck
