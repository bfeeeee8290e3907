#pragma once

#include <string>
#include <string_view>

namespace simulated_mac {

/// For the end of a message on a text in the place of a number: " (did you mean 0xF1?)" for "F1h"
/// or "xF1", the character that is no digit for "0xG1"; empty for a text that is like no number.
std::string numberSuggestion(std::string_view text);

}  // namespace simulated_mac
