#include "SystemTools.h"

#include <fmt/format.h>

#include <algorithm>

#include "CFObjects.h"
#include "Mac.h"

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

/// One entry and what stands below it. `rails` leads the lines: a bar for every ancestor that has
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

ToolOutput ioreg(const Mac& mac, const std::vector<std::string>& arguments) {
    const bool list = arguments == std::vector<std::string>{"-l"};
    if (!list && !arguments.empty()) return {"", usageError};
    ToolOutput output;
    mac.registry.inspect([&] { printTree(*mac.registry.root(), "", true, list, output.text); });
    return output;
}

/// A name as a tool prints it for people, whatever the monitor put into its EDID.
std::string withoutControls(std::string name) {
    std::erase_if(name, [](unsigned char c) { return c < ' ' || c == 0x7F; });
    return name;
}

ToolOutput systemProfiler(const Mac& mac, const std::vector<std::string>& arguments) {
    if (arguments != std::vector<std::string>{"SPDisplaysDataType"}) return {"", usageError};
    const std::string chipset = mac.description.graphics.chipset.value_or(
        mac.description.chip == Chip::apple ? "Apple M2 Pro" : "Intel UHD Graphics 630");
    std::string text = fmt::format(
        "Graphics/Displays:\n\n    {0}:\n\n      Chipset Model: {0}\n      Type: GPU\n"
        "      Bus: Built-In\n      Displays:\n",
        chipset);
    for (const Display* display : mac.screens()) {
        text += fmt::format("        {}:\n          Online: Yes\n          Connection Type: {}\n",
                            withoutControls(display->localizedName),
                            display->screen.builtIn ? "Internal" : "DisplayPort");
    }
    return {text + "\n", 0};
}

/// The firmware's register sets: one line for the first block of each EDID, its fields between
/// bars.
ToolOutput afktool(const Mac& mac, const std::vector<std::string>& arguments) {
    if (arguments != std::vector<std::string>{"-r", "all", "registry"}) return {"", usageError};
    constexpr std::size_t blockSize = 128;
    ToolOutput output;
    for (const Display* display : mac.displaysWithListedEDID()) {
        Bytes block = display->screen.monitor.edid;
        block.resize(std::min(block.size(), blockSize));
        output.text += fmt::format(
            "\"RegisterSetName\"=\"EDID Block 0\" | \"RegisterSetData\" = <{:02x}> | "
            "\"RegisterSetSize\" = {}\n",
            fmt::join(block, ""), block.size());
    }
    return output;
}

}  // namespace

ToolOutput runSystemTool(const Mac& mac, const std::string& tool,
                         const std::vector<std::string>& arguments) {
    if (tool == "ioreg") return ioreg(mac, arguments);
    if (tool == "system_profiler") return systemProfiler(mac, arguments);
    if (tool == "afktool" && mac.description.chip == Chip::apple) return afktool(mac, arguments);
    return {"", notFound};
}

}  // namespace simulated_mac
