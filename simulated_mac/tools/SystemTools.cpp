#include "simulated_mac/tools/SystemTools.h"

#include <fmt/format.h>

#include <algorithm>

#include "simulated_mac/description/HexText.h"
#include "simulated_mac/hardware/Display.h"
#include "simulated_mac/tools/DisplaysProfile.h"
#include "simulated_mac/tools/PropertyListText.h"
#include "simulated_mac/tools/RegistryPropertyList.h"
#include "simulated_mac/tools/RegistryText.h"

namespace simulated_mac {

namespace {

constexpr int usageError = 64;
constexpr int notFound = 127;

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
    std::size_t call = 0;
    {
        const std::lock_guard lock(mutex_);
        call = calls_[tool]++;
    }
    if (const ToolOverride* const instead = overrideOf(tool, call)) {
        if (instead->prints) output = {*instead->prints, 0};
        if (instead->status != 0) output.status = instead->status;
    }
    return output;
}

double SystemTools::secondsOf(const std::string& tool) const {
    const std::lock_guard lock(mutex_);
    const auto calls = calls_.find(tool);
    const ToolOverride* const next = overrideOf(tool, calls != calls_.end() ? calls->second : 0);
    return next != nullptr ? next->takes : 0;
}

const ToolOverride* SystemTools::overrideOf(const std::string& tool, std::size_t call) const {
    const auto overrides = description_.tools.find(tool);
    if (overrides == description_.tools.end() || overrides->second.empty()) return nullptr;
    return &overrides->second[std::min(call, overrides->second.size() - 1)];
}

ToolOutput SystemTools::printed(const std::string& tool, const Arguments& arguments) const {
    if (tool == "ioreg") return ioreg(arguments);
    if (tool == "system_profiler") return systemProfiler(arguments);
    if (tool == "afktool" && description_.chip == Chip::apple) return afktool(arguments);
    return {"", notFound};
}

ToolOutput SystemTools::ioreg(const Arguments& arguments) const {
    const auto query = readRegistryQuery(arguments);
    if (!query) return {"", usageError};
    return {query->propertyList ? registryPropertyList(registry_, *query)
                                : registryText(registry_, *query),
            0};
}

ToolOutput SystemTools::systemProfiler(const Arguments& arguments) const {
    constexpr auto displays = "SPDisplaysDataType";
    const auto is = [&](const Arguments& some) {
        return std::is_permutation(arguments.begin(), arguments.end(), some.begin(), some.end());
    };
    const std::string chipset = description_.graphics.chipset.value_or(
        description_.chip == Chip::apple ? "Apple M2 Pro" : "Intel UHD Graphics 630");
    if (is({displays})) return {displaysProfileText(chipset, screens_()), 0};
    const CFPointer chips = displaysProfile(chipset, screens_());
    if (is({displays, "-xml"})) return {xmlPropertyList(*displaysReport(chips)), 0};
    if (is({displays, "-json"})) {
        return {jsonOf(CFObject(CFObject::Dictionary{{displays, chips}})), 0};
    }
    return {"", usageError};
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
            "\"RegisterSetName\"=\"EDID Block 0\" | \"RegisterSetData\" = <{}> | "
            "\"RegisterSetSize\" = {}\n",
            lowerHexText(block), block.size());
    }
    return output;
}

}  // namespace simulated_mac
