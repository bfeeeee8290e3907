#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "plugin/ProductData.h"
#include "simulated_mac/description/Assumption.h"

namespace displaycheck {

/// The Mac with each unknown monitor as assumed; one that answers does so as a supported monitor.
inline simulated_mac::MacDescription assumedMac(simulated_mac::MacDescription mac,
                                                simulated_mac::Assumption assumption) {
    const simulated_mac::VCPTable confirming = {
        {ProductData::confirmationCode, {.current = ProductData::confirmationBit}}};
    return simulated_mac::assume(std::move(mac), assumption, confirming);
}

/// What to assume in the runs that together say all about a Mac: both, or in a single run nothing
/// for a Mac without unknown monitors.
inline std::vector<std::optional<simulated_mac::Assumption>> assumptionsFor(
    const simulated_mac::MacDescription& mac) {
    if (simulated_mac::countUnknownMonitors(mac) == 0) return {std::nullopt};
    return {simulated_mac::Assumption::answers, simulated_mac::Assumption::silent};
}

/// The Mac of one of those runs.
inline simulated_mac::MacDescription assumedMac(
    const simulated_mac::MacDescription& mac,
    const std::optional<simulated_mac::Assumption>& assumption) {
    return assumption ? assumedMac(mac, *assumption) : mac;
}

}  // namespace displaycheck
