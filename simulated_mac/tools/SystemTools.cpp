#include "simulated_mac/tools/SystemTools.h"

#include <fmt/format.h>

#include <algorithm>

#include "simulated_mac/hardware/CFValue.h"
#include "simulated_mac/hardware/Display.h"

namespace simulated_mac {

namespace {

constexpr int usageError = 64;
constexpr int notFound = 127;

std::string printed(const CFObject& object);

/// Texts and keys as the tool quotes them.
std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

struct Printer {
    std::string operator()(bool value) const { return value ? "Yes" : "No"; }
    std::string operator()(std::int64_t value) const {
        // The registry's numbers are unsigned.
        return std::to_string(static_cast<std::uint64_t>(value));
    }
    std::string operator()(double value) const { return fmt::format("{}", value); }
    std::string operator()(const CFObject::String& value) const { return quoted(utf8Of(value)); }
    std::string operator()(const Bytes& value) const {
        return fmt::format("<{:02x}>", fmt::join(value, ""));
    }
    std::string operator()(const CFObject::Array& value) const {
        std::vector<std::string> elements;
        for (const auto& element : value) elements.push_back(printed(*element));
        return fmt::format("({})", fmt::join(elements, ","));
    }
    std::string operator()(const CFObject::Dictionary& value) const {
        std::vector<std::string> elements;
        for (const auto& [key, element] : value) {
            elements.push_back(quoted(key) + "=" + printed(*element));
        }
        return fmt::format("{{{}}}", fmt::join(elements, ","));
    }
    std::string operator()(const CFObject::Opaque& value) const { return value.type; }
};

std::string printed(const CFObject& object) {
    return std::visit(Printer{}, object.value);
}

/// One entry and all below it. `rails` leads the lines: a bar for every ancestor that has
/// more children to come.
void printTree(const RegistryEntry& entry, const std::string& rails, bool isLast,
               bool withProperties, std::string& text) {
    const std::string location = entry.location.empty() ? "" : "@" + entry.location;
    text += fmt::format(
        "{}+-o {}{}  <class {}, id {:#x}, registered, matched, active, busy 0 "
        "(0 ms), retain 8>\n",
        rails, entry.name, location, entry.classes.front(), entry.id);
    const std::string below = rails + (isLast ? "  " : "| ");
    if (withProperties) {
        const std::string lead = below + (entry.children.empty() ? "  " : "| ");
        text += lead + "{\n";
        for (const auto& [key, value] : entry.properties) {
            text += fmt::format("{}  {} = {}\n", lead, quoted(key), printed(*value));
        }
        text += lead + "}\n" + lead + "\n";
    }
    for (const auto& child : entry.children) {
        printTree(*child, below, child == entry.children.back(), withProperties, text);
    }
}

/// A name as a tool prints it for people, whatever the monitor put into its EDID.
std::string withoutControls(std::string name) {
    std::erase_if(name, [](unsigned char c) { return c < ' ' || c == 0x7F; });
    return name;
}

}  // namespace

SystemTools::SystemTools(const MacDescription& description, const Registry& registry,
                         Displays screens, Displays listed)
    : description_(description),
      registry_(registry),
      screens_(std::move(screens)),
      listed_(std::move(listed)) {}

ToolOutput SystemTools::run(const std::vector<std::string>& commandLine) {
    const std::string& tool = commandLine.front();
    ToolOutput output = printed(tool, Arguments(commandLine.begin() + 1, commandLine.end()));
    const std::size_t call = calls_[tool]++;
    const auto overrides = description_.tools.find(tool);
    if (overrides != description_.tools.end() && !overrides->second.empty()) {
        const auto& list = overrides->second;
        const ToolOverride& instead = list[std::min(call, list.size() - 1)];
        if (instead.prints) output = {*instead.prints, 0};
        if (instead.status != 0) output.status = instead.status;
    }
    return output;
}

ToolOutput SystemTools::printed(const std::string& tool, const Arguments& arguments) const {
    if (tool == "ioreg") return ioreg(arguments);
    if (tool == "system_profiler") return systemProfiler(arguments);
    if (tool == "afktool" && description_.chip == Chip::apple) return afktool(arguments);
    return {"", notFound};
}

ToolOutput SystemTools::ioreg(const Arguments& arguments) const {
    const bool list = arguments == Arguments{"-l"};
    if (!list && !arguments.empty()) return {"", usageError};
    ToolOutput output;
    registry_.inspect([&] { printTree(*registry_.root(), "", true, list, output.text); });
    return output;
}

ToolOutput SystemTools::systemProfiler(const Arguments& arguments) const {
    if (arguments != Arguments{"SPDisplaysDataType"}) return {"", usageError};
    const std::string chipset = description_.graphics.chipset.value_or(
        description_.chip == Chip::apple ? "Apple M2 Pro" : "Intel UHD Graphics 630");
    std::string text = fmt::format(
        "Graphics/Displays:\n\n    {0}:\n\n      Chipset Model: {0}\n      Type: GPU\n"
        "      Bus: Built-In\n      Displays:\n",
        chipset);
    for (const Display* display : screens_()) {
        text += fmt::format("        {}:\n          Online: Yes\n          Connection Type: {}\n",
                            withoutControls(display->localizedName),
                            display->screen.builtIn ? "Internal" : "DisplayPort");
    }
    return {text + "\n", 0};
}

/// The firmware's register sets: one line for the first block of each EDID, its fields between
/// bars.
ToolOutput SystemTools::afktool(const Arguments& arguments) const {
    if (arguments != Arguments{"-r", "all", "registry"}) return {"", usageError};
    constexpr std::size_t blockSize = 128;
    ToolOutput output;
    for (const Display* display : listed_()) {
        Bytes block = listedEDID(display->screen);
        block.resize(std::min(block.size(), blockSize));
        output.text += fmt::format(
            "\"RegisterSetName\"=\"EDID Block 0\" | \"RegisterSetData\" = <{:02x}> | "
            "\"RegisterSetSize\" = {}\n",
            fmt::join(block, ""), block.size());
    }
    return output;
}

}  // namespace simulated_mac
