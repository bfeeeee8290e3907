#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <cstdint>

// The AV service of a display port: a private interface of the IOKit framework, on macOS 11 and
// later with Apple silicon. Imported weakly, so that the plug-in loads where it is missing.

typedef CFTypeRef IOAVServiceRef;

extern "C" {
/// A service that the caller owns; NULL on failure.
IOAVServiceRef IOAVServiceCreateWithService(CFAllocatorRef allocator, io_service_t service)
    __attribute__((weak));
/// The monitor's EDID, which the caller owns.
IOReturn IOAVServiceCopyEDID(IOAVServiceRef service, CFDataRef* edid) __attribute__((weak));
IOReturn IOAVServiceReadI2C(IOAVServiceRef service, uint32_t chipAddress, uint32_t offset,
                            void* outputBuffer, uint32_t outputBufferSize) __attribute__((weak));
IOReturn IOAVServiceWriteI2C(IOAVServiceRef service, uint32_t chipAddress, uint32_t dataAddress,
                             void* inputBuffer, uint32_t inputBufferSize) __attribute__((weak));
}
