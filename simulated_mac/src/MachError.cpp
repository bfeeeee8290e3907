#include <IOKit/IOKitLib.h>
#include <mach/mach_error.h>

#include "IOErrors.h"

// Texts of I/O errors, as the platform's table has them.

char* mach_error_string(mach_error_t error) {
    static char success[] = "(os/kern) successful";
    static char general[] = "(iokit/common) general error";
    static char noDevice[] = "(iokit/common) no such device";
    static char unsupported[] = "(iokit/common) unsupported function";
    static char unsupportedMode[] = "(iokit/common) unsupported mode";
    static char badArgument[] = "(iokit/common) invalid argument";
    static char notFound[] = "(iokit/common) data was not found";
    static char unknown[] = "(iokit/common) unknown error code";
    switch (error) {
        case kIOReturnSuccess:
            return success;
        case kIOReturnError:
            return general;
        case kIOReturnNoDevice:
            return noDevice;
        case kIOReturnUnsupported:
            return unsupported;
        case kIOReturnUnsupportedMode:
            return unsupportedMode;
        case simulated_mac::badArgument:
            return badArgument;
        case kIOReturnNotFound:
            return notFound;
        default:
            return unknown;
    }
}
