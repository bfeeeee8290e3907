#pragma once

#include <algorithm>
#include <array>
#include <string_view>

namespace simulated_mac {

/// The platform calls that a Mac file can make fail. The others can't report a failure. "operator
/// new" stands for the plug-in's memory requests.
inline constexpr auto fallibleCalls = std::to_array<std::string_view>({
    "CFAllocatorAllocate",
    "CFDictionaryCreateMutable",
    "CFDictionaryGetValue",
    "CFNumberCreate",
    "CFStringCreateMutableCopy",
    "CFStringCreateWithBytes",
    "CFStringCreateWithSubstring",
    "CGDisplayIOServicePort",
    "CGDisplayIsBuiltin",
    "CGDisplayModelNumber",
    "CGDisplaySerialNumber",
    "CGDisplayVendorNumber",
    "CoreDisplay_DisplayCreateInfoDictionary",
    "IOAVServiceCopyEDID",
    "IOAVServiceCreateWithService",
    "IOAVServiceReadI2C",
    "IOAVServiceWriteI2C",
    "IODisplayCreateInfoDictionary",
    "IOFBCopyI2CInterfaceForBus",
    "IOFBGetI2CInterfaceCount",
    "IOI2CInterfaceClose",
    "IOI2CInterfaceOpen",
    "IOI2CSendRequest",
    "IOIteratorNext",
    "IOMasterPort",
    "IONotificationPortCreate",
    "IONotificationPortGetRunLoopSource",
    "IOObjectRelease",
    "IOObjectRetain",
    "IORegistryEntryCopyPath",
    "IORegistryEntryCreateCFProperties",
    "IORegistryEntryCreateCFProperty",
    "IORegistryEntryCreateIterator",
    "IORegistryEntryGetName",
    "IORegistryEntryGetParentEntry",
    "IORegistryEntrySearchCFProperty",
    "IORegistryGetRootEntry",
    "IOServiceAddMatchingNotification",
    "IOServiceGetMatchingService",
    "IOServiceGetMatchingServices",
    "IOServiceMatching",
    "IOServiceNameMatching",
    "NSScreen.screens",
    "NSTextField.setAttributedStringValue",
    "NSTextField.setStringValue",
    "NSView.addGestureRecognizer",
    "dispatch_queue_create",
    "dispatch_semaphore_create",
    "mach_port_deallocate",
    "operator new",
    "posix_spawn",
});

/// A name of `fallibleCalls`, which the compiler checks: a call that can fail but isn't on the list
/// doesn't compile.
struct FallibleCallName {
    // Implicit, so that a string literal names a call.
    consteval FallibleCallName(const char* name) : text(name) {
        if (std::find(fallibleCalls.begin(), fallibleCalls.end(), text) == fallibleCalls.end()) {
            throw "not on the list of calls that can fail";
        }
    }

    std::string_view text;
};

}  // namespace simulated_mac
