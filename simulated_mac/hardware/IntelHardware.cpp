#include <fmt/format.h>

#include <algorithm>

#include "simulated_mac/description/EDID.h"
#include "simulated_mac/hardware/HardwareTree.h"

// Graphics as an Intel Mac's registry shows them: framebuffers with I2C interfaces and connections.

namespace simulated_mac {

namespace {

using Entry = Registry::Entry;

constexpr auto defaultDriver = "AppleIntelFramebuffer";

/// The display's framebuffer with its I2C interfaces and the connection of its monitor.
void addFramebuffer(Registry& registry, const Entry& graphics, const std::string& driver,
                    std::size_t index, Display& display) {
    const FramebufferDescription& description = display.screen.framebuffer;
    auto entry = makeEntry(driver, fmt::format("{:X}", index),
                           {driver, "IOFramebuffer", "IOGraphicsDevice", "IOService"});
    entry.path = description.path;
    entry.set("IOFBDependentIndex", makeCF(static_cast<std::int64_t>(index)));
    const Entry framebuffer = registry.add(graphics, std::move(entry));

    for (std::size_t bus = 0; bus < display.buses.size(); ++bus) {
        if (!display.buses[bus].hasInterface) {
            display.interfaces.push_back(nullptr);
            continue;
        }
        auto interface = makeEntry("IOFramebufferI2CInterface", "",
                                   {"IOFramebufferI2CInterface", "IOI2CInterface", "IOService"});
        interface.set("IOI2CBusID", makeCF(static_cast<std::int64_t>(bus)));
        if (const auto types = display.buses[bus].transactionTypes) {
            interface.set("IOI2CTransactionTypes", makeCF(std::int64_t{*types}));
        }
        display.interfaces.push_back(registry.add(framebuffer, std::move(interface)));
    }
    registry.add(framebuffer, makeEntry("display0", "", {"IODisplayConnect", "IOService"}));
    display.framebuffer = framebuffer;
}

}  // namespace

HardwareTree buildIntelTree(Registry& registry, const MacDescription& description,
                            const std::vector<std::unique_ptr<Display>>& displays) {
    const Entry platform = addPlatform(registry, description, "MacBookPro16,1");
    const Entry acpi = registry.add(platform, makeEntry("AppleACPIPlatformExpert", "",
                                                        {"AppleACPIPlatformExpert", "IOService"}));
    const Entry pci =
        registry.add(acpi, makeEntry("PCI0", "0", {"IOACPIPlatformDevice", "IOService"}));
    addOtherEntries(registry, pci, 0, description.otherRegistryEntries.value_or(0));
    const Entry graphics = registry.add(pci, makeEntry("GFX0", "2", {"IOPCIDevice", "IOService"}));
    const std::string driver = description.graphics.driver.value_or(defaultDriver);
    for (std::size_t index = 0; index < displays.size(); ++index) {
        Display& display = *displays[index];
        if (!display.screen.framebuffer.present) continue;
        addFramebuffer(registry, graphics, driver, index, display);
    }
    const Entry usb = registry.add(pci, makeEntry("XHC1", "14", {"IOPCIDevice", "IOService"}));
    return {addUSBController(registry, usb), nullptr};
}

std::shared_ptr<RegistryEntry> connectionOf(const Display& display) {
    if (display.framebuffer == nullptr) return nullptr;
    const auto& children = display.framebuffer->children;
    const auto found = std::find_if(children.begin(), children.end(), [](const Entry& child) {
        return child->isA("IODisplayConnect");
    });
    return found != children.end() ? *found : nullptr;
}

PropertyMap infoDictionary(const Display& display) {
    PropertyMap dictionary;
    dictionary.emplace_back("IODisplayLocation",
                            PropertyValue{fmt::format("display {}", display.displayID)});
    const auto addNumber = [&dictionary](const char* key, std::uint32_t number) {
        dictionary.emplace_back(key, PropertyValue{std::int64_t{number}});
    };
    if (display.gone || display.screen.monitor.edid.empty()) {
        addNumber("DisplayVendorID", vendorWithoutEDID);
        addNumber("DisplayProductID", productWithoutEDID);
    } else {
        const EDIDIdentity identity = identifyEDID(display.screen.monitor.edid);
        addNumber("DisplayVendorID", identity.vendorNumber);
        addNumber("DisplayProductID", identity.productCode);
        if (identity.serialNumber != 0) addNumber("DisplaySerialNumber", identity.serialNumber);
        if (identity.serialText) {
            dictionary.emplace_back("DisplaySerialString", PropertyValue{*identity.serialText});
        }
    }
    overrideProperties(dictionary, display.screen.framebuffer.dictionary);
    return dictionary;
}

}  // namespace simulated_mac
