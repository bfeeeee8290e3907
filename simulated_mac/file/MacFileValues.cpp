#include "simulated_mac/file/MacFileValues.h"

#include <fmt/format.h>

#include "simulated_mac/file/IOResultNames.h"
#include "simulated_mac/file/NearestWord.h"

namespace simulated_mac {
namespace {

/// The key of a mapping that stands for data.
constexpr const char* dataKey = "data";

bool isData(const YAMLNode& node) {
    return node.kind == YAMLNode::Kind::mapping && node.entries.size() == 1 &&
           YAMLReader::isWord(node.entries.front().key, dataKey);
}

PropertyValue readProperty(YAMLReader& reader, const YAMLNode& node);

PropertyList readPropertyList(YAMLReader& reader, const YAMLNode& node) {
    PropertyList list;
    for (const YAMLNode& item : node.items) {
        reader.attempt([&] { list.push_back(readProperty(reader, item)); });
    }
    return list;
}

/// `readEntry` reads the value of each key.
template <class ReadEntry>
PropertyMap readPropertyMap(YAMLReader& reader, const YAMLNode& node, const ReadEntry& readEntry) {
    PropertyMap map;
    std::map<std::string, const YAMLNode*> seen;
    for (const YAMLEntry& entry : reader.mapping(node)) {
        PropertyValue value;
        reader.attempt([&] { value = readEntry(reader, entry.value); });
        reader.attempt([&] {
            const std::string key = reader.text(entry.key);
            const auto [earlier, isNew] = seen.emplace(key, &entry.key);
            if (!isNew) reader.failDuplicate(entry.key, *earlier->second);
            map.emplace_back(key, value);
        });
    }
    return map;
}

PropertyValue readProperty(YAMLReader& reader, const YAMLNode& node) {
    switch (YAMLReader::typeOf(node)) {
        case YAMLReader::Type::text:
            return {node.text};
        case YAMLReader::Type::boolean:
            return {reader.boolean(node)};
        case YAMLReader::Type::number:
            if (node.text.find('.') != std::string::npos) return {reader.realNumber(node)};
            return {reader.signedNumber(node)};
        case YAMLReader::Type::list:
            return {readPropertyList(reader, node)};
        case YAMLReader::Type::mapping:
            if (isData(node)) {
                return {reader.hexBytes(node.entries.front().value)};
            }
            return {readPropertyMap(reader, node, readProperty)};
        case YAMLReader::Type::null:
            break;
    }
    reader.failFound(node, "a number, true, false, text, a list, a mapping or {data: hex digits}");
}

PropertyValue readPropertyOrNull(YAMLReader& reader, const YAMLNode& node) {
    const bool isNullWord = node.kind == YAMLNode::Kind::null && !node.text.empty();
    return isNullWord ? PropertyValue{} : readProperty(reader, node);
}

}  // namespace

void LimitedText::read(YAMLReader& reader, const YAMLNode& node, std::string& target) const {
    const std::string text = reader.text(node);
    const auto isAllowed = [this](char character) {
        return character >= first && character <= last;
    };
    if (text.size() < min || text.size() > max ||
        !std::all_of(text.begin(), text.end(), isAllowed)) {
        reader.failFound(node, expected());
    }
    target = text;
}

std::string LimitedText::expected() const {
    const std::string length = min == max ? std::to_string(min) : fmt::format("at most {}", max);
    const std::string characters = first == ' ' && last == '~'
                                       ? "printable ASCII characters"
                                       : fmt::format("letters {} to {}", first, last);
    return length + ' ' + characters;
}

JSON LimitedText::schema(const std::string&) const {
    return {{"type", "string"},
            {"pattern", fmt::format("^[{}-{}]{{{},{}}}$", first, last, min, max)}};
}

void IOResult::read(YAMLReader& reader, const YAMLNode& node, std::int32_t& target) const {
    constexpr auto most = std::numeric_limits<std::uint32_t>::max();
    std::uint32_t value = 0;
    if (YAMLReader::typeOf(node) == YAMLReader::Type::text && nearestWord(node.text, names())) {
        const std::size_t index =
            reader.word(node, names(), "an I/O result by its name or as a number");
        value = ioResultNames()[index].value;
    } else {
        value = static_cast<std::uint32_t>(reader.number(node, 0, most));
    }
    target = static_cast<std::int32_t>(value);
}

JSON IOResult::schema(std::int32_t) const {
    return {{"anyOf", {{{"$ref", "#/definitions/io_result"}}}}};
}

JSON IOResult::definition() {
    constexpr auto most = std::numeric_limits<std::uint32_t>::max();
    const JSON number = {{"type", "integer"}, {"minimum", 0}, {"maximum", most}};
    return {{"description", "An I/O result, as a number or by its name in the platform's headers."},
            {"anyOf", {number, {{"enum", names()}}}}};
}

const std::vector<std::string>& IOResult::names() {
    static const auto all = [] {
        std::vector<std::string> result;
        for (const IOResultName& one : ioResultNames()) result.push_back(one.name);
        return result;
    }();
    return all;
}

void Properties::read(YAMLReader& reader, const YAMLNode& node, PropertyMap& target) const {
    target = readPropertyMap(reader, node, readPropertyOrNull);
}

JSON Properties::schema(const PropertyMap&) const {
    return {{"type", "object"}, {"additionalProperties", Property{}.schema({})}};
}

void Property::read(YAMLReader& reader, const YAMLNode& node, PropertyValue& target) const {
    target = readPropertyOrNull(reader, node);
}

JSON Property::schema(const PropertyValue&) const {
    return {{"anyOf", {{{"type", "null"}}, {{"$ref", "#/definitions/property"}}}}};
}

JSON Properties::definition() {
    const JSON property = {{"$ref", "#/definitions/property"}};
    const JSON data = {{"description", "Data, as hex digits."},
                       {"type", "object"},
                       {"properties", {{dataKey, HexBytes{}.schema(Bytes())}}},
                       {"required", {dataKey}},
                       {"additionalProperties", false}};
    const JSON mapping = {
        {"type", "object"},
        {"not", {{"required", {dataKey}}, {"maxProperties", 1}}},
        {"additionalProperties", property},
    };
    const JSON number = {{"type", "integer"},
                         {"minimum", std::numeric_limits<std::int64_t>::min()},
                         {"maximum", std::numeric_limits<std::int64_t>::max()}};
    const JSON fraction = {{"type", "number"}, {"not", {{"type", "integer"}}}};
    const JSON list = {{"type", "array"}, {"items", property}};
    return {{"description", "A registry property's value."},
            {"anyOf",
             {{{"type", "boolean"}}, number, fraction, {{"type", "string"}}, list, data, mapping}}};
}

const YAMLEntry* ReadingVisitor::find(const std::string& key) const {
    for (const auto& [name, entry] : entries_)
        if (name == key) return entry;
    return nullptr;
}

void ReadingVisitor::exactlyOne(const std::string& what, const std::vector<std::string>& keys) {
    std::vector<const YAMLEntry*> present;
    for (const auto& [name, entry] : entries_) {
        if (std::find(keys.begin(), keys.end(), name) != keys.end()) present.push_back(entry);
    }
    const std::string expected = "expected exactly one of " + alternatives(keys);
    if (present.empty()) {
        reader_.report(mapping_, fmt::format("no key says {}; {}", what, expected));
    }
    for (std::size_t other = 1; other < present.size(); ++other) {
        reader_.report(present[other]->key,
                       fmt::format("{} conflicts with {}; {}", inQuotes(present[other]->key.text),
                                   inQuotes(present[0]->key.text), expected));
    }
}

void ReadingVisitor::onlyWith(const std::string& key, const std::vector<std::string>& companions) {
    if (find(key) != nullptr) refuseOthers(key, key, companions);
}

void ReadingVisitor::onlyWith(const std::string& key, const std::string& word,
                              const std::vector<std::string>& companions) {
    const YAMLEntry* const entry = find(key);
    if (entry != nullptr && YAMLReader::isWord(entry->value, word)) {
        refuseOthers(key, key + ": " + word, companions);
    }
}

void ReadingVisitor::refuseOthers(const std::string& key, const std::string& shown,
                                  const std::vector<std::string>& companions) {
    // What another key refused says so already.
    if (refused_.contains(key)) return;
    for (const auto& [other, entry] : entries_) {
        if (other == key ||
            std::find(companions.begin(), companions.end(), other) != companions.end()) {
            continue;
        }
        refused_.insert(other);
        reader_.report(
            entry->key,
            fmt::format("{0} conflicts with {1}; expected {1} alone or with {2}",
                        inQuotes(entry->key.text), inQuotes(shown), alternatives(companions)));
    }
}

void SchemaVisitor::exactlyOne(const std::string&, const std::vector<std::string>& keys) {
    JSON oneOf = JSON::array();
    for (const std::string& key : keys) {
        oneOf.push_back({{"required", {key}}});
    }
    allOf_.push_back({{"oneOf", oneOf}});
}

void SchemaVisitor::onlyWith(const std::string& key, const std::vector<std::string>& companions) {
    std::vector<std::string> allowed = companions;
    allowed.push_back(key);
    dependencies_[key] = {{"propertyNames", {{"enum", allowed}}}};
}

void SchemaVisitor::onlyWith(const std::string& key, const std::string& word,
                             const std::vector<std::string>& companions) {
    std::vector<std::string> allowed = companions;
    allowed.push_back(key);
    allOf_.push_back({{"if", {{"properties", {{key, {{"const", word}}}}}, {"required", {key}}}},
                      {"then", {{"propertyNames", {{"enum", allowed}}}}}});
}

JSON SchemaVisitor::result() const {
    JSON schema = {
        {"type", "object"}, {"properties", properties_}, {"additionalProperties", false}};
    if (!required_.empty()) schema["required"] = required_;
    if (!allOf_.empty()) schema["allOf"] = allOf_;
    if (!dependencies_.empty()) schema["dependencies"] = dependencies_;
    return schema;
}

}  // namespace simulated_mac
