#include "displaycheck/facts/ModelFacts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>

#include "plugin/Extension/NSString+normalization.h"
#include "plugin/Platform/Text.h"
#include "simulated_mac/file/NearestWord.h"

namespace displaycheck {

namespace {

using Matches = bool (WhiteList::*)(const std::optional<std::string>& name) const;

constexpr std::string_view brand = "VORN";
constexpr std::string_view brandInFront = "VORN ";

/// Above this, the search for the compared part would ask too often.
constexpr std::size_t longestName = 200;

/// Model names have at least six characters: with more differences, nearly every name is near.
constexpr std::size_t mostDifferences = 2;

bool isWordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Keeps positions, as it maps ASCII alone: models have no other letters.
std::string capitals(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

/// A model in a name, between the text in front of it and that behind it.
struct ModelInName {
    std::string before;
    std::string written;
    std::string model;
    std::string after;
};

bool standsAlone(std::string_view name, std::size_t at, std::size_t size) {
    const std::string_view before = name.substr(0, at);
    const std::string_view after = name.substr(at + size);
    return (before.empty() || !isWordCharacter(before.back()) || before.ends_with(brand)) &&
           (after.empty() || !isWordCharacter(after.front()) || after.starts_with(brand));
}

/// The first of these models that stands in a name as a word of its own, or with the brand beside
/// it.
template <class Models>
std::optional<ModelInName> findModel(const std::string& name, const Models& models) {
    const std::string upper = capitals(name);
    for (const std::string_view model : models) {
        for (auto at = upper.find(model); at != std::string::npos; at = upper.find(model, at + 1)) {
            if (!standsAlone(upper, at, model.size())) continue;
            return ModelInName{name.substr(0, at), name.substr(at, model.size()),
                               std::string(model), name.substr(at + model.size())};
        }
    }
    return std::nullopt;
}

/// " (1)", " (2)" ...
bool isTwinSuffix(std::string_view text) {
    if (!text.starts_with(" (") || !text.ends_with(")")) return false;
    const auto number = text.substr(2, text.size() - 3);
    return !number.empty() && std::all_of(number.begin(), number.end(), isDigit);
}

/// What around a model, or in how it is written, keeps the name from matching as the model's own
/// name does.
template <class Models>
std::optional<NearMiss> nearMissAround(const std::string& name, const Models& models,
                                       const WhiteList& list, Matches matches) {
    const auto found = findModel(name, models);
    if (!found) return std::nullopt;
    const auto match = [&](const std::string& changed) { return (list.*matches)(changed); };

    NearMiss near{{found->model}, 0, "", false};
    std::vector<std::string> obstacles;
    if (!match(found->before + found->model)) {
        const bool wrongBrand = capitals(found->before).find(brand) != std::string::npos &&
                                match(std::string(brandInFront) + found->model);
        obstacles.push_back(fmt::format(
            "the \"{}\" in front of it{}", found->before,
            wrongBrand ? fmt::format(", where \"{}\" is expected,", brandInFront) : ""));
    }
    if (!match(found->written)) obstacles.emplace_back("its lower case");
    if (!match(found->model + found->after)) {
        near.twinSuffix = isTwinSuffix(found->after);
        obstacles.push_back(fmt::format("the trailing \"{}\"", found->after));
    }
    if (obstacles.empty()) obstacles.emplace_back("the text around it");
    near.obstacle = fmt::format("{} {} the match", fmt::join(obstacles, " and "),
                                obstacles.size() == 1 ? "prevents" : "prevent");
    return near;
}

std::vector<std::string> wordsOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

/// The listed models whose names are spelt nearly as one of these words.
std::optional<NearMiss> nearMissInSpelling(const std::vector<std::string>& words) {
    std::vector<std::string> nearest;
    std::size_t fewest = mostDifferences;
    for (const std::string_view model : WhiteList::supportedDisplaysNeedsUpdate) {
        std::size_t count = mostDifferences + 1;
        for (const std::string& word : words) {
            count = std::min(count, simulated_mac::editDistance(word, model));
        }
        if (count > fewest) continue;
        if (count < fewest) nearest.clear();
        fewest = count;
        nearest.emplace_back(model);
    }
    if (nearest.empty()) return std::nullopt;
    return NearMiss{std::move(nearest), fewest, "", false};
}

/// What stands where a listed model makes the name listed, and any other text does not: that is the
/// part which the pane compares.
std::optional<std::string> comparedPart(const WhiteList& list, const std::string& name) {
    if (name.size() > longestName) return std::nullopt;
    const std::string upper = vorn::uppercaseText(name);
    // The longest one can't be made of another one and text beside it.
    const auto& models = WhiteList::supportedDisplaysNeedsUpdate;
    const std::string model(*std::max_element(
        models.begin(), models.end(),
        [](std::string_view one, std::string_view other) { return one.size() < other.size(); }));
    const auto decidesBehind = [&](const std::string& before) {
        return list.availableDisplay(before + model) && !list.availableDisplay(before + "?");
    };
    std::size_t begin = upper.size();
    while (begin > 0 && !decidesBehind(upper.substr(0, begin))) --begin;
    const std::string before = upper.substr(0, begin);
    std::size_t end = begin;
    while (end < upper.size() && !list.availableDisplay(before + model + upper.substr(end))) ++end;
    return upper.substr(begin, end - begin);
}

/// Two digits are the year if the answer hangs on them.
std::optional<std::string> yearDigits(const vorn::MyInstallerPane& pane, const std::string& name) {
    if (name.size() > longestName) return std::nullopt;
    const auto isRecentWith = [&](std::size_t at, const char* year) {
        return pane.isYear25orAbove(std::string(name).replace(at, 2, year));
    };
    for (std::size_t at = 0; at + 1 < name.size(); ++at) {
        if (!isDigit(name[at]) || !isDigit(name[at + 1])) continue;
        if (isRecentWith(at, "25") && !isRecentWith(at, "24")) return name.substr(at, 2);
    }
    return std::nullopt;
}

}  // namespace

ModelFacts modelFacts(const WhiteList& list, const vorn::MyInstallerPane& pane,
                      const std::string& name) {
    const auto& listed = WhiteList::supportedDisplaysNeedsUpdate;
    const auto& special = WhiteList::rtkChipList;
    ModelFacts facts;
    facts.name = name;
    facts.regularName = regularMonitorName(name);
    std::vector<std::string> words;
    if (name.size() <= longestName) words = wordsOf(facts.regularName);

    facts.listed = list.availableDisplay(name);
    facts.compared = comparedPart(list, name);
    if (!facts.listed) {
        facts.nearlyListed = nearMissAround(name, listed, list, &WhiteList::availableDisplay);
        if (!facts.nearlyListed) facts.nearlyListed = nearMissInSpelling(words);
    }

    facts.specialChip = list.isRTKChipDisplay(name);
    if (!facts.specialChip) {
        facts.nearlySpecialChip = nearMissAround(name, special, list, &WhiteList::isRTKChipDisplay);
    }

    facts.recent = pane.isYear25orAbove(facts.regularName);
    facts.yearDigits = yearDigits(pane, facts.regularName);
    const auto isAnsweredOtherwise = [&](const std::string& word) {
        return yearDigits(pane, word) && pane.isYear25orAbove(word) != facts.recent;
    };
    const auto alone = std::find_if(words.begin(), words.end(), isAnsweredOtherwise);
    if (alone != words.end()) facts.otherwiseAlone = *alone;
    return facts;
}

}  // namespace displaycheck
