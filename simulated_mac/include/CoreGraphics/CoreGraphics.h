#pragma once

// Core Graphics, as far as the plug-in calls it: the platform's documented declarations.

#include <IOKit/IOKitLib.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t CGDirectDisplayID;

boolean_t CGDisplayIsBuiltin(CGDirectDisplayID display);
uint32_t CGDisplayVendorNumber(CGDirectDisplayID display);
uint32_t CGDisplayModelNumber(CGDirectDisplayID display);
uint32_t CGDisplaySerialNumber(CGDirectDisplayID display);
io_service_t CGDisplayIOServicePort(CGDirectDisplayID display)
    __attribute__((deprecated("No longer supported")));

#ifdef __cplusplus
}
#endif
