#pragma once

#include <memory>
#include <string>
#include <vector>

#include "simulated_mac/hardware/Display.h"

namespace simulated_mac {

/// An AV service proxy that no display owns.
struct StrayProxy {
    Registry::Entry entry;
    ProxyDescription description;
};

/// Entries in the registry of a Mac below which others come and go while it runs.
struct HardwareTree {
    Registry::Entry usbController;
    /// Of an Apple-silicon Mac: what the nodes of displays and their coprocessors stand below.
    Registry::Entry displayServices = nullptr;
    std::vector<StrayProxy> strayProxies = {};
    /// Of an Intel Mac, in the order of the registry.
    std::vector<std::unique_ptr<Framebuffer>> framebuffers = {};
};

/// Builds the registry of the Mac's kind: platform expert, graphics with framebuffers, USB
/// controller. Display services that appear later are left out.
HardwareTree buildHardwareTree(Registry& registry, const MacDescription& description,
                               const std::vector<std::unique_ptr<Display>>& displays);
HardwareTree buildIntelTree(Registry& registry, const MacDescription& description,
                            const std::vector<std::unique_ptr<Display>>& displays);
HardwareTree buildAppleTree(Registry& registry, const MacDescription& description,
                            const std::vector<std::unique_ptr<Display>>& displays);

/// Builds the registry that was recorded of a real Mac, with all entries in their order, and
/// attaches the displays to the entries that their descriptions name. Throws RecordedRegistryError
/// where there is none of that name.
HardwareTree buildRecordedTree(Registry& registry, const MacDescription& description,
                               const std::vector<std::unique_ptr<Display>>& displays);

/// Adds an Intel Mac's `index`-th framebuffer with its I2C interfaces and, if it drives a display,
/// that one's node.
std::unique_ptr<Framebuffer> addFramebuffer(Registry& registry, const Registry::Entry& chip,
                                            const GraphicsDescription& graphics, std::size_t index,
                                            Display* display);

/// Adds the framebuffer entry of an Apple-silicon Mac's display and, behind it, the display
/// coprocessor with the proxies.
void addDisplayService(Registry& registry, const Registry::Entry& parent, Display& display);

/// The class of what stands between the two nodes of a USB device in its older form.
inline constexpr auto legacyUSBClient = "AppleUSBHostLegacyClient";

/// Adds a USB device as the registry shows it.
void addUSBDevice(Registry& registry, const Registry::Entry& controller,
                  const USBDeviceDescription& device);

/// The display information dictionary of an Intel Mac's framebuffer.
PropertyMap infoDictionary(const Framebuffer& framebuffer);
/// CoreDisplay's information dictionary of an Apple-silicon Mac's display.
PropertyMap coreDisplayDictionary(const Display& display);

// Common parts of both kinds of tree.

RegistryEntry makeEntry(std::string name, std::string location, ClassNames classes);
void overrideProperties(PropertyMap& properties, const PropertyMap& overrides);
void setProperties(RegistryEntry& entry, const PropertyMap& properties);
Registry::Entry addPlatform(Registry& registry, const MacDescription& description,
                            const std::string& usualModel);
/// Filler entries: the devices `first` to `first` + `count` - 1.
void addOtherEntries(Registry& registry, const Registry::Entry& parent, std::uint32_t first,
                     std::uint32_t count);
Registry::Entry addUSBController(Registry& registry, const Registry::Entry& parent);

}  // namespace simulated_mac
