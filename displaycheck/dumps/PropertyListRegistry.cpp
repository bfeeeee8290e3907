#include "displaycheck/dumps/PropertyListRegistry.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

#include "displaycheck/dumps/DumpError.h"
#include "displaycheck/dumps/PropertyListFile.h"
#include "simulated_mac/description/RecordedValue.h"

using namespace simulated_mac;

namespace displaycheck {

namespace {

constexpr std::string_view nameKey = "IORegistryEntryName";
constexpr std::string_view locationKey = "IORegistryEntryLocation";
constexpr std::string_view idKey = "IORegistryEntryID";
constexpr std::string_view classKey = "IOObjectClass";
constexpr std::string_view retainCountKey = "IOObjectRetainCount";
constexpr std::string_view stateKey = "IOServiceState";
constexpr std::string_view busyStateKey = "IOServiceBusyState";
constexpr std::string_view busyTimeKey = "IOServiceBusyTime";
constexpr std::string_view childrenKey = "IORegistryEntryChildren";

/// What the tool itself says of an entry, beside the entry's properties.
constexpr std::array ownKeys = {nameKey,  locationKey,  idKey,       classKey,   retainCountKey,
                                stateKey, busyStateKey, busyTimeKey, childrenKey};

// Flags of a service's state.
constexpr std::uint64_t inactive = 0x1;
constexpr std::uint64_t registered = 0x2;
constexpr std::uint64_t matched = 0x4;

constexpr std::uint64_t nanosecondsPerMillisecond = 1'000'000;

/// Every line repeats the bars of the levels above, so a small list can become a large text.
constexpr std::size_t mostText = 256U << 20;

std::string_view entryText(const PropertyValue& entry, std::string_view key) {
    const PropertyValue* const value = find(entry, key);
    const auto* const text = value != nullptr ? std::get_if<std::string>(&value->value) : nullptr;
    return text != nullptr ? std::string_view(*text) : std::string_view();
}

std::optional<std::uint64_t> entryNumber(const PropertyValue& entry, std::string_view key) {
    const PropertyValue* const value = find(entry, key);
    const auto* const number =
        value != nullptr ? std::get_if<std::int64_t>(&value->value) : nullptr;
    if (number == nullptr) return std::nullopt;
    return static_cast<std::uint64_t>(*number);
}

bool isEntry(const PropertyValue& value) {
    return !entryText(value, nameKey).empty() && !entryText(value, classKey).empty();
}

std::vector<const PropertyValue*> entriesIn(const PropertyList& list) {
    std::vector<const PropertyValue*> entries;
    for (const PropertyValue& value : list) {
        if (isEntry(value)) entries.push_back(&value);
    }
    return entries;
}

std::vector<const PropertyValue*> childrenOf(const PropertyValue& entry) {
    const PropertyValue* const children = find(entry, childrenKey);
    const auto* const list =
        children != nullptr ? std::get_if<PropertyList>(&children->value) : nullptr;
    return list != nullptr ? entriesIn(*list) : std::vector<const PropertyValue*>();
}

class RegistryPrinter {
  public:
    /// `margin` is what the levels above put in front of each line.
    void printEntry(const PropertyValue& entry, const std::string& margin, bool hasSibling) {
        const auto children = childrenOf(entry);
        text_ += margin;
        printHeader(entry);
        const std::string below = margin + (hasSibling ? "| " : "  ");
        printProperties(std::get<PropertyMap>(entry.value),
                        below + (children.empty() ? "  " : "| "));
        for (const PropertyValue* const child : children) {
            printEntry(*child, below, child != children.back());
        }
    }

    /// Between two trees.
    void printEmptyLine() { text_ += '\n'; }

    std::string take() { return std::move(text_); }

  private:
    template <class... Values>
    void print(fmt::format_string<Values...> format, Values&&... values) {
        fmt::format_to(std::back_inserter(text_), format, std::forward<Values>(values)...);
    }

    void printHeader(const PropertyValue& entry) {
        const std::string_view className = entryText(entry, classKey);
        print("+-o {}", entryText(entry, nameKey));
        const std::string_view location = entryText(entry, locationKey);
        if (!location.empty()) print("@{}", location);
        print("  <class {}", className);
        if (const auto id = entryNumber(entry, idKey)) print(", id {:#x}", *id);
        const auto state = entryNumber(entry, stateKey);
        // The root is no service, so it has no state.
        if (state || className != "IORegistryEntry") {
            printState(state.value_or(registered | matched));
            print(", busy {}", entryNumber(entry, busyStateKey).value_or(0));
            const std::uint64_t busyTime = entryNumber(entry, busyTimeKey).value_or(0);
            if (busyTime != 0) print(" ({} ms)", busyTime / nanosecondsPerMillisecond);
        }
        if (const auto count = entryNumber(entry, retainCountKey)) print(", retain {}", *count);
        text_ += ">\n";
    }

    void printState(std::uint64_t state) {
        print(", {}registered, {}matched, {}active", (state & registered) != 0 ? "" : "!",
              (state & matched) != 0 ? "" : "!", (state & inactive) != 0 ? "in" : "");
    }

    void printProperties(const PropertyMap& properties, const std::string& margin) {
        print("{}{{\n", margin);
        for (const auto& [key, value] : properties) {
            if (std::find(ownKeys.begin(), ownKeys.end(), key) != ownKeys.end()) continue;
            print("{}  \"{}\" = {}\n", margin, key, printRecordedValue(value));
            checkSize();
        }
        print("{}}}\n{}\n", margin, margin);
        checkSize();
    }

    void checkSize() const {
        if (text_.size() > mostText) {
            throw DumpError(
                fmt::format("is too large; expected a registry of at most {} MiB", mostText >> 20));
        }
    }

    std::string text_;
};

}  // namespace

std::optional<std::string> registryTextOf(std::string_view contents) {
    // Spares other property lists, which may be large, the reading.
    if (contents.find(classKey) == std::string_view::npos) return std::nullopt;
    const auto root = readPropertyList(contents);
    if (!root) return std::nullopt;

    RegistryPrinter printer;
    if (const auto* const list = std::get_if<PropertyList>(&root->value)) {
        const auto entries = entriesIn(*list);
        if (entries.empty()) return std::nullopt;
        for (const PropertyValue* const entry : entries) {
            printer.printEntry(*entry, "", false);
            printer.printEmptyLine();
        }
    } else if (isEntry(*root)) {
        printer.printEntry(*root, "", false);
    } else {
        return std::nullopt;
    }
    return printer.take();
}

}  // namespace displaycheck
