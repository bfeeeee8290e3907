#pragma once

// Display dictionaries of framebuffers: the platform's documented declarations.

#include <IOKit/IOKitLib.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { kIODisplayOnlyPreferredName = 0x00000200 };

CFDictionaryRef IODisplayCreateInfoDictionary(io_service_t framebuffer, IOOptionBits options);

#ifdef __cplusplus
}
#endif
