#include "simulated_mac/hardware/HardwareTree.h"

#include <fmt/format.h>

#include <algorithm>

#include "simulated_mac/hardware/CFValue.h"

namespace simulated_mac {

namespace {

using Entry = Registry::Entry;

/// Model names in the registry are data that ends in a zero byte.
CFPointer makeModelData(const std::string& model) {
    Bytes bytes(model.begin(), model.end());
    bytes.push_back(0);
    return makeCF(bytes);
}

}  // namespace

HardwareTree buildHardwareTree(Registry& registry, const MacDescription& description,
                               const std::vector<std::unique_ptr<Display>>& displays) {
    if (description.registry != nullptr) return buildRecordedTree(registry, description, displays);
    return description.chip == Chip::intel ? buildIntelTree(registry, description, displays)
                                           : buildAppleTree(registry, description, displays);
}

RegistryEntry makeEntry(std::string name, std::string location, ClassNames classes) {
    RegistryEntry entry;
    entry.name = std::move(name);
    entry.location = std::move(location);
    entry.classes = std::move(classes);
    return entry;
}

void overrideProperties(PropertyMap& properties, const PropertyMap& overrides) {
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

void setProperties(RegistryEntry& entry, const PropertyMap& properties) {
    for (const auto& [key, value] : properties) entry.set(key, makeCF(value));
}

Entry addPlatform(Registry& registry, const MacDescription& description,
                  const std::string& usualModel) {
    const std::string model = description.model.value_or(usualModel);
    auto expert = makeEntry(model, "", {"IOPlatformExpertDevice", "IOService"});
    expert.set("model", makeModelData(model));
    return registry.add(registry.root(), std::move(expert));
}

void addOtherEntries(Registry& registry, const Entry& parent, std::uint32_t first,
                     std::uint32_t count) {
    constexpr std::uint32_t perDevice = 16;
    const ClassNames ofDevices = {"AppleARMIODevice", "IOService"};
    const ClassNames ofEndpoints = {"IOService"};

    Entry device;
    for (std::uint32_t index = first; index < first + count; ++index) {
        if (device == nullptr || index % perDevice == 0) {
            device =
                registry.add(parent, makeEntry("device", fmt::format("{:X}", index), ofDevices));
        } else {
            registry.add(device, makeEntry("IOServiceEndpoint", "", ofEndpoints));
        }
    }
}

Entry addUSBController(Registry& registry, const Entry& parent) {
    return registry.add(parent, makeEntry("AppleUSBXHCI", "14000000",
                                          {"AppleUSBXHCI", "IOUSBController", "IOService"}));
}

namespace {

/// One node of a device; its class comes first.
RegistryEntry makeUSBNode(const USBDeviceDescription& device, ClassNames classes) {
    PropertyMap properties;
    const auto number = [&](const char* key, auto value) {
        if (value) properties.emplace_back(key, PropertyValue{std::int64_t{*value}});
    };
    const auto text = [&](const char* key, const auto& value) {
        if (value) properties.emplace_back(key, PropertyValue{*value});
    };
    properties.emplace_back("IOClassNameOverride", PropertyValue{std::string("IOUSBDevice")});
    if (device.locationID) {
        // Of 64 bits, the upper ones repeat the highest of its 32.
        properties.emplace_back(
            "locationID",
            PropertyValue{std::int64_t{static_cast<std::int32_t>(*device.locationID)}});
    }
    number("idVendor", device.vendorID);
    number("idProduct", device.productID);
    if (!device.olderForm) text("kUSBProductString", device.product);
    text("USB Product Name", device.product);
    text("kUSBSerialNumberString", device.serial);
    overrideProperties(properties, device.properties);

    auto entry = makeEntry(device.nodeName, fmt::format("{:x}", device.locationID.value_or(0)),
                           std::move(classes));
    setProperties(entry, properties);
    entry.readable = device.readable;
    entry.parentFound = device.hasParent;
    return entry;
}

}  // namespace

void addUSBDevice(Registry& registry, const Entry& controller, const USBDeviceDescription& device) {
    const Entry node = registry.add(
        controller,
        makeUSBNode(device, {"IOUSBHostDevice", "IOUSBDevice", "IOUSBNub", "IOService"}));
    if (!device.olderForm) return;
    const Entry client =
        registry.add(node, makeEntry(legacyUSBClient, "", {legacyUSBClient, "IOService"}));
    registry.add(client,
                 makeUSBNode(device, {"AppleUSBDevice", "IOUSBDevice", "IOUSBNub", "IOService"}));
}

}  // namespace simulated_mac
