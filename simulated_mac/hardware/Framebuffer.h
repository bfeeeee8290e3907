#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/hardware/Registry.h"

namespace simulated_mac {

struct Display;

/// A framebuffer of an Intel Mac, which has more of them than displays.
struct Framebuffer {
    /// Of the framebuffer itself.
    Registry::Entry entry;
    /// With the transaction types that they take; a bus without any takes none.
    std::vector<BusDescription> buses;
    /// The entries of the buses' I2C interfaces, one for each; none for a bus without.
    std::vector<Registry::Entry> interfaces;
    /// The display that it drives; nullptr for most.
    Display* display = nullptr;
    /// The node that stands for the display, with its EDID; none without a display.
    Registry::Entry displayNode;
};

/// One I2C bus of a framebuffer.
struct Bus {
    const Framebuffer* framebuffer;
    std::size_t index;

    const BusDescription& description() const { return framebuffer->buses[index]; }
};

}  // namespace simulated_mac
