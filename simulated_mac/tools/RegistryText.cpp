#include "simulated_mac/tools/RegistryText.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string_view>

#include "simulated_mac/description/HexText.h"
#include "simulated_mac/description/RecordedValue.h"
#include "simulated_mac/hardware/CFValue.h"

namespace simulated_mac {

namespace {

using Entry = Registry::Entry;

/// Texts and keys as the tool quotes them.
std::string inQuotes(std::string_view text) {
    return fmt::format("\"{}\"", text);
}

/// The texts that data consists of, each but the last ended by a zero byte; none for other data.
/// A single byte is no text.
std::vector<std::string> textsIn(const Bytes& data) {
    std::vector<std::string> texts;
    if (data.size() < 2) return texts;
    for (auto at = data.begin(); at != data.end();) {
        const auto end = std::find(at, data.end(), 0);
        const bool printable =
            std::all_of(at, end, [](std::uint8_t byte) { return byte >= ' ' && byte < 0x7F; });
        if (at == end || !printable) return {};
        texts.push_back(inQuotes(std::string(at, end)));
        at = end == data.end() ? end : end + 1;
    }
    return texts;
}

class Printer {
  public:
    explicit Printer(bool hexadecimal) : hexadecimal_(hexadecimal) {}

    std::string operator()(const CFObject& object) const { return std::visit(*this, object.value); }

    std::string operator()(bool value) const { return value ? "Yes" : "No"; }
    std::string operator()(std::int64_t value) const {
        // The registry's numbers are unsigned.
        const auto number = static_cast<std::uint64_t>(value);
        return hexadecimal_ ? fmt::format("{:#x}", number) : std::to_string(number);
    }
    std::string operator()(double value) const { return fmt::format("{}", value); }
    std::string operator()(const CFObject::String& value) const { return inQuotes(utf8Of(value)); }
    std::string operator()(const Bytes& value) const {
        const auto texts = hexadecimal_ ? std::vector<std::string>() : textsIn(value);
        if (!texts.empty()) return fmt::format("<{}>", fmt::join(texts, ","));
        return "<" + lowerHexText(value) + ">";
    }
    std::string operator()(const CFObject::Array& value) const {
        std::vector<std::string> elements;
        for (const auto& element : value) elements.push_back((*this)(*element));
        return fmt::format("({})", fmt::join(elements, ","));
    }
    std::string operator()(const CFObject::Dictionary& value) const {
        std::vector<std::string> elements;
        for (const auto& [key, element] : value) {
            elements.push_back(inQuotes(key) + "=" + (*this)(*element));
        }
        return fmt::format("{{{}}}", fmt::join(elements, ","));
    }
    std::string operator()(const CFObject::Opaque& value) const { return value.type; }

  private:
    bool hexadecimal_;
};

class TreePrinter {
  public:
    explicit TreePrinter(const RegistryQuery& query) : query_(query) {}

    /// One entry and all below it. `rails` leads the lines: a bar for every ancestor that has more
    /// children to come.
    void tree(const RegistryEntry& entry, const std::string& rails, bool isLast,
              std::size_t level = 1) {
        header(entry, rails);
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
        header(*parent, rails);
        return rails + "  ";
    }

    void line(const std::string& line) {
        const bool cut = query_.width > 0 && line.size() > query_.width;
        text.append(line, 0, cut ? query_.width : line.size()).append("\n");
    }

    std::string text;

  private:
    void header(const RegistryEntry& entry, const std::string& rails) {
        line(rails + "+-o " + headerLine(entry));
    }

    void properties(const RegistryEntry& entry, const std::string& rails) {
        line(rails + "{");
        for (const auto& property : propertyLines(entry, query_.hexadecimal)) {
            line(rails + "  " + property);
        }
        line(rails + "}");
        line(rails);
    }

    const RegistryQuery& query_;
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

std::vector<std::string> propertyLines(const RegistryEntry& entry, bool hexadecimal) {
    const Printer printed(hexadecimal);
    std::vector<std::string> lines;
    const auto add = [&](std::string_view key, const std::string& value) {
        lines.push_back(inQuotes(key) + " = " + value);
    };
    const bool isAsRecorded = entry.properties.areAsRecorded();
    std::set<std::string> recordedKeys;
    // The recorded text also has values that are cut, and numbers in the form of the record.
    if (entry.recorded != nullptr) {
        for (const RecordedProperty& property : entry.recorded->properties()) {
            const std::string key(property.key);
            if (!isAsRecorded) recordedKeys.insert(key);
            if (!entry.properties.isAsRecorded(key)) {
                if (const auto value = entry.get(key)) add(key, printed(*value));
                continue;
            }
            const auto value = hexadecimal ? parseRecordedValue(property.text) : std::nullopt;
            add(key, value ? printed(*makeCF(*value)) : std::string(property.text));
        }
    }
    // Reading them all takes time.
    if (isAsRecorded) return lines;
    for (const auto& [key, value] : entry.properties.all()) {
        if (!recordedKeys.contains(key)) add(key, printed(*value));
    }
    return lines;
}

std::string registryText(const Registry& registry, const RegistryQuery& query) {
    TreePrinter printer(query);
    registry.inspect([&] {
        for (const Entry& root : query.roots(registry.root())) {
            const std::string rails = query.subtrees && query.tracks ? printer.way(*root) : "";
            printer.tree(*root, rails, true);
            if (query.subtrees) printer.line("");
        }
    });
    return std::move(printer.text);
}

}  // namespace simulated_mac
