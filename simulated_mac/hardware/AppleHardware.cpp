#include <fmt/format.h>

#include <algorithm>

#include "simulated_mac/description/EDID.h"
#include "simulated_mac/hardware/HardwareTree.h"

// Displays as an Apple-silicon Mac shows them: framebuffer entries with the monitor's identity, and
// below each the proxy of its AV service.

namespace simulated_mac {

namespace {

using Entry = Registry::Entry;

constexpr std::uint32_t usualOtherEntries = 3000;

PropertyValue text(const std::string& value) {
    return {value};
}
PropertyValue number(std::int64_t value) {
    return {value};
}

PropertyMap productAttributes(const Display& display) {
    PropertyMap attributes;
    const Bytes& edid = display.screen.monitor.edid;
    if (!edid.empty()) {
        const EDIDIdentity identity = identifyEDID(edid);
        if (identity.name) attributes.emplace_back("ProductName", text(*identity.name));
        attributes.emplace_back("ManufacturerID", text(identity.manufacturer));
        attributes.emplace_back("ProductID", number(identity.productCode));
        attributes.emplace_back("SerialNumber", number(identity.serialNumber));
        if (identity.serialText) {
            attributes.emplace_back("AlphanumericSerialNumber", text(*identity.serialText));
        }
        attributes.emplace_back("WeekOfManufacture", number(identity.week));
        attributes.emplace_back("YearOfManufacture", number(identity.year));
    }
    overrideProperties(attributes, display.screen.displayService.productAttributes);
    return attributes;
}

PropertyMap framebufferProperties(const Display& display) {
    PropertyMap properties;
    if (!display.screen.monitor.edid.empty()) {
        properties.emplace_back("EDID UUID", text(identifyEDID(display.screen.monitor.edid).uuid));
    }
    properties.emplace_back(
        "DisplayAttributes",
        PropertyValue{PropertyMap{{"ProductAttributes", {productAttributes(display)}}}});
    if (!display.screen.builtIn) {
        properties.emplace_back("Transport", PropertyValue{PropertyMap{
                                                 {"Upstream", text("DP")},
                                                 {"Downstream", text("DP")},
                                             }});
    }
    overrideProperties(properties, display.screen.displayService.properties);
    return properties;
}

Entry addProxy(Registry& registry, const Entry& parent, const ProxyDescription& description,
               const std::string& usualLocation) {
    auto proxy = makeEntry("DCPAVServiceProxy", "", {"DCPAVServiceProxy", "IOService"});
    proxy.nameReadable = description.nameReadable;
    proxy.set("Location", makeCF(description.location.value_or(text(usualLocation))));
    return registry.add(parent, std::move(proxy));
}

}  // namespace

void addDisplayService(Registry& registry, const Entry& parent, Display& display) {
    const DisplayServiceDescription& description = display.screen.displayService;
    auto entry = makeEntry(description.entryName, "",
                           {description.entryName, "IOMobileFramebuffer", "IOService"});
    entry.nameReadable = description.nameReadable;
    setProperties(entry, framebufferProperties(display));
    const Entry framebuffer = registry.add(parent, std::move(entry));
    const Entry port = registry.add(
        framebuffer, makeEntry("AppleDCPLinkService", "", {"AppleDCPLinkService", "IOService"}));
    display.service = framebuffer;
    for (const ProxyDescription& proxy : description.proxies) {
        display.proxies.push_back(
            addProxy(registry, port, proxy, display.screen.builtIn ? "Embedded" : "External"));
    }
}

namespace {

/// The displays whose framebuffers are there from the start, in the order of the registry: those
/// with a position take it, the others fill the places between in the order of the screens.
std::vector<Display*> inRegistryOrder(const std::vector<std::unique_ptr<Display>>& displays) {
    std::vector<Display*> order;
    std::vector<std::pair<std::int64_t, Display*>> placed;
    for (const auto& display : displays) {
        const DisplayServiceDescription& service = display->screen.displayService;
        if (!service.present || service.appearsAt > 0) continue;
        if (service.position) {
            placed.emplace_back(*service.position, display.get());
        } else {
            order.push_back(display.get());
        }
    }
    std::stable_sort(placed.begin(), placed.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [position, display] : placed) {
        const auto place =
            std::clamp<std::int64_t>(position, 0, static_cast<std::int64_t>(order.size()));
        order.insert(order.begin() + place, display);
    }
    return order;
}

}  // namespace

HardwareTree buildAppleTree(Registry& registry, const MacDescription& description,
                            const std::vector<std::unique_ptr<Display>>& displays) {
    const Entry platform = addPlatform(registry, description, "Mac14,9");
    const Entry io =
        registry.add(platform, makeEntry("arm-io", "", {"IOPlatformDevice", "IOService"}));
    const std::uint32_t others = description.otherRegistryEntries.value_or(usualOtherEntries);
    addOtherEntries(registry, io, 0, others / 2);
    HardwareTree tree;
    for (const ProxyDescription& proxy : description.strayProxies) {
        tree.strayProxies.push_back({addProxy(registry, io, proxy, "External"), proxy});
    }

    tree.displayServices =
        registry.add(io, makeEntry("dispext0", "0", {"AppleARMIODevice", "IOService"}));
    for (Display* const display : inRegistryOrder(displays)) {
        addDisplayService(registry, tree.displayServices, *display);
    }

    addOtherEntries(registry, io, others / 2, others - others / 2);
    const Entry usb =
        registry.add(io, makeEntry("usb-drd0", "82280000", {"AppleARMIODevice", "IOService"}));
    tree.usbController = addUSBController(registry, usb);
    return tree;
}

PropertyMap coreDisplayDictionary(const Display& display) {
    PropertyMap dictionary;
    const Bytes& edid = display.screen.monitor.edid;
    if (!edid.empty()) {
        const EDIDIdentity identity = identifyEDID(edid);
        const auto millimetres = [](std::uint8_t cm) { return number(std::int64_t{cm} * 10); };
        dictionary.emplace_back("DisplayVendorID", number(identity.vendorNumber));
        dictionary.emplace_back("DisplayProductID", number(identity.productCode));
        dictionary.emplace_back("DisplaySerialNumber", number(identity.serialNumber));
        dictionary.emplace_back("DisplayWeekManufacture", number(identity.week));
        dictionary.emplace_back("DisplayYearManufacture", number(identity.year));
        dictionary.emplace_back("DisplayHorizontalImageSize", millimetres(identity.widthCm));
        dictionary.emplace_back("DisplayVerticalImageSize", millimetres(identity.heightCm));
        if (identity.name) {
            dictionary.emplace_back("DisplayProductName",
                                    PropertyValue{PropertyMap{{"en_US", text(*identity.name)}}});
        }
    }
    overrideProperties(dictionary, display.screen.infoDictionary);
    return dictionary;
}

}  // namespace simulated_mac
