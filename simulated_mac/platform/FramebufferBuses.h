#pragma once

#include <IOKit/IOKitLib.h>

#include <optional>

#include "simulated_mac/machine/Mac.h"

namespace simulated_mac {

/// The framebuffer that a handle refers to; nullptr for any other handle.
const Framebuffer* framebufferOf(io_service_t handle);

/// The bus whose interface a handle refers to.
std::optional<Bus> busOfInterface(io_service_t handle);

}  // namespace simulated_mac
