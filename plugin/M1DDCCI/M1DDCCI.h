#pragma once

#include <cstdint>
#include <string>

#include "plugin/Platform/CFRef.h"
#include "plugin/Platform/Exported.h"
#include "plugin/Platform/IOAVService.h"

/// The inventory of display framebuffers, for diagnostics: dictionaries by the display's
/// alphanumeric serial number. Made by initM1AVServiceDic; NULL before.
EXPORTED CFMutableDictionaryRef matchedM1Device;

/// DDC/CI over a display's AV service, on Apple-silicon Macs. Every pause gives the monitor
/// time for the request before it: 60 ms each.
class M1DDCCI {
  public:
    /// Read modes; any other value reads the maximum.
    static constexpr std::uint32_t readCurrentValue = 0;
    static constexpr std::uint32_t readFourBytes = 2;

    /// Bytes read for a reply: a DDC/CI reply and one more.
    static constexpr std::uint32_t replySize = 12;

    /// Reads a VCP code (its low 8 bits count). 0: `result` holds the value that `readMode` asks
    /// for; 7: the reply failed its checks; -1: no service, or I2C failed. `result` is 65535 after
    /// a failed write and untouched after a failed read or a bad reply. `isForceRunDDCCI` only
    /// appears in the log.
    static std::int32_t readDDCCIWithAVService(IOAVServiceRef service, std::uint32_t VCPCmd,
                                               std::uint32_t readMode, bool isForceRunDDCCI,
                                               std::uint32_t* result);

    /// Sends a get of VCP code 0 three times and reads no reply: this resets monitors with a
    /// particular chip after a bad reply. 0, or -1 without a service or if I2C fails.
    static std::int32_t cleanDDCCIWithAVService(IOAVServiceRef service, bool isForceRunDDCCI);

    /// Logs the 12 bytes of a reply.
    static void printReplyBytes(const std::uint8_t* reply, std::uint8_t VCPCmd);

    /// Logs the 12 bytes of a reply and returns whether they answer a get of the code. The last
    /// byte is not checked.
    static bool checkChecksum(const std::uint8_t* reply, std::uint8_t VCPCmd);

    /// Rebuilds `matchedM1Device` from the registry and logs it.
    void initM1AVServiceDic() const;
    /// Adds one framebuffer to `matchedM1Device`; skips one whose display has no alphanumeric
    /// serial number.
    void setDisplayInfoWithService(io_service_t framebuffer) const;
    /// One property of a registry entry, as found there; empty when it is missing.
    vorn::CFRef<CFTypeRef> getIORegistryPropertyWithService(io_service_t service,
                                                            const std::string& fieldName) const;
};
