#pragma once

#include <string>
#include <utility>

#include "displaycheck/facts/Report.h"
#include "displaycheck/host/CapturedOutput.h"
#include "displaycheck/host/PaneHost.h"
#include "displaycheck/report/DisplayText.h"

namespace displaycheck {

/// The report of a run on a Mac.
inline Report reportOn(simulated_mac::MacDescription description) {
    simulated_mac::Mac mac(std::move(description));
    mac.trace.keepOnly(callsOfReports());
    const CapturedOutput output;
    PaneHost host(mac);
    const auto outcome = host.run();
    return makeReport("mac.yaml", mac, host.pane(), outcome, output.text());
}

/// A display's text for people, without line breaks.
inline std::string textOf(const DisplayFacts& facts) {
    return displayText(facts, 200, Palette(false));
}

}  // namespace displaycheck
