#include "plugin/WhiteList.h"

#include <algorithm>

#include "plugin/Platform/Text.h"
#include "plugin/Utilities/RunCommand.h"

using namespace vorn;

WhiteList* whiteList = nullptr;

WhiteList::WhiteList() {
    if (runCmd == nullptr) runCmd = new RunCommand;
}

bool WhiteList::isM1Mac() const {
    const auto output =
        runCmd->runCommand("system_profiler SPDisplaysDataType | grep \"Chipset Model\"");
    return lowercaseText(output.value_or("")).find("apple") != std::string::npos;
}

bool WhiteList::availableDisplay(const std::optional<std::string>& name) const {
    constexpr std::string_view brand = "VORN ";

    if (!name) return false;
    std::string model = uppercaseText(*name);
    const auto first = model.find(brand);
    if (first != std::string::npos) {
        const auto begin = first + brand.size();
        model = model.substr(begin, model.find(brand, begin) - begin);
    }
    const auto& supported = supportedDisplaysNeedsUpdate;
    return std::find(supported.begin(), supported.end(), model) != supported.end();
}

bool WhiteList::isRTKChipDisplay(const std::optional<std::string>& name) const {
    return name && std::find(rtkChipList.begin(), rtkChipList.end(), *name) != rtkChipList.end();
}
