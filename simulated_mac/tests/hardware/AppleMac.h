#pragma once

#include <IOKit/IOKitLib.h>
#include <fmt/format.h>

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/platform/CFReferences.h"

/// What the tests of an Apple-silicon Mac's displays share: such Macs, and readers of what the
/// platform's functions hand out.
namespace simulated_mac {

/// Every field that a Mac reads off an EDID, none of them at its default.
inline EDIDFields deskMonitor() {
    EDIDFields fields;
    fields.product = 0x2723;
    fields.serial = 0x12345678;
    fields.name = "VORN K2723QX";
    fields.serialText = "7XYZ123";
    fields.week = 14;
    fields.year = 2023;
    fields.widthCm = 71;
    fields.heightCm = 40;
    return fields;
}

inline ScreenDescription screenWith(Bytes edid) {
    ScreenDescription screen;
    screen.monitor.edid = std::move(edid);
    return screen;
}

inline ScreenDescription deskScreen() {
    return screenWith(makeEDID(deskMonitor()));
}

/// A monitor that differs from the desk's in its name.
inline ScreenDescription screenNamed(const std::string& name) {
    auto fields = deskMonitor();
    fields.name = name;
    return screenWith(makeEDID(fields));
}

inline ScreenDescription builtInPanel() {
    auto panel = screenNamed("Color LCD");
    panel.builtIn = true;
    return panel;
}

/// With few entries of no interest in its registry.
inline MacDescription appleMac(std::vector<ScreenDescription> screens) {
    MacDescription description;
    description.chip = Chip::apple;
    description.screens = std::move(screens);
    description.otherRegistryEntries = 20;
    return description;
}

inline FaultDescription fault(std::string call, std::uint64_t nth,
                              std::optional<std::int32_t> result = std::nullopt) {
    return {.call = std::move(call), .nth = nth, .andLater = false, .result = result};
}

inline PropertyValue text(std::string value) {
    return {std::move(value)};
}
inline PropertyValue number(std::int64_t value) {
    return {value};
}
/// Takes a property out.
inline PropertyValue missing() {
    return {};
}

/// The registry's entries of a name, in the order of its walk.
inline std::vector<io_service_t> entriesNamed(const char* name) {
    io_iterator_t iterator = IO_OBJECT_NULL;
    IOServiceGetMatchingServices(kIOMasterPortDefault, IOServiceNameMatching(name), &iterator);
    std::vector<io_service_t> entries;
    while (const io_service_t entry = IOIteratorNext(iterator)) entries.push_back(entry);
    return entries;
}

inline const CFObject::Dictionary& dictionaryBehind(CFTypeRef reference) {
    if (reference == nullptr) throw std::runtime_error("no dictionary");
    return std::get<CFObject::Dictionary>(objectOf(reference)->value);
}

/// A property so that its type shows: 42, "text", <00ff>, {"key"=42}; "missing" for NULL.
inline std::string shown(CFTypeRef value) {
    struct Visitor {
        std::string operator()(std::int64_t number) const { return std::to_string(number); }
        std::string operator()(const CFObject::String& text) const {
            return fmt::format("\"{}\"", utf8Of(text));
        }
        std::string operator()(const Bytes& data) const {
            return fmt::format("<{:02x}>", fmt::join(data, ""));
        }
        std::string operator()(const CFObject::Dictionary& dictionary) const {
            std::vector<std::string> entries;
            for (const auto& [key, entry] : dictionary) {
                entries.push_back(fmt::format("\"{}\"={}", key, shown(entry.get())));
            }
            return fmt::format("{{{}}}", fmt::join(entries, ","));
        }
        std::string operator()(bool) const { return "a boolean"; }
        std::string operator()(double) const { return "a number with a fraction"; }
        std::string operator()(const CFObject::Array&) const { return "an array"; }
        std::string operator()(const CFObject::Opaque& opaque) const { return opaque.type; }
    };
    return value == nullptr ? "missing" : std::visit(Visitor{}, objectOf(value)->value);
}

/// All entries of a dictionary by key, each as `shown` gives it.
inline std::map<std::string, std::string> entriesOf(CFTypeRef dictionary) {
    std::map<std::string, std::string> entries;
    for (const auto& [key, value] : dictionaryBehind(dictionary)) entries[key] = shown(value.get());
    return entries;
}

}  // namespace simulated_mac
