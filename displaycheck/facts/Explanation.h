#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "displaycheck/facts/ModelFacts.h"
#include "displaycheck/facts/Reading.h"
#include "displaycheck/facts/ServicePairing.h"
#include "plugin/Display/EDIDInfo.h"
#include "plugin/Display/displayInfo.h"
#include "plugin/MyInstallerPane.h"
#include "simulated_mac/machine/Mac.h"

namespace displaycheck {

/// Why a display has its verdict: the pane's questions, in its order, and the answers.
struct Explanation {
    bool builtIn = false;
    ModelFacts model;  ///< what its name says
    /// On Apple silicon, the registry's services for the display; nothing if nothing was paired.
    std::optional<ServicePairing> services;
    /// The identity in the EDID paired with the screen.
    std::optional<EDIDInfo> paired;
    /// Where none was paired: what the EDID of the monitor behind the screen says, if it has a
    /// readable one, and whether the pane would have paired that.
    std::optional<EDIDInfo> unpaired;
    bool unpairedFits = false;
    /// Whether the paired EDID is the maker's; nothing where the pane had no need to know.
    std::optional<bool> fromMaker;
    /// The last read of the display; nothing when it was not asked.
    std::optional<Reading> reading;
    /// The VCP code of that read, where the Mac file says nothing of the monitor's answer to it and
    /// the code therefore counts as unsupported.
    std::optional<std::uint8_t> codeWithoutAnswer;
    /// Whether the read reached a monitor whose answers are only assumed.
    bool answerAssumed = false;
    /// Whether the pane sent no clean request after a bad reply, though the name is nearly that of
    /// a model which needs one.
    bool lacksCleanRequest = false;
};

/// Explains a display of a run that is over, of which `trace` holds callsOfReadings(). Makes
/// platform calls itself.
Explanation explain(const simulated_mac::Mac& mac, vorn::MyInstallerPane& pane,
                    const displayInfo& display,
                    const std::vector<simulated_mac::TracedCall>& trace);

}  // namespace displaycheck
