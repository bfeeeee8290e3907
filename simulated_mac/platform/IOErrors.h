#pragma once

#include <IOKit/IOKitLib.h>

namespace simulated_mac {

/// The platform's result for invalid arguments (kIOReturnBadArgument).
constexpr auto badArgument = static_cast<IOReturn>(0xE00002C2);

/// Its result for a request of more bytes than it can carry (kIOReturnOverrun).
constexpr auto overrun = static_cast<IOReturn>(0xE00002E8);

}  // namespace simulated_mac
