#include <fmt/format.h>

#include <algorithm>

#include "simulated_mac/description/EDID.h"
#include "simulated_mac/hardware/HardwareTree.h"

// Graphics as an Intel Mac's registry shows them: framebuffers with I2C interfaces, of which some
// drive displays.

namespace simulated_mac {

namespace {

using Entry = Registry::Entry;

constexpr auto defaultDriver = "AppleIntelFramebuffer";

// No transaction, simple and DisplayPort native; drivers of other graphics have all types.
constexpr std::uint32_t typesOfIntelGraphics = 0x13;
constexpr std::uint32_t typesOfOtherGraphics = 0x1F;

// No framebuffer lists an interface of this ID.
constexpr std::int64_t interfaceOfNone = -1;
constexpr const char* transactionTypesKey = "IOI2CTransactionTypes";

bool isIntelGraphics(const GraphicsDescription& graphics) {
    return graphics.driver.value_or(defaultDriver) == defaultDriver;
}

/// A bus without a mask of transaction types gets that of the Mac's graphics, unless its interface
/// has no such property.
BusDescription withTransactionTypes(BusDescription bus, const GraphicsDescription& graphics) {
    if (!bus.hasTransactionTypes || bus.transactionTypes) return bus;
    bus.transactionTypes = graphics.transactionTypes.value_or(
        isIntelGraphics(graphics) ? typesOfIntelGraphics : typesOfOtherGraphics);
    return bus;
}

std::vector<BusDescription> busesOf(const GraphicsDescription& graphics, const Display* display) {
    std::vector<BusDescription> buses(1);
    if (display != nullptr) {
        buses.front().leadsToMonitor = !display->screen.builtIn;
        buses = display->screen.framebuffer.buses.value_or(buses);
    }
    for (BusDescription& bus : buses) bus = withTransactionTypes(bus, graphics);
    return buses;
}

/// The ID of a bus's interface is its own in the Mac; the number among the framebuffer's follows
/// from the low half.
std::int64_t interfaceID(std::size_t framebuffer, std::size_t bus) {
    return static_cast<std::int64_t>((std::uint64_t{framebuffer} << 32) + bus);
}

PropertyValue numberValue(std::int64_t value) {
    return {value};
}

/// What the framebuffer's own entry says of its buses.
void setBusProperties(RegistryEntry& entry, const std::vector<BusDescription>& buses,
                      std::size_t index, bool isIntel) {
    PropertyList infos;
    PropertyList ids;
    for (std::size_t bus = 0; bus < buses.size(); ++bus) {
        PropertyMap info = {{"IOI2CInterfaceID", numberValue(static_cast<std::int64_t>(bus))}};
        if (const auto types = buses[bus].transactionTypes) {
            info.emplace_back(transactionTypesKey, numberValue(*types));
        }
        infos.push_back({std::move(info)});
        ids.push_back(numberValue(interfaceID(index, bus)));
    }
    if (buses.empty()) return;
    entry.set("IOFBI2CInterfaceInfo", makeCF(PropertyValue{std::move(infos)}));
    entry.set("IOFBI2CInterfaceIDs", makeCF(PropertyValue{std::move(ids)}));
    if (isIntel && buses.front().transactionTypes) {
        entry.set(transactionTypesKey, makeCF(std::int64_t{*buses.front().transactionTypes}));
    }
}

RegistryEntry makeInterface(const std::optional<std::uint32_t>& transactionTypes, std::int64_t id) {
    auto interface = makeEntry("IOFramebufferI2CInterface", "",
                               {"IOFramebufferI2CInterface", "IOI2CInterface", "IOService"});
    if (transactionTypes) {
        interface.set(transactionTypesKey, makeCF(std::int64_t{*transactionTypes}));
    }
    interface.set("IOI2CSupportedCommFlags", makeCF(std::int64_t{2}));
    interface.set("IOI2CBusType", makeCF(std::int64_t{1}));
    interface.set("IOI2CInterfaceID", makeCF(id));
    return interface;
}

struct Identity {
    std::uint32_t vendor = vendorWithoutEDID;
    std::uint32_t product = productWithoutEDID;
    std::uint32_t serialNumber = 0;
};

Identity identityOf(const Bytes& edid) {
    if (edid.empty()) return {};
    const EDIDIdentity identity = identifyEDID(edid);
    return {identity.vendorNumber, identity.productCode, identity.serialNumber};
}

/// As the display's node and its dictionary have it. Of 64 bits, the serial number's upper ones
/// repeat the highest of its 32.
PropertyMap identityProperties(const Identity& identity) {
    return {{"DisplayVendorID", numberValue(identity.vendor)},
            {"DisplayProductID", numberValue(identity.product)},
            {"DisplaySerialNumber", numberValue(static_cast<std::int32_t>(identity.serialNumber))}};
}

/// Without the EDID: the Mac lists that when its description says so.
Entry addDisplayNode(Registry& registry, const Entry& framebuffer, const Display& display) {
    const Entry connection =
        registry.add(framebuffer, makeEntry("display0", "", {"IODisplayConnect", "IOService"}));
    const bool builtIn = display.screen.builtIn;
    const std::string name = builtIn ? "AppleBacklightDisplay" : "AppleDisplay";
    const Identity identity = identityOf(display.screen.monitor.edid);
    auto node = makeEntry(name, "", {name, "IODisplay", "IOService"});
    setProperties(node, identityProperties(identity));
    node.set("IODisplayPrefsKey",
             makeCFText(fmt::format("{}/{}-{:x}-{:x}", registry.pathOf(connection), name,
                                    identity.vendor, identity.product)));
    node.set("IODisplayConnectFlags", makeCF(builtIn ? Bytes{0xC4, 0x49, 0, 0} : Bytes(4)));
    return registry.add(connection, std::move(node));
}

}  // namespace

std::unique_ptr<Framebuffer> addFramebuffer(Registry& registry, const Entry& chip,
                                            const GraphicsDescription& graphics, std::size_t index,
                                            Display* display) {
    auto framebuffer = std::make_unique<Framebuffer>();
    framebuffer->display = display;
    framebuffer->buses = busesOf(graphics, display);

    const std::string driver = graphics.driver.value_or(defaultDriver);
    auto entry = makeEntry(driver, fmt::format("{:X}", index),
                           {driver, "IOFramebuffer", "IOGraphicsDevice", "IOService"});
    if (display != nullptr) entry.path = display->screen.framebuffer.path;
    entry.set("IOFBDependentIndex", makeCF(static_cast<std::int64_t>(index)));
    entry.set("IOFBTransform", makeCF(std::int64_t{0}));
    setBusProperties(entry, framebuffer->buses, index, isIntelGraphics(graphics));
    framebuffer->entry = registry.add(chip, std::move(entry));

    for (std::size_t bus = 0; bus < framebuffer->buses.size(); ++bus) {
        const BusDescription& description = framebuffer->buses[bus];
        framebuffer->interfaces.push_back(
            description.hasInterface
                ? registry.add(framebuffer->entry,
                               makeInterface(description.transactionTypes, interfaceID(index, bus)))
                : nullptr);
    }
    if (display != nullptr) {
        framebuffer->displayNode = addDisplayNode(registry, framebuffer->entry, *display);
        display->framebuffer = framebuffer.get();
    }
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
    for (const auto& transactionTypes : description.strayInterfaces) {
        registry.add(pci, makeInterface(transactionTypes, interfaceOfNone));
    }
    const Entry chip = registry.add(pci, makeEntry("GFX0", "2", {"IOPCIDevice", "IOService"}));
    HardwareTree tree;
    const auto add = [&](Display* display) {
        tree.framebuffers.push_back(addFramebuffer(registry, chip, description.graphics,
                                                   tree.framebuffers.size(), display));
    };
    for (const auto& display : displays) {
        if (display->screen.framebuffer.present) add(display.get());
    }
    while (tree.framebuffers.size() < description.graphics.framebuffers) add(nullptr);
    const Entry usb = registry.add(pci, makeEntry("XHC1", "14", {"IOPCIDevice", "IOService"}));
    tree.usbController = addUSBController(registry, usb);
    return tree;
}

namespace {

PropertyMap identityDictionary(const Display* display) {
    if (display == nullptr || display->gone) return identityProperties({});
    const Bytes& edid = display->screen.monitor.edid;
    PropertyMap dictionary = identityProperties(identityOf(edid));
    if (const auto text = identifyEDID(edid).serialText) {
        dictionary.emplace_back("DisplaySerialString", PropertyValue{*text});
    }
    return dictionary;
}

}  // namespace

PropertyMap infoDictionary(const Framebuffer& framebuffer) {
    const Display* const display = framebuffer.display;
    const bool isThere =
        framebuffer.displayNode != nullptr && (display == nullptr || !display->gone);
    const bool isRecorded = isThere && framebuffer.displayNode->recorded != nullptr;
    PropertyMap dictionary = isRecorded ? propertyMapOf(framebuffer.displayNode->properties.all())
                                        : identityDictionary(display);
    if (display != nullptr) {
        dictionary.insert(
            dictionary.begin(),
            {"IODisplayLocation", PropertyValue{fmt::format("display {}", display->displayID)}});
        overrideProperties(dictionary, display->screen.framebuffer.dictionary);
    }
    return dictionary;
}

}  // namespace simulated_mac
