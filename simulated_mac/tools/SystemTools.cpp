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

constexpr int success = 0;
constexpr int usageError = 64;
constexpr int notFound = 127;

}  // namespace

SystemTools::SystemTools(const MacDescription& description, const Registry& registry,
                         Displays screens, Displays listed)
    : description_(description),
      registry_(registry),
      screens_(std::move(screens)),
      listed_(std::move(listed)) {}

int SystemTools::run(const std::vector<std::string>& commandLine, const Print& print) {
    const std::string& tool = commandLine.front();
    std::size_t call = 0;
    {
        const std::lock_guard lock(mutex_);
        call = calls_[tool]++;
    }
    const ToolOverride* const instead = overrideOf(tool, call);
    int status = 0;
    if (instead != nullptr && instead->prints) {
        print(*instead->prints);
    } else {
        status = runReal(tool, Arguments(commandLine.begin() + 1, commandLine.end()), print);
    }
    return instead != nullptr && instead->status != 0 ? instead->status : status;
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

int SystemTools::runReal(const std::string& tool, const Arguments& arguments,
                         const Print& print) const {
    if (tool == "ioreg") return ioreg(arguments, print);
    if (tool == "system_profiler") return systemProfiler(arguments, print);
    if (tool == "afktool" && description_.chip == Chip::apple) return afktool(arguments, print);
    return notFound;
}

int SystemTools::ioreg(const Arguments& arguments, const Print& print) const {
    const auto query = readRegistryQuery(arguments);
    if (!query) return usageError;
    if (query->propertyList) {
        print(registryPropertyList(registry_, *query));
    } else {
        printRegistry(registry_, *query, print);
    }
    return success;
}

int SystemTools::systemProfiler(const Arguments& arguments, const Print& print) const {
    constexpr auto displays = "SPDisplaysDataType";
    const auto is = [&](const Arguments& some) {
        return std::is_permutation(arguments.begin(), arguments.end(), some.begin(), some.end());
    };
    const std::string chipset = description_.graphics.chipset.value_or(
        description_.chip == Chip::apple ? "Apple M2 Pro" : "Intel UHD Graphics 630");
    if (is({displays})) {
        print(displaysProfileText(chipset, screens_()));
    } else if (is({displays, "-xml"})) {
        print(xmlPropertyList(*displaysReport(displaysProfile(chipset, screens_()))));
    } else if (is({displays, "-json"})) {
        print(jsonOf(
            CFObject(CFObject::Dictionary{{displays, displaysProfile(chipset, screens_())}})));
    } else {
        return usageError;
    }
    return success;
}

/// The firmware's register sets: one line for the first block of each EDID, its fields between
/// bars.
int SystemTools::afktool(const Arguments& arguments, const Print& print) const {
    if (arguments != Arguments{"-r", "all", "registry"}) return usageError;
    constexpr std::size_t blockSize = 128;
    for (const Display* display : listed_()) {
        Bytes block = listedEDID(display->screen);
        block.resize(std::min(block.size(), blockSize));
        print(
            fmt::format("\"RegisterSetName\"=\"EDID Block 0\" | \"RegisterSetData\" = <{}> | "
                        "\"RegisterSetSize\" = {}\n",
                        lowerHexText(block), block.size()));
    }
    return success;
}

}  // namespace simulated_mac
