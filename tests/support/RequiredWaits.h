#pragma once

#include <vector>

#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/machine/Scheduler.h"

namespace test {

/// What the runs of the pane on a Mac have to wait for: one run for each time that the user enters
/// the pane, at time 0 and in events.
struct RequiredWaits {
    std::vector<simulated_mac::Time> waits;  ///< in order
    simulated_mac::Time toContinue{0};       ///< of the first run
    simulated_mac::Time end{0};              ///< nothing happens any more
};

/// Works them out from the Mac alone, without running anything: from its screens, when they and
/// their EDIDs and services are there, and from what their monitors answer. Only which names may
/// count is asked of the plug-in. It knows only faults of IOAVServiceWriteI2C, assumes that a
/// framebuffer whose identity the description changes fits no screen, and that every service
/// belongs to its own screen.
RequiredWaits requiredWaits(const simulated_mac::MacDescription& mac);

}  // namespace test
