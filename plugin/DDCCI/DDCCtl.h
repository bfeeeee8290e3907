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
    /// The result if nothing was read.
    static constexpr std::uint32_t nothingRead = 65535;

    /// Statuses of a read; other negative ones mean failure too.
    static constexpr std::int32_t success = 0;
    static constexpr std::int32_t noValue = -1;
    static constexpr std::int32_t badReply = 7;

    bool channelFree = false;            ///< unused; kept for the layout
    std::atomic<bool> UseArm64 = false;  ///< reads go through AV services, as on Apple silicon
    /// Displays known to be attached through USB. Nothing fills it here; a USB discovery may.
    std::optional<DisplayList> usbAllDisplays;
    /// Runs one operation at a time. For background DDC work; nothing is sent to it here.
    vorn::SerialQueue DDCOperationQueue{"DDCOperationQueue"};

    /// A process-wide serial queue for background DDC work, made at first use and kept.
    static dispatch_queue_t serialQueue();

    /// Text of the 13 bytes of an EDID display descriptor (VESA E-EDID 1.4, section 3.10.3): the
    /// characters before the first line feed, or all 13. Bytes beyond ASCII read as U+FFFD.
    std::string EDIDString(const std::uint8_t* bytes) const;

    /// Finds the display's serial number among `usbAllDisplays` and sets `index` to the first
    /// match's USBIdx. False, with `index` unchanged, if none matches.
    bool isUSBConnectType(std::int32_t* index, CGDirectDisplayID display) const;

    /// Reads the current value of a VCP code into `result`. Returns a status; `result` is
    /// `nothingRead` if there is no value.
    std::int32_t Get(std::uint32_t code, const displayInfo& display, std::uint32_t* result);
    /// The value itself, or `nothingRead` if there is none.
    std::uint32_t Get(const displayInfo* display, std::uint32_t code);
    /// `delay` is the minimum reply delay of a read over framebuffer I2C. `isCurrentVal` is
    /// ignored: the current value is always read.
    std::int32_t Get(const displayInfo* display, std::uint32_t control, std::uint32_t delay,
                     bool isCurrentVal, std::uint32_t* result);

    /// Sets DDCMinReplyDelay for the graphics hardware that drives the display. Left unchanged for
    /// a display without an I/O service.
    void ChangeMinReplyDelay(CGDirectDisplayID display);
};

/// Made when the pane is first entered; never destroyed.
EXPORTED DDCCtl* DDC;

/// Minimum reply delay of the next read over framebuffer I2C: 50, or 100,000,000 for AMD graphics,
/// in the unit of IOI2CRequest's field.
EXPORTED std::atomic<std::uint64_t> DDCMinReplyDelay;
