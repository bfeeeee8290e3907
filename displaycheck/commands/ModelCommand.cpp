#include "displaycheck/commands/ModelCommand.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/facts/ModelFacts.h"
#include "displaycheck/report/ModelText.h"
#include "displaycheck/report/Terminal.h"
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

std::string textBlock(const ModelFacts& facts, std::size_t columns) {
    constexpr std::size_t labelWidth = 24;
    const auto row = [&](std::string_view label, const std::string& text) {
        const std::size_t before = 2 + labelWidth;
        // The label stands in the place of the first line's blanks.
        return "  " + padded(label, labelWidth) + paragraph(text, columns, before).substr(before);
    };
    return printable(facts.name) + "\n" + row("supported model", modelListText(facts)) +
           row("special display chip", specialChipText(facts)) +
           row("bare model name", facts.regularName.empty() ? "(none)" : facts.regularName) +
           row("model year 25 or later", (facts.recent ? "yes: " : "no: ") + modelYearText(facts));
}

}  // namespace

int showModels(const std::vector<std::string>& names, bool json) {
    const Terminal terminal;
    const WhiteList list;
    const vorn::MyInstallerPane pane(nullptr);
    for (const std::string& name : names) {
        const ModelFacts facts = modelFacts(list, pane, name);
        if (json) {
            fmt::print("{}", jsonLine(facts));
        } else {
            terminal.print(textBlock(facts, terminal.columns));
        }
    }
    return done;
}

}  // namespace displaycheck
