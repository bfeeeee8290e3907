#include "displaycheck/dumps/RegistryComparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>

#include "simulated_mac/description/RecordedValue.h"

namespace displaycheck {

namespace {

using simulated_mac::RecordedEntry;
using simulated_mac::RecordedRegistry;
using Keys = std::vector<std::string_view>;

bool isUSBDevice(const RecordedEntry& entry) {
    constexpr std::array classes = {"IOUSBHostDevice", "IOUSBDevice", "AppleUSBDevice"};
    return std::find(classes.begin(), classes.end(), entry.className) != classes.end();
}

/// The properties that are read of an entry; nothing for one that nobody asks about.
std::optional<Keys> keysOf(const RecordedRegistry& registry, std::size_t index) {
    const RecordedEntry& entry = registry.entries()[index];
    if (entry.className == "IOPlatformExpertDevice") return Keys{"model"};
    if (registry.isDisplayNode(index)) {
        return Keys{"DisplayVendorID", "DisplayProductID", "DisplaySerialNumber", "IODisplayEDID"};
    }
    if (entry.name == "IOFramebufferI2CInterface") {
        return Keys{"IOI2CTransactionTypes", "IOI2CInterfaceID"};
    }
    if (entry.isMobileFramebuffer()) {
        return Keys{"EDID UUID", "DisplayAttributes", "Transport"};
    }
    if (entry.name == "DCPAVServiceProxy") return Keys{"Location"};
    if (isUSBDevice(entry)) {
        return Keys{"locationID",       "idVendor",          "idProduct",
                    "USB Product Name", "kUSBProductString", "kUSBSerialNumberString"};
    }
    if (registry.isFramebuffer(index)) return Keys{"IOFBI2CInterfaceIDs"};
    return std::nullopt;
}

/// The value in one spelling: dumps write numbers and data in several.
std::optional<std::string> valueOf(const RecordedEntry& entry, std::string_view key) {
    auto value = entry.value(key);
    if (!value) return std::nullopt;
    if (key == "DisplayAttributes") {
        // Only these of them are read.
        const auto* const attributes = std::get_if<simulated_mac::PropertyMap>(&value->value);
        if (attributes == nullptr) return std::nullopt;
        for (const auto& [name, product] : *attributes) {
            if (name == "ProductAttributes") return simulated_mac::printRecordedValue(product);
        }
        return std::nullopt;
    }
    return simulated_mac::printRecordedValue(*value);
}

/// Entries by their paths; of several with one path each further one has its number behind it.
std::map<std::string, const ReadEntry*> byPath(const std::vector<ReadEntry>& entries,
                                               std::vector<std::string>& order) {
    std::map<std::string, const ReadEntry*> result;
    std::map<std::string, int> seen;
    for (const ReadEntry& entry : entries) {
        const int number = ++seen[entry.path];
        order.push_back(number == 1 ? entry.path : fmt::format("{} (no. {})", entry.path, number));
        result[order.back()] = &entry;
    }
    return result;
}

std::string shortened(const std::optional<std::string>& value) {
    constexpr std::size_t longest = 60;
    if (!value) return "a value that is cut";
    if (value->size() <= longest) return *value;
    return fmt::format("{}... ({} characters)", value->substr(0, longest), value->size());
}

void compareEntries(const std::string& path, const ReadEntry& mac, const ReadEntry& dump,
                    std::vector<std::string>& found) {
    if (mac.className != dump.className) {
        found.push_back(
            fmt::format("{}: class {}, in the dump {}", path, mac.className, dump.className));
    }
    const auto find = [](const ReadEntry& entry, const std::string& key) {
        return std::find_if(entry.properties.begin(), entry.properties.end(),
                            [&](const auto& property) { return property.first == key; });
    };
    for (const auto& [key, value] : mac.properties) {
        const auto recorded = find(dump, key);
        if (recorded == dump.properties.end()) {
            found.push_back(
                fmt::format("{}: \"{}\" = {}, not in the dump", path, key, shortened(value)));
        } else if (value && recorded->second && *value != *recorded->second) {
            found.push_back(fmt::format("{}: \"{}\" = {}, in the dump {}", path, key,
                                        shortened(value), shortened(recorded->second)));
        }
    }
    for (const auto& [key, value] : dump.properties) {
        if (find(mac, key) == mac.properties.end()) {
            found.push_back(
                fmt::format("{}: no \"{}\", in the dump {}", path, key, shortened(value)));
        }
    }
}

/// The first place at which the entries that both have come in another order.
void compareOrder(const std::vector<std::string>& mac, const std::vector<std::string>& dump,
                  std::vector<std::string>& found) {
    for (std::size_t at = 0; at < mac.size(); ++at) {
        if (mac[at] == dump[at]) continue;
        found.push_back(fmt::format("order: {} comes where the dump has {}", mac[at], dump[at]));
        return;
    }
}

}  // namespace

std::vector<ReadEntry> entriesThatThePaneReads(const RecordedRegistry& registry) {
    std::vector<ReadEntry> entries;
    for (std::size_t index = 0; index < registry.entries().size(); ++index) {
        const auto keys = keysOf(registry, index);
        if (!keys) continue;
        const RecordedEntry& recorded = registry.entries()[index];
        ReadEntry entry{registry.pathOf(index), std::string(recorded.className), {}};
        for (const std::string_view key : *keys) {
            if (recorded.property(key)) entry.properties.emplace_back(key, valueOf(recorded, key));
        }
        entries.push_back(std::move(entry));
    }
    return entries;
}

std::vector<std::string> differences(const std::vector<ReadEntry>& mac,
                                     const std::vector<ReadEntry>& dump) {
    std::vector<std::string> found;
    std::vector<std::string> orderOfMac;
    std::vector<std::string> orderOfDump;
    const auto entriesOfMac = byPath(mac, orderOfMac);
    const auto entriesOfDump = byPath(dump, orderOfDump);
    for (const std::string& path : orderOfMac) {
        const auto recorded = entriesOfDump.find(path);
        if (recorded == entriesOfDump.end()) {
            found.push_back(fmt::format("{}: not in the dump (class {})", path,
                                        entriesOfMac.at(path)->className));
        } else {
            compareEntries(path, *entriesOfMac.at(path), *recorded->second, found);
        }
    }
    for (const std::string& path : orderOfDump) {
        if (!entriesOfMac.contains(path)) {
            found.push_back(fmt::format("{}: only in the dump (class {})", path,
                                        entriesOfDump.at(path)->className));
        }
    }
    std::erase_if(orderOfMac, [&](const auto& path) { return !entriesOfDump.contains(path); });
    std::erase_if(orderOfDump, [&](const auto& path) { return !entriesOfMac.contains(path); });
    compareOrder(orderOfMac, orderOfDump, found);
    return found;
}

}  // namespace displaycheck
