#include "displaycheck/commands/ModelCommand.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/facts/ModelFacts.h"
#include "displaycheck/report/ModelText.h"
#include "displaycheck/report/TerminalText.h"
#include "plugin/MyInstallerPane.h"
#include "plugin/WhiteList.h"

namespace displaycheck {

namespace {

using JSON = nlohmann::ordered_json;

JSON nearMissObject(const char* of, const NearMiss& near, const std::string& text) {
    return {{"of", of},
            {"models", near.models},
            {"differences", near.differences},
            {"twin_suffix", near.twinSuffix},
            {"text", text}};
}

JSON nearMisses(const ModelFacts& facts) {
    JSON all = JSON::array();
    if (facts.nearlyListed) {
        all.push_back(nearMissObject("supported", *facts.nearlyListed,
                                     nearlyListedText(*facts.nearlyListed)));
    }
    if (facts.nearlySpecialChip) {
        all.push_back(nearMissObject("special_chip", *facts.nearlySpecialChip,
                                     nearlySpecialChipText(*facts.nearlySpecialChip)));
    }
    return all;
}

std::string jsonLine(const ModelFacts& facts) {
    const auto orNull = [](const std::optional<std::string>& text) {
        return text ? JSON(*text) : JSON();
    };
    const JSON object = {{"name", facts.name},
                         {"supported", facts.listed},
                         {"special_chip", facts.specialChip},
                         {"regular_name", facts.regularName},
                         {"year_25_or_above", facts.recent},
                         {"compared", orNull(facts.compared)},
                         {"year_digits", orNull(facts.yearDigits)},
                         {"otherwise_alone", orNull(facts.otherwiseAlone)},
                         {"near_misses", nearMisses(facts)}};
    return object.dump(-1, ' ', false, JSON::error_handler_t::replace) + "\n";
}

std::string textBlock(const ModelFacts& facts) {
    return fmt::format(
        "{}\n"
        "  supported model         {}\n"
        "  special display chip    {}\n"
        "  bare model name         {}\n"
        "  model year 25 or later  {}: {}\n",
        printable(facts.name), printable(modelListText(facts)), printable(specialChipText(facts)),
        facts.regularName.empty() ? "(none)" : printable(facts.regularName),
        facts.recent ? "yes" : "no", printable(modelYearText(facts)));
}

}  // namespace

int showModels(const std::vector<std::string>& names, bool json) {
    const WhiteList list;
    const vorn::MyInstallerPane pane(nullptr);
    for (const std::string& name : names) {
        const ModelFacts facts = modelFacts(list, pane, name);
        fmt::print("{}", json ? jsonLine(facts) : textBlock(facts));
    }
    return done;
}

}  // namespace displaycheck
