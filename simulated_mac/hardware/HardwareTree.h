#pragma once

#include <memory>
#include <string>
#include <vector>

#include "simulated_mac/hardware/Display.h"

namespace simulated_mac {

/// Entries in the registry of a Mac below which others come and go while it runs.
struct HardwareTree {
    Registry::Entry usbController;
    Registry::Entry displayServices;  ///< parent of an Apple-silicon Mac's framebuffers
    /// AV service proxies before every framebuffer, as the description lists them.
    std::vector<Registry::Entry> strayProxies = {};
};

/// Builds the registry of the Mac's kind: platform expert, graphics with a framebuffer for each
/// display, USB controller. Display services that appear later are left out.
HardwareTree buildHardwareTree(Registry& registry, const MacDescription& description,
                               const std::vector<std::unique_ptr<Display>>& displays);
HardwareTree buildIntelTree(Registry& registry, const MacDescription& description,
                            const std::vector<std::unique_ptr<Display>>& displays);
HardwareTree buildAppleTree(Registry& registry, const MacDescription& description,
                            const std::vector<std::unique_ptr<Display>>& displays);

/// Adds the framebuffer entry of an Apple-silicon Mac's display and the proxies below it.
void addDisplayService(Registry& registry, const Registry::Entry& parent, Display& display);

/// The node under which an Intel Mac's framebuffer has its monitor connected; it carries the EDID.
std::shared_ptr<RegistryEntry> connectionOf(const Display& display);

/// A USB device as the registry shows it.
RegistryEntry makeUSBDevice(const USBDeviceDescription& device);

/// The display information dictionary of an Intel Mac's framebuffer.
PropertyMap infoDictionary(const Display& display);
/// CoreDisplay's information dictionary of an Apple-silicon Mac's display.
PropertyMap coreDisplayDictionary(const Display& display);

// Common parts of both kinds of tree.

RegistryEntry makeEntry(std::string name, std::string location, std::vector<std::string> classes);
void overrideProperties(PropertyMap& properties, const PropertyMap& overrides);
void setProperties(RegistryEntry& entry, const PropertyMap& properties);
Registry::Entry addPlatform(Registry& registry, const MacDescription& description,
                            const std::string& usualModel);
/// Filler entries: the devices `first` to `first` + `count` - 1.
void addOtherEntries(Registry& registry, const Registry::Entry& parent, std::uint32_t first,
                     std::uint32_t count);
Registry::Entry addUSBController(Registry& registry, const Registry::Entry& parent);

}  // namespace simulated_mac
