#include <IOKit/IOKitLib.h>
#include <fmt/format.h>

extern "C" {
#include <IOKit/i2c/IOI2CInterface.h>
}

#include <algorithm>
#include <bit>
#include <span>

#include "FramebufferBuses.h"
#include "IOErrors.h"
#include "Mac.h"
#include "Trace.h"

// I2C over framebuffers. A bus either leads to the framebuffer's monitor or to nothing.

using namespace simulated_mac;

/// An open connection to the I2C interface of one bus.
struct IOI2CConnect {
    Bus bus;
};

namespace {

std::string hex(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) text += fmt::format("{:02X} ", byte);
    if (!text.empty()) text.pop_back();
    return text;
}

std::uint64_t minReplyDelay(const IOI2CRequest& request) {
    return std::bit_cast<std::uint64_t>(request.minReplyDelay);
}

std::span<const std::uint8_t> sentBytes(const IOI2CRequest& request) {
    return {reinterpret_cast<const std::uint8_t*>(request.sendBuffer), request.sendBytes};
}

/// Carries the request out on a bus that leads to a monitor: the transaction's own result.
IOReturn transact(Monitor& monitor, IOI2CRequest& request) {
    if (request.sendTransactionType == kIOI2CNoTransactionType ||
        request.sendAddress >> 1 != Monitor::address) {
        return kIOReturnNoDevice;
    }
    monitor.receive(sentBytes(request), Mac::current()->scheduler.now());
    if (request.replyTransactionType == kIOI2CNoTransactionType) return kIOReturnSuccess;
    if (request.replyAddress >> 1 != Monitor::address) return kIOReturnNoDevice;
    const auto reply = monitor.reply(minReplyDelay(request));
    if (!reply) return kIOReturnError;
    const std::size_t size = std::min<std::size_t>(reply->size(), request.replyBytes);
    std::copy_n(reply->begin(), size, reinterpret_cast<std::uint8_t*>(request.replyBuffer));
    return kIOReturnSuccess;
}

}  // namespace

IOReturn IOFBGetI2CInterfaceCount(io_service_t framebuffer, IOItemCount* count) {
    FallibleCall call("IOFBGetI2CInterfaceCount",
                      [&] { return fmt::format("framebuffer {:#x}", framebuffer); });
    if (call.fails()) return call.error();
    const Display* const display = displayOfFramebuffer(framebuffer);
    if (display == nullptr) return call.ioResult(badArgument);
    *count = display->screen.framebuffer.busCount.value_or(
        static_cast<IOItemCount>(display->buses.size()));
    if (call.traced()) call.text(fmt::format("0x0, count {}", *count));
    return kIOReturnSuccess;
}

IOReturn IOFBCopyI2CInterfaceForBus(io_service_t framebuffer, IOOptionBits bus,
                                    io_service_t* interface) {
    constexpr auto name = "IOFBCopyI2CInterfaceForBus";
    FallibleCall call(name,
                      [&] { return fmt::format("framebuffer {:#x}, bus {}", framebuffer, bus); });
    if (call.fails()) return call.error();
    const Display* const display = displayOfFramebuffer(framebuffer);
    if (display == nullptr) return call.ioResult(badArgument);
    const auto entry = interfaceOfBus(*display, bus);
    if (entry == nullptr) return call.ioResult(kIOReturnNoDevice);
    const IOReturn result = display->buses[bus].copyResult;
    if (result == kIOReturnSuccess) {
        *interface = Mac::current()->registry.handOut(entry, name);
    }
    return call.ioResult(result);
}

IOReturn IOI2CInterfaceOpen(io_service_t interface, IOOptionBits, IOI2CConnectRef* connection) {
    constexpr auto name = "IOI2CInterfaceOpen";
    FallibleCall call(name, [&] { return fmt::format("interface {:#x}", interface); });
    if (call.fails()) return call.error();
    const auto bus = busOfInterface(interface);
    if (!bus) return call.ioResult(badArgument);
    const IOReturn result = bus->description().openResult;
    if (result == kIOReturnSuccess) {
        Mac::current()->ledger.handedOut(Reference::i2cConnection, name);
        *connection = new IOI2CConnect{*bus};
    }
    return call.ioResult(result);
}

IOReturn IOI2CInterfaceClose(IOI2CConnectRef connection, IOOptionBits) {
    FallibleCall call("IOI2CInterfaceClose");
    Mac::current()->ledger.givenBack(Reference::i2cConnection, "IOI2CInterfaceOpen");
    delete connection;
    return call.fails() ? call.error() : call.ioResult(kIOReturnSuccess);
}

IOReturn IOI2CSendRequest(IOI2CConnectRef connection, IOOptionBits, IOI2CRequest* request) {
    FallibleCall call("IOI2CSendRequest", [&] {
        return fmt::format(
            "display {}, bus {}, address {:#x}, send type {}, bytes {}, reply address {:#x}, reply "
            "sub-address {:#x}, reply type {}, delay {}, flags {:#x}",
            connection->bus.display->displayID, connection->bus.index, request->sendAddress,
            request->sendTransactionType, hex(sentBytes(*request)), request->replyAddress,
            request->replySubAddress, request->replyTransactionType, minReplyDelay(*request),
            request->commFlags);
    });
    if (call.fails()) return call.error();
    const BusDescription& bus = connection->bus.description();
    const IOReturn sent =
        bus.sendResult.value_or(bus.leadsToMonitor ? kIOReturnSuccess : kIOReturnNoDevice);
    if (sent != kIOReturnSuccess) return call.ioResult(sent);
    const IOReturn result = bus.leadsToMonitor
                                ? transact(connection->bus.display->monitor, *request)
                                : kIOReturnNoDevice;
    request->result = bus.requestResult.value_or(result);
    if (call.traced()) {
        call.text(fmt::format("0x0, request's result {:#x}",
                              static_cast<std::uint32_t>(request->result)));
    }
    return kIOReturnSuccess;
}
