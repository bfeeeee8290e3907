#include "Platform/CoreDisplay.h"
#include "Platform/IOAVService.h"
#include "Trace.h"

// The private interfaces of Apple-silicon displays. An Intel Mac has the functions, but nothing
// behind them.

using namespace simulated_mac;

IOAVServiceRef IOAVServiceCreateWithService(CFAllocatorRef, io_service_t) {
    PlatformCall call("IOAVServiceCreateWithService");
    return call.pointer<IOAVServiceRef>(nullptr);
}

IOReturn IOAVServiceCopyEDID(IOAVServiceRef, CFDataRef*) {
    PlatformCall call("IOAVServiceCopyEDID");
    return call.ioResult(kIOReturnUnsupported);
}

IOReturn IOAVServiceReadI2C(IOAVServiceRef, uint32_t, uint32_t, void*, uint32_t) {
    PlatformCall call("IOAVServiceReadI2C");
    return call.ioResult(kIOReturnUnsupported);
}

IOReturn IOAVServiceWriteI2C(IOAVServiceRef, uint32_t, uint32_t, void*, uint32_t) {
    PlatformCall call("IOAVServiceWriteI2C");
    return call.ioResult(kIOReturnUnsupported);
}

CFDictionaryRef CoreDisplay_DisplayCreateInfoDictionary(CGDirectDisplayID) {
    PlatformCall call("CoreDisplay_DisplayCreateInfoDictionary");
    return call.pointer<CFDictionaryRef>(nullptr);
}
