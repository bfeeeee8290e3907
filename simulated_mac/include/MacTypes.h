#pragma once

// The basic types of the frameworks, as far as the plug-in needs them: the platform's documented
// declarations.

#include <stdint.h>

typedef uint8_t UInt8;
typedef uint32_t UInt32;
typedef uint16_t UniChar;
typedef unsigned char Boolean;

typedef struct UnsignedWide {
    UInt32 lo;
    UInt32 hi;
} UnsignedWide;
typedef UnsignedWide AbsoluteTime;
