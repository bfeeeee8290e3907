#include <CoreGraphics/CoreGraphics.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/graphics/IOGraphicsLib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

extern "C" {
#include <IOKit/i2c/IOI2CInterface.h>
}

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "simulated_mac/description/EDID.h"
#include "simulated_mac/machine/CallText.h"
#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/platform/CFReferences.h"

// I2C over framebuffers, through the platform's functions.

namespace simulated_mac {
namespace i2c_test {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

constexpr IOReturn testError = 0x2A;

/// The reply buffer of a get of VCP code 0x10 where nothing came back.
constexpr std::array<std::uint8_t, 11> echo = {0x51, 0x82, 0x01, 0x10, 0xAC};

ScreenDescription screenWith(std::vector<BusDescription> buses) {
    EDIDFields fields;
    fields.product = 0x1234;
    fields.serial = 0x12345678;
    fields.name = "VORN K2422H";
    ScreenDescription screen;
    screen.monitor.edid = makeEDID(fields);
    screen.monitor.vcp[0x10].current = 50;
    screen.framebuffer.buses = std::move(buses);
    return screen;
}

std::vector<BusDescription> oneBus() {
    return {BusDescription{}};
}

template <class Value>
BusDescription busWith(Value BusDescription::*property, std::type_identity_t<Value> value) {
    BusDescription bus;
    bus.*property = value;
    return bus;
}

MacDescription describe(ScreenDescription screen) {
    MacDescription description;
    description.screens.push_back(std::move(screen));
    description.graphics.framebuffers = 1;
    return description;
}

/// A get of VCP code 0x10 with room for its reply.
struct Get {
    std::array<std::uint8_t, 5> sent = {0x51, 0x82, 0x01, 0x10, 0xAC};
    std::array<std::uint8_t, 11> reply{};
    IOI2CRequest request{};

    Get() {
        request.sendTransactionType = kIOI2CSimpleTransactionType;
        request.replyTransactionType = kIOI2CSimpleTransactionType;
        request.sendAddress = 0x6E;
        request.replyAddress = 0x6F;
        request.replySubAddress = 0x51;
        request.sendBuffer = reinterpret_cast<vm_address_t>(sent.data());
        request.sendBytes = 5;
        request.replyBuffer = reinterpret_cast<vm_address_t>(reply.data());
        request.replyBytes = 11;
        request.result = testError;
    }
    Get(const Get&) = delete;
    Get& operator=(const Get&) = delete;

    /// The addresses in the request, which is packed: nothing can refer to them there.
    vm_address_t sendBuffer() const { return request.sendBuffer; }
    vm_address_t replyBuffer() const { return request.replyBuffer; }
};

/// A Mac with one display, and the framebuffer that drives it.
class DisplayOfAMac {
  public:
    explicit DisplayOfAMac(ScreenDescription screen) : mac(describe(std::move(screen))) {
        framebuffer =
            IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching("IOFramebuffer"));
    }
    explicit DisplayOfAMac(std::vector<BusDescription> buses)
        : DisplayOfAMac(screenWith(std::move(buses))) {}

    IOReturn copy(IOOptionBits bus, io_service_t* interface) const {
        return IOFBCopyI2CInterfaceForBus(framebuffer, bus, interface);
    }
    IOI2CConnectRef open(IOOptionBits bus = 0) const {
        io_service_t interface = IO_OBJECT_NULL;
        EXPECT_EQ(copy(bus, &interface), kIOReturnSuccess);
        IOI2CConnectRef connection = nullptr;
        EXPECT_EQ(IOI2CInterfaceOpen(interface, 0, &connection), kIOReturnSuccess);
        EXPECT_EQ(IOObjectRelease(interface), kIOReturnSuccess);
        return connection;
    }
    /// Sends a request on a bus: the send's own result.
    IOReturn send(Get& get, IOOptionBits bus = 0) const {
        const IOI2CConnectRef connection = open(bus);
        const IOReturn sent = IOI2CSendRequest(connection, 0, &get.request);
        EXPECT_EQ(IOI2CInterfaceClose(connection, 0), kIOReturnSuccess);
        return sent;
    }
    std::vector<Exchange> exchanges() const { return mac.displays()[0]->monitor.exchanges(); }

    Mac mac;
    io_service_t framebuffer = IO_OBJECT_NULL;
};

// Buses

TEST(I2C, AFramebufferHasTheBusesOfItsDescription) {
    DisplayOfAMac display(std::vector<BusDescription>(3));
    IOItemCount count = 99;
    EXPECT_EQ(IOFBGetI2CInterfaceCount(display.framebuffer, &count), kIOReturnSuccess);
    EXPECT_EQ(count, 3u);
}

TEST(I2C, AFramebufferMayHaveNoBus) {
    auto screen = screenWith({});
    DisplayOfAMac display(screen);
    IOItemCount count = 99;
    EXPECT_EQ(IOFBGetI2CInterfaceCount(display.framebuffer, &count), kIOReturnSuccess);
    EXPECT_EQ(count, 0u);
    io_service_t interface = IO_OBJECT_NULL;
    EXPECT_NE(display.copy(0, &interface), kIOReturnSuccess);
}

TEST(I2C, AFramebufferMayClaimOtherBusesThanItHas) {
    auto screen = screenWith(oneBus());
    screen.framebuffer.busCount = 4;
    DisplayOfAMac display(screen);
    IOItemCount count = 0;
    IOFBGetI2CInterfaceCount(display.framebuffer, &count);
    EXPECT_EQ(count, 4u);
    io_service_t interface = IO_OBJECT_NULL;
    EXPECT_EQ(display.copy(1, &interface), kIOReturnNoDevice);
    EXPECT_EQ(interface, IO_OBJECT_NULL);
}

TEST(I2C, AnotherServiceIsNoFramebuffer) {
    DisplayOfAMac display(oneBus());
    const auto other =
        IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching("IOPCIDevice"));
    IOItemCount count = 99;
    io_service_t interface = IO_OBJECT_NULL;
    EXPECT_EQ(IOFBGetI2CInterfaceCount(other, &count), kIOReturnSuccess);
    EXPECT_EQ(count, 0u);
    EXPECT_NE(IOFBCopyI2CInterfaceForBus(other, 0, &interface), kIOReturnSuccess);
    IOI2CConnectRef connection = nullptr;
    EXPECT_NE(IOI2CInterfaceOpen(other, 0, &connection), kIOReturnSuccess);
    EXPECT_EQ(connection, nullptr);
}

TEST(I2C, TheInterfaceOfABusStandsInTheRegistryWithItsTransactionTypes) {
    DisplayOfAMac display(
        std::vector<BusDescription>{busWith(&BusDescription::transactionTypes, 0x06),
                                    busWith(&BusDescription::hasTransactionTypes, false)});
    const auto interfaces = display.mac.registry.matching({"", "IOFramebufferI2CInterface"});
    ASSERT_THAT(interfaces, SizeIs(2));
    EXPECT_EQ(std::get<std::int64_t>(interfaces[0]->get("IOI2CTransactionTypes")->value), 6);
    EXPECT_EQ(interfaces[1]->get("IOI2CTransactionTypes"), nullptr);
    io_service_t interface = IO_OBJECT_NULL;
    display.copy(1, &interface);
    EXPECT_EQ(display.mac.registry.entryOf(interface), interfaces[1]);
}

TEST(I2C, CopyingAnInterfaceMayFail) {
    DisplayOfAMac display(
        std::vector<BusDescription>{busWith(&BusDescription::copyResult, testError), {}});
    io_service_t interface = IO_OBJECT_NULL;
    EXPECT_EQ(display.copy(0, &interface), testError);
    EXPECT_EQ(interface, IO_OBJECT_NULL);
    EXPECT_EQ(display.copy(1, &interface), kIOReturnSuccess);
}

TEST(I2C, OpeningAnInterfaceMayFail) {
    DisplayOfAMac display(
        std::vector<BusDescription>{busWith(&BusDescription::openResult, testError)});
    io_service_t interface = IO_OBJECT_NULL;
    display.copy(0, &interface);
    IOI2CConnectRef connection = nullptr;
    EXPECT_EQ(IOI2CInterfaceOpen(interface, 0, &connection), testError);
    EXPECT_EQ(connection, nullptr);
    EXPECT_EQ(display.mac.ledger.held()["IOI2CConnect"], 0);
}

TEST(I2C, AnOpenConnectionIsHeldUntilItIsClosed) {
    DisplayOfAMac display(oneBus());
    const auto connection = display.open();
    EXPECT_EQ(display.mac.ledger.held()["IOI2CConnect"], 1);
    IOI2CInterfaceClose(connection, 0);
    EXPECT_EQ(display.mac.ledger.held()["IOI2CConnect"], 0);
}

// Requests

TEST(I2C, ARequestReachesTheMonitorAndBringsItsReply) {
    DisplayOfAMac display(oneBus());
    Get get;
    EXPECT_EQ(display.send(get), kIOReturnSuccess);
    EXPECT_EQ(get.request.result, kIOReturnSuccess);
    EXPECT_THAT(get.reply,
                ElementsAre(0x6E, 0x88, 0x02, 0x00, 0x10, 0x00, 0xFF, 0xFF, 0x00, 0x32, 0x96));
    ASSERT_THAT(display.exchanges(), SizeIs(1));
    EXPECT_EQ(display.exchanges()[0].request, (Bytes{0x51, 0x82, 0x01, 0x10, 0xAC}));
}

TEST(I2C, ARequestKnowsTheTimeAtWhichItReachedTheMonitor) {
    DisplayOfAMac display(oneBus());
    display.mac.scheduler.onMainAt(3s, [&] {
        Get get;
        display.send(get);
    });
    display.mac.scheduler.runUntilQuiet();
    ASSERT_THAT(display.exchanges(), SizeIs(1));
    EXPECT_EQ(display.exchanges()[0].time, Time(3s));
}

TEST(I2C, ASilentMonitorFailsTheTransactionNotTheSending) {
    auto screen = screenWith(oneBus());
    screen.monitor.answers = {{DDCAnswer::Kind::silent, {}}};
    DisplayOfAMac display(screen);
    Get get;
    EXPECT_EQ(display.send(get), kIOReturnSuccess);
    EXPECT_NE(get.request.result, kIOReturnSuccess);
    EXPECT_THAT(get.reply, ElementsAreArray(echo));
}

TEST(I2C, AReplyIsCutToTheRoomThatTheRequestHas) {
    DisplayOfAMac display(oneBus());
    Get get;
    get.request.replyBytes = 4;
    display.send(get);
    EXPECT_THAT(get.reply, ElementsAre(0x6E, 0x88, 0x02, 0x00, 0, 0, 0, 0, 0, 0, 0));
}

TEST(I2C, AfterAShortReplyStandsWhatWasSent) {
    auto screen = screenWith(oneBus());
    screen.monitor.answers = {{DDCAnswer::Kind::bytes, {0xAA}}};
    DisplayOfAMac display(screen);
    Get get;
    get.reply.fill(0x11);
    display.send(get);
    EXPECT_THAT(get.reply, ElementsAre(0xAA, 0x82, 0x01, 0x10, 0xAC, 0, 0, 0, 0, 0, 0));
}

TEST(I2C, ASentRequestHasLostItsBuffers) {
    DisplayOfAMac display(oneBus());
    Get get;
    display.send(get);
    EXPECT_EQ(get.sendBuffer(), 0u);
    EXPECT_EQ(get.replyBuffer(), 0u);
    EXPECT_EQ(get.request.sendBytes, 5u);
    EXPECT_EQ(get.request.replyBytes, 11u);
}

TEST(I2CDeathTest, ARequestCannotBeSentTwice) {
    const auto twice = [] {
        const DisplayOfAMac display(oneBus());
        Get get;
        display.send(get);
        display.send(get);
    };
    EXPECT_DEATH(twice(),
                 "a Mac ends this process: IOI2CSendRequest: the request's sendBuffer is 0");
}

TEST(I2CDeathTest, AReplyNeedsABuffer) {
    const auto nowhere = [] {
        const DisplayOfAMac display(oneBus());
        Get get;
        get.request.replyBuffer = 0;
        display.send(get);
    };
    EXPECT_DEATH(nowhere(), "IOI2CSendRequest: the request's replyBuffer is 0");
}

TEST(I2CDeathTest, AConnectionIsNotUsedAfterItsEnd) {
    const auto closed = [] {
        const DisplayOfAMac display(oneBus());
        const auto connection = display.open();
        IOI2CInterfaceClose(connection, 0);
        Get get;
        IOI2CSendRequest(connection, 0, &get.request);
    };
    EXPECT_DEATH(closed(), "IOI2CSendRequest: connect is no open connection");
    const auto none = [] {
        const Mac mac{MacDescription{}};
        IOI2CInterfaceClose(nullptr, 0);
    };
    EXPECT_DEATH(none(), "IOI2CInterfaceClose: connect is no open connection");
}

TEST(I2C, MoreThanThePlatformCarriesIsRefused) {
    DisplayOfAMac display(oneBus());
    for (auto IOI2CRequest::*const bytes : {&IOI2CRequest::sendBytes, &IOI2CRequest::replyBytes}) {
        Get get;
        get.request.*bytes = 129;
        EXPECT_EQ(display.send(get), static_cast<IOReturn>(0xE00002E8));
        EXPECT_EQ(get.request.result, testError) << "the request is as it was";
        EXPECT_NE(get.sendBuffer(), 0u);
    }
    EXPECT_THAT(display.exchanges(), IsEmpty());
    Get get;
    std::array<std::uint8_t, 128> reply{};
    get.request.replyBuffer = reinterpret_cast<vm_address_t>(reply.data());
    get.request.replyBytes = 128;
    EXPECT_EQ(display.send(get), kIOReturnSuccess);
}

TEST(I2C, AFramebufferThatSleepsSucceedsAndBringsBackWhatWasSent) {
    auto screen = screenWith(oneBus());
    screen.framebuffer.asleep = true;
    DisplayOfAMac display(screen);
    Get get;
    EXPECT_EQ(display.send(get), kIOReturnSuccess);
    EXPECT_EQ(get.request.result, testError) << "as the caller left it";
    EXPECT_THAT(get.reply, ElementsAreArray(echo));
    EXPECT_EQ(get.sendBuffer(), 0u);
    EXPECT_THAT(display.exchanges(), IsEmpty());
}

TEST(I2C, ABusTakesTheTransactionTypesOfItsMaskAlone) {
    const auto resultWith = [](std::optional<std::uint32_t> mask, IOOptionBits send,
                               IOOptionBits reply) {
        auto bus = busWith(&BusDescription::transactionTypes, mask);
        bus.hasTransactionTypes = mask.has_value();
        DisplayOfAMac display(std::vector{bus});
        Get get;
        get.request.sendTransactionType = send;
        get.request.replyTransactionType = reply;
        EXPECT_EQ(display.send(get), kIOReturnSuccess);
        return get.request.result;
    };
    constexpr auto simple = kIOI2CSimpleTransactionType;
    constexpr auto ddc = kIOI2CDDCciReplyTransactionType;
    constexpr auto none = kIOI2CNoTransactionType;
    EXPECT_EQ(resultWith(19, simple, simple), kIOReturnSuccess);
    EXPECT_EQ(resultWith(19, simple, ddc), kIOReturnUnsupportedMode);
    EXPECT_EQ(resultWith(31, simple, ddc), kIOReturnSuccess);
    EXPECT_EQ(resultWith(0x04, simple, ddc), kIOReturnUnsupportedMode);
    EXPECT_EQ(resultWith(0x02, simple, none), kIOReturnSuccess);
    EXPECT_EQ(resultWith(0x01, simple, none), kIOReturnUnsupportedMode);
    EXPECT_EQ(resultWith(std::nullopt, simple, none), kIOReturnUnsupportedMode);
    EXPECT_EQ(resultWith(31, 33, none), kIOReturnUnsupportedMode);
}

TEST(I2C, AnInterfaceMayBeTheHandleZero) {
    DisplayOfAMac display(
        std::vector<BusDescription>{busWith(&BusDescription::hasInterface, false), {}});
    io_service_t interface = 99;
    EXPECT_EQ(display.copy(0, &interface), kIOReturnSuccess);
    EXPECT_EQ(interface, IO_OBJECT_NULL);
    IOI2CConnectRef connection = nullptr;
    EXPECT_NE(IOI2CInterfaceOpen(interface, 0, &connection), kIOReturnSuccess);
    EXPECT_EQ(connection, nullptr);
    EXPECT_THAT(display.mac.registry.matching({"", "IOFramebufferI2CInterface"}), SizeIs(1));
    Get get;
    EXPECT_EQ(display.send(get, 1), kIOReturnSuccess);
    EXPECT_EQ(get.request.result, kIOReturnSuccess);
}

TEST(I2C, CountingBusesNeverFails) {
    auto description = describe(screenWith(oneBus()));
    description.faults = {{"IOFBGetI2CInterfaceCount", 1, false, testError}};
    const Mac mac(description);
    const auto framebuffer =
        IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching("IOFramebuffer"));
    IOItemCount count = 99;
    EXPECT_EQ(IOFBGetI2CInterfaceCount(framebuffer, &count), kIOReturnSuccess);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(IOFBGetI2CInterfaceCount(framebuffer, &count), kIOReturnSuccess);
    EXPECT_EQ(count, 1u);
}

TEST(I2C, AMonitorThatNeedsTimeIsGivenTheRequestsOwn) {
    auto screen = screenWith(oneBus());
    screen.monitor.needsReplyDelay = 51;
    DisplayOfAMac display(screen);
    Get early;
    early.request.minReplyDelay = {50, 0};
    display.send(early);
    EXPECT_NE(early.request.result, kIOReturnSuccess);
    Get late;
    late.request.minReplyDelay = {51, 0};
    display.send(late);
    EXPECT_EQ(late.request.result, kIOReturnSuccess);
}

TEST(I2C, ARequestToAnotherAddressReachesNobody) {
    DisplayOfAMac display(oneBus());
    for (const std::uint32_t address : {0x00u, 0x37u, 0x6Cu, 0x70u, 0xA0u}) {
        Get get;
        get.request.sendAddress = address;
        EXPECT_EQ(display.send(get), kIOReturnSuccess);
        EXPECT_EQ(get.request.result, kIOReturnNoDevice) << address;
    }
    EXPECT_THAT(display.exchanges(), IsEmpty());
}

TEST(I2C, AReplyOfAnotherAddressIsNobodys) {
    DisplayOfAMac display(oneBus());
    for (const std::uint32_t address : {0x00u, 0x37u, 0x51u, 0xA1u}) {
        Get get;
        get.request.replyAddress = address;
        EXPECT_EQ(display.send(get), kIOReturnSuccess);
        EXPECT_EQ(get.request.result, kIOReturnNoDevice) << address;
        EXPECT_THAT(get.reply, ElementsAreArray(echo));
    }
    EXPECT_THAT(display.exchanges(), SizeIs(4)) << "the monitor took in what was sent";
}

TEST(I2C, ARequestThatSendsNothingReachesNobody) {
    DisplayOfAMac display(oneBus());
    Get get;
    get.request.sendTransactionType = kIOI2CNoTransactionType;
    display.send(get);
    EXPECT_NE(get.request.result, kIOReturnSuccess);
    EXPECT_THAT(display.exchanges(), IsEmpty());
}

TEST(I2C, ARequestWithoutAReplyReadsNone) {
    DisplayOfAMac display(oneBus());
    Get get;
    get.request.replyTransactionType = kIOI2CNoTransactionType;
    display.send(get);
    EXPECT_EQ(get.request.result, kIOReturnSuccess);
    EXPECT_THAT(get.reply, ElementsAreArray(echo));
    EXPECT_THAT(display.exchanges(), SizeIs(1));
}

TEST(I2C, ABusThatLeadsNowhereFailsTheTransactionNotTheSending) {
    DisplayOfAMac display(
        std::vector<BusDescription>{busWith(&BusDescription::leadsToMonitor, false)});
    Get get;
    EXPECT_EQ(display.send(get), kIOReturnSuccess);
    EXPECT_EQ(get.request.result, kIOReturnNoDevice);
    EXPECT_THAT(get.reply, ElementsAreArray(echo));
    EXPECT_THAT(display.exchanges(), IsEmpty());
}

TEST(I2C, GivingTheBusBackMayFailAfterTheTransaction) {
    DisplayOfAMac display(
        std::vector<BusDescription>{busWith(&BusDescription::releaseResult, testError)});
    Get get;
    EXPECT_EQ(display.send(get), testError);
    EXPECT_EQ(get.request.result, kIOReturnSuccess);
    EXPECT_EQ(get.sendBuffer(), 0u) << "as after any transaction";
    EXPECT_THAT(display.exchanges(), SizeIs(1));
}

TEST(I2C, ABusThatCannotBeTakenSendsNothing) {
    DisplayOfAMac display(
        std::vector<BusDescription>{busWith(&BusDescription::sendResult, testError)});
    Get get;
    get.request.result = 0;
    EXPECT_EQ(display.send(get), testError);
    EXPECT_EQ(get.request.result, 0) << "the request is as it was";
    EXPECT_NE(get.sendBuffer(), 0u);
    EXPECT_THAT(display.exchanges(), IsEmpty());
}

TEST(I2C, TheRequestsOwnResultMayBeGiven) {
    DisplayOfAMac display(std::vector<BusDescription>{
        busWith(&BusDescription::requestResult, kIOReturnUnsupportedMode)});
    Get get;
    EXPECT_EQ(display.send(get), kIOReturnSuccess);
    EXPECT_EQ(get.request.result, kIOReturnUnsupportedMode);
}

TEST(I2C, ATraceShowsARequestWithItsBytesAndItsResult) {
    DisplayOfAMac display(oneBus());
    display.mac.trace.keepOnly({"IOI2CSendRequest"});
    Get get;
    get.request.minReplyDelay = {50, 0};
    display.send(get);
    const auto calls = display.mac.trace.calls();
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_EQ(argumentsText(calls[0]),
              "display " + std::to_string(display.mac.displays()[0]->displayID) +
                  ", bus 0, address 0x6e, send type 1, bytes 51 82 01 10 AC, reply address 0x6f, "
                  "reply sub-address 0x51, reply type 1, delay 50, flags 0x0");
    EXPECT_EQ(resultText(calls[0]), "0x0, request's result 0x0");
}

// What a framebuffer and the window system say of a display

std::optional<std::int64_t> numberIn(CFDictionaryRef dictionary, CFStringRef key) {
    const void* const number = CFDictionaryGetValue(dictionary, key);
    if (number == nullptr) return std::nullopt;
    std::int64_t value = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt64Type, &value);
    return value;
}

TEST(DisplayInformation, AFramebufferKnowsItsMonitorByTheEDID) {
    DisplayOfAMac display(oneBus());
    const CFDictionaryRef info =
        IODisplayCreateInfoDictionary(display.framebuffer, kIODisplayOnlyPreferredName);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(numberIn(info, CFSTR("DisplayVendorID")), 0x5A4E);  // VRN
    EXPECT_EQ(numberIn(info, CFSTR("DisplayProductID")), 0x1234);
    EXPECT_EQ(numberIn(info, CFSTR("DisplaySerialNumber")), 0x12345678);
    EXPECT_EQ(display.mac.ledger.held()["CFDictionary"], 1);
}

TEST(DisplayInformation, AFramebuffersDictionaryCanBeOverridden) {
    auto screen = screenWith(oneBus());
    screen.framebuffer.dictionary = {{"DisplayVendorID", PropertyValue{}},
                                     {"DisplayProductID", PropertyValue{std::int64_t{9}}}};
    DisplayOfAMac display(screen);
    const CFDictionaryRef info = IODisplayCreateInfoDictionary(display.framebuffer, 0);
    EXPECT_EQ(numberIn(info, CFSTR("DisplayVendorID")), std::nullopt);
    EXPECT_EQ(numberIn(info, CFSTR("DisplayProductID")), 9);
}

TEST(DisplayInformation, TheWindowSystemKnowsADisplayByItsEDID) {
    DisplayOfAMac display(oneBus());
    const auto displayID = display.mac.displays()[0]->displayID;
    EXPECT_EQ(CGDisplayVendorNumber(displayID), 0x5A4Eu);
    EXPECT_EQ(CGDisplayModelNumber(displayID), 0x1234u);
    EXPECT_EQ(CGDisplaySerialNumber(displayID), 0x12345678u);
    EXPECT_FALSE(CGDisplayIsBuiltin(displayID));
}

TEST(DisplayInformation, ADisplayWithoutAnEDIDHasUnknownNumbers) {
    DisplayOfAMac display(ScreenDescription{});
    const auto displayID = display.mac.displays()[0]->displayID;
    EXPECT_EQ(CGDisplayVendorNumber(displayID), 0x756E6B6Eu);
    EXPECT_EQ(CGDisplayModelNumber(displayID), 0x717u);
    EXPECT_EQ(CGDisplaySerialNumber(displayID), 0u);
    const CFDictionaryRef info = IODisplayCreateInfoDictionary(display.framebuffer, 0);
    EXPECT_EQ(numberIn(info, CFSTR("DisplayVendorID")), 0x756E6B6E);
    EXPECT_EQ(numberIn(info, CFSTR("DisplayProductID")), 0x717);
    EXPECT_EQ(numberIn(info, CFSTR("DisplaySerialNumber")), 0);
}

TEST(DisplayInformation, AnIDThatIsNoDisplaysHasOtherNumbers) {
    const DisplayOfAMac display(oneBus());
    EXPECT_EQ(CGDisplayVendorNumber(0xDEAD), 0xFFFFFFFFu);
    EXPECT_EQ(CGDisplayModelNumber(0xDEAD), 0xFFFFFFFFu);
    EXPECT_EQ(CGDisplaySerialNumber(0xDEAD), 0u);
}

TEST(DisplayInformation, TheServicePortOfADisplayIsItsFramebufferAndNotTheCallers) {
    DisplayOfAMac display(oneBus());
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    const auto port = CGDisplayIOServicePort(display.mac.displays()[0]->displayID);
    EXPECT_EQ(CGDisplayIOServicePort(1), IO_OBJECT_NULL);
#pragma GCC diagnostic pop
    EXPECT_EQ(port, display.framebuffer);
    EXPECT_EQ(display.mac.ledger.held()["io_registry_entry_t"], 1) << "of the lookup before";
}

TEST(DisplayInformation, ADisplayMayHaveNoServicePort) {
    auto screen = screenWith(oneBus());
    screen.framebuffer.hasServicePort = false;
    DisplayOfAMac display(screen);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    EXPECT_EQ(CGDisplayIOServicePort(display.mac.displays()[0]->displayID), IO_OBJECT_NULL);
#pragma GCC diagnostic pop
}

}  // namespace i2c_test
}  // namespace simulated_mac
