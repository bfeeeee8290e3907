#pragma once

#include <cstdint>
#include <string>

#include "plugin/Platform/CFRef.h"
#include "plugin/Platform/Exported.h"
#include "plugin/Platform/IOAVService.h"

/// The inventory of display framebuffers, for diagnostics: dictionaries by the display's
/// alphanumeric serial number. Made by initM1AVServiceDic; NULL before.
EXPORTED CFMutableDictionaryRef matchedM1Device;

/// DDC/CI over a display's AV service, as Apple-silicon Macs have it. Every pause gives the monitor
/// time for the request before it: 60 ms each.
class M1DDCCI {
  public:
    /// Read modes; any other value reads the maximum.
    static constexpr std::uint32_t readCurrentValue = 0;
    static constexpr std::uint32_t readFourBytes = 2;

    /// Bytes of a reply: those of a DDC/CI reply and one more.
    static constexpr std::uint32_t replySize = 12;

    /// Reads a VCP code (its low 8 bits count). 0: `result` holds the value that `readMode` asks
    /// for; 7: the reply failed its checks; -1: no service, or I2C failed. `result` is 65535 after
    /// a failed write and untouched after a failed read or a bad reply. `isForceRunDDCCI` shows in
    /// the log only.
    static std::int32_t readDDCCIWithAVService(IOAVServiceRef service, std::uint32_t VCPCmd,
                                               std::uint32_t readMode, bool isForceRunDDCCI,
                                               std::uint32_t* result);

    /// Sends a get of VCP code 0 three times and reads no reply: monitors with a particular chip
    /// settle by it after a bad reply. 0, or -1 without a service or when I2C fails.
    static std::int32_t cleanDDCCIWithAVService(IOAVServiceRef service, bool isForceRunDDCCI);

    /// Logs the 12 bytes of a reply.
    static void printReplyBytes(const std::uint8_t* reply, std::uint8_t VCPCmd);

    /// Logs the 12 bytes of a reply and tells whether they answer a get of the code. The last byte
    /// is not checked.
    static bool checkChecksum(const std::uint8_t* reply, std::uint8_t VCPCmd);

    /// Makes `matchedM1Device` anew from the registry and logs it.
    void initM1AVServiceDic() const;
    /// Adds one framebuffer to `matchedM1Device`; one whose display has no alphanumeric serial
    /// number is left out.
    void setDisplayInfoWithService(io_service_t framebuffer) const;
    /// One property of a registry entry, as found there; empty when it is missing.
    CFRef<CFTypeRef> getIORegistryPropertyWithService(io_service_t service,
                                                      const std::string& fieldName) const;
};
