#include "displaycheck/report/ModelText.h"

#include <fmt/format.h>

#include <algorithm>

namespace displaycheck {

namespace {

/// Models of which so many are equally near are shown; the others are counted.
constexpr std::size_t shownModels = 3;

std::string modelNames(const std::vector<std::string>& models) {
    const std::size_t shown = std::min(models.size(), shownModels);
    const auto end = models.begin() + static_cast<std::ptrdiff_t>(shown);
    const std::string names = fmt::format("{}", fmt::join(models.begin(), end, ", "));
    if (shown < models.size()) return fmt::format("{} or {} others", names, models.size() - shown);
    const auto last = names.rfind(", ");
    return last == std::string::npos ? names : std::string(names).replace(last, 1, " or");
}

}  // namespace

std::string modelListText(const ModelFacts& facts) {
    if (facts.listed) return "yes: listed as " + facts.compared.value_or(facts.regularName);
    if (facts.nearlyListed) return "no: " + nearlyListedText(*facts.nearlyListed);
    return fmt::format("no: \"{}\" is not listed", facts.compared.value_or(facts.name));
}

std::string specialChipText(const ModelFacts& facts) {
    if (facts.specialChip) return "yes";
    if (facts.nearlySpecialChip) return "no: " + nearlySpecialChipText(*facts.nearlySpecialChip);
    return "no";
}

std::string modelYearText(const ModelFacts& facts) {
    std::string text =
        facts.yearDigits
            ? fmt::format("{} in \"{}\"", *facts.yearDigits, facts.regularName)
            : fmt::format("\"{}\" has no digits that count as a year", facts.regularName);
    if (facts.otherwiseAlone) {
        text += fmt::format("; \"{}\" alone would {}be recent", *facts.otherwiseAlone,
                            facts.recent ? "not " : "");
    }
    return text;
}

std::string nearlyListedText(const NearMiss& near) {
    if (near.differences == 0) {
        return fmt::format("nearly listed as {}; {}", modelNames(near.models), near.obstacle);
    }
    return fmt::format("not listed; nearest is {}, {} {}", modelNames(near.models),
                       near.differences, near.differences == 1 ? "change away" : "changes away");
}

std::string nearlySpecialChipText(const NearMiss& near) {
    return fmt::format("{} has it, but {}", modelNames(near.models), near.obstacle);
}

}  // namespace displaycheck
