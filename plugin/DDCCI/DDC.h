#pragma once

#include <CoreGraphics/CoreGraphics.h>
#include <IOKit/IOKitLib.h>
#include <dispatch/dispatch.h>

#include <cstdint>

// The header doesn't declare its functions as C functions.
extern "C" {
#include <IOKit/i2c/IOI2CInterface.h>
}

#include "plugin/Platform/Exported.h"

// DDC/CI over a framebuffer's I2C buses, on Intel Macs. Prints to standard output: "D: "
// for debug lines, "E: " for errors.

/// One read of a VCP code.
struct DDCReadRecord {
    std::uint8_t controlID = 0;      ///< VCP code to read; the caller sets it
    bool success = false;            ///< whether the values below were read; else they are 0
    std::uint16_t maxValue = 0;      ///< maximum value
    std::uint16_t currentValue = 0;  ///< current value
    std::uint32_t fourBytes = 0;     ///< maximum in the high half, current value in the low half
};

/// The framebuffer that drives a display, found by vendor, model and serial number; 0 if there is
/// none with I2C buses, and always for a built-in display. The caller releases it.
io_service_t IOFramebufferPortFromCGDisplayID(CGDirectDisplayID display);

/// The reply transaction type that this machine's I2C interfaces support for DDC/CI:
/// kIOI2CNoTransactionType, kIOI2CSimpleTransactionType or kIOI2CDDCciReplyTransactionType.
/// With `log`, prints each type's support.
EXPORTED IOOptionBits SupportedTransactionTypeWithLog(bool log);

/// The lock that serialises I2C traffic to a display, made at first use. NULL if the table, which
/// holds 50 displays per process, is full.
EXPORTED dispatch_semaphore_t DisplayQueue(CGDirectDisplayID display);

/// Sends a filled request on the first of the display's buses that takes it. True if it was sent
/// and the request's own result is success; of the request only that result changes. Sends nothing
/// if DisplayQueue has no lock.
EXPORTED bool DisplayRequest(CGDirectDisplayID display, IOI2CRequest* request);

/// Reads the record's VCP code: up to five tries, a second apart. True on a good reply.
/// `minReplyDelay` goes into the request unchanged; with `log`, prints the packets.
EXPORTED bool DDCReadWithLog(CGDirectDisplayID display, DDCReadRecord* record,
                             std::uint32_t minReplyDelay, bool log);

/// DDCReadWithLog for one code; leaves the outputs unchanged if it fails.
EXPORTED bool getControlWithLog(CGDirectDisplayID display, std::uint8_t controlID,
                                std::uint32_t minReplyDelay, bool log, std::uint16_t* maximum,
                                std::uint16_t* current);
EXPORTED bool getFourBytesWithLog(CGDirectDisplayID display, std::uint8_t controlID,
                                  std::uint32_t minReplyDelay, bool log, std::uint32_t* value);
