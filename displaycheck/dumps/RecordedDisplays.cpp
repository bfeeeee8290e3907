#include "displaycheck/dumps/RecordedDisplays.h"

#include <fmt/format.h>

#include <algorithm>

#include "displaycheck/dumps/DumpError.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/RecordedValue.h"

namespace displaycheck {

namespace {

using simulated_mac::Bytes;
using simulated_mac::PropertyMap;
using simulated_mac::PropertyValue;
using simulated_mac::RecordedEntry;
using simulated_mac::RecordedRegistry;

/// More than any Mac has: for each, the whole registry is looked through.
constexpr std::size_t mostDisplays = 64;

void add(RecordedDisplay display, std::vector<RecordedDisplay>& displays) {
    if (displays.size() == mostDisplays) {
        throw DumpError(
            fmt::format("the registry has too many displays; expected at most {}", mostDisplays));
    }
    displays.push_back(std::move(display));
}

template <class Kind>
std::optional<Kind> valueOf(const std::optional<PropertyValue>& property) {
    const auto* const value = property ? std::get_if<Kind>(&property->value) : nullptr;
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

/// A number of 32 bits, however wide the registry stores it.
std::optional<std::uint32_t> word(const std::optional<PropertyValue>& property) {
    const auto number = valueOf<std::int64_t>(property);
    return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

std::optional<PropertyValue> entryOf(const PropertyMap& map, std::string_view key) {
    for (const auto& [name, value] : map) {
        if (name == key) return value;
    }
    return std::nullopt;
}

/// A text, which the platform's nodes often hold as data that end in a zero byte.
std::optional<std::string> text(const std::optional<PropertyValue>& property) {
    if (const auto string = valueOf<std::string>(property)) return string;
    const auto bytes = valueOf<Bytes>(property);
    if (!bytes) return std::nullopt;
    return std::string(bytes->begin(), std::find(bytes->begin(), bytes->end(), 0));
}

/// The EDID in a property; of one that is cut, its first block if that is whole.
Bytes edidIn(const RecordedEntry& node, bool& isCut) {
    const auto text = node.property("IODisplayEDID");
    if (!text) return {};
    if (const auto bytes = valueOf<Bytes>(simulated_mac::parseRecordedValue(*text))) return *bytes;
    isCut = true;
    const auto firstBlock =
        std::string(text->substr(0, 1 + 2 * simulated_mac::edidBlockSize)) + ">";
    const auto bytes = valueOf<Bytes>(simulated_mac::parseRecordedValue(firstBlock));
    return bytes && bytes->size() == simulated_mac::edidBlockSize ? *bytes : Bytes();
}

/// The number of a PnP ID's letters; nothing for what is none.
std::optional<std::uint32_t> vendorOf(const std::optional<std::string>& letters) {
    if (!letters) return std::nullopt;
    simulated_mac::EDIDFields fields;
    fields.manufacturer = *letters;
    try {
        return simulated_mac::identifyEDID(simulated_mac::makeEDID(fields)).vendorNumber;
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
}

bool isBelow(const RecordedRegistry& registry, std::size_t index, std::size_t above) {
    while (index != RecordedEntry::none && index > above) index = registry.entries()[index].parent;
    return index == above;
}

/// Which display pipe an entry belongs to, by the ancestor whose name begins so: "0" for the
/// panel's ("disp0", "dcp"), "ext0" and so on ("dispext0", "dcpext").
std::optional<std::string> pipeOf(const RecordedRegistry& registry, std::size_t index,
                                  std::string_view prefix) {
    for (; index != RecordedEntry::none; index = registry.entries()[index].parent) {
        const std::string_view name = registry.entries()[index].name;
        if (name.substr(0, prefix.size()) != prefix) continue;
        std::string pipe(name.substr(prefix.size()));
        if (pipe.empty() || pipe == "ext") pipe += '0';
        const bool isExternal = pipe.compare(0, 3, "ext") == 0;
        if (pipe.find_first_not_of("0123456789", isExternal ? 3 : 0) == std::string::npos) {
            return pipe;
        }
    }
    return std::nullopt;
}

std::vector<RecordedDisplay> displaysOfAppleSilicon(const RecordedRegistry& registry) {
    std::vector<RecordedDisplay> displays;
    for (std::size_t index = 0; index < registry.entries().size(); ++index) {
        const RecordedEntry& entry = registry.entries()[index];
        if (!entry.isMobileFramebuffer()) continue;
        const auto attributes = valueOf<PropertyMap>(entry.value("DisplayAttributes"));
        RecordedDisplay display;
        display.framebuffer = index;
        display.uuid = valueOf<std::string>(entry.value("EDID UUID"));
        display.builtIn = !display.uuid;
        // One that drives nothing tells nothing, or that it would be external.
        if (display.builtIn &&
            (!attributes || valueOf<bool>(entry.value("external")).value_or(false))) {
            continue;
        }
        const auto product =
            valueOf<PropertyMap>(entryOf(attributes.value_or(PropertyMap()), "ProductAttributes"));
        if (product && !display.builtIn) {
            display.name = text(entryOf(*product, "ProductName"));
            display.manufacturer = text(entryOf(*product, "ManufacturerID"));
            display.serialText = text(entryOf(*product, "AlphanumericSerialNumber"));
            display.vendor = word(entryOf(*product, "LegacyManufacturerID"));
            if (!display.vendor) display.vendor = vendorOf(display.manufacturer);
            display.product = word(entryOf(*product, "ProductID"));
            display.serial = word(entryOf(*product, "SerialNumber"));
            display.week = word(entryOf(*product, "WeekOfManufacture"));
            display.year = word(entryOf(*product, "YearOfManufacture"));
        }
        add(std::move(display), displays);
    }
    std::vector<std::size_t> proxies;
    for (std::size_t index = 0; index < registry.entries().size(); ++index) {
        if (registry.entries()[index].className == "DCPAVServiceProxy") proxies.push_back(index);
    }
    for (RecordedDisplay& display : displays) {
        // A proxy stands below the framebuffer itself or in the coprocessor of the same pipe.
        for (const std::size_t proxy : proxies) {
            if (isBelow(registry, proxy, display.framebuffer)) display.proxies.push_back(proxy);
        }
        if (!display.proxies.empty()) continue;
        const auto pipe = pipeOf(registry, display.framebuffer, "disp");
        for (const std::size_t proxy : proxies) {
            if (pipe && pipeOf(registry, proxy, "dcp") == pipe) display.proxies.push_back(proxy);
        }
    }
    return displays;
}

std::vector<RecordedDisplay> displaysOfIntel(const RecordedRegistry& registry) {
    std::vector<RecordedDisplay> displays;
    const auto& entries = registry.entries();
    for (std::size_t index = 0; index < entries.size(); ++index) {
        if (!registry.isDisplayNode(index)) continue;
        const RecordedEntry& node = entries[index];
        RecordedDisplay display;
        display.node = index;
        display.framebuffer = entries[node.parent].parent;
        display.builtIn = node.className == "AppleBacklightDisplay";
        display.edid = edidIn(node, display.isEDIDCut);
        display.vendor = word(node.value("DisplayVendorID"));
        display.product = word(node.value("DisplayProductID"));
        display.serial = word(node.value("DisplaySerialNumber"));
        if (display.framebuffer != RecordedEntry::none) add(std::move(display), displays);
    }
    return displays;
}

}  // namespace

bool isAppleSilicon(const RecordedRegistry& registry) {
    return std::any_of(registry.entries().begin(), registry.entries().end(), [](const auto& entry) {
        return entry.isMobileFramebuffer() || entry.className == "AppleARMPE" ||
               entry.className == "DCPAVServiceProxy";
    });
}

std::vector<RecordedDisplay> recordedDisplays(const RecordedRegistry& registry) {
    return isAppleSilicon(registry) ? displaysOfAppleSilicon(registry) : displaysOfIntel(registry);
}

std::optional<std::string> recordedChipset(const RecordedRegistry& registry,
                                           const std::vector<RecordedDisplay>& displays) {
    const auto& entries = registry.entries();
    if (isAppleSilicon(registry)) {
        for (const RecordedEntry& entry : entries) {
            if (entry.className.substr(0, 14) == "AGXAccelerator") {
                return text(entry.value("model"));
            }
        }
        return std::nullopt;
    }
    // The chip is the device above a framebuffer; the platform expert above all has a model too.
    for (const RecordedDisplay& display : displays) {
        for (std::size_t at = display.framebuffer; at != RecordedEntry::none;
             at = entries[at].parent) {
            if (entries[at].className == "IOPlatformExpertDevice") break;
            if (const auto model = text(entries[at].value("model"))) return model;
        }
    }
    return std::nullopt;
}

}  // namespace displaycheck
