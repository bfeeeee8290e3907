#include "displaycheck/dumps/RegistryEdits.h"

#include <fmt/format.h>

#include <algorithm>

#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/RecordedValue.h"

namespace displaycheck {

namespace {

using simulated_mac::Bytes;
using simulated_mac::EDIDIdentity;
using simulated_mac::printRecordedValue;
using simulated_mac::PropertyMap;
using simulated_mac::PropertyValue;
using simulated_mac::RecordedEntry;

void put(PropertyMap& map, const std::string& key, PropertyValue value) {
    for (auto& [name, old] : map) {
        if (name != key) continue;
        old = std::move(value);
        return;
    }
    map.emplace_back(key, std::move(value));
}

}  // namespace

std::size_t RegistryEdits::offsetOf(std::string_view part) const {
    return static_cast<std::size_t>(part.data() - registry_.text().data());
}

void RegistryEdits::set(std::size_t index, std::string_view key, const std::string& text) {
    const RecordedEntry& entry = registry_.entries()[index];
    if (const auto known = entry.property(key)) {
        edits_[offsetOf(*known)] = {known->size(), text};
        return;
    }
    // The bars in front of the properties are those of any of their lines.
    const std::string margin(entry.propertyLines.substr(0, entry.margin));
    if (margin.empty()) return;
    Edit& edit = edits_[offsetOf(entry.propertyLines)];
    edit.length = 0;
    edit.text += fmt::format("{}\"{}\" = {}\n", margin, key, text);
}

void RegistryEdits::putMonitor(const RecordedDisplay& display, const Bytes& edid) {
    if (display.node != RecordedEntry::none) {
        putOnIntel(display.node, edid);
    } else {
        putOnAppleSilicon(display.framebuffer, edid);
    }
}

void RegistryEdits::putOnIntel(std::size_t node, const Bytes& edid) {
    const RecordedEntry& entry = registry_.entries()[node];
    const EDIDIdentity identity = simulated_mac::identifyEDID(edid);
    set(node, "IODisplayEDID", printRecordedValue({edid}));
    set(node, "DisplayVendorID", std::to_string(identity.vendorNumber));
    set(node, "DisplayProductID", std::to_string(identity.productCode));
    if (entry.property("DisplaySerialNumber")) {
        set(node, "DisplaySerialNumber", std::to_string(identity.serialNumber));
    }
    if (entry.property("IODisplayPrefsKey")) {
        const std::size_t parent = entry.parent;
        set(node, "IODisplayPrefsKey",
            fmt::format("\"{}/{}-{:x}-{:x}\"", registry_.pathOf(parent), entry.name,
                        identity.vendorNumber, identity.productCode));
    }
}

void RegistryEdits::putOnAppleSilicon(std::size_t framebuffer, const Bytes& edid) {
    const RecordedEntry& entry = registry_.entries()[framebuffer];
    const EDIDIdentity identity = simulated_mac::identifyEDID(edid);
    set(framebuffer, "EDID UUID", "\"" + identity.uuid + "\"");

    PropertyMap attributes;
    if (const auto recorded = entry.value("DisplayAttributes")) {
        if (const auto* const map = std::get_if<PropertyMap>(&recorded->value)) attributes = *map;
    }
    PropertyMap product;
    const auto number = [&product](const char* key, std::int64_t value) {
        put(product, key, {value});
    };
    put(product, "ManufacturerID", {identity.manufacturer});
    number("YearOfManufacture", identity.year);
    number("SerialNumber", identity.serialNumber);
    if (identity.name) put(product, "ProductName", {*identity.name});
    if (identity.serialText) put(product, "AlphanumericSerialNumber", {*identity.serialText});
    number("LegacyManufacturerID", identity.vendorNumber);
    number("ProductID", identity.productCode);
    number("WeekOfManufacture", identity.week);
    put(attributes, "ProductAttributes", {std::move(product)});
    set(framebuffer, "DisplayAttributes", printRecordedValue({std::move(attributes)}));
}

std::string RegistryEdits::apply() const {
    const std::string& text = registry_.text();
    std::string result;
    result.reserve(text.size());
    const auto copy = [&](std::size_t begin, std::size_t end) {
        for (auto edit = edits_.lower_bound(begin); edit != edits_.end() && edit->first < end;
             ++edit) {
            result.append(text, begin, edit->first - begin);
            result += edit->second.text;
            begin = edit->first + edit->second.length;
        }
        result.append(text, begin, end - begin);
    };
    const auto lineEnd = [&](std::size_t at) {
        return std::min(text.find('\n', at), text.size() - 1) + 1;
    };
    for (const RecordedEntry& entry : registry_.entries()) {
        const std::size_t name = offsetOf(entry.name);
        // A name that is empty may lie on the line's end.
        const std::size_t begin = text.rfind('\n', name - 1) + 1;
        std::size_t end = lineEnd(name);
        if (!entry.propertyLines.empty()) {
            end = offsetOf(entry.propertyLines) + entry.propertyLines.size();
        } else if (entry.propertyLines.data() != nullptr) {
            end = offsetOf(entry.propertyLines);
        }
        // The brace behind the properties, and the line that parts them from what follows.
        for (int line = 0; line < 2 && entry.propertyLines.data() != nullptr && end < text.size();
             ++line) {
            const std::size_t next = lineEnd(end);
            const auto rest = std::string_view(text).substr(end, next - end);
            if (rest.find_first_not_of(line == 0 ? " |}\n" : " |\n") != std::string_view::npos)
                break;
            end = next;
        }
        copy(begin, end);
        if (result.empty() || result.back() != '\n') result += '\n';
    }
    return result;
}

}  // namespace displaycheck
