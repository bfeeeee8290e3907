#include "plugin/M1DDCCI/M1DDCCI.h"

#include <mach/mach_error.h>

#include <array>
#include <chrono>
#include <span>

#include "plugin/Cocoa/SystemLog.h"
#include "plugin/Cocoa/ThreadSleep.h"
#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/DDCCI/VCPPackets.h"
#include "plugin/Platform/Text.h"

using namespace vorn;

using namespace std::chrono_literals;

namespace {

constexpr std::uint32_t chipAddress = 0x37;  // VCP::writeAddress in 7-bit form
constexpr auto pauseBeforeTransfer = 60'000us;

const char* yesOrNo(bool flag) {
    return flag ? "YES" : "NO";
}

/// Pauses, then writes a get request. The source address goes as the I2C data address, so the
/// buffer starts at the length byte.
IOReturn writeRequest(IOAVServiceRef service, std::uint8_t code) {
    auto packet = VCP::makeGetRequest(code);
    const std::span buffer = std::span(packet).subspan(1);
    Cocoa::sleepThread(pauseBeforeTransfer);
    if (IOAVServiceWriteI2C == nullptr) return kIOReturnUnsupported;
    return IOAVServiceWriteI2C(service, chipAddress, packet[0], buffer.data(),
                               static_cast<std::uint32_t>(buffer.size()));
}

IOReturn readReply(IOAVServiceRef service, std::span<std::uint8_t> reply) {
    Cocoa::sleepThread(pauseBeforeTransfer);
    if (IOAVServiceReadI2C == nullptr) return kIOReturnUnsupported;
    return IOAVServiceReadI2C(service, chipAddress, VCP::hostAddress, reply.data(),
                              static_cast<std::uint32_t>(reply.size()));
}

void logReadFailure(IOReturn error, std::uint8_t code, bool force) {
    Cocoa::log(
        formatText("M1DDCCI isForceRunDDCCI : %s Read VCP : \"0x%02X\" , I2C communication "
                   "failure: %s\n",
                   yesOrNo(force), code, mach_error_string(error)));
}

}  // namespace

std::int32_t M1DDCCI::readDDCCIWithAVService(IOAVServiceRef service, std::uint32_t VCPCmd,
                                             std::uint32_t readMode, bool isForceRunDDCCI,
                                             std::uint32_t* result) {
    const auto code = static_cast<std::uint8_t>(VCPCmd);
    if (service == nullptr) {
        Cocoa::log(
            formatText("M1DDCCI isForceRunDDCCI : %s Read VCP : \"0x%02X\" Could not find a "
                       "suitable external display.\n",
                       yesOrNo(isForceRunDDCCI), code));
        return DDCCtl::noValue;
    }
    for (int write = 0; write < 2; ++write) {
        if (const IOReturn error = writeRequest(service, code); error != kIOReturnSuccess) {
            logReadFailure(error, code, isForceRunDDCCI);
            *result = DDCCtl::nothingRead;
            return DDCCtl::noValue;
        }
    }
    std::array<std::uint8_t, replySize> reply{};
    if (const IOReturn error = readReply(service, reply); error != kIOReturnSuccess) {
        logReadFailure(error, code, isForceRunDDCCI);
        return DDCCtl::noValue;
    }
    if (!checkChecksum(reply.data(), code)) return DDCCtl::badReply;

    const unsigned maximum = VCP::maximumValue(reply.data());
    const unsigned current = VCP::currentValue(reply.data());
    Cocoa::log(
        formatText("M1DDCCI isForceRunDDCCI : %s Read VCP : \"0x%02X\" Maximum : "
                   "0x%02X(%u) , Current : 0x%02X(%u)",
                   yesOrNo(isForceRunDDCCI), code, maximum, maximum, current, current));
    switch (readMode) {
        case readCurrentValue:
            *result = current;
            break;
        case readFourBytes:
            *result = VCP::fourBytes(reply.data());
            break;
        default:
            *result = maximum;
    }
    return DDCCtl::success;
}

std::int32_t M1DDCCI::cleanDDCCIWithAVService(IOAVServiceRef service, bool isForceRunDDCCI) {
    if (service == nullptr) {
        Cocoa::log(
            formatText("M1DDCCI cleanDDCCIWithAVService : %s Could not find a suitable "
                       "external display.\n",
                       yesOrNo(isForceRunDDCCI)));
        return DDCCtl::noValue;
    }
    for (int write = 0; write < 3; ++write) {
        if (const IOReturn error = writeRequest(service, 0x00); error != kIOReturnSuccess) {
            Cocoa::log(formatText("M1DDCCI isForceRunDDCCI : %s, I2C communication failure: %s\n",
                                  yesOrNo(isForceRunDDCCI), mach_error_string(error)));
            return DDCCtl::noValue;
        }
    }
    return DDCCtl::success;
}

void M1DDCCI::printReplyBytes(const std::uint8_t* reply, std::uint8_t VCPCmd) {
    std::string text;
    for (const std::uint8_t byte : std::span(reply, replySize)) {
        text += ' ';
        appendHex(text, byte);
    }
    Cocoa::log(formatText("Get VCP: 0x%02X, Reply Data: %s", VCPCmd, text.c_str()));
}

bool M1DDCCI::checkChecksum(const std::uint8_t* reply, std::uint8_t VCPCmd) {
    printReplyBytes(reply, VCPCmd);
    return VCP::isGoodReply(reply, VCPCmd);
}
