#include "displaycheck/commands/ModelCommand.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/report/TerminalText.h"
#include "plugin/Extension/NSString+normalization.h"
#include "plugin/MyInstallerPane.h"
#include "plugin/WhiteList.h"

namespace displaycheck {

namespace {

using JSON = nlohmann::ordered_json;

struct Model {
    std::string name;
    bool supported = false;
    bool specialChip = false;
    std::string regularName;
    bool recent = false;
};

Model judge(const std::string& name) {
    const WhiteList list;
    const vorn::MyInstallerPane pane(nullptr);
    const std::string regular = regularMonitorName(name);
    return {name, list.availableDisplay(name), list.isRTKChipDisplay(name), regular,
            pane.isYear25orAbove(regular)};
}

std::string jsonLine(const Model& model) {
    const JSON object = {{"name", model.name},
                         {"supported", model.supported},
                         {"special_chip", model.specialChip},
                         {"regular_name", model.regularName},
                         {"year_25_or_above", model.recent}};
    return object.dump(-1, ' ', false, JSON::error_handler_t::replace) + "\n";
}

std::string textBlock(const Model& model) {
    const auto yesOrNo = [](bool yes) { return yes ? "yes" : "no"; };
    return fmt::format(
        "{}\n"
        "  supported model         {}\n"
        "  special display chip    {}\n"
        "  bare model name         {}\n"
        "  model year 25 or later  {}\n",
        printable(model.name), yesOrNo(model.supported), yesOrNo(model.specialChip),
        model.regularName.empty() ? "(none)" : printable(model.regularName), yesOrNo(model.recent));
}

}  // namespace

int showModels(const std::vector<std::string>& names, bool json) {
    for (const std::string& name : names) {
        const Model model = judge(name);
        fmt::print("{}", json ? jsonLine(model) : textBlock(model));
    }
    return done;
}

}  // namespace displaycheck
