#pragma once

#include <CoreGraphics/CoreGraphics.h>
#include <dispatch/dispatch.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "plugin/Display/displayInfo.h"
#include "plugin/Platform/Dispatch.h"
#include "plugin/Platform/Exported.h"

/// Reads VCP values (VESA MCCS) from monitors, whichever transport the Mac has.
class DDCCtl {
  public:
    /// What a result holds when nothing was read.
    static constexpr std::uint32_t nothingRead = 65535;

    /// Statuses of a read; other negative ones mean failure too.
    static constexpr std::int32_t success = 0;
    static constexpr std::int32_t noValue = -1;
    static constexpr std::int32_t badReply = 7;

    bool channelFree = false;            ///< kept for its shape; nothing sets or reads it
    std::atomic<bool> UseArm64 = false;  ///< reads go through AV services, as on Apple silicon
    /// Displays known to be attached through USB. Nothing fills it here; a USB discovery may.
    std::optional<DisplayList> usbAllDisplays;
    /// Runs one operation at a time. For background DDC work; nothing is sent to it here.
    SerialQueue DDCOperationQueue{"DDCOperationQueue"};

    /// A process-wide serial queue for background DDC work, made at first use and kept.
    static dispatch_queue_t serialQueue();

    /// Text of the 13 bytes of an EDID display descriptor (VESA E-EDID 1.4, section 3.10.3): what
    /// stands before the first line feed, or all 13 characters. Bytes beyond ASCII read as U+FFFD.
    std::string EDIDString(const std::uint8_t* bytes) const;

    /// Finds the display's serial number among `usbAllDisplays` and gives the first one's USBIdx.
    /// False, and `index` untouched, when none has it.
    bool isUSBConnectType(std::int32_t* index, CGDirectDisplayID display) const;

    /// Reads the current value of a VCP code into `result`. Returns a status; `result` is
    /// `nothingRead` when there is no value.
    std::int32_t Get(std::uint32_t code, const displayInfo& display, std::uint32_t* result);
    /// The value itself, `nothingRead` when there is none.
    std::uint32_t Get(const displayInfo* display, std::uint32_t code);
    /// `delay` is the minimum reply delay of a read over framebuffer I2C. `isCurrentVal` changes
    /// nothing: the current value is always read.
    std::int32_t Get(const displayInfo* display, std::uint32_t control, std::uint32_t delay,
                     bool isCurrentVal, std::uint32_t* result);

    /// Sets DDCMinReplyDelay for the graphics hardware that drives the display. It stays as it is
    /// for a display without an I/O service.
    void ChangeMinReplyDelay(CGDirectDisplayID display);
};

/// Made when the pane is first entered; never destroyed.
EXPORTED DDCCtl* DDC;

/// Minimum reply delay of the next read over framebuffer I2C: 50, or 100,000,000 for AMD graphics,
/// in the unit of IOI2CRequest's field.
EXPORTED std::atomic<std::uint64_t> DDCMinReplyDelay;
