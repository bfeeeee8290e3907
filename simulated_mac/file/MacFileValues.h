#pragma once

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/file/YAMLReader.h"

/// The kinds of value that a Mac file can hold. Each kind reads a YAML value into a variable of the
/// description (`read`) and tells which values it takes as a JSON Schema (`schema`, for a variable
/// like the one given).
namespace simulated_mac {

using JSON = nlohmann::ordered_json;

template <class Kind, class Target>
void readValue(YAMLReader& reader, const YAMLNode& node, const Kind& kind, Target& target) {
    kind.read(reader, node, target);
}

template <class Kind, class Target>
void readValue(YAMLReader& reader, const YAMLNode& node, const Kind& kind,
               std::optional<Target>& target) {
    kind.read(reader, node, target.emplace());
}

template <class Kind, class Target>
JSON schemaOf(const Kind& kind, const Target& target) {
    return kind.schema(target);
}

template <class Kind, class Target>
JSON schemaOf(const Kind& kind, const std::optional<Target>&) {
    return kind.schema(Target());
}

struct Text {
    void read(YAMLReader& reader, const YAMLNode& node, std::string& target) const {
        target = reader.text(node);
    }
    JSON schema(const std::string&) const { return {{"type", "string"}}; }
};

/// Text of a length from `min` to `max`, each of its characters between `first` and `last`.
struct LimitedText {
    std::size_t min;
    std::size_t max;
    char first;
    char last;

    void read(YAMLReader& reader, const YAMLNode& node, std::string& target) const;
    JSON schema(const std::string&) const;

    /// Such as "3 letters A to Z".
    std::string expected() const;
};

/// One of more words than a message could list; `meaning` describes them instead.
struct Word {
    std::string meaning;
    std::vector<std::string> words;

    void read(YAMLReader& reader, const YAMLNode& node, std::string& target) const {
        target = words[reader.word(node, words, meaning)];
    }
    JSON schema(const std::string&) const { return {{"enum", words}}; }
};

struct Boolean {
    void read(YAMLReader& reader, const YAMLNode& node, bool& target) const {
        target = reader.boolean(node);
    }
    JSON schema(bool) const { return {{"type", "boolean"}}; }
};

/// A whole number that is not negative; without limits, any that the variable can hold.
struct Number {
    std::optional<std::uint64_t> min;
    std::optional<std::uint64_t> max;

    template <std::integral Target>
    void read(YAMLReader& reader, const YAMLNode& node, Target& target) const {
        target = static_cast<Target>(reader.number(node, lowest(), highest<Target>()));
    }
    template <std::integral Target>
    JSON schema(Target) const {
        return {{"type", "integer"}, {"minimum", lowest()}, {"maximum", highest<Target>()}};
    }

  private:
    std::uint64_t lowest() const { return min.value_or(0); }
    template <std::integral Target>
    std::uint64_t highest() const {
        return max.value_or(static_cast<std::uint64_t>(std::numeric_limits<Target>::max()));
    }
};

/// A number that is a key: JSON has keys in quotes only.
struct NumberKey {
    template <std::integral Target>
    void read(YAMLReader& reader, const YAMLNode& node, Target& target) const {
        YAMLNode number = node;
        number.quoted = false;
        Number{}.read(reader, number, target);
    }
};

/// An I/O error as the platform's headers write it: a 32-bit pattern such as 0xE00002C0, or its
/// name.
struct IOResult {
    void read(YAMLReader& reader, const YAMLNode& node, std::int32_t& target) const;
    JSON schema(std::int32_t) const;

    /// The definition "io_result" that `schema` refers to.
    static JSON definition();

  private:
    static const std::vector<std::string>& names();
};

struct Seconds {
    /// Some thirty years: still an exact count of nanoseconds in 64 bits.
    static constexpr double most = 1e9;

    void read(YAMLReader& reader, const YAMLNode& node, double& target) const {
        target = reader.seconds(node, most);
    }
    JSON schema(double) const {
        return {{"type", "number"}, {"minimum", 0}, {"maximum", static_cast<std::uint32_t>(most)}};
    }
};

/// Bytes in hex, blanks and line breaks between them allowed.
struct HexBytes {
    void read(YAMLReader& reader, const YAMLNode& node, Bytes& target) const {
        target = reader.hexBytes(node);
    }
    /// Bytes such as 00 or 1e88 that happen to look like a number to YAML need no quotes.
    JSON schema(const Bytes&) const {
        return {{"type", {"string", "number"}}, {"pattern", "^\\s*([0-9A-Fa-f]{2}\\s*)*$"}};
    }
};

/// The contents of a file that is named relative to the Mac file's folder.
struct FileContents {
    template <class Target>
    void read(YAMLReader& reader, const YAMLNode& node, Target& target) const {
        const std::string contents = reader.fileContents(node);
        target.assign(contents.begin(), contents.end());
    }
    template <class Target>
    JSON schema(const Target&) const {
        return {{"type", "string"}};
    }
};

/// One word for each value of an enumeration.
template <class Enum>
struct Choice {
    std::vector<std::pair<std::string, Enum>> choices;

    void read(YAMLReader& reader, const YAMLNode& node, Enum& target) const {
        target = choices[reader.word(node, words(), alternatives(words()))].second;
    }
    JSON schema(const Enum&) const { return {{"enum", words()}}; }

    std::string nameOf(Enum value) const {
        const auto isValue = [value](const auto& choice) { return choice.second == value; };
        const auto found = std::find_if(choices.begin(), choices.end(), isValue);
        return found == choices.end() ? "" : found->first;
    }
    std::vector<std::string> words() const {
        std::vector<std::string> result;
        for (const auto& choice : choices) result.push_back(choice.first);
        return result;
    }
};

/// null for a missing value.
template <class Kind>
struct NullOr {
    Kind kind;

    template <class Target>
    void read(YAMLReader& reader, const YAMLNode& node, std::optional<Target>& target) const {
        if (node.kind == YAMLNode::Kind::null && !node.text.empty()) {
            target.reset();
        } else {
            kind.read(reader, node, target.emplace());
        }
    }
    template <class Target>
    JSON schema(const std::optional<Target>&) const {
        return {{"anyOf", {{{"type", "null"}}, kind.schema(Target())}}};
    }
};

template <class Kind, class Target>
void readValue(YAMLReader& reader, const YAMLNode& node, const NullOr<Kind>& kind,
               std::optional<Target>& target) {
    kind.read(reader, node, target);
}

template <class Kind, class Target>
JSON schemaOf(const NullOr<Kind>& kind, const std::optional<Target>& target) {
    return kind.schema(target);
}

template <class Kind>
struct ListOf {
    Kind kind;
    std::size_t min = 0;
    std::size_t max = std::numeric_limits<std::size_t>::max();

    template <class Target>
    void read(YAMLReader& reader, const YAMLNode& node, std::vector<Target>& target) const {
        target.clear();
        for (const YAMLNode& item : reader.list(node)) {
            if (target.size() == max) {
                reader.fail(item, "too many entries; expected at most " + std::to_string(max));
            }
            Target& entry = target.emplace_back();
            reader.attempt([&] { kind.read(reader, item, entry); });
        }
        if (target.size() < min) {
            reader.fail(node, "too few entries; expected at least " + std::to_string(min));
        }
    }
    template <class Target>
    JSON schema(const std::vector<Target>&) const {
        JSON result = {{"type", "array"}, {"items", kind.schema(Target())}};
        if (min > 0) result["minItems"] = min;
        if (max != std::numeric_limits<std::size_t>::max()) result["maxItems"] = max;
        return result;
    }
};

/// A list, or its only entry by itself.
template <class Kind>
struct OneOrListOf {
    Kind kind;

    template <class Target>
    void read(YAMLReader& reader, const YAMLNode& node, std::vector<Target>& target) const {
        if (node.kind == YAMLNode::Kind::list) {
            ListOf<Kind>{kind, 1}.read(reader, node, target);
        } else {
            target.clear();
            kind.read(reader, node, target.emplace_back());
        }
    }
    template <class Target>
    JSON schema(const std::vector<Target>& target) const {
        return {{"anyOf", {kind.schema(Target()), ListOf<Kind>{kind, 1}.schema(target)}}};
    }
};

/// A mapping whose keys are numbers, such as VCP codes.
template <class Kind>
struct ByNumber {
    Kind kind;

    template <std::integral Key, class Target>
    void read(YAMLReader& reader, const YAMLNode& node, std::map<Key, Target>& target) const {
        std::map<Key, const YAMLNode*> seen;
        for (const YAMLEntry& entry : reader.mapping(node)) {
            Target value{};
            reader.attempt([&] { kind.read(reader, entry.value, value); });
            reader.attempt([&] {
                Key key = 0;
                NumberKey{}.read(reader, entry.key, key);
                const auto [earlier, isNew] = seen.emplace(key, &entry.key);
                if (!isNew) reader.failDuplicate(entry.key, *earlier->second);
                target[key] = value;
            });
        }
    }
    template <std::integral Key, class Target>
    JSON schema(const std::map<Key, Target>&) const {
        return {
            {"type", "object"},
            {"patternProperties", {{"^(0x[0-9A-Fa-f]+|0|[1-9][0-9]*)$", kind.schema(Target())}}},
            {"additionalProperties", false}};
    }
};

/// A mapping whose keys are any text.
template <class Kind>
struct ByText {
    Kind kind;

    template <class Target>
    void read(YAMLReader& reader, const YAMLNode& node,
              std::map<std::string, Target>& target) const {
        std::map<std::string, const YAMLNode*> seen;
        for (const YAMLEntry& entry : reader.mapping(node)) {
            Target value{};
            reader.attempt([&] { readValue(reader, entry.value, kind, value); });
            reader.attempt([&] {
                const std::string key = reader.text(entry.key);
                const auto [earlier, isNew] = seen.emplace(key, &entry.key);
                if (!isNew) reader.failDuplicate(entry.key, *earlier->second);
                target[key] = value;
            });
        }
    }
    template <class Target>
    JSON schema(const std::map<std::string, Target>&) const {
        return {{"type", "object"}, {"additionalProperties", schemaOf(kind, Target())}};
    }
};

/// A mapping whose keys are some of the given words.
template <class Kind>
struct ByWord {
    std::vector<std::string> words;
    Kind kind;

    template <class Target>
    void read(YAMLReader& reader, const YAMLNode& node,
              std::map<std::string, Target>& target) const {
        for (const auto& [word, entry] : reader.mapping(node, words)) {
            Target& value = target[word];
            reader.attempt([&, entry = entry] { kind.read(reader, entry->value, value); });
        }
    }
    template <class Target>
    JSON schema(const std::map<std::string, Target>&) const {
        JSON properties = JSON::object();
        for (const std::string& word : words) properties[word] = kind.schema(Target());
        return {{"type", "object"}, {"properties", properties}, {"additionalProperties", false}};
    }
};

/// Registry properties: any key; numbers, booleans, texts, lists, mappings, data as {data: hex}, or
/// null for a property that is missing.
struct Properties {
    void read(YAMLReader& reader, const YAMLNode& node, PropertyMap& target) const;
    JSON schema(const PropertyMap&) const;

    /// The definition "property" that `schema` refers to.
    static JSON definition();
};

/// A registry property's value; null for one that is missing.
struct Property {
    void read(YAMLReader& reader, const YAMLNode& node, PropertyValue& target) const;
    JSON schema(const PropertyValue&) const;
};

/// Whether a key has to be there.
enum class Presence { optional, required };

// A mapping with a fixed set of keys is described by a function `fields(visitor, structure)`. It
// calls `visitor(key, member, kind, description)` for each key, followed by Presence::required for
// a required key. Before the keys it states the rules between them:
//   visitor.exactlyOne(what, keys)      one of them is there, and only one; they say what
//   visitor.onlyWith(key, companions)   beside that key, only these may be there
//   visitor.onlyWith(key, word, companions)   the same where its value is that word

/// Lists the keys.
struct KeyVisitor {
    std::vector<std::string> keys;

    template <class Target, class Kind>
    void operator()(const char* key, const Target&, const Kind&, const char*,
                    Presence = Presence::optional) {
        keys.emplace_back(key);
    }
    void exactlyOne(const std::string&, const std::vector<std::string>&) {}
    void onlyWith(const std::string&, const std::vector<std::string>&) {}
    void onlyWith(const std::string&, const std::string&, const std::vector<std::string>&) {}
};

/// Reads the values of a mapping, each by itself: a mistake in one leaves the others to be read.
class ReadingVisitor {
  public:
    ReadingVisitor(YAMLReader& reader, const YAMLNode& mapping,
                   const std::vector<std::string>& known)
        : reader_(reader), mapping_(mapping), entries_(reader.mapping(mapping, known)) {}

    template <class Target, class Kind>
    void operator()(const char* key, Target& target, const Kind& kind, const char*,
                    Presence presence = Presence::optional) {
        if (const YAMLEntry* const entry = find(key)) {
            reader_.attempt([&] { readValue(reader_, entry->value, kind, target); });
        } else if (presence == Presence::required) {
            reader_.report(mapping_,
                           "missing key \"" + std::string(key) + "\"; expected it in this mapping");
        }
    }
    void exactlyOne(const std::string& what, const std::vector<std::string>& keys);
    void onlyWith(const std::string& key, const std::vector<std::string>& companions);
    void onlyWith(const std::string& key, const std::string& word,
                  const std::vector<std::string>& companions);

  private:
    const YAMLEntry* find(const std::string& key) const;
    /// `shown` is what stands in the message for `key`.
    void refuseOthers(const std::string& key, const std::string& shown,
                      const std::vector<std::string>& companions);

    YAMLReader& reader_;
    const YAMLNode& mapping_;
    std::vector<NamedEntry> entries_;
    std::set<std::string> refused_;  ///< keys that conflict with others
};

/// Builds the schema of a mapping; the members' initial values are the defaults.
class SchemaVisitor {
  public:
    template <class Target, class Kind>
    void operator()(const char* key, const Target& initial, const Kind& kind,
                    const char* description, Presence presence = Presence::optional) {
        JSON property = {{"description", description}};
        property.update(schemaOf(kind, initial));
        if (presence == Presence::required) {
            required_.push_back(key);
        } else if constexpr (std::is_enum_v<Target>) {
            property["default"] = kind.nameOf(initial);
        } else {
            addDefault(property, initial);
        }
        properties_[key] = std::move(property);
    }
    void exactlyOne(const std::string& what, const std::vector<std::string>& keys);
    void onlyWith(const std::string& key, const std::vector<std::string>& companions);
    void onlyWith(const std::string& key, const std::string& word,
                  const std::vector<std::string>& companions);

    JSON result() const;

  private:
    template <class Target>
    static void addDefault(JSON& property, const Target& initial) {
        if constexpr (std::is_arithmetic_v<Target>) {
            property["default"] = initial;
        } else if constexpr (std::is_same_v<Target, std::string>) {
            if (!initial.empty()) property["default"] = initial;
        }
    }
    template <class Target>
    static void addDefault(JSON& property, const std::optional<Target>& initial) {
        if (initial) addDefault(property, *initial);
    }

    JSON properties_ = JSON::object();
    JSON required_ = JSON::array();
    JSON allOf_ = JSON::array();
    JSON dependencies_ = JSON::object();
};

/// A mapping that `fields` describes.
struct Mapping {
    template <class Target>
    void read(YAMLReader& reader, const YAMLNode& node, Target& target) const {
        KeyVisitor known;
        fields(known, target);
        ReadingVisitor visitor(reader, node, known.keys);
        fields(visitor, target);
    }
    template <class Target>
    JSON schema(const Target& initial) const {
        Target copy = initial;
        SchemaVisitor visitor;
        fields(visitor, copy);
        return visitor.result();
    }
};

/// A mapping that `fields` describes, or a word that sets one member.
template <class Structure>
struct WordOrMapping {
    std::string word;
    bool Structure::*member;
    bool value;

    void read(YAMLReader& reader, const YAMLNode& node, Structure& target) const {
        if (YAMLReader::isWord(node, word)) {
            target.*member = value;
        } else if (node.kind == YAMLNode::Kind::mapping) {
            Mapping{}.read(reader, node, target);
        } else {
            reader.failFound(node, word + " or a mapping", {word});
        }
    }
    JSON schema(const Structure& initial) const {
        return {{"anyOf", {{{"const", word}}, Mapping{}.schema(initial)}}};
    }
};

}  // namespace simulated_mac
