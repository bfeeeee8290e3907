#include <fmt/format.h>

#include <algorithm>

#include "simulated_mac/description/EDID.h"
#include "simulated_mac/hardware/HardwareTree.h"

// Displays as an Apple-silicon Mac shows them: framebuffer entries with the monitor's identity, and
// behind each the coprocessor that drives it, with the proxy of its AV service among others.

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
        attributes.emplace_back("LegacyManufacturerID", number(identity.vendorNumber));
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
    const bool builtIn = display.screen.builtIn;
    if (!builtIn && !display.screen.monitor.edid.empty()) {
        properties.emplace_back("EDID UUID", text(identifyEDID(display.screen.monitor.edid).uuid));
    }
    properties.emplace_back(
        "DisplayAttributes",
        PropertyValue{PropertyMap{{"ProductAttributes", {productAttributes(display)}}}});
    if (!builtIn) {
        properties.emplace_back("external", PropertyValue{true});
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
    proxy.set("IOAVServiceUserInterfaceSupported", makeCF(PropertyValue{true}));
    proxy.set("Unit", makeCF(std::int64_t{0}));
    proxy.set("Location", makeCF(description.location.value_or(text(usualLocation))));
    return registry.add(parent, std::move(proxy));
}

/// Where the node of a display and that of its coprocessor stand.
struct Place {
    std::string display;
    std::string coprocessor;
    std::uint64_t address;  ///< of the display; the coprocessor's lies a fixed distance behind
};

/// External displays are numbered as they come.
Place nextPlace(const Registry& registry, const Entry& parent, const Display& display) {
    constexpr std::uint64_t panel = 0x30000000;
    constexpr std::uint64_t firstExternal = 0x70000000;
    constexpr std::uint64_t nextExternal = 0x08000000;
    if (display.screen.builtIn) return {"disp0", "dcp", panel};
    std::uint64_t number = 0;
    registry.inspect([&] {
        for (const Entry& node : parent->children) {
            if (node->name.starts_with("dispext")) ++number;
        }
    });
    return {fmt::format("dispext{}", number),
            number == 0 ? "dcpext" : fmt::format("dcpext{}", number),
            firstExternal + number * nextExternal};
}

Entry addDevice(Registry& registry, const Entry& parent, const std::string& name,
                std::uint64_t address) {
    return registry.add(
        parent, makeEntry(name, fmt::format("{:X}", address), {"AppleARMIODevice", "IOService"}));
}

void addFramebufferEntry(Registry& registry, const Entry& parent, const Place& place,
                         Display& display) {
    const DisplayServiceDescription& description = display.screen.displayService;
    auto entry = makeEntry(description.entryName, "",
                           {description.entryName, "IOMobileFramebuffer", "IOService"});
    entry.nameReadable = description.nameReadable;
    setProperties(entry, framebufferProperties(display));
    display.service =
        registry.add(addDevice(registry, parent, place.display, place.address), std::move(entry));
}

/// What the coprocessor offers to the rest of the Mac: each proxy in an endpoint of its own.
void addCoprocessor(Registry& registry, const Entry& parent, const Place& place, Display& display) {
    constexpr std::uint64_t distance = 0x01C00000;
    display.coprocessor = addDevice(registry, parent, place.coprocessor, place.address + distance);
    const Entry nub =
        registry.add(display.coprocessor, makeEntry(fmt::format("iop-{}-nub", place.coprocessor),
                                                    "", {"AppleA7IOPNub", "IOService"}));
    const Entry firmware =
        registry.add(nub, makeEntry("RTBuddyV2", "", {"RTBuddyV2", "IOService"}));

    const bool builtIn = display.screen.builtIn;
    const std::string location = builtIn ? "Embedded" : "External";
    const std::string service = builtIn ? "AppleDCPAgileDPDisplay" : "DCPDPService";
    const auto addEndpoint = [&](const std::string& name) {
        return registry.add(
            firmware,
            makeEntry(name, "", {"AFKMailboxSharedMemoryEndpointInterface", "IOService"}));
    };
    const auto addOther = [&](const std::string& endpoint, const std::string& className) {
        auto proxy = makeEntry(className, "", {className, "IOService"});
        proxy.set("Location", makeCFText(location));
        registry.add(addEndpoint(endpoint), std::move(proxy));
    };
    addOther("DCPDPDevice", "DCPAVDeviceProxy");
    for (const ProxyDescription& proxy : display.screen.displayService.proxies) {
        display.proxies.push_back(addProxy(registry, addEndpoint(service), proxy, location));
    }
    addOther(service, "DCPDPServiceProxy");
    addOther("dcpav-interface", "DCPAVVideoInterfaceProxy");
}

}  // namespace

void addDisplayService(Registry& registry, const Entry& parent, Display& display) {
    const Place place = nextPlace(registry, parent, display);
    addFramebufferEntry(registry, parent, place, display);
    addCoprocessor(registry, parent, place, display);
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
    std::uint32_t added = 0;
    const auto addOthers = [&](std::size_t count) {
        addOtherEntries(registry, io, added, static_cast<std::uint32_t>(count));
        added += static_cast<std::uint32_t>(count);
    };
    addOthers(others / 2);
    HardwareTree tree;
    for (const ProxyDescription& proxy : description.strayProxies) {
        tree.strayProxies.push_back({addProxy(registry, io, proxy, "External"), proxy});
    }

    tree.displayServices = io;
    const std::vector<Display*> order = inRegistryOrder(displays);
    for (Display* const display : order) {
        const Place place = nextPlace(registry, io, *display);
        addFramebufferEntry(registry, io, place, *display);
        // A quarter of them all stands between the displays and their coprocessors.
        addOthers(others / 4 / order.size());
        addCoprocessor(registry, io, place, *display);
    }

    addOthers(others - added);
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
