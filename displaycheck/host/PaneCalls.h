#pragma once

#include <string_view>

#include "simulated_mac/description/MacDescription.h"

namespace displaycheck {

/// Whether the pane can make this call on such a Mac, of those that a Mac file can make fail.
bool paneMakesCall(const simulated_mac::MacDescription& mac, std::string_view call);

}  // namespace displaycheck
