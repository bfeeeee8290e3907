#include <CoreGraphics/CoreGraphics.h>
#include <IOKit/graphics/IOGraphicsLib.h>

#include "simulated_mac/hardware/HardwareTree.h"
#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/platform/CFReferences.h"
#include "simulated_mac/platform/FramebufferBuses.h"
#include "simulated_mac/platform/PlatformCall.h"

// What the window system and a framebuffer tell of a display.

using namespace simulated_mac;

namespace {

// What the window system answers for an ID that is no display's.
constexpr std::uint32_t unknownNumber = 0xFFFFFFFF;

template <class Answer>
std::uint32_t ask(FallibleCallName name, CGDirectDisplayID displayID, std::uint32_t unknown,
                  Answer answer) {
    FallibleCall call(name, [&] { return NamedValues{{"display", displayID}}; });
    const Display* const display = Mac::current()->connectedDisplay(displayID);
    if (call.fails() || display == nullptr) return call.result(unknown);
    return call.result(static_cast<std::uint32_t>(answer(*display)));
}

}  // namespace

boolean_t CGDisplayIsBuiltin(CGDirectDisplayID displayID) {
    return static_cast<boolean_t>(ask("CGDisplayIsBuiltin", displayID, 0,
                                      [](const Display& d) { return d.screen.builtIn ? 1u : 0u; }));
}

uint32_t CGDisplayVendorNumber(CGDirectDisplayID displayID) {
    return ask("CGDisplayVendorNumber", displayID, unknownNumber,
               [](const Display& display) { return display.vendorNumber; });
}

uint32_t CGDisplayModelNumber(CGDirectDisplayID displayID) {
    return ask("CGDisplayModelNumber", displayID, unknownNumber,
               [](const Display& display) { return display.modelNumber; });
}

uint32_t CGDisplaySerialNumber(CGDirectDisplayID displayID) {
    return ask("CGDisplaySerialNumber", displayID, 0,
               [](const Display& display) { return display.serialNumber; });
}

io_service_t CGDisplayIOServicePort(CGDirectDisplayID displayID) {
    // The caller doesn't own the service: the window system keeps its own reference.
    return ask("CGDisplayIOServicePort", displayID, 0, [](const Display& display) {
        return display.screen.framebuffer.hasServicePort && display.framebuffer != nullptr
                   ? Mac::current()->registry.handleOf(display.framebuffer->entry)
                   : IO_OBJECT_NULL;
    });
}

CFDictionaryRef IODisplayCreateInfoDictionary(io_service_t framebuffer, IOOptionBits options) {
    constexpr auto name = "IODisplayCreateInfoDictionary";
    FallibleCall call(name, [&] {
        return NamedValues{{"framebuffer", Hex{framebuffer}}, {"options", Hex{options}}};
    });
    const Framebuffer* const asked = framebufferOf(framebuffer);
    if (call.fails() || asked == nullptr) return call.pointer<CFDictionaryRef>(nullptr);
    return call.pointer(
        static_cast<CFDictionaryRef>(handOut(makeCF(PropertyValue{infoDictionary(*asked)}), name)));
}
