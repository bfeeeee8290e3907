#include <IOKit/IOKitLib.h>

#include <atomic>
#include <chrono>

#include "plugin/Cocoa/ThreadSleep.h"
#include "plugin/DDCCI/DDC.h"
#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/M1DDCCI/M1DDCCI.h"
#include "plugin/Platform/CFRef.h"
#include "plugin/WhiteList.h"

using namespace vorn;

using namespace std::chrono_literals;

namespace {

constexpr std::uint64_t usualMinReplyDelay = 50;
constexpr std::uint64_t amdMinReplyDelay = 100'000'000;

constexpr int attempts = 5;
constexpr auto pauseAfterBadReply = 1'000'000us;
constexpr auto pauseWhileInUse = 10'000us;

/// Has the AV services to itself while it lives. They have no lock of their own: a request of
/// another run between a request and its reply would spoil both. One lock is for all, as two
/// displays can be asked over one service.
class AVServicesInUse {
  public:
    AVServicesInUse() {
        while (flag().test_and_set()) Cocoa::sleepThread(pauseWhileInUse);
    }
    AVServicesInUse(const AVServicesInUse&) = delete;
    AVServicesInUse& operator=(const AVServicesInUse&) = delete;
    ~AVServicesInUse() { flag().clear(); }

  private:
    static std::atomic_flag& flag() {
        static std::atomic_flag inUse;
        return inUse;
    }
};

/// Reads over the display's AV service, again after a bad reply. The pause follows the last bad
/// reply too.
std::int32_t readOverAVService(std::uint32_t code, const displayInfo& display,
                               std::uint32_t* result) {
    std::int32_t status = DDCCtl::noValue;
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        {
            const AVServicesInUse inUse;
            status = M1DDCCI::readDDCCIWithAVService(display.arm64avService, code,
                                                     M1DDCCI::readCurrentValue, false, result);
            if (status != DDCCtl::badReply) break;
            if (whiteList->isRTKChipDisplay(display.name)) {
                M1DDCCI::cleanDDCCIWithAVService(display.arm64avService, false);
            }
        }
        Cocoa::sleepThread(pauseAfterBadReply);
    }
    return status;
}

}  // namespace

std::atomic<std::uint64_t> DDCMinReplyDelay = usualMinReplyDelay;

std::int32_t DDCCtl::Get(std::uint32_t code, const displayInfo& display, std::uint32_t* result) {
    *result = nothingRead;
    if (UseArm64) return readOverAVService(code, display, result);
    *result = Get(&display, code);
    return *result != nothingRead ? success : noValue;
}

std::uint32_t DDCCtl::Get(const displayInfo* display, std::uint32_t code) {
    std::uint32_t result = nothingRead;
    Get(display, code, static_cast<std::uint32_t>(DDCMinReplyDelay), true, &result);
    return result;
}

std::int32_t DDCCtl::Get(const displayInfo* display, std::uint32_t control, std::uint32_t delay,
                         bool /*isCurrentVal*/, std::uint32_t* result) {
    *result = nothingRead;
    if (display == nullptr) return noValue;
    if (UseArm64) {
        return display->arm64avService != nullptr ? readOverAVService(control, *display, result)
                                                  : noValue;
    }
    // This read's delay is already chosen: this sets that of the next read.
    ChangeMinReplyDelay(display->screenNumber);
    std::uint16_t maximum = 0;
    auto current = static_cast<std::uint16_t>(nothingRead);
    const bool read = getControlWithLog(display->screenNumber, static_cast<std::uint8_t>(control),
                                        delay, true, &maximum, &current);
    *result = current;
    return read ? success : noValue;
}

void DDCCtl::ChangeMinReplyDelay(CGDirectDisplayID display) {
// Deprecated for long, but still the only way from a display to its place in the registry.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    const io_service_t service = CGDisplayIOServicePort(display);
#pragma GCC diagnostic pop
    if (service == IO_OBJECT_NULL) return;
    const CFRef<CFStringRef> path(IORegistryEntryCopyPath(service, kIOServicePlane));
    const bool amd =
        path &&
        CFStringFind(path.get(), CFSTR("/AMD"), kCFCompareCaseInsensitive).location != kCFNotFound;
    DDCMinReplyDelay = amd ? amdMinReplyDelay : usualMinReplyDelay;
}
