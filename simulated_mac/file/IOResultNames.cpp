#include "simulated_mac/file/IOResultNames.h"

namespace simulated_mac {
namespace {

std::vector<IOResultName> makeNames() {
    // I/O Kit's common codes, from 0xE00002BC on; those that are empty have no name.
    constexpr std::uint32_t firstCode = 0xE00002BC;
    constexpr const char* names[] = {
        "Error",
        "NoMemory",
        "NoResources",
        "IPCError",
        "NoDevice",
        "NotPrivileged",
        "BadArgument",
        "LockedRead",
        "LockedWrite",
        "ExclusiveAccess",
        "BadMessageID",
        "Unsupported",
        "VMError",
        "InternalError",
        "IOError",
        "",
        "CannotLock",
        "NotOpen",
        "NotReadable",
        "NotWritable",
        "NotAligned",
        "BadMedia",
        "StillOpen",
        "RLDError",
        "DMAError",
        "Busy",
        "Timeout",
        "Offline",
        "NotReady",
        "NotAttached",
        "NoChannels",
        "NoSpace",
        "",
        "PortExists",
        "CannotWire",
        "NoInterrupt",
        "NoFrames",
        "MessageTooLarge",
        "NotPermitted",
        "NoPower",
        "NoMedia",
        "UnformattedMedia",
        "UnsupportedMode",
        "Underrun",
        "Overrun",
        "DeviceError",
        "NoCompletion",
        "Aborted",
        "NoBandwidth",
        "NotResponding",
        "IsoTooOld",
        "IsoTooNew",
        "NotFound",
    };
    std::vector<IOResultName> result = {{"kIOReturnSuccess", 0}, {"kIOReturnInvalid", 0xE0000001}};
    std::uint32_t code = firstCode;
    for (const char* const name : names) {
        if (*name != '\0') result.push_back({std::string("kIOReturn") + name, code});
        ++code;
    }
    return result;
}

}  // namespace

const std::vector<IOResultName>& ioResultNames() {
    static const std::vector<IOResultName> names = makeNames();
    return names;
}

}  // namespace simulated_mac
