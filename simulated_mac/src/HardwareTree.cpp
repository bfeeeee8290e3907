#include "HardwareTree.h"

#include <fmt/format.h>

#include <algorithm>

#include "CFObjects.h"
#include "EDID.h"

namespace simulated_mac {

namespace {

using Entry = Registry::Entry;

constexpr auto defaultIntelModel = "MacBookPro16,1";
constexpr auto defaultIntelDriver = "AppleIntelFramebuffer";

RegistryEntry makeEntry(std::string name, std::string location, std::vector<std::string> classes) {
    RegistryEntry entry;
    entry.name = std::move(name);
    entry.location = std::move(location);
    entry.classes = std::move(classes);
    return entry;
}

CFPointer makeNumber(std::int64_t value) {
    return makeCF(value);
}

/// Model names stand in the registry as data that end in a zero byte.
CFPointer makeModelData(const std::string& model) {
    Bytes bytes(model.begin(), model.end());
    bytes.push_back(0);
    return makeCF(bytes);
}

Entry addPlatform(Registry& registry, const MacDescription& description) {
    const std::string model = description.model.value_or(defaultIntelModel);
    auto expert = makeEntry(model, "", {"IOPlatformExpertDevice", "IOService"});
    expert.set("model", makeModelData(model));
    return registry.add(registry.root(), std::move(expert));
}

void override(PropertyMap& properties, const PropertyMap& overrides) {
    for (const auto& [key, value] : overrides) {
        const auto known =
            std::find_if(properties.begin(), properties.end(),
                         [&key = key](const auto& property) { return property.first == key; });
        if (known != properties.end()) {
            known->second = value;
        } else {
            properties.emplace_back(key, value);
        }
    }
}

/// One framebuffer with its I2C interfaces and, but for the built-in panel, its connection.
Entry addFramebuffer(Registry& registry, const Entry& graphics, const std::string& driver,
                     std::size_t index, const Display& display) {
    const FramebufferDescription& description = display.screen.framebuffer;
    auto entry = makeEntry(driver, fmt::format("{:X}", index),
                           {driver, "IOFramebuffer", "IOGraphicsDevice", "IOService"});
    entry.path = description.path;
    entry.set("IOFBDependentIndex", makeNumber(static_cast<std::int64_t>(index)));
    const Entry framebuffer = registry.add(graphics, std::move(entry));

    for (std::size_t bus = 0; bus < description.buses.size(); ++bus) {
        auto interface = makeEntry("IOFramebufferI2CInterface", "",
                                   {"IOFramebufferI2CInterface", "IOI2CInterface", "IOService"});
        interface.set("IOI2CBusID", makeNumber(static_cast<std::int64_t>(bus)));
        if (const auto types = description.buses[bus].transactionTypes) {
            interface.set("IOI2CTransactionTypes", makeNumber(*types));
        }
        registry.add(framebuffer, std::move(interface));
    }
    registry.add(framebuffer, makeEntry("display0", "", {"IODisplayConnect", "IOService"}));
    return framebuffer;
}

}  // namespace

std::shared_ptr<RegistryEntry> buildHardwareTree(Registry& registry,
                                                 const MacDescription& description,
                                                 const std::vector<std::unique_ptr<Display>>& all) {
    const Entry platform = addPlatform(registry, description);
    const Entry acpi = registry.add(platform, makeEntry("AppleACPIPlatformExpert", "",
                                                        {"AppleACPIPlatformExpert", "IOService"}));
    const Entry pci = registry.add(acpi, makeEntry("PCI0", "0", {"IOACPIPlatformDevice"}));
    const Entry graphics = registry.add(pci, makeEntry("GFX0", "2", {"IOPCIDevice", "IOService"}));
    const std::string driver = description.graphics.driver.value_or(defaultIntelDriver);
    for (std::size_t index = 0; index < all.size(); ++index) {
        if (!all[index]->screen.framebuffer.present) continue;
        all[index]->framebuffer = addFramebuffer(registry, graphics, driver, index, *all[index]);
    }
    const Entry usb = registry.add(pci, makeEntry("XHC1", "14", {"IOPCIDevice", "IOService"}));
    return registry.add(usb, makeEntry("AppleUSBXHCI", "14000000",
                                       {"AppleUSBXHCI", "IOUSBController", "IOService"}));
}

std::shared_ptr<RegistryEntry> connectionOf(const Display& display) {
    if (display.framebuffer == nullptr) return nullptr;
    const auto& children = display.framebuffer->children;
    const auto found = std::find_if(children.begin(), children.end(), [](const Entry& child) {
        return child->isA("IODisplayConnect");
    });
    return found != children.end() ? *found : nullptr;
}

RegistryEntry makeUSBDevice(const USBDeviceDescription& device) {
    PropertyMap properties;
    const auto number = [&](const char* key, auto value) {
        if (value) properties.emplace_back(key, PropertyValue{std::int64_t{*value}});
    };
    const auto text = [&](const char* key, const auto& value) {
        if (value) properties.emplace_back(key, PropertyValue{*value});
    };
    number("locationID", device.locationID);
    number("idVendor", device.vendorID);
    number("idProduct", device.productID);
    text("kUSBProductString", device.product);
    text("USB Product Name", device.product);
    text("kUSBSerialNumberString", device.serial);
    override(properties, device.properties);

    auto entry = makeEntry(device.nodeName, fmt::format("{:x}", device.locationID.value_or(0)),
                           {"IOUSBHostDevice", "IOUSBDevice", "IOUSBNub", "IOService"});
    for (const auto& [key, value] : properties) entry.set(key, makeCF(value));
    entry.readable = device.readable;
    entry.parentFound = device.hasParent;
    return entry;
}

PropertyMap infoDictionary(const Display& display) {
    PropertyMap dictionary;
    dictionary.emplace_back("IODisplayLocation",
                            PropertyValue{fmt::format("display {}", display.displayID)});
    if (!display.screen.monitor.edid.empty()) {
        const EDIDIdentity identity = identifyEDID(display.screen.monitor.edid);
        dictionary.emplace_back("DisplayVendorID",
                                PropertyValue{std::int64_t{identity.vendorNumber}});
        dictionary.emplace_back("DisplayProductID",
                                PropertyValue{std::int64_t{identity.productCode}});
        if (identity.serialNumber != 0) {
            dictionary.emplace_back("DisplaySerialNumber",
                                    PropertyValue{std::int64_t{identity.serialNumber}});
        }
        if (identity.serialText) {
            dictionary.emplace_back("DisplaySerialString", PropertyValue{*identity.serialText});
        }
    }
    override(dictionary, display.screen.framebuffer.dictionary);
    return dictionary;
}

}  // namespace simulated_mac
