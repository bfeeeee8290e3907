#include "simulated_mac/file/MacFileTables.h"

#include <fmt/format.h>

#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "simulated_mac/file/MacFileKeys.h"

namespace simulated_mac {
namespace {

std::string asCode(const std::string& text) {
    return '`' + text + '`';
}

/// Such as "`a`, `b` or `c`".
std::string asCode(std::vector<std::string> words) {
    for (std::string& word : words) word = asCode(word);
    return alternatives(words);
}

// A kind of value in a few words, for a variable like the one given; docs/mac-files.md explains
// those that stand for more.

std::string typeOf(const Text&, const std::string&) {
    return "text";
}
std::string typeOf(const LimitedText& kind, const std::string&) {
    return "text, " + kind.expected();
}
std::string typeOf(const Word& kind, const std::string&) {
    return kind.meaning;
}
std::string typeOf(const Boolean&, bool) {
    return "boolean";
}
template <class Target>
std::string typeOf(const Number& kind, Target) {
    if (kind.max) return fmt::format("number, {} to {}", kind.min.value_or(0), *kind.max);
    if (kind.min) return fmt::format("number, {} or more", *kind.min);
    return fmt::format("number, {} bits", std::numeric_limits<Target>::digits);
}
std::string typeOf(const IOResult&, std::int32_t) {
    return "I/O result";
}
std::string typeOf(const Seconds&, double) {
    return "seconds";
}
std::string typeOf(const HexBytes&, const Bytes&) {
    return "hex";
}
template <class Target>
std::string typeOf(const FileContents&, const Target&) {
    return "file";
}
template <class Enum>
std::string typeOf(const Choice<Enum>& kind, Enum) {
    return asCode(kind.words());
}
template <class Kind, class Target>
std::string typeOf(const NullOr<Kind>& kind, const Target& initial) {
    return typeOf(kind.kind, initial) + ", or `null`";
}
template <class Kind, class Target>
std::string typeOf(const ListOf<Kind>&, const std::vector<Target>&) {
    return "list";
}
template <class Enum>
std::string typeOf(const ListOf<Choice<Enum>>& kind, const std::vector<Enum>&) {
    return fmt::format("list of {}, {} at most", asCode(kind.kind.words()), kind.max);
}
template <class Kind, class Target>
std::string typeOf(const ByNumber<Kind>&, const Target&) {
    return "mapping";
}
template <class Kind, class Target>
std::string typeOf(const ByText<Kind>&, const Target&) {
    return "mapping";
}
template <class Kind, class Target>
std::string typeOf(const ByWord<Kind>&, const Target&) {
    return "mapping";
}
std::string typeOf(const Properties&, const PropertyMap&) {
    return "properties";
}
std::string typeOf(const Property&, const PropertyValue&) {
    return "property or `null`";
}
template <class Target>
std::string typeOf(const Mapping&, const Target&) {
    return "mapping";
}
template <class Structure>
std::string typeOf(const WordOrMapping<Structure>& kind, const Structure&) {
    return "mapping or " + asCode(kind.word);
}
std::string typeOf(const EDIDBytes&, const Bytes&) {
    return "EDID";
}
std::string typeOf(const RegistryRecord&, const RegistryRecord::Target&) {
    return "file name";
}
std::string typeOf(const EntryOfRecord&, const std::string&) {
    return "path or ID";
}
std::string typeOf(const ProxyEDID&, const ProxyDescription&) {
    return "EDID or `empty`";
}
template <class Structure>
std::string typeOf(const LaterSeconds<Structure>&, const Structure&) {
    return "seconds";
}
std::string typeOf(const ImageSize&, const EDIDFields&) {
    return "`[width, height]`, 8 bits each";
}
std::string typeOf(const EDIDListing&, const ScreenDescription&) {
    return "boolean, `empty` or `{at: seconds}`";
}
std::string typeOf(const DisplayState&, std::int64_t) {
    return "-1, 0, 1 or 3";
}
std::string typeOf(const TimeOfContinue&, const ContinueExpectation&) {
    return "seconds or `never`";
}
std::string typeOf(const TransactionTypes&, const BusDescription&) {
    return "number, 32 bits, or `null`";
}
std::string typeOf(const VCPAnswers&, const MonitorDescription&) {
    return "mapping or " + asCode(VCPAnswers::unknown);
}
std::string typeOf(const InfoDictionary&, const ScreenDescription&) {
    return "properties or `none`";
}

// A variable's initial value as a Mac file says it; empty where its absence is all that it says.

template <class Kind, class Target>
std::string defaultOf(const Kind&, const Target& initial) {
    if constexpr (std::is_arithmetic_v<Target> || std::is_same_v<Target, std::string>) {
        return fmt::format("{}", initial);
    }
    return "";
}
template <class Enum>
std::string defaultOf(const Choice<Enum>& kind, const Enum& initial) {
    return kind.nameOf(initial);
}
template <class Enum>
std::string defaultOf(const ListOf<Choice<Enum>>& kind, const std::vector<Enum>& initial) {
    std::vector<std::string> words;
    words.reserve(initial.size());
    for (const Enum value : initial) words.push_back(kind.kind.nameOf(value));
    return fmt::format("[{}]", fmt::join(words, ", "));
}
std::string defaultOf(const ImageSize&, const EDIDFields& initial) {
    return fmt::format("[{}, {}]", initial.widthCm, initial.heightCm);
}

/// Writes the table of a structure's keys.
class TableVisitor {
  public:
    template <class Target, class Kind>
    void operator()(const char* key, const std::optional<Target>& initial, const Kind& kind,
                    const char* description, Presence presence = Presence::optional) {
        addRow(key, typeOf(kind, Target()), initial ? defaultOf(kind, *initial) : "", description,
               presence);
    }
    template <class Target, class Kind>
    void operator()(const char* key, const Target& initial, const Kind& kind,
                    const char* description, Presence presence = Presence::optional) {
        addRow(key, typeOf(kind, initial), defaultOf(kind, initial), description, presence);
    }
    void exactlyOne(const std::string& what, const std::vector<std::string>& keys) {
        for (const std::string& key : keys) alternatives_.insert(key);
        rules_ += fmt::format("{}Exactly one of {} says {}.", rules_.empty() ? "\n" : " ",
                              asCode(keys), what);
    }
    void onlyWith(const std::string& key, const std::vector<std::string>& companions) {
        companions_[key] = " Only " + asCode(companions) + " may stand beside it.";
    }
    void onlyWith(const std::string& key, const std::string& word,
                  const std::vector<std::string>& companions) {
        companions_[key] =
            fmt::format(" Only {} may stand beside {}.", asCode(companions), asCode(word));
    }

    std::string result() const {
        return "| key | type | default | meaning |\n|---|---|---|---|\n" + rows_ + rules_ +
               (rules_.empty() ? "" : "\n");
    }

  private:
    void addRow(const std::string& key, const std::string& type, const std::string& value,
                const std::string& description, Presence presence) {
        const bool isRequired = presence == Presence::required;
        const bool hasDefault = !value.empty() && !isRequired && !alternatives_.contains(key);
        rows_ += fmt::format("| {} | {}{} |{} | {}{} |\n", asCode(key), type,
                             isRequired ? ", **required**" : "",
                             hasDefault ? ' ' + asCode(value) : "", description, companions_[key]);
    }

    std::string rows_;
    std::string rules_;
    std::set<std::string> alternatives_;
    std::map<std::string, std::string> companions_;
};

template <class Structure>
std::string tableOf() {
    Structure initial;
    TableVisitor visitor;
    fields(visitor, initial);
    return visitor.result();
}

std::map<std::string, std::string> tablesByStructure() {
    return {{"the Mac", tableOf<MacDescription>()},
            {"its graphics", tableOf<GraphicsDescription>()},
            {"a screen", tableOf<ScreenDescription>()},
            {"a monitor", tableOf<MonitorDescription>()},
            {"a VCP code", tableOf<VCPEntry>()},
            {"an answer", tableOf<DDCAnswer>()},
            {"an EDID", tableOf<EDIDForms>()},
            {"a framebuffer", tableOf<FramebufferDescription>()},
            {"a bus", tableOf<BusDescription>()},
            {"a display service", tableOf<DisplayServiceDescription>()},
            {"a proxy", tableOf<ProxyDescription>()},
            {"a USB device", tableOf<USBDeviceDescription>()},
            {"an event", tableOf<EventDescription>()},
            {"a use of a call", tableOf<CallUse>()},
            {"a tool", tableOf<ToolOverride>()},
            {"a fault", tableOf<FaultDescription>()},
            {"an expectation", tableOf<MacExpectation>()},
            {"an expected display", tableOf<DisplayExpectation>()}};
}

}  // namespace

std::string withKeyTables(const std::string& document) {
    constexpr std::string_view begin = "<!-- keys of ";
    constexpr std::string_view close = " -->";
    constexpr std::string_view end = "<!-- end -->";

    auto tables = tablesByStructure();
    std::string result;
    bool insideTable = false;
    std::istringstream lines(document);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(begin) && line.ends_with(close)) {
            if (insideTable) throw std::runtime_error(line + " comes before the end of another");
            const std::string structure =
                line.substr(begin.size(), line.size() - begin.size() - close.size());
            const auto table = tables.extract(structure);
            if (table.empty())
                throw std::runtime_error(line + " names no structure, or one for the second time");
            insideTable = true;
            result += line + "\n\n" + table.mapped() + '\n';
        } else if (line == end) {
            if (!insideTable) throw std::runtime_error(line + " ends nothing");
            insideTable = false;
        }
        if (!insideTable) result += line + '\n';
    }
    if (insideTable) throw std::runtime_error("the last table has no end");
    if (!tables.empty()) {
        throw std::runtime_error("there is no table of the keys of " + tables.begin()->first);
    }
    return result;
}

}  // namespace simulated_mac
