#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simulated_mac/description/RecordedRegistry.h"

namespace displaycheck {

/// An entry of the registry that the pane asks about, with the properties that it reads there.
struct ReadEntry {
    std::string path;
    std::string className;
    /// Keys and values as ioreg prints them; no value for one that is cut, which nobody knows.
    std::vector<std::pair<std::string, std::optional<std::string>>> properties;
};

/// What the pane, and the platform's functions on its behalf, read of a registry, in its order: the
/// platform's model, framebuffers, I2C interfaces, displays, AV service proxies and USB devices.
std::vector<ReadEntry> entriesThatThePaneReads(const simulated_mac::RecordedRegistry& registry);

/// Where the Mac shows something else than the dump, a line each.
std::vector<std::string> differences(const std::vector<ReadEntry>& mac,
                                     const std::vector<ReadEntry>& dump);

}  // namespace displaycheck
