#include "simulated_mac/file/MacFileFormat.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/RecordedRegistry.h"
#include "simulated_mac/file/EntriesOfRecord.h"
#include "simulated_mac/file/MacFileKeys.h"
#include "simulated_mac/file/NearestWord.h"

namespace simulated_mac {
namespace {

constexpr const char* none = "none";
constexpr const char* empty = "empty";
constexpr const char* never = "never";

constexpr std::array<std::int64_t, 4> displayStates = {-1, 0, 1, 3};

Choice<DDCAnswer::Kind> answerWords() {
    using Kind = DDCAnswer::Kind;
    return {{{"good", Kind::good},
             {"silent", Kind::silent},
             {"wrong_source", Kind::wrongSource},
             {"wrong_opcode", Kind::wrongOpcode},
             {"wrong_code", Kind::wrongCode},
             {"wrong_length", Kind::wrongLength},
             {"bad_checksum", Kind::badChecksum}}};
}

/// The mapping form of `edid_listed`.
struct LateListing {
    double at = 0;
};

template <class Visitor>
void fields(Visitor& field, LateListing& listing) {
    field("at", listing.at, Seconds{},
          "Seconds after power-on from which on the tools print the EDID.", Presence::required);
}

/// `node` is the mapping with `patch` in it.
void requirePatchInside(YAMLReader& reader, const YAMLNode& node, std::size_t size) {
    for (const YAMLEntry& entry : node.entries) {
        if (!YAMLReader::isWord(entry.key, "patch")) continue;
        for (const YAMLEntry& change : entry.value.entries) {
            std::uint16_t offset = 0;
            NumberKey{}.read(reader, change.key, offset);
            if (size == 0) {
                reader.report(change.key, "the EDID has no bytes to patch; expected at least one");
            } else if (offset >= size) {
                reader.report(
                    change.key,
                    fmt::format("offset {} is past the end of the EDID; expected one below {}",
                                offset, size));
            }
        }
    }
}

/// The value of a mapping's key; nullptr if there is none.
const YAMLNode* valueOf(const YAMLNode* mapping, std::string_view key) {
    if (mapping == nullptr) return nullptr;
    for (const YAMLEntry& entry : mapping->entries) {
        if (YAMLReader::isWord(entry.key, key)) return &entry.value;
    }
    return nullptr;
}

Bytes usualPanelEDID() {
    EDIDFields fields;
    fields.manufacturer = "APP";
    fields.product = 0xA040;
    fields.year = 2019;
    fields.widthCm = 34;
    fields.heightCm = 21;
    fields.name = "Color LCD";
    return makeEDID(fields);
}

/// Gives each built-in panel of a Mac file of which the file says nothing the usual EDID.
void addPanelEDIDs(const YAMLNode& mac, std::vector<ScreenDescription>& screens) {
    const YAMLNode& list = *valueOf(&mac, "screens");
    for (std::size_t index = 0; index < screens.size(); ++index) {
        const YAMLNode* const monitor = valueOf(&list.items[index], "monitor");
        if (screens[index].builtIn && valueOf(monitor, "edid") == nullptr) {
            screens[index].monitor.edid = usualPanelEDID();
        }
    }
}

}  // namespace

void DisplayState::read(YAMLReader& reader, const YAMLNode& node, std::int64_t& target) const {
    target = reader.signedNumber(node);
    if (std::find(displayStates.begin(), displayStates.end(), target) == displayStates.end()) {
        reader.failFound(node, "-1, 0, 1 or 3");
    }
}

JSON DisplayState::schema(std::int64_t) const {
    return {{"enum", displayStates}};
}

void TimeOfContinue::read(YAMLReader& reader, const YAMLNode& node,
                          ContinueExpectation& target) const {
    if (!YAMLReader::isWord(node, never)) Seconds{}.read(reader, node, target.after.emplace());
}

JSON TimeOfContinue::schema(const ContinueExpectation&) const {
    return {{"anyOf", {{{"const", never}}, Seconds{}.schema(0)}}};
}

void EDIDBytes::read(YAMLReader& reader, const YAMLNode& node, Bytes& target) const {
    constexpr const char* forms = "none, hex digits or a mapping";
    if (YAMLReader::isWord(node, none)) {
        target.clear();
        return;
    }
    if (node.kind == YAMLNode::Kind::scalar) {
        // No hex digits are like the word.
        if (nearestWord(node.text, {none})) reader.failFound(node, forms, {none});
        target = reader.hexBytes(node);
        return;
    }
    if (node.kind != YAMLNode::Kind::mapping) {
        reader.failFound(node, forms);
    }
    EDIDForms edid;
    if (!reader.attempt([&] { Mapping{}.read(reader, node, edid); })) return;
    target = edid.file ? *edid.file : edid.hex ? *edid.hex : makeEDID(edid.made);
    if (!reader.attempt([&] { requirePatchInside(reader, node, target.size()); })) return;
    for (const auto& [offset, byte] : edid.patch) target[offset] = byte;
}

JSON EDIDBytes::schema(const Bytes& initial) const {
    return {
        {"anyOf", {{{"const", none}}, HexBytes{}.schema(initial), Mapping{}.schema(EDIDForms())}}};
}

void RegistryRecord::read(YAMLReader& reader, const YAMLNode& node, Target& target) const {
    reader.namesRegistry = true;
    try {
        target = std::make_shared<RecordedRegistry>(reader.fileContents(node));
    } catch (const RecordedRegistryError& error) {
        reader.fail(node, fmt::format("file \"{}\": {}", node.text, error.what()));
    }
    reader.registry = target;
}

JSON RegistryRecord::schema(const Target&) const {
    return {{"type", "string"}};
}

void EntryOfRecord::read(YAMLReader& reader, const YAMLNode& node, std::string& target) const {
    // An ID needs no quotes.
    target = YAMLReader::typeOf(node) == YAMLReader::Type::number ? node.text : reader.text(node);
    if (reader.registry == nullptr) {
        // A registry that can't be read is a mistake of its own.
        if (reader.namesRegistry) return;
        reader.fail(node, "no recorded registry; expected the key \"registry\" beside \"screens\"");
    }
    if (reader.registry->find(target).empty()) {
        reader.fail(node, fmt::format("no entry \"{}\" in the recorded registry; expected a path "
                                      "such as \"IOService:/...\" or an ID such as 0x1000002ab",
                                      target));
    }
}

JSON EntryOfRecord::schema(const std::string&) const {
    return {{"type", {"string", "integer"}}};
}

void ImageSize::read(YAMLReader& reader, const YAMLNode& node, EDIDFields& target) const {
    const std::vector<YAMLNode>& sides = reader.list(node);
    if (sides.size() != 2) {
        reader.fail(
            node, fmt::format("found a list of {}; expected [width, height] in cm", sides.size()));
    }
    reader.attempt([&] { Number{}.read(reader, sides[0], target.widthCm); });
    reader.attempt([&] { Number{}.read(reader, sides[1], target.heightCm); });
}

JSON ImageSize::schema(const EDIDFields& initial) const {
    return {{"type", "array"},
            {"items", Number{}.schema(initial.widthCm)},
            {"minItems", 2},
            {"maxItems", 2},
            {"default", JSON::array({initial.widthCm, initial.heightCm})}};
}

void VCPValue::read(YAMLReader& reader, const YAMLNode& node, VCPEntry& target) const {
    if (node.kind == YAMLNode::Kind::mapping) {
        Mapping{}.read(reader, node, target);
    } else {
        Number{}.read(reader, node, target.current);
    }
}

JSON VCPValue::schema(const VCPEntry& initial) const {
    return {{"anyOf", {Number{}.schema(initial.current), Mapping{}.schema(initial)}}};
}

void VCPAnswers::read(YAMLReader& reader, const YAMLNode& node, MonitorDescription& target) const {
    if (YAMLReader::isWord(node, unknown)) {
        target.answering = MonitorDescription::Answering::unknown;
    } else if (node.kind == YAMLNode::Kind::mapping) {
        ByNumber<VCPValue>{}.read(reader, node, target.vcp);
    } else {
        reader.failFound(node, "unknown or a mapping", {unknown});
    }
}

JSON VCPAnswers::schema(const MonitorDescription& initial) const {
    return {{"anyOf", {{{"const", unknown}}, ByNumber<VCPValue>{}.schema(initial.vcp)}}};
}

void TransactionTypes::read(YAMLReader& reader, const YAMLNode& node,
                            BusDescription& target) const {
    NullOr<Number>{}.read(reader, node, target.transactionTypes);
    target.hasTransactionTypes = target.transactionTypes.has_value();
}

JSON TransactionTypes::schema(const BusDescription& initial) const {
    return NullOr<Number>{}.schema(initial.transactionTypes);
}

void AnswerKind::read(YAMLReader& reader, const YAMLNode& node, DDCAnswer& target) const {
    if (node.kind == YAMLNode::Kind::mapping) {
        target.kind = DDCAnswer::Kind::bytes;
        Mapping{}.read(reader, node, target);
    } else {
        answerWords().read(reader, node, target.kind);
    }
}

JSON AnswerKind::schema(const DDCAnswer& initial) const {
    return {{"anyOf", {answerWords().schema(initial.kind), Mapping{}.schema(initial)}}};
}

void ProxyEDID::read(YAMLReader& reader, const YAMLNode& node, ProxyDescription& target) const {
    if (YAMLReader::isWord(node, empty)) {
        target.edidEmpty = true;
    } else if (node.kind == YAMLNode::Kind::scalar && nearestWord(node.text, {empty})) {
        reader.failFound(node, "empty, none, hex digits or a mapping", {empty});
    } else {
        EDIDBytes{}.read(reader, node, target.edid.emplace());
    }
}

JSON ProxyEDID::schema(const ProxyDescription&) const {
    return {{"anyOf", {{{"const", empty}}, EDIDBytes{}.schema(Bytes())}}};
}

void EDIDListing::read(YAMLReader& reader, const YAMLNode& node, ScreenDescription& target) const {
    if (YAMLReader::typeOf(node) == YAMLReader::Type::boolean) {
        target.edidListed = reader.boolean(node);
    } else if (YAMLReader::isWord(node, empty)) {
        target.edidListed = true;
        target.listedEDIDEmpty = true;
    } else if (node.kind == YAMLNode::Kind::mapping) {
        LateListing listing;
        Mapping{}.read(reader, node, listing);
        target.edidListed = true;
        target.edidListedAt = listing.at;
    } else {
        reader.failFound(node, "true, false, empty or {at: seconds}", {"true", "false", empty});
    }
}

JSON EDIDListing::schema(const ScreenDescription&) const {
    return {
        {"anyOf", {Boolean{}.schema(true), {{"const", empty}}, Mapping{}.schema(LateListing())}}};
}

void InfoDictionary::read(YAMLReader& reader, const YAMLNode& node,
                          ScreenDescription& target) const {
    if (YAMLReader::isWord(node, none)) {
        target.hasInfoDictionary = false;
    } else if (node.kind == YAMLNode::Kind::mapping) {
        Properties{}.read(reader, node, target.infoDictionary);
    } else {
        reader.failFound(node, "none or a mapping", {none});
    }
}

JSON InfoDictionary::schema(const ScreenDescription& initial) const {
    return {{"anyOf", {{{"const", none}}, Properties{}.schema(initial.infoDictionary)}}};
}

MacDescription readMac(YAMLReader& reader, const YAMLNode& node) {
    MacDescription mac;
    if (!reader.attempt([&] { Mapping{}.read(reader, node, mac); })) return mac;
    requireDistinctEntries(reader, node, mac);
    // A recorded registry has the EDID of the Mac's own panel.
    if (mac.chip == Chip::intel && mac.registry == nullptr) addPanelEDIDs(node, mac.screens);
    return mac;
}

std::string macFileSchema() {
    JSON schema = {{"$schema", "http://json-schema.org/draft-07/schema#"},
                   {"title", "Mac file"},
                   {"description", "A Mac for the simulation to stand in for."}};
    schema.update(Mapping{}.schema(MacDescription()));
    schema["definitions"] = {{"property", Properties::definition()},
                             {"io_result", IOResult::definition()}};
    return schema.dump(2) + '\n';
}

}  // namespace simulated_mac
