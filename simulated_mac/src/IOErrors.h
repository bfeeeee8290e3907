#pragma once

#include <IOKit/IOKitLib.h>

namespace simulated_mac {

/// What the platform answers to arguments that make no sense (kIOReturnBadArgument).
constexpr auto badArgument = static_cast<IOReturn>(0xE00002C2);

}  // namespace simulated_mac
