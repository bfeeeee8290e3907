#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulated_mac/description/RecordedRegistry.h"

namespace displaycheck {

/// One display of a recorded Mac, and the entries of the registry that stand for it.
struct RecordedDisplay {
    std::size_t framebuffer = simulated_mac::RecordedEntry::none;
    /// Of an Intel Mac: the node with the display's properties.
    std::size_t node = simulated_mac::RecordedEntry::none;
    /// Of an Apple-silicon Mac: the AV service proxies of the display's coprocessor.
    std::vector<std::size_t> proxies;
    bool builtIn = false;
    simulated_mac::Bytes edid;  ///< empty where none is recorded, or it is cut in its first block
    bool isEDIDCut = false;

    // As the registry tells them; not set where it doesn't.
    std::optional<std::string> name;
    std::optional<std::string> manufacturer;
    std::optional<std::string> serialText;
    std::optional<std::uint32_t> vendor;
    std::optional<std::uint32_t> product;
    std::optional<std::uint32_t> serial;
    std::optional<std::uint32_t> week;
    std::optional<std::uint32_t> year;
    std::optional<std::string> uuid;  ///< "EDID UUID"
};

/// Whether the registry is an Apple-silicon Mac's.
bool isAppleSilicon(const simulated_mac::RecordedRegistry& registry);

/// The displays in the order of their framebuffers. Throws DumpError if there are too many.
std::vector<RecordedDisplay> recordedDisplays(const simulated_mac::RecordedRegistry& registry);

/// The graphics chip as the registry names it; nothing where it doesn't.
std::optional<std::string> recordedChipset(const simulated_mac::RecordedRegistry& registry,
                                           const std::vector<RecordedDisplay>& displays);

}  // namespace displaycheck
