#pragma once

#include <IOKit/IOKitLib.h>

namespace simulated_mac {

/// What the platform answers to arguments that make no sense (kIOReturnBadArgument).
constexpr auto badArgument = static_cast<IOReturn>(0xE00002C2);

/// What it answers to a request of more bytes than it carries (kIOReturnOverrun).
constexpr auto overrun = static_cast<IOReturn>(0xE00002E8);

}  // namespace simulated_mac
