#include <mach/mach_error.h>

#include <cstdint>
#include <iterator>
#include <map>
#include <mutex>
#include <string>

#include "simulated_mac/platform/Running.h"

// Texts of errors, as the platform's tables have them. Of the kernel's small codes only some are
// known here; the others read as if its table lacked them.

namespace {

/// I/O Kit's common codes, from this one on without a gap.
constexpr unsigned firstCommonCode = 0x2BC;
constexpr const char* commonErrors[] = {
    "general error",
    "can't allocate memory",
    "resource shortage",
    "error during IPC",
    "no such device",
    "privilege violation",
    "invalid argument",
    "device read locked",
    "device write locked",
    "exclusive access and device already open",
    "sent/received messages had different msg_id",
    "unsupported function",
    "misc. VM failure",
    "internal error",
    "General I/O error",
    "???",
    "can't acquire lock",
    "device not open",
    "read not supported",
    "write not supported",
    "alignment error",
    "Media Error",
    "device(s) still open",
    "rld failure",
    "DMA failure",
    "Device Busy",
    "I/O Timeout",
    "device offline",
    "not ready",
    "device not attached",
    "no DMA channels left",
    "no space for data",
    "???",
    "port already exists",
    "can't wire down physical memory",
    "no interrupt attached",
    "no DMA frames enqueued",
    "oversized msg received on interrupt port",
    "not permitted",
    "no power to device",
    "media not present",
    "media not formatted",
    "no such mode",
    "data underrun",
    "data overrun",
    "the device is not working properly!",
    "a completion routine is required",
    "operation aborted",
    "bus bandwidth would be exceeded",
    "device not responding",
    "isochronous I/O request for distant past!",
    "isochronous I/O request for distant future",
    "data was not found",
};
static_assert(firstCommonCode + std::size(commonErrors) - 1 == 0x2F0);

const std::map<unsigned, const char*>& kernelErrors() {
    static const auto& errors = *new std::map<unsigned, const char*>{
        {0, "successful"},
        {5, "failure"},
        {10, "memory error"},
        {15, "invalid name"},
        {20, "invalid capability"},
        {25, "memory restart copy"},
        {30, "already waiting"},
        {35, "invalid security"},
        {40, "lock owned by another"},
        {45, "let orphan continue"},
        {50, "code signing error"},
        {55, "invalid kernel collection"},
    };
    return errors;
}

// An error is 6 bits of its system, 12 of its subsystem and 14 of its code.
constexpr unsigned kernelSystem = 0;
constexpr unsigned ioKitSystem = 0x38;

std::string textOf(std::uint32_t error) {
    const std::uint32_t system = error >> 26;
    const std::uint32_t subsystem = error >> 14 & 0xFFF;
    const std::uint32_t code = error & 0x3FFF;
    if (system == kernelSystem && subsystem == 0) {
        const auto known = kernelErrors().find(code);
        if (known != kernelErrors().end()) return std::string("(os/kern) ") + known->second;
    }
    if (system == ioKitSystem && subsystem != 0) return "(iokit/?) unknown subsystem error";
    if (system == ioKitSystem) {
        const std::string lead = "(iokit/common) ";
        if (code == 1) return lead + "invalid - should never be seen";
        const std::uint32_t index = code - firstCommonCode;
        if (index < std::size(commonErrors)) return lead + commonErrors[index];
    }
    return "unknown error code";
}

}  // namespace

char* mach_error_string(mach_error_t error) {
    const simulated_mac::Running platform(simulated_mac::Code::platform);
    // As the platform's, a text is there for good.
    static std::mutex mutex;
    static auto& texts = *new std::map<std::uint32_t, std::string>;
    const auto number = static_cast<std::uint32_t>(error);
    const std::lock_guard lock(mutex);
    return texts.try_emplace(number, textOf(number)).first->second.data();
}
