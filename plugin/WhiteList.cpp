#include "plugin/WhiteList.h"

#include <algorithm>

#include "plugin/Platform/Text.h"
#include "plugin/Utilities/RunCommand.h"

using namespace vorn;

WhiteList* whiteList = nullptr;

namespace {

/// The names of a list in the order that a binary search needs.
template <class Names>
constexpr Names sorted(Names names) {
    std::sort(names.begin(), names.end());
    return names;
}

constexpr auto supported = sorted(WhiteList::supportedDisplaysNeedsUpdate);
constexpr auto withSpecialChip = sorted(WhiteList::rtkChipList);

}  // namespace

WhiteList::WhiteList() {
    if (runCmd == nullptr) runCmd = new RunCommand;
}

bool WhiteList::isM1Mac() const {
    const auto output =
        runCmd->runCommand("system_profiler SPDisplaysDataType | grep \"Chipset Model\"");
    return lowercaseText(output.value_or("")).find("apple") != std::string::npos;
}

bool WhiteList::availableDisplay(const std::optional<std::string>& name) const {
    return name && isListed(uppercaseText(*name));
}

bool WhiteList::isListed(std::string_view upperCaseName) const {
    constexpr std::string_view brand = "VORN ";

    std::string_view model = upperCaseName;
    if (const auto first = model.find(brand); first != model.npos) {
        model.remove_prefix(first + brand.size());
        model = model.substr(0, model.find(brand));
    }
    return std::binary_search(supported.begin(), supported.end(), model);
}

bool WhiteList::isRTKChipDisplay(const std::optional<std::string>& name) const {
    return name && std::binary_search(withSpecialChip.begin(), withSpecialChip.end(),
                                      std::string_view(*name));
}
