#include "displaycheck/facts/Explanation.h"

#include "plugin/Display/EDIDPairing.h"
#include "plugin/Extension/NSString+normalization.h"
#include "plugin/WhiteList.h"
#include "simulated_mac/description/HexText.h"

namespace displaycheck {

namespace {

using simulated_mac::Mac;
using simulated_mac::TracedCall;

void explainPairing(Explanation& why, const Mac& mac, const displayInfo& display) {
    if (display.EDIDString) {
        why.paired = vorn::decodeEDID(*display.EDIDString);
        return;
    }
    const auto* const screen = mac.display(display.screenNumber);
    if (screen == nullptr) return;
    const std::string EDID = simulated_mac::hexText(screen->screen.monitor.edid);
    why.unpaired = vorn::decodeEDID(EDID);
    why.unpairedFits = why.unpaired && vorn::fits(*why.unpaired, display);
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
    explainPairing(why, mac, display);
    why.reading = lastReading(mac, display.screenNumber, trace);
    if (why.listed || why.recent) why.fromMaker = vorn::isFromMaker(display);
    return why;
}

}  // namespace displaycheck
