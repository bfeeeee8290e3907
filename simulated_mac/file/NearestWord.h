#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace simulated_mac {

/// Number of letters to add, drop, change or swap with a neighbour to turn one word into the other.
std::size_t editDistance(std::string_view a, std::string_view b);

/// The known word that a mistyped one is closest to, without regard to case, '-' and '_'; the first
/// of several. Nothing if none is close.
std::optional<std::string> nearestWord(std::string_view word,
                                       const std::vector<std::string>& known);

/// The nearest word for the end of a message, " (did you mean WORD?)"; empty without one.
std::string suggestion(std::string_view word, const std::vector<std::string>& known);

}  // namespace simulated_mac
