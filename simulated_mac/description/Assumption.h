#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "simulated_mac/description/MacDescription.h"

/// Monitors of which nobody knows whether they answer over DDC/CI. A Mac runs only once it is
/// assumed of all of them.
namespace simulated_mac {

enum class Assumption {
    answers,  ///< every reply is good, from the first one on
    silent,   ///< nothing ever comes back
};

/// "answers" or "silent".
std::string_view nameOf(Assumption assumption);
/// Nothing for a text that is neither.
std::optional<Assumption> assumptionNamed(std::string_view name);

/// How many monitors of the Mac are unknown.
std::size_t countUnknownMonitors(const MacDescription& mac);

/// The Mac with each unknown monitor as assumed; one that answers does so from this table. What is
/// expected of the Mac in that case is expected of it.
MacDescription assume(MacDescription mac, Assumption assumption, const VCPTable& answers);

}  // namespace simulated_mac
