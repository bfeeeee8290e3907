#include "displaycheck/host/PaneCalls.h"

#include <set>

namespace displaycheck {

namespace {

using CallNames = std::set<std::string_view>;

const CallNames& callsOnIntelMacs() {
    static const CallNames calls = {
        "CGDisplayIOServicePort",        "CGDisplayModelNumber",         "CGDisplayVendorNumber",
        "IODisplayCreateInfoDictionary", "IOFBCopyI2CInterfaceForBus",   "IOFBGetI2CInterfaceCount",
        "IOI2CInterfaceClose",           "IOI2CInterfaceOpen",           "IOI2CSendRequest",
        "IORegistryEntryCopyPath",       "IOServiceGetMatchingServices", "IOServiceNameMatching",
        "dispatch_semaphore_create",
    };
    return calls;
}

const CallNames& callsOnAppleSilicon() {
    static const CallNames calls = {
        "CoreDisplay_DisplayCreateInfoDictionary",
        "IOAVServiceCopyEDID",
        "IOAVServiceCreateWithService",
        "IOAVServiceReadI2C",
        "IOAVServiceWriteI2C",
        "IORegistryEntryCreateCFProperty",
        "IORegistryEntryCreateIterator",
        "IORegistryEntryGetName",
        "IORegistryGetRootEntry",
        "IOServiceGetMatchingService",
    };
    return calls;
}

/// Only the inventory for diagnostics makes them, or nothing at all.
const CallNames& otherCalls() {
    static const CallNames calls = {
        "CFDictionaryCreateMutable",
        "CFNumberCreate",
        "IOObjectRetain",
        "IORegistryEntrySearchCFProperty",
    };
    return calls;
}

/// The pane takes a Mac for what system_profiler calls its graphics.
bool mayPassForTheOtherKind(const simulated_mac::MacDescription& mac) {
    return mac.graphics.chipset || mac.tools.contains("system_profiler");
}

}  // namespace

bool paneMakesCall(const simulated_mac::MacDescription& mac, std::string_view call) {
    if (otherCalls().contains(call)) return false;
    if (mayPassForTheOtherKind(mac)) return true;
    const bool isIntel = mac.chip == simulated_mac::Chip::intel;
    return !(isIntel ? callsOnAppleSilicon() : callsOnIntelMacs()).contains(call);
}

}  // namespace displaycheck
