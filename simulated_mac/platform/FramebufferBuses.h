#pragma once

#include <IOKit/IOKitLib.h>

#include <optional>

#include "simulated_mac/machine/Mac.h"

namespace simulated_mac {

/// The display whose framebuffer a handle refers to; nullptr for any other handle.
Display* displayOfFramebuffer(io_service_t handle);

/// One I2C bus of a display's framebuffer.
struct Bus {
    Display* display;
    std::size_t index;

    const BusDescription& description() const { return display->buses[index]; }
};

/// The bus whose interface a handle refers to.
std::optional<Bus> busOfInterface(io_service_t handle);

}  // namespace simulated_mac
