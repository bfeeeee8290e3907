#include "simulated_mac/description/RecordedRegistry.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "simulated_mac/description/RecordedValue.h"

namespace simulated_mac {

namespace {

constexpr std::string_view entryMark = "+-o ";
constexpr std::string_view rootClass = "IORegistryEntry";
constexpr std::string_view expertClass = "IOPlatformExpertDevice";
constexpr std::string_view pathBegin = "IOService:";
constexpr std::string_view nameEndMark = "  <";
constexpr std::string_view classMark = "class ";

/// Nodes whose name is not their class'. Of others that matter, the drivers', it is.
constexpr std::string_view connectName = "display";
constexpr std::string_view connectClass = "IODisplayConnect";

// Where an entry's properties stand, counted from its mark, and the braces around them.
constexpr std::size_t propertiesColumn = 6;
constexpr std::size_t braceBeforeProperties = 2;

/// Takes the first line off a text.
std::string_view takeLine(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

/// How many bars and blanks stand in front.
std::size_t indentOf(std::string_view line) {
    std::size_t indent = 0;
    while (indent < line.size() && (line[indent] == ' ' || line[indent] == '|')) ++indent;
    return indent;
}

/// Whether nothing but bars and blanks stands in front of this character at this column.
bool startsWith(std::string_view line, std::size_t column, char character) {
    return line.size() > column && line[column] == character && indentOf(line) == column;
}

/// Whether the line is a brace that opens or closes the properties.
bool isBrace(std::string_view line, std::size_t column, char brace) {
    return startsWith(line, column, brace) &&
           line.find_first_not_of(' ', column + 1) == std::string_view::npos;
}

/// Those of Windows line ends.
void dropCarriageReturns(std::string& text) {
    if (text.find("\r\n") == std::string::npos) return;
    std::size_t kept = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n') continue;
        text[kept++] = text[at];
    }
    text.resize(kept);
}

/// The bus address behind a name's last "@", as the platform writes it: "0", "1F,2".
std::size_t locationIn(std::string_view name) {
    const std::size_t at = name.rfind('@');
    if (at == std::string_view::npos || at + 1 == name.size()) return std::string_view::npos;
    const auto rest = name.substr(at + 1);
    const bool isAddress =
        rest.find_first_not_of("0123456789abcdefABCDEF,") == std::string_view::npos;
    return isAddress ? at : std::string_view::npos;
}

/// The class of an entry of which only this beginning is recorded; that beginning if nothing tells
/// the rest.
std::string_view wholeClass(std::string_view begin, std::string_view name) {
    const bool isConnect = name.substr(0, connectName.size()) == connectName;
    const std::string_view known = isConnect ? connectClass : name;
    return known.substr(0, begin.size()) == begin ? known : begin;
}

/// What stands between the angle brackets behind a name, class and ID first. A line that is cut has
/// no closing one.
void readBrackets(std::string_view text, RecordedEntry& entry) {
    const std::size_t closing = text.rfind('>');
    entry.isCut = closing == std::string_view::npos;
    text = text.substr(0, closing);
    text.remove_prefix(std::min(classMark.size(), text.size()));
    const std::size_t classEnd = std::min(text.find(','), text.size());
    entry.className = text.substr(0, classEnd);
    if (entry.isCut && classEnd == text.size()) {
        entry.className = wholeClass(entry.className, entry.name);
    }
    text.remove_prefix(std::min(classEnd + 2, text.size()));
    constexpr std::string_view idMark = "id 0x";
    if (text.substr(0, idMark.size()) == idMark) {
        const char* const begin = text.data() + idMark.size();
        std::uint64_t id = 0;
        const auto [end, error] = std::from_chars(begin, text.data() + text.size(), id, 16);
        const bool isWhole = !entry.isCut || end != text.data() + text.size();
        if (error == std::errc() && isWhole) {
            entry.id = id;
            text.remove_prefix(static_cast<std::size_t>(end - text.data()));
            if (text.substr(0, 2) == ", ") text.remove_prefix(2);
        }
    }
    entry.state = text;
}

}  // namespace

std::vector<RecordedProperty> RecordedEntry::properties() const {
    std::vector<RecordedProperty> found;
    std::string_view rest = propertyLines;
    while (!rest.empty()) {
        const std::string_view line = takeLine(rest);
        constexpr std::string_view equals = "\" = ";
        const std::size_t keyEnd =
            startsWith(line, margin, '"') ? line.find(equals, margin + 1) : std::string_view::npos;
        if (keyEnd != std::string_view::npos) {
            found.push_back({line.substr(margin + 1, keyEnd - margin - 1),
                             line.substr(keyEnd + equals.size())});
        } else if (!found.empty()) {
            // A text with a line break goes on at the left edge.
            std::string_view& text = found.back().text;
            text = {text.data(), static_cast<std::size_t>(line.data() + line.size() - text.data())};
        }
    }
    return found;
}

bool RecordedEntry::mentions(std::string_view text) const {
    // Not find(), which stops at each of the first character's many places.
    return propertyLines.data() != nullptr &&
           memmem(propertyLines.data(), propertyLines.size(), text.data(), text.size()) != nullptr;
}

bool RecordedEntry::isMobileFramebuffer() const {
    constexpr std::array<std::string_view, 2> known = {"AppleCLCD2", "IOMobileFramebufferShim"};
    return std::any_of(known.begin(), known.end(), [this](std::string_view framebuffer) {
        return className == framebuffer || name == framebuffer;
    });
}

std::optional<std::string_view> RecordedEntry::property(std::string_view key) const {
    // Most entries don't have it, which the whole text shows sooner than its lines do.
    if (!mentions(key)) return std::nullopt;
    for (const RecordedProperty& property : properties()) {
        if (property.key == key) return property.text;
    }
    return std::nullopt;
}

std::optional<PropertyValue> RecordedEntry::value(std::string_view key) const {
    const auto text = property(key);
    return text ? parseRecordedValue(*text) : std::nullopt;
}

RecordedRegistry::RecordedRegistry(std::string text) : text_(std::move(text)) {
    if (text_.size() > mostBytes) {
        throw RecordedRegistryError("the registry is too long; expected at most " +
                                    std::to_string(mostBytes >> 20) + " MiB");
    }
    dropCarriageReturns(text_);
    unmaskZeros();
    readLines();
    if (entries_.empty()) {
        throw RecordedRegistryError(
            "no entry of a registry found; expected lines as ioreg prints them, such as "
            "\"+-o Root  <class IORegistryEntry, id 0x100000100, retain 20>\"");
    }
}

bool RecordedRegistry::isInPaths(const RecordedEntry& entry) const {
    const auto isRoot = [](const RecordedEntry& one) {
        return one.parent == RecordedEntry::none && one.className == rootClass;
    };
    if (isRoot(entry)) return false;
    return entry.parent == RecordedEntry::none || !isRoot(entries_[entry.parent]) ||
           entry.className != expertClass;
}

std::string RecordedRegistry::pathOf(std::size_t index) const {
    std::vector<std::size_t> way;
    for (; index != RecordedEntry::none; index = entries_[index].parent) {
        if (isInPaths(entries_[index])) way.push_back(index);
    }
    std::string path(pathBegin);
    if (way.empty()) path += '/';
    for (auto step = way.rbegin(); step != way.rend(); ++step) {
        const RecordedEntry& entry = entries_[*step];
        path.append("/").append(entry.name);
        if (!entry.location.empty()) path.append("@").append(entry.location);
    }
    return path;
}

/// Reads the path from its end, where most of those of other entries differ.
bool RecordedRegistry::hasPath(std::size_t index, std::string_view path) const {
    const auto takeEnd = [&path](std::string_view end) {
        if (path.size() < end.size() || path.substr(path.size() - end.size()) != end) return false;
        path.remove_suffix(end.size());
        return true;
    };
    bool isTop = true;
    for (; index != RecordedEntry::none; index = entries_[index].parent) {
        const RecordedEntry& entry = entries_[index];
        if (!isInPaths(entry)) continue;
        isTop = false;
        // Most names differ in length, which is seen without reading them.
        const std::size_t length =
            entry.name.size() + (entry.location.empty() ? 0 : entry.location.size() + 1);
        if (length >= path.size() || path[path.size() - length - 1] != '/') return false;
        if (!entry.location.empty() && !(takeEnd(entry.location) && takeEnd("@"))) return false;
        if (!takeEnd(entry.name) || !takeEnd("/")) return false;
    }
    return (!isTop || takeEnd("/")) && path == pathBegin;
}

std::vector<std::size_t> RecordedRegistry::find(const std::string& reference) const {
    constexpr std::string_view hexadecimal = "0x";
    std::optional<std::uint64_t> id;
    if (reference.compare(0, hexadecimal.size(), hexadecimal) == 0) {
        const char* const end = reference.data() + reference.size();
        std::uint64_t number = 0;
        const auto result = std::from_chars(reference.data() + hexadecimal.size(), end, number, 16);
        if (result.ec == std::errc() && result.ptr == end) id = number;
    }
    std::vector<std::size_t> found;
    for (std::size_t index = 0; index < entries_.size(); ++index) {
        if (id ? entries_[index].id == id : hasPath(index, reference)) found.push_back(index);
    }
    return found;
}

bool RecordedRegistry::isFramebuffer(std::size_t index) const {
    constexpr std::array<std::string_view, 3> marks = {
        "\"IOFBI2CInterfaceIDs\" = ", "\"IOFBConfig\" = ", "\"IOFBTransform\" = "};
    const RecordedEntry& entry = entries_[index];
    if (entry.className == rootClass) return false;
    // A record without properties still shows what stands below a framebuffer alone.
    return entry.hasDisplayParts ||
           (entry.mentions("\"IOFB") &&
            std::any_of(marks.begin(), marks.end(),
                        [&](std::string_view mark) { return entry.mentions(mark); }));
}

bool RecordedRegistry::isDisplayNode(std::size_t index) const {
    constexpr std::string_view ending = "Display";
    const RecordedEntry& entry = entries_[index];
    return entry.parent != RecordedEntry::none &&
           entries_[entry.parent].className == "IODisplayConnect" &&
           entry.className.size() >= ending.size() &&
           entry.className.substr(entry.className.size() - ending.size()) == ending;
}

void RecordedRegistry::unmaskZeros() {
    const auto isDigit = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F') ||
               c == 'x' || c == '*';
    };
    for (std::size_t star = text_.find('*'); star != std::string::npos;) {
        std::size_t begin = star;
        std::size_t end = star;
        while (begin > 0 && isDigit(text_[begin - 1])) --begin;
        while (end < text_.size() && isDigit(text_[end])) ++end;
        // In front of data stands an angle bracket, in front of a number what separates values.
        if (begin > 0 && std::string_view("<=( ,").find(text_[begin - 1]) != std::string::npos &&
            (end == text_.size() ||
             std::string_view(">,)}\n.").find(text_[end]) != std::string::npos)) {
            std::replace(text_.begin() + static_cast<std::ptrdiff_t>(begin),
                         text_.begin() + static_cast<std::ptrdiff_t>(end), '*', '0');
            ++maskedValues_;
        }
        star = text_.find('*', end);
    }
}

void RecordedRegistry::readLines() {
    enum class Where { outside, behindEntry, inProperties };
    Where where = Where::outside;
    std::string_view rest = text_;
    for (std::size_t number = 1; !rest.empty(); ++number) {
        const std::string_view line = takeLine(rest);
        if (readHeader(line, number)) {
            where = Where::behindEntry;
        } else if (where == Where::behindEntry) {
            const std::size_t column = entries_.back().margin - braceBeforeProperties;
            where = isBrace(line, column, '{') ? Where::inProperties : Where::outside;
            if (where == Where::inProperties) entries_.back().propertyLines = rest.substr(0, 0);
        } else if (where == Where::inProperties) {
            RecordedEntry& entry = entries_.back();
            if (isBrace(line, entry.margin - braceBeforeProperties, '}')) {
                where = Where::outside;
            } else {
                entry.propertyLines = {
                    entry.propertyLines.data(),
                    static_cast<std::size_t>(rest.data() - entry.propertyLines.data())};
            }
        }
    }
}

bool RecordedRegistry::readHeader(std::string_view line, std::size_t number) {
    const std::size_t column = indentOf(line);
    if (line.substr(column, entryMark.size()) != entryMark) return false;
    const auto failed = [number](const std::string& what) {
        throw RecordedRegistryError("line " + std::to_string(number) + ": " + what);
    };
    if (entries_.size() == mostEntries) {
        failed("too many entries; expected at most " + std::to_string(mostEntries));
    }
    if (column / 2 >= mostLevels) {
        failed("nested too deeply; expected at most " + std::to_string(mostLevels) + " levels");
    }

    RecordedEntry entry;
    entry.lineNumber = number;
    entry.margin = column + propertiesColumn;
    // Entries above are those with their mark further left.
    for (entry.parent = entries_.empty() ? RecordedEntry::none : entries_.size() - 1;
         entry.parent != RecordedEntry::none && entries_[entry.parent].margin >= entry.margin;) {
        entry.parent = entries_[entry.parent].parent;
    }
    const std::string_view text = line.substr(column + entryMark.size());
    const std::size_t nameEnd = text.find(nameEndMark);
    const std::string_view name = text.substr(0, nameEnd);
    const std::size_t location = locationIn(name);
    entry.name = name.substr(0, location);
    if (location != std::string_view::npos) entry.location = name.substr(location + 1);
    if (nameEnd != std::string_view::npos) {
        readBrackets(text.substr(nameEnd + nameEndMark.size()), entry);
    } else {
        entry.isCut = true;
    }
    if (entry.isCut) ++cutEntries_;
    if (entry.parent != RecordedEntry::none) {
        entries_[entry.parent].hasDisplayParts |=
            entry.className == "IOFramebufferI2CInterface" || entry.className == "IODisplayConnect";
    }
    entries_.push_back(entry);
    return true;
}

}  // namespace simulated_mac
