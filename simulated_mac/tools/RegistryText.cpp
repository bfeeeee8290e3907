#include "simulated_mac/tools/RegistryText.h"

#include <fmt/format.h>

#include <initializer_list>
#include <set>
#include <string_view>

#include "simulated_mac/description/RecordedValue.h"
#include "simulated_mac/hardware/CFValue.h"

namespace simulated_mac {

namespace {

using Entry = Registry::Entry;

/// Shows the keys of an entry's properties and their values as text to `take`. In hexadecimal,
/// numbers are 0x2A for 42, and no data is printed as texts.
template <class Take>
void showProperties(const RegistryEntry& entry, bool hexadecimal, const Take& take) {
    const auto takeValue = [&](std::string_view key, const CFObject& value) {
        take(key, printRecordedValue(propertyValueOf(value), hexadecimal));
    };
    const bool isAsRecorded = entry.properties.areAsRecorded();
    std::set<std::string> recordedKeys;
    // The recorded text also has values that are cut, and numbers in the form of the record.
    if (entry.recorded != nullptr) {
        for (const RecordedProperty& property : entry.recorded->properties()) {
            if (!isAsRecorded) {
                const std::string key(property.key);
                recordedKeys.insert(key);
                if (!entry.properties.isAsRecorded(key)) {
                    if (const auto value = entry.get(key)) takeValue(key, *value);
                    continue;
                }
            }
            const auto value = hexadecimal ? parseRecordedValue(property.text) : std::nullopt;
            if (value) {
                take(property.key, printRecordedValue(*value, true));
            } else {
                take(property.key, property.text);
            }
        }
    }
    // Reading them all takes time.
    if (isAsRecorded) return;
    for (const auto& [key, value] : entry.properties.all()) {
        if (!recordedKeys.contains(key)) takeValue(key, *value);
    }
}

class TreePrinter {
  public:
    TreePrinter(const RegistryQuery& query, const Print& print) : query_(query), print_(print) {}

    /// One entry and all below it. `rails` leads the lines: a bar for every ancestor that has more
    /// children to come.
    void tree(const RegistryEntry& entry, const std::string& rails, bool isLast,
              std::size_t level = 1) {
        line({rails, "+-o ", headerLine(entry)});
        const auto& children = query_.childrenOf(entry, level);
        const std::string below = rails + (isLast ? "  " : "| ");
        if (query_.showsProperties(entry))
            properties(entry, below + (children.empty() ? "  " : "| "));
        for (const Entry& child : children) {
            tree(*child, below, child == children.back(), level + 1);
        }
    }

    /// The entries from the registry's root to the parent of an entry. Returns the rails below.
    std::string way(const RegistryEntry& entry) {
        const Entry parent = entry.parent.lock();
        if (parent == nullptr) return "";
        const std::string rails = way(*parent);
        line({rails, "+-o ", headerLine(*parent)});
        return rails + "  ";
    }

    void line(std::initializer_list<std::string_view> parts) {
        const std::size_t begin = text_.size();
        for (const std::string_view part : parts) text_ += part;
        if (query_.width > 0 && text_.size() - begin > query_.width) {
            text_.resize(begin + query_.width);
        }
        text_ += '\n';
        if (text_.size() >= pieceSize) finish();
    }

    /// Prints what is left.
    void finish() {
        print_(text_);
        text_.clear();
    }

  private:
    static constexpr std::size_t pieceSize = 60'000;

    void properties(const RegistryEntry& entry, const std::string& rails) {
        line({rails, "{"});
        showProperties(entry, query_.hexadecimal, [&](std::string_view key, std::string_view text) {
            line({rails, "  \"", key, "\" = ", text});
        });
        line({rails, "}"});
        line({rails});
    }

    const RegistryQuery& query_;
    const Print& print_;
    std::string text_;
};

}  // namespace

std::string headerLine(const RegistryEntry& entry) {
    const std::string location = entry.location.empty() ? "" : "@" + entry.location;
    if (entry.recorded != nullptr) {
        const std::string_view recorded = entry.recorded->state;
        return fmt::format("{}{}  <class {}, id {:#x}{}{}>", entry.name, location,
                           entry.classes.front(), entry.id, recorded.empty() ? "" : ", ", recorded);
    }
    // Only services have a state.
    const std::string state =
        entry.isA("IOService") ? "registered, matched, active, busy 0 (0 ms), " : "";
    return fmt::format("{}{}  <class {}, id {:#x}, {}retain 8>", entry.name, location,
                       entry.classes.front(), entry.id, state);
}

void printRegistry(const Registry& registry, const RegistryQuery& query, const Print& print) {
    TreePrinter printer(query, print);
    registry.inspect([&] {
        for (const Entry& root : query.roots(registry.root())) {
            const std::string rails = query.subtrees && query.tracks ? printer.way(*root) : "";
            printer.tree(*root, rails, true);
            if (query.subtrees) printer.line({});
        }
    });
    printer.finish();
}

std::string registryText(const Registry& registry, const RegistryQuery& query) {
    std::string text;
    printRegistry(registry, query, [&text](std::string_view piece) { text += piece; });
    return text;
}

}  // namespace simulated_mac
