#pragma once

#include <IOKit/IOKitLib.h>

#include "simulated_mac/machine/RunLoop.h"

/// A port on which notifications arrive.
struct IONotificationPort {
    simulated_mac::RunLoopSource source;
};
