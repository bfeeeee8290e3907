#include "simulated_mac/platform/AVService.h"

#include <algorithm>
#include <span>

#include "plugin/Platform/CoreDisplay.h"
#include "plugin/Platform/IOAVService.h"
#include "simulated_mac/hardware/HardwareTree.h"
#include "simulated_mac/platform/CFReferences.h"
#include "simulated_mac/platform/IOErrors.h"
#include "simulated_mac/platform/PlatformCall.h"

// The private interfaces of Apple-silicon displays. An Intel Mac has the functions, but nothing
// behind them.

using namespace simulated_mac;

namespace {

constexpr auto serviceType = "IOAVService";

/// A proxy and the display whose monitor it reaches; nullptr where it reaches none.
struct Port {
    Display* display;
    const ProxyDescription* proxy;
};

/// The port behind the proxy entry with this registry ID.
std::optional<Port> portOf(std::uint64_t entryID) {
    const Mac& mac = *Mac::current();
    for (const auto& display : mac.displays()) {
        for (std::size_t index = 0; index < display->proxies.size(); ++index) {
            const auto& entry = display->proxies[index];
            if (entry == nullptr || entry->id != entryID) continue;
            return Port{display.get(), &display->screen.displayService.proxies[index]};
        }
    }
    for (const StrayProxy& proxy : mac.strayProxies()) {
        if (proxy.entry->id == entryID) return Port{nullptr, &proxy.description};
    }
    return std::nullopt;
}

/// The port behind a service; nothing for an object of another kind.
std::optional<Port> portOf(IOAVServiceRef service) {
    if (service == nullptr) return std::nullopt;
    const auto* const opaque = std::get_if<CFObject::Opaque>(&objectOf(service)->value);
    if (opaque == nullptr || opaque->type != serviceType) return std::nullopt;
    return portOf(opaque->id);
}

bool reaches(const Port& port, std::uint32_t chipAddress) {
    return port.display != nullptr && chipAddress == Monitor::address;
}

/// Whether the proxy has left the registry, and with it what the service talks to.
bool isGone(const Port& port) {
    return port.display != nullptr && port.display->serviceGone;
}

/// A service, by the display that it reaches.
NamedValue serviceArgument(IOAVServiceRef service) {
    const auto port = portOf(service);
    if (!port) return {"display", {}, "no service"};
    if (port->display == nullptr) return {"display", {}, "service of no display"};
    return {"display", port->display->displayID, "service of display"};
}

}  // namespace

namespace simulated_mac {

const Display* displayBehind(CFTypeRef service) {
    const auto port = portOf(service);
    return port ? port->display : nullptr;
}

}  // namespace simulated_mac

IOAVServiceRef IOAVServiceCreateWithService(CFAllocatorRef, io_service_t proxy) {
    constexpr auto name = "IOAVServiceCreateWithService";
    FallibleCall call(name, [&] { return NamedValues{{"proxy", Hex{proxy}}}; });
    const auto entry = Mac::current()->registry.entryOf(proxy);
    const auto port = entry != nullptr ? portOf(entry->id) : std::nullopt;
    if (call.fails() || !port || isGone(*port) || !port->proxy->opens)
        return call.pointer<IOAVServiceRef>(nullptr);
    return call.pointer(handOut(makeCF(CFObject::Opaque{serviceType, entry->id}), name));
}

IOReturn IOAVServiceCopyEDID(IOAVServiceRef service, CFDataRef* edid) {
    constexpr auto name = "IOAVServiceCopyEDID";
    FallibleCall call(name, [&] { return NamedValues{serviceArgument(service)}; });
    requireNotNull(service, name, "service");
    if (call.fails()) return call.error();
    const auto port = portOf(service);
    if (!port) return call.ioResult(badArgument);
    if (isGone(*port)) return call.ioResult(kIOReturnNoDevice);
    if (port->proxy->copyEDIDResult != kIOReturnSuccess) {
        return call.ioResult(port->proxy->copyEDIDResult);
    }
    if (port->proxy->edidEmpty) {
        *edid = static_cast<CFDataRef>(handOut(makeCF(Bytes()), name));
        return call.ioResult(kIOReturnSuccess);
    }
    const Bytes bytes = port->proxy->edid.value_or(
        port->display != nullptr ? port->display->screen.monitor.edid : Bytes());
    *edid = bytes.empty() ? nullptr : static_cast<CFDataRef>(handOut(makeCF(bytes), name));
    return call.ioResult(kIOReturnSuccess);
}

IOReturn IOAVServiceWriteI2C(IOAVServiceRef service, uint32_t chipAddress, uint32_t dataAddress,
                             void* inputBuffer, uint32_t inputBufferSize) {
    constexpr auto name = "IOAVServiceWriteI2C";
    const std::span sent(static_cast<const std::uint8_t*>(inputBuffer), inputBufferSize);
    FallibleCall call(name, [&] {
        return NamedValues{serviceArgument(service),
                           {"chip", Hex{chipAddress}},
                           {"address", Hex{dataAddress}},
                           {"bytes", Bytes(sent.begin(), sent.end())}};
    });
    requireNotNull(service, name, "service");
    if (call.fails()) return call.error();
    const auto port = portOf(service);
    if (!port || dataAddress > 0xFF) return call.ioResult(badArgument);
    if (isGone(*port) || !reaches(*port, chipAddress)) return call.ioResult(kIOReturnNoDevice);
    // On the bus the data address goes in front of the buffer.
    Bytes message = {static_cast<std::uint8_t>(dataAddress)};
    message.insert(message.end(), sent.begin(), sent.end());
    port->display->monitor.receive(message, Mac::current()->scheduler.now());
    return call.ioResult(kIOReturnSuccess);
}

IOReturn IOAVServiceReadI2C(IOAVServiceRef service, uint32_t chipAddress, uint32_t offset,
                            void* outputBuffer, uint32_t outputBufferSize) {
    constexpr auto name = "IOAVServiceReadI2C";
    FallibleCall call(name, [&] {
        return NamedValues{serviceArgument(service),
                           {"chip", Hex{chipAddress}},
                           {"offset", Hex{offset}},
                           {"size", outputBufferSize}};
    });
    requireNotNull(service, name, "service");
    if (call.fails()) return call.error();
    const auto port = portOf(service);
    if (!port) return call.ioResult(badArgument);
    if (isGone(*port) || !reaches(*port, chipAddress)) return call.ioResult(kIOReturnNoDevice);
    // DDC/CI has no offset to read from: the monitor sends its reply from the start.
    const auto reply = port->display->monitor.replyAt(Mac::current()->scheduler.now());
    if (!reply) return call.ioResult(kIOReturnError);
    std::copy_n(reply->begin(), std::min<std::size_t>(reply->size(), outputBufferSize),
                static_cast<std::uint8_t*>(outputBuffer));
    return call.ioResult(kIOReturnSuccess, [&] { return NamedValues{{"bytes", *reply}}; });
}

CFDictionaryRef CoreDisplay_DisplayCreateInfoDictionary(CGDirectDisplayID displayID) {
    constexpr auto name = "CoreDisplay_DisplayCreateInfoDictionary";
    FallibleCall call(name, [&] { return NamedValues{{"display", displayID}}; });
    const Mac& mac = *Mac::current();
    const Display* const display = mac.connectedDisplay(displayID);
    if (call.fails() || mac.description.chip != Chip::apple || display == nullptr ||
        !display->screen.hasInfoDictionary) {
        return call.pointer<CFDictionaryRef>(nullptr);
    }
    return call.pointer(static_cast<CFDictionaryRef>(
        handOut(makeCF(PropertyValue{coreDisplayDictionary(*display)}), name)));
}
