#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include "simulated_mac/machine/Mac.h"

namespace simulated_mac {

/// The display whose monitor an AV service of the Mac that is switched on reaches; nullptr for NULL
/// and for anything but an AV service.
const Display* displayBehind(CFTypeRef service);

}  // namespace simulated_mac
