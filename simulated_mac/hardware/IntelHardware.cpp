#include <fmt/format.h>

#include <algorithm>

#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/RecordedValue.h"
#include "simulated_mac/hardware/HardwareTree.h"

// Graphics as an Intel Mac's registry shows them: framebuffers with I2C interfaces and connections.

namespace simulated_mac {

namespace {

using Entry = Registry::Entry;

constexpr auto defaultDriver = "AppleIntelFramebuffer";

PropertyMap identityDictionary(const Display* display) {
    PropertyMap dictionary;
    const auto addNumber = [&dictionary](const char* key, std::uint32_t number) {
        dictionary.emplace_back(key, PropertyValue{std::int64_t{number}});
    };
    if (display == nullptr || display->gone || display->screen.monitor.edid.empty()) {
        addNumber("DisplayVendorID", vendorWithoutEDID);
        addNumber("DisplayProductID", productWithoutEDID);
        return dictionary;
    }
    const EDIDIdentity identity = identifyEDID(display->screen.monitor.edid);
    addNumber("DisplayVendorID", identity.vendorNumber);
    addNumber("DisplayProductID", identity.productCode);
    if (identity.serialNumber != 0) addNumber("DisplaySerialNumber", identity.serialNumber);
    if (identity.serialText) {
        dictionary.emplace_back("DisplaySerialString", PropertyValue{*identity.serialText});
    }
    return dictionary;
}

/// The node of a display below its framebuffer, without the EDID.
Entry addDisplayNode(Registry& registry, const Entry& framebuffer, const Display& display) {
    const Entry connection =
        registry.add(framebuffer, makeEntry("display0", "", {"IODisplayConnect", "IOService"}));
    const std::string name = display.screen.builtIn ? "AppleBacklightDisplay" : "AppleDisplay";
    auto node = makeEntry(name, "", {name, "IODisplay", "IOService"});
    setProperties(node, identityDictionary(&display));
    return registry.add(connection, std::move(node));
}

}  // namespace

std::unique_ptr<Framebuffer> addFramebuffer(Registry& registry, const Entry& graphics,
                                            const MacDescription& mac, std::size_t index,
                                            Display& display) {
    const FramebufferDescription& description = display.screen.framebuffer;
    const std::string driver = mac.graphics.driver.value_or(defaultDriver);
    auto entry = makeEntry(driver, fmt::format("{:X}", index),
                           {driver, "IOFramebuffer", "IOGraphicsDevice", "IOService"});
    entry.path = description.path;
    entry.set("IOFBDependentIndex", makeCF(static_cast<std::int64_t>(index)));

    auto framebuffer = std::make_unique<Framebuffer>();
    framebuffer->entry = registry.add(graphics, std::move(entry));
    framebuffer->display = &display;
    framebuffer->buses =
        description.buses.value_or(std::vector<BusDescription>(display.screen.builtIn ? 0 : 1));
    for (std::size_t bus = 0; bus < framebuffer->buses.size(); ++bus) {
        if (!framebuffer->buses[bus].hasInterface) {
            framebuffer->interfaces.push_back(nullptr);
            continue;
        }
        auto interface = makeEntry("IOFramebufferI2CInterface", "",
                                   {"IOFramebufferI2CInterface", "IOI2CInterface", "IOService"});
        interface.set("IOI2CBusID", makeCF(static_cast<std::int64_t>(bus)));
        if (const auto types = framebuffer->buses[bus].transactionTypes) {
            interface.set("IOI2CTransactionTypes", makeCF(std::int64_t{*types}));
        }
        framebuffer->interfaces.push_back(registry.add(framebuffer->entry, std::move(interface)));
    }
    framebuffer->displayNode = addDisplayNode(registry, framebuffer->entry, display);
    display.framebuffer = framebuffer.get();
    return framebuffer;
}

HardwareTree buildIntelTree(Registry& registry, const MacDescription& description,
                            const std::vector<std::unique_ptr<Display>>& displays) {
    const Entry platform = addPlatform(registry, description, "MacBookPro16,1");
    const Entry acpi = registry.add(platform, makeEntry("AppleACPIPlatformExpert", "",
                                                        {"AppleACPIPlatformExpert", "IOService"}));
    const Entry pci =
        registry.add(acpi, makeEntry("PCI0", "0", {"IOACPIPlatformDevice", "IOService"}));
    addOtherEntries(registry, pci, 0, description.otherRegistryEntries.value_or(0));
    const Entry graphics = registry.add(pci, makeEntry("GFX0", "2", {"IOPCIDevice", "IOService"}));
    HardwareTree tree;
    for (std::size_t index = 0; index < displays.size(); ++index) {
        Display& display = *displays[index];
        if (!display.screen.framebuffer.present) continue;
        tree.framebuffers.push_back(
            addFramebuffer(registry, graphics, description, index, display));
    }
    const Entry usb = registry.add(pci, makeEntry("XHC1", "14", {"IOPCIDevice", "IOService"}));
    tree.usbController = addUSBController(registry, usb);
    return tree;
}

namespace {

/// What is recorded of the display, as its node has it.
PropertyMap recordedProperties(const RecordedEntry& displayNode) {
    PropertyMap properties;
    for (const RecordedProperty& property : displayNode.properties()) {
        if (auto value = parseRecordedValue(property.text)) {
            properties.emplace_back(property.key, std::move(*value));
        }
    }
    return properties;
}

}  // namespace

PropertyMap infoDictionary(const Framebuffer& framebuffer) {
    const Display* const display = framebuffer.display;
    const bool isThere =
        framebuffer.displayNode != nullptr && (display == nullptr || !display->gone);
    const RecordedEntry* const recorded = isThere ? framebuffer.displayNode->recorded : nullptr;
    PropertyMap dictionary =
        recorded != nullptr ? recordedProperties(*recorded) : identityDictionary(display);
    if (display != nullptr) {
        dictionary.insert(
            dictionary.begin(),
            {"IODisplayLocation", PropertyValue{fmt::format("display {}", display->displayID)}});
        overrideProperties(dictionary, display->screen.framebuffer.dictionary);
    }
    return dictionary;
}

}  // namespace simulated_mac
