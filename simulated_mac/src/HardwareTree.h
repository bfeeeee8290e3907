#pragma once

#include <memory>
#include <vector>

#include "Mac.h"

namespace simulated_mac {

/// Builds the registry of the Mac's kind: platform expert, graphics with a framebuffer for each
/// display, USB controller. Sets each display's framebuffer; returns the controller's entry.
std::shared_ptr<RegistryEntry> buildHardwareTree(Registry& registry,
                                                 const MacDescription& description,
                                                 const std::vector<std::unique_ptr<Display>>& all);

/// The node under which a framebuffer's monitor is connected; it carries the EDID.
std::shared_ptr<RegistryEntry> connectionOf(const Display& display);

/// A USB device as the registry shows it.
RegistryEntry makeUSBDevice(const USBDeviceDescription& device);

/// The display information dictionary of an Intel Mac's framebuffer.
PropertyMap infoDictionary(const Display& display);

}  // namespace simulated_mac
