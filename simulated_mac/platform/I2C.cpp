#include <IOKit/IOKitLib.h>

extern "C" {
#include <IOKit/i2c/IOI2CInterface.h>
}

#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/platform/Crash.h"
#include "simulated_mac/platform/FramebufferBuses.h"
#include "simulated_mac/platform/IOErrors.h"
#include "simulated_mac/platform/PlatformCall.h"

// I2C over framebuffers. A bus either leads to the framebuffer's monitor or to nothing.

using namespace simulated_mac;

/// An open connection to the I2C interface of one bus.
struct IOI2CConnect {
    Bus bus;
};

namespace {

/// What the platform carries of a request's bytes, either way.
constexpr std::size_t largestTransfer = 128;
using Transfer = std::array<std::uint8_t, largestTransfer>;

/// The connections that are open, to tell a stranger's.
struct Connections {
    std::mutex mutex;
    std::vector<std::unique_ptr<IOI2CConnect>> open;

    auto find(IOI2CConnectRef connection) {
        return std::find_if(open.begin(), open.end(),
                            [connection](const auto& one) { return one.get() == connection; });
    }
};
Connections& connections() {
    static auto& all = *new Connections;
    return all;
}

const Bus& busOf(IOI2CConnectRef connection, const char* call) {
    auto& all = connections();
    const std::lock_guard lock(all.mutex);
    if (all.find(connection) == all.open.end()) crash(call, "connect is no open connection");
    return connection->bus;
}

std::uint64_t minReplyDelay(const IOI2CRequest& request) {
    return std::bit_cast<std::uint64_t>(request.minReplyDelay);
}

/// The bytes to send; none of a request whose buffer is gone.
std::span<const std::uint8_t> sentBytes(const IOI2CRequest& request) {
    const std::size_t size = request.sendBuffer != 0 ? request.sendBytes : 0;
    return {reinterpret_cast<const std::uint8_t*>(request.sendBuffer), size};
}

/// Whether a bus has this type of transaction. To do nothing takes none.
bool takes(const BusDescription& bus, IOOptionBits transactionType) {
    if (transactionType == kIOI2CNoTransactionType) return true;
    return transactionType < 32 && (bus.transactionTypes.value_or(0) >> transactionType & 1) != 0;
}

/// Carries a request out: the transaction's own result. `transfer` holds what is sent, and then
/// what came back in front of what is left of that.
IOReturn transact(const Bus& bus, const IOI2CRequest& request, Transfer& transfer) {
    if (!takes(bus.description(), request.sendTransactionType) ||
        !takes(bus.description(), request.replyTransactionType)) {
        return kIOReturnUnsupportedMode;
    }
    Display* const display = bus.framebuffer->display;
    if (display == nullptr || display->gone || !bus.description().leadsToMonitor ||
        request.sendTransactionType == kIOI2CNoTransactionType ||
        request.sendAddress >> 1 != Monitor::address) {
        return kIOReturnNoDevice;
    }
    Monitor& monitor = display->monitor;
    monitor.receive(std::span(transfer).first(request.sendBytes), Mac::current()->scheduler.now());
    if (request.replyTransactionType == kIOI2CNoTransactionType) return kIOReturnSuccess;
    if (request.replyAddress >> 1 != Monitor::address) return kIOReturnNoDevice;
    const auto reply = monitor.reply(minReplyDelay(request));
    if (!reply) return kIOReturnError;
    const std::size_t size = std::min<std::size_t>(reply->size(), request.replyBytes);
    std::copy_n(reply->begin(), size, transfer.begin());
    return kIOReturnSuccess;
}

IOItemCount busCount(const Framebuffer& framebuffer) {
    const auto count = static_cast<IOItemCount>(framebuffer.buses.size());
    const Display* const display = framebuffer.display;
    return display != nullptr ? display->screen.framebuffer.busCount.value_or(count) : count;
}

bool isAsleep(const Framebuffer& framebuffer) {
    return framebuffer.display != nullptr && framebuffer.display->screen.framebuffer.asleep;
}

NamedValues argumentsOf(const Bus& bus, const IOI2CRequest& request) {
    const auto sent = sentBytes(request);
    const Display* const display = bus.framebuffer->display;
    return {{"display", display != nullptr ? display->displayID : 0},
            {"bus", bus.index},
            {"address", Hex{request.sendAddress}},
            {"send type", request.sendTransactionType},
            {"bytes", Bytes(sent.begin(), sent.end())},
            {"reply address", Hex{request.replyAddress}},
            {"reply sub-address", Hex{request.replySubAddress}},
            {"reply type", request.replyTransactionType},
            {"delay", minReplyDelay(request)},
            {"flags", Hex{request.commFlags}}};
}

}  // namespace

IOReturn IOFBGetI2CInterfaceCount(io_service_t framebuffer, IOItemCount* count) {
    constexpr auto name = "IOFBGetI2CInterfaceCount";
    FallibleCall call(name, [&] { return NamedValues{{"framebuffer", Hex{framebuffer}}}; });
    requireNotNull(count, name, "count");
    // It always succeeds: a framebuffer of which it knows nothing has no buses.
    const Framebuffer* const asked = framebufferOf(framebuffer);
    *count = call.fails() || asked == nullptr ? 0 : busCount(*asked);
    return call.ioResult(kIOReturnSuccess, [&] { return NamedValues{{"count", *count}}; });
}

IOReturn IOFBCopyI2CInterfaceForBus(io_service_t framebuffer, IOOptionBits bus,
                                    io_service_t* interface) {
    constexpr auto name = "IOFBCopyI2CInterfaceForBus";
    FallibleCall call(name, [&] {
        return NamedValues{{"framebuffer", Hex{framebuffer}}, {"bus", bus}};
    });
    if (call.fails()) return call.error();
    const Framebuffer* const asked = framebufferOf(framebuffer);
    if (asked == nullptr) return call.ioResult(badArgument);
    if (bus >= asked->buses.size()) return call.ioResult(kIOReturnNoDevice);
    const IOReturn result = asked->buses[bus].copyResult;
    // A bus that no entry stands for gives the handle 0, and success.
    if (result == kIOReturnSuccess) {
        *interface = Mac::current()->registry.handOut(asked->interfaces[bus], name);
    }
    return call.ioResult(result);
}

IOReturn IOI2CInterfaceOpen(io_service_t interface, IOOptionBits, IOI2CConnectRef* connection) {
    constexpr auto name = "IOI2CInterfaceOpen";
    FallibleCall call(name, [&] { return NamedValues{{"interface", Hex{interface}}}; });
    if (call.fails()) return call.error();
    const auto bus = busOfInterface(interface);
    if (!bus) return call.ioResult(badArgument);
    const IOReturn result = bus->description().openResult;
    if (result == kIOReturnSuccess) {
        Mac::current()->ledger.handedOut(Reference::i2cConnection, name);
        auto& all = connections();
        const std::lock_guard lock(all.mutex);
        *connection =
            all.open.emplace_back(std::make_unique<IOI2CConnect>(IOI2CConnect{*bus})).get();
    }
    return call.ioResult(result);
}

IOReturn IOI2CInterfaceClose(IOI2CConnectRef connection, IOOptionBits) {
    constexpr auto name = "IOI2CInterfaceClose";
    FallibleCall call(name);
    auto& all = connections();
    {
        const std::lock_guard lock(all.mutex);
        const auto known = all.find(connection);
        if (known == all.open.end()) crash(name, "connect is no open connection");
        all.open.erase(known);
    }
    Mac::current()->ledger.givenBack(Reference::i2cConnection, "IOI2CInterfaceOpen");
    return call.fails() ? call.error() : call.ioResult(kIOReturnSuccess);
}

IOReturn IOI2CSendRequest(IOI2CConnectRef connection, IOOptionBits, IOI2CRequest* request) {
    constexpr auto name = "IOI2CSendRequest";
    const Bus& bus = busOf(connection, name);
    requireNotNull(request, name, "request");
    FallibleCall call(name, [&] { return argumentsOf(bus, *request); });
    if (request->sendBytes > largestTransfer || request->replyBytes > largestTransfer) {
        return call.ioResult(overrun);
    }
    if (request->sendBytes != 0 && request->sendBuffer == 0) {
        crash(name, "the request's sendBuffer is 0");
    }
    // Whether the bus can be had is the call's own error, and leaves the request alone.
    if (call.fails()) return call.error();
    const IOReturn taken = bus.description().sendResult.value_or(kIOReturnSuccess);
    if (taken != kIOReturnSuccess) return call.ioResult(taken);

    Transfer transfer{};
    const auto sent = sentBytes(*request);
    std::copy(sent.begin(), sent.end(), transfer.begin());
    // A framebuffer that sleeps does nothing, and says nothing of it.
    if (!isAsleep(*bus.framebuffer)) {
        const IOReturn result = transact(bus, *request, transfer);
        request->result = bus.description().requestResult.value_or(result);
    }
    // The reply and the request are the kernel's copies, which know nothing of the caller's
    // buffers.
    if (request->replyBytes != 0 && request->replyBuffer == 0) {
        crash(name, "the request's replyBuffer is 0");
    }
    std::copy_n(transfer.begin(), request->replyBytes,
                reinterpret_cast<std::uint8_t*>(request->replyBuffer));
    request->sendBuffer = 0;
    request->replyBuffer = 0;

    return call.ioResult(bus.description().releaseResult, [&] {
        return NamedValues{{"request's result", Hex{static_cast<std::uint32_t>(request->result)}}};
    });
}
