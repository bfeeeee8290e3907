#include "simulated_mac/file/NearestWord.h"

#include <fmt/format.h>

#include <algorithm>

namespace simulated_mac {
namespace {

/// Without regard to case, '-' and '_'.
std::string looseSpelling(std::string_view word) {
    std::string loose;
    for (const char character : word) {
        if (character != '-' && character != '_') {
            const bool isUpper = character >= 'A' && character <= 'Z';
            loose += isUpper ? static_cast<char>(character | 0x20) : character;
        }
    }
    return loose;
}

}  // namespace

std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> cost(a.size() + 1,
                                               std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                cost[i][j] = i + j;
                continue;
            }
            const std::size_t change = a[i - 1] == b[j - 1] ? 0 : 1;
            cost[i][j] =
                std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + change});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
            }
        }
    }
    return cost[a.size()][b.size()];
}

std::optional<std::string> nearestWord(std::string_view word,
                                       const std::vector<std::string>& known) {
    constexpr std::size_t longestWord = 64;
    if (word.size() > longestWord) return std::nullopt;
    const std::string loose = looseSpelling(word);
    std::optional<std::string> nearest;
    std::size_t nearestDistance = std::max<std::size_t>(1, loose.size() / 3) + 1;
    for (const std::string& candidate : known) {
        const std::size_t distance = editDistance(loose, looseSpelling(candidate));
        if (distance < nearestDistance) {
            nearest = candidate;
            nearestDistance = distance;
        }
    }
    return nearest;
}

std::string suggestion(std::string_view word, const std::vector<std::string>& known) {
    const auto nearest = nearestWord(word, known);
    return nearest ? fmt::format(" (did you mean {}?)", *nearest) : "";
}

}  // namespace simulated_mac
