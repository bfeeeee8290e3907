#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "plugin/Platform/IOAVService.h"
#include "simulated_mac/machine/CallText.h"
#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/tests/hardware/AppleMac.h"

// AV services: the EDID and I2C of an Apple-silicon Mac's monitors, through the platform's
// functions.

namespace simulated_mac {
namespace av_service_test {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;
using Kind = DDCAnswer::Kind;

constexpr IOReturn testError = 0x2A;

constexpr std::uint32_t monitorAddress = 0x37;
constexpr std::uint32_t hostAddress = 0x51;
constexpr std::uint8_t untouched = 0xEE;

/// A get of VCP code 0x10 from the length byte on, and the good reply of `screen()`'s monitor.
const Bytes getOf10 = {0x82, 0x01, 0x10, 0xAC};
const Bytes replyTo10 = {0x6E, 0x88, 0x02, 0x00, 0x10, 0x01, 0x12, 0x34, 0x56, 0x78, 0xAD};
const Bytes replyWithBadChecksum = {0x6E, 0x88, 0x02, 0x00, 0x10, 0x01,
                                    0x12, 0x34, 0x56, 0x78, 0x52};
const Bytes clean = {0x82, 0x01, 0x00, 0xBC};

ScreenDescription screen(std::vector<DDCAnswer> answers = {}) {
    auto described = deskScreen();
    described.displayID = 7;
    described.monitor.vcp[0x10] = {.current = 0x5678, .maximum = 0x1234, .type = 1, .result = 0};
    described.monitor.answers = std::move(answers);
    return described;
}

ScreenDescription screenWithProxy(ProxyDescription proxy) {
    auto described = screen();
    described.displayService.proxies = {std::move(proxy)};
    return described;
}

ProxyDescription proxyWithEDID(Bytes edid) {
    ProxyDescription proxy;
    proxy.edid = std::move(edid);
    return proxy;
}

ProxyDescription proxyWhoseEDIDFails(std::int32_t copyResult) {
    ProxyDescription proxy;
    proxy.copyEDIDResult = copyResult;
    return proxy;
}

/// An Apple-silicon Mac with these screens, and the proxies in its registry.
class ServicesOfAMac {
  public:
    explicit ServicesOfAMac(std::vector<ScreenDescription> screens,
                            std::vector<FaultDescription> faults = {})
        : mac(describe(std::move(screens), std::move(faults))),
          proxies(entriesNamed("DCPAVServiceProxy")) {}
    explicit ServicesOfAMac(ScreenDescription screen, std::vector<FaultDescription> faults = {})
        : ServicesOfAMac(std::vector{std::move(screen)}, std::move(faults)) {}

    IOAVServiceRef open(std::size_t proxy = 0) const {
        return IOAVServiceCreateWithService(kCFAllocatorDefault, proxies.at(proxy));
    }
    std::vector<Exchange> exchanges(std::size_t display = 0) const {
        return mac.displays().at(display)->monitor.exchanges();
    }
    std::int64_t held(const std::string& kind) const { return mac.ledger.held()[kind]; }

    Mac mac;
    std::vector<io_service_t> proxies;

  private:
    static MacDescription describe(std::vector<ScreenDescription> screens,
                                   std::vector<FaultDescription> faults) {
        auto description = appleMac(std::move(screens));
        description.faults = std::move(faults);
        return description;
    }
};

/// What a copy of a service's EDID gives.
struct CopiedEDID {
    static CFDataRef outBefore() { return reinterpret_cast<CFDataRef>(CFSTR("untouched")); }

    explicit CopiedEDID(IOAVServiceRef service) : result(IOAVServiceCopyEDID(service, &data)) {}

    bool isUntouched() const { return data == outBefore(); }
    Bytes bytes() const {
        Bytes copy(static_cast<std::size_t>(CFDataGetLength(data)));
        CFDataGetBytes(data, CFRange{0, CFDataGetLength(data)}, copy.data());
        return copy;
    }

    CFDataRef data = outBefore();
    IOReturn result;
};

IOReturn write(IOAVServiceRef service, Bytes bytes, std::uint32_t chip = monitorAddress,
               std::uint32_t dataAddress = hostAddress) {
    return IOAVServiceWriteI2C(service, chip, dataAddress, bytes.data(),
                               static_cast<std::uint32_t>(bytes.size()));
}

/// A read's result, and its buffer with room for a reply, of which every byte was `untouched`
/// before.
struct Read {
    IOReturn result = kIOReturnSuccess;
    Bytes buffer = Bytes(Monitor::replySize, untouched);
};

Read read(IOAVServiceRef service, std::uint32_t size = Monitor::replySize,
          std::uint32_t chip = monitorAddress) {
    Read read;
    read.result = IOAVServiceReadI2C(service, chip, hostAddress, read.buffer.data(), size);
    return read;
}

/// Writes a request and reads the reply to it.
Read ask(IOAVServiceRef service, const Bytes& request) {
    EXPECT_EQ(write(service, request), kIOReturnSuccess);
    return read(service);
}

/// Matches a read that brought these bytes and nothing more.
auto brings(Bytes bytes) {
    bytes.resize(Monitor::replySize, untouched);
    return AllOf(Field(&Read::result, kIOReturnSuccess), Field(&Read::buffer, bytes));
}

auto failsWith(IOReturn error) {
    return AllOf(Field(&Read::result, error), Field(&Read::buffer, Each(untouched)));
}

// Opening

TEST(AVService, IsTheCallersUntilItIsReleased) {
    const ServicesOfAMac services(screen());
    const auto first = services.open();
    const auto second = services.open();
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(services.held("IOAVService"), 2);
    CFRelease(first);
    EXPECT_EQ(services.held("IOAVService"), 1);
    EXPECT_THAT(ask(second, getOf10), brings(replyTo10)) << "it doesn't depend on the other one";
    CFRelease(second);
    EXPECT_EQ(services.held("IOAVService"), 0);
    EXPECT_THAT(services.mac.journal.misuses(), IsEmpty());
}

TEST(AVService, IsHeldOfTheCallThatMadeIt) {
    const ServicesOfAMac services(screen());
    services.open();
    EXPECT_EQ((services.mac.ledger.heldByCall()[{"IOAVService", "IOAVServiceCreateWithService"}]),
              1);
}

TEST(AVService, OutlivesItsProxysHandle) {
    const ServicesOfAMac services(screen());
    const auto service = services.open();
    IOObjectRelease(services.proxies[0]);
    EXPECT_THAT(ask(service, getOf10), brings(replyTo10));
    EXPECT_EQ(services.open(), nullptr) << "the handle is nobody's any more";
}

TEST(AVService, MayNotOpen) {
    ProxyDescription closed;
    closed.opens = false;
    const ServicesOfAMac services({screenWithProxy(closed), screen()});
    EXPECT_EQ(services.open(0), nullptr);
    EXPECT_EQ(services.held("IOAVService"), 0);
    EXPECT_NE(services.open(1), nullptr);
}

TEST(AVService, OpensWhereverItsProxyIs) {
    auto odd = screen();
    odd.displayService.proxies[0].location = missing();
    const ServicesOfAMac services({builtInPanel(), odd});
    EXPECT_NE(services.open(0), nullptr);
    EXPECT_NE(services.open(1), nullptr);
}

TEST(AVService, OpensForAProxyOnly) {
    const ServicesOfAMac services(screen());
    const auto framebuffers = entriesNamed("AppleCLCD2");
    ASSERT_THAT(framebuffers, SizeIs(1));
    for (const io_service_t other : {io_service_t{IO_OBJECT_NULL}, framebuffers[0],
                                     IORegistryGetRootEntry(kIOMasterPortDefault), 0xFFFFFFFFu}) {
        EXPECT_EQ(IOAVServiceCreateWithService(kCFAllocatorDefault, other), nullptr) << other;
    }
    EXPECT_EQ(services.held("IOAVService"), 0);
}

TEST(AVService, LeadsToTheMonitorOfItsProxy) {
    auto other = screen();
    other.monitor.vcp[0x10].current = 0;
    const ServicesOfAMac services({screen(), other});
    EXPECT_THAT(ask(services.open(0), getOf10), brings(replyTo10));
    EXPECT_THAT(services.exchanges(0), SizeIs(1));
    EXPECT_THAT(services.exchanges(1), IsEmpty());
    EXPECT_NE(ask(services.open(1), getOf10).buffer, replyTo10);
    EXPECT_THAT(services.exchanges(0), SizeIs(1));
    EXPECT_THAT(services.exchanges(1), SizeIs(1));
}

TEST(AVService, SharesItsMonitorWithTheScreensOtherProxies) {
    auto two = screen();
    two.displayService.proxies.resize(2);
    const ServicesOfAMac services(two);
    EXPECT_EQ(write(services.open(0), getOf10), kIOReturnSuccess);
    EXPECT_THAT(read(services.open(1)), brings(replyTo10));
}

TEST(AVService, OfALateProxyLeadsToItsMonitorToo) {
    auto late = screen();
    late.displayService.appearsAt = 4;
    ServicesOfAMac services(late);
    EXPECT_THAT(services.proxies, IsEmpty());
    services.mac.scheduler.runUntilQuiet();
    const auto proxies = entriesNamed("DCPAVServiceProxy");
    ASSERT_THAT(proxies, SizeIs(1));
    const auto service = IOAVServiceCreateWithService(kCFAllocatorDefault, proxies[0]);
    EXPECT_THAT(ask(service, getOf10), brings(replyTo10));
    EXPECT_EQ(CopiedEDID(service).bytes(), late.monitor.edid);
}

TEST(AVService, OfAProxyBeforeEveryFramebufferLeadsToNoMonitor) {
    auto description = appleMac({screen()});
    description.strayProxies = {ProxyDescription{}, proxyWithEDID({1, 2, 3})};
    const Mac mac(description);
    const auto proxies = entriesNamed("DCPAVServiceProxy");
    ASSERT_THAT(proxies, SizeIs(3));
    const auto first = IOAVServiceCreateWithService(kCFAllocatorDefault, proxies[0]);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(write(first, getOf10), kIOReturnNoDevice);
    EXPECT_THAT(read(first), failsWith(kIOReturnNoDevice));
    EXPECT_EQ(CopiedEDID(first).data, nullptr);
    const auto second = IOAVServiceCreateWithService(kCFAllocatorDefault, proxies[1]);
    EXPECT_EQ(CopiedEDID(second).bytes(), (Bytes{1, 2, 3}));
}

TEST(AVService, OfAProxyBeforeEveryFramebufferMayNotOpen) {
    auto description = appleMac({});
    description.strayProxies.emplace_back().opens = false;
    const Mac mac(description);
    EXPECT_EQ(
        IOAVServiceCreateWithService(kCFAllocatorDefault, entriesNamed("DCPAVServiceProxy").at(0)),
        nullptr);
}

// The EDID

TEST(EDIDOfAnAVService, IsTheMonitorsWithAllBlocks) {
    auto described = screen();
    described.monitor.edid.resize(384, 0xAB);
    const ServicesOfAMac services(described);
    const CopiedEDID copied(services.open());
    EXPECT_EQ(copied.result, kIOReturnSuccess);
    EXPECT_EQ(copied.bytes(), described.monitor.edid);
}

TEST(EDIDOfAnAVService, IsTheCallersUntilItIsReleased) {
    const ServicesOfAMac services(screen());
    const auto service = services.open();
    const CopiedEDID first(service);
    const CopiedEDID second(service);
    EXPECT_EQ(services.held("CFData"), 2);
    EXPECT_EQ((services.mac.ledger.heldByCall()[{"CFData", "IOAVServiceCopyEDID"}]), 2);
    CFRelease(first.data);
    EXPECT_EQ(services.held("CFData"), 1);
    CFRelease(second.data);
    EXPECT_EQ(services.held("CFData"), 0);
}

TEST(EDIDOfAnAVService, MayBeAnotherThanTheMonitors) {
    const Bytes odd = {0x00, 0xFF, 0x01};
    auto described = screenWithProxy(proxyWithEDID(odd));
    described.displayService.proxies.emplace_back();
    const ServicesOfAMac services(described);
    EXPECT_EQ(CopiedEDID(services.open(0)).bytes(), odd);
    EXPECT_EQ(CopiedEDID(services.open(1)).bytes(), described.monitor.edid);
}

TEST(EDIDOfAnAVService, MayBeGivenToAMonitorThatHasNone) {
    auto described = screenWithProxy(proxyWithEDID({0x12}));
    described.monitor.edid.clear();
    const ServicesOfAMac services(described);
    EXPECT_EQ(CopiedEDID(services.open()).bytes(), Bytes{0x12});
}

TEST(EDIDOfAnAVService, IsNoneOfASuccessfulCallWhereThereIsNone) {
    auto without = screen();
    without.monitor.edid.clear();
    const ServicesOfAMac services({screenWithProxy(proxyWithEDID({})), without});
    for (const std::size_t proxy : {0u, 1u}) {
        const CopiedEDID copied(services.open(proxy));
        EXPECT_EQ(copied.result, kIOReturnSuccess);
        EXPECT_EQ(copied.data, nullptr);
    }
    EXPECT_EQ(services.held("CFData"), 0);
}

TEST(EDIDOfAnAVService, MayFailToBeCopied) {
    auto proxy = proxyWithEDID({0x12});
    proxy.copyEDIDResult = testError;
    const ServicesOfAMac services(
        {screenWithProxy(proxyWhoseEDIDFails(kIOReturnNotFound)), screenWithProxy(proxy)});
    const CopiedEDID first(services.open(0));
    EXPECT_EQ(first.result, kIOReturnNotFound);
    EXPECT_TRUE(first.isUntouched());
    const CopiedEDID second(services.open(1));
    EXPECT_EQ(second.result, testError);
    EXPECT_TRUE(second.isUntouched());
    EXPECT_EQ(services.held("CFData"), 0);
}

TEST(EDIDOfAnAVService, DoesNotHinderI2CWhereItFails) {
    const ServicesOfAMac services(screenWithProxy(proxyWhoseEDIDFails(testError)));
    EXPECT_THAT(ask(services.open(), getOf10), brings(replyTo10));
}

// Requests

TEST(I2COfAnAVService, BringsTheMonitorsReply) {
    const ServicesOfAMac services(screen());
    EXPECT_THAT(ask(services.open(), getOf10), brings(replyTo10));
}

TEST(I2COfAnAVService, PutsTheDataAddressInFrontOfTheBuffer) {
    const ServicesOfAMac services(screen());
    const auto service = services.open();
    EXPECT_EQ(write(service, getOf10), kIOReturnSuccess);
    EXPECT_EQ(write(service, {0xAA}, monitorAddress, 0x50), kIOReturnSuccess);
    EXPECT_EQ(write(service, {}), kIOReturnSuccess);
    const auto exchanges = services.exchanges();
    ASSERT_THAT(exchanges, SizeIs(3));
    EXPECT_EQ(exchanges[0].request, (Bytes{0x51, 0x82, 0x01, 0x10, 0xAC}));
    EXPECT_EQ(exchanges[1].request, (Bytes{0x50, 0xAA}));
    EXPECT_EQ(exchanges[2].request, Bytes{0x51});
}

TEST(I2COfAnAVService, KnowsTheTimeAtWhichARequestReachedTheMonitor) {
    ServicesOfAMac services(screen());
    services.mac.scheduler.onMainAt(3s, [&] { write(services.open(), getOf10); });
    services.mac.scheduler.runUntilQuiet();
    ASSERT_THAT(services.exchanges(), SizeIs(1));
    EXPECT_EQ(services.exchanges()[0].time, Time(3s));
}

TEST(I2COfAnAVService, HasNoDataAddressBeyondAByte) {
    const ServicesOfAMac services(screen());
    EXPECT_NE(write(services.open(), getOf10, monitorAddress, 0x151), kIOReturnSuccess);
    EXPECT_THAT(services.exchanges(), IsEmpty());
}

TEST(I2COfAnAVService, GetsNoReplyWithinTheTimeThatTheMonitorNeeds) {
    auto slow = screen();
    slow.monitor.needsReplyDelay = 50'000'000;
    ServicesOfAMac services(slow);
    const auto service = services.open();
    services.mac.scheduler.onMainAt(1s, [&] { write(service, getOf10); });
    services.mac.scheduler.onMainAt(1s + 49ms,
                                    [&] { EXPECT_THAT(read(service), failsWith(kIOReturnError)); });
    services.mac.scheduler.onMainAt(1s + 50ms,
                                    [&] { EXPECT_THAT(read(service), brings(replyTo10)); });
    services.mac.scheduler.runUntilQuiet();
}

TEST(I2COfAnAVService, ReachesNobodyAtAnotherAddress) {
    const ServicesOfAMac services(screen());
    const auto service = services.open();
    for (const std::uint32_t address : {0x00u, 0x36u, 0x38u, 0x50u, 0x6Eu, 0x6Fu, 0x137u}) {
        EXPECT_EQ(write(service, getOf10, address), kIOReturnNoDevice) << address;
    }
    EXPECT_THAT(services.exchanges(), IsEmpty());
}

TEST(I2COfAnAVService, ReadsFromNobodyAtAnotherAddress) {
    const ServicesOfAMac services(screen());
    const auto service = services.open();
    write(service, getOf10);
    for (const std::uint32_t address : {0x00u, 0x36u, 0x38u, 0x50u, 0x6Eu, 0x6Fu, 0x137u}) {
        EXPECT_THAT(read(service, Monitor::replySize, address), failsWith(kIOReturnNoDevice))
            << address;
    }
    EXPECT_THAT(read(service), brings(replyTo10)) << "the monitor noticed nothing";
}

/// Data address and buffer of a write.
class BadWrite : public testing::TestWithParam<std::pair<std::uint32_t, Bytes>> {};

TEST_P(BadWrite, ArrivesAndGetsNoReply) {
    const auto& [dataAddress, bytes] = GetParam();
    const ServicesOfAMac services(screen());
    const auto service = services.open();
    EXPECT_THAT(ask(service, getOf10), brings(replyTo10));
    EXPECT_EQ(write(service, bytes, monitorAddress, dataAddress), kIOReturnSuccess);
    EXPECT_THAT(read(service), failsWith(kIOReturnError));
    EXPECT_THAT(services.exchanges(), SizeIs(2));
    EXPECT_THAT(ask(service, getOf10), brings(replyTo10))
        << "the monitor answers the next good one";
}

INSTANTIATE_TEST_SUITE_P(WithWrong, BadWrite,
                         testing::Values(std::pair(0x51u, Bytes{}),                  // no bytes
                                         std::pair(0x51u, Bytes{0x82, 0x01, 0x10}),  // too short
                                         std::pair(0x51u, Bytes{0x82, 0x01, 0x10, 0xAC, 0x00}),
                                         std::pair(0x50u, Bytes{0x82, 0x01, 0x10, 0xAD}),  // source
                                         std::pair(0x51u, Bytes{0x83, 0x01, 0x10, 0xAD}),  // length
                                         std::pair(0x51u, Bytes{0x82, 0x03, 0x10, 0xAE}),  // opcode
                                         std::pair(0x51u, Bytes{0x82, 0x01, 0x11, 0xAC}),  // code
                                         std::pair(0x51u, Bytes{0x82, 0x01, 0x10, 0x53}),  // sum
                                         // the source address twice, as part of the buffer too
                                         std::pair(0x51u, Bytes{0x51, 0x82, 0x01, 0x10, 0xAC})));

// Replies

TEST(I2COfAnAVService, ReadsNothingBeforeARequest) {
    const ServicesOfAMac services(screen());
    EXPECT_THAT(read(services.open()), failsWith(kIOReturnError));
}

TEST(I2COfAnAVService, CutsAReplyToTheRoomThatTheReadHas) {
    const ServicesOfAMac services(screen());
    const auto service = services.open();
    write(service, getOf10);
    EXPECT_THAT(read(service, 4), brings({0x6E, 0x88, 0x02, 0x00}));
    EXPECT_THAT(read(service, 0), brings({}));
}

TEST(I2COfAnAVService, LeavesTheRoomAfterAShortReplyAlone) {
    const ServicesOfAMac services(screen({{Kind::bytes, {0xDE, 0xAD}}}));
    const auto service = services.open();
    write(service, getOf10);
    EXPECT_THAT(read(service), brings({0xDE, 0xAD}));
}

/// A kind of answer, and the reply that it makes of the good one.
class AnswerOverAnAVService : public testing::TestWithParam<std::pair<DDCAnswer, Bytes>> {};

TEST_P(AnswerOverAnAVService, ArrivesByteForByte) {
    const auto& [answer, reply] = GetParam();
    const ServicesOfAMac services(screen({answer}));
    EXPECT_THAT(ask(services.open(), getOf10), brings(reply));
    EXPECT_EQ(services.exchanges()[0].reply, reply);
}

INSTANTIATE_TEST_SUITE_P(
    OfKind, AnswerOverAnAVService,
    testing::Values(
        std::pair(DDCAnswer{Kind::good, {}}, replyTo10),
        std::pair(DDCAnswer{Kind::badChecksum, {}}, replyWithBadChecksum),
        std::pair(DDCAnswer{Kind::wrongSource, {}},
                  Bytes{0x50, 0x88, 0x02, 0x00, 0x10, 0x01, 0x12, 0x34, 0x56, 0x78, 0xAD}),
        std::pair(DDCAnswer{Kind::wrongLength, {}},
                  Bytes{0x6E, 0x80, 0x02, 0x00, 0x10, 0x01, 0x12, 0x34, 0x56, 0x78, 0xA5}),
        std::pair(DDCAnswer{Kind::wrongOpcode, {}},
                  Bytes{0x6E, 0x88, 0x03, 0x00, 0x10, 0x01, 0x12, 0x34, 0x56, 0x78, 0xAC}),
        std::pair(DDCAnswer{Kind::wrongCode, {}},
                  Bytes{0x6E, 0x88, 0x02, 0x00, 0xEF, 0x01, 0x12, 0x34, 0x56, 0x78, 0x52}),
        std::pair(DDCAnswer{Kind::bytes, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
                  Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11})));

TEST(I2COfAnAVService, FailsTheReadOfASilentMonitorNotTheWrite) {
    const ServicesOfAMac services(screen({{Kind::silent, {}}}));
    const auto service = services.open();
    EXPECT_EQ(write(service, getOf10), kIOReturnSuccess);
    EXPECT_THAT(read(service), failsWith(kIOReturnError));
    ASSERT_THAT(services.exchanges(), SizeIs(1));
    EXPECT_EQ(services.exchanges()[0].reply, Bytes());
}

TEST(I2COfAnAVService, AnswersAsUnsupportedWhatTheMonitorLacks) {
    const ServicesOfAMac services(screen());
    EXPECT_THAT(ask(services.open(), {0x82, 0x01, 0xF1, 0x4D}),
                brings({0x6E, 0x88, 0x02, 0x01, 0xF1, 0x00, 0x00, 0x00, 0x00, 0x00, 0x44}));
}

TEST(I2COfAnAVService, BringsTheAnswersInTheirOrderAndThenTheLastOne) {
    const ServicesOfAMac services(
        screen({{Kind::silent, {}}, {Kind::badChecksum, {}}, {Kind::good, {}}}));
    const auto service = services.open();
    EXPECT_THAT(ask(service, getOf10), failsWith(kIOReturnError));
    EXPECT_THAT(ask(service, getOf10), brings(replyWithBadChecksum));
    for (int later = 0; later < 3; ++later) {
        EXPECT_THAT(ask(service, getOf10), brings(replyTo10));
    }
}

TEST(I2COfAnAVService, TakesTheNextAnswerAtEachReadNotAtEachWrite) {
    const ServicesOfAMac services(screen({{Kind::badChecksum, {}}, {Kind::good, {}}}));
    const auto service = services.open();
    write(service, getOf10);
    write(service, getOf10);
    EXPECT_THAT(read(service), brings(replyWithBadChecksum));
    EXPECT_THAT(read(service), brings(replyTo10));
}

TEST(I2COfAnAVService, HasBadChecksumsUntilACleanRequestWhereTheMonitorNeedsOne) {
    auto described = screen();
    described.monitor.settlesAfterClean = true;
    const ServicesOfAMac services(described);
    const auto service = services.open();
    EXPECT_THAT(ask(service, getOf10), brings(replyWithBadChecksum));
    EXPECT_THAT(ask(service, getOf10), brings(replyWithBadChecksum));
    EXPECT_EQ(write(service, clean), kIOReturnSuccess);
    EXPECT_THAT(ask(service, getOf10), brings(replyTo10));
    EXPECT_THAT(ask(service, getOf10), brings(replyTo10)) << "it stays settled";
}

TEST(I2COfAnAVService, SettlesNothingByACleanRequestThatIsBadOrGoesElsewhere) {
    auto described = screen();
    described.monitor.settlesAfterClean = true;
    const ServicesOfAMac services(described);
    const auto service = services.open();
    write(service, {0x82, 0x01, 0x00, 0x00});
    write(service, clean, 0x36);
    EXPECT_THAT(ask(service, getOf10), brings(replyWithBadChecksum));
}

// Objects that are no AV service

TEST(NoAVService, GivesErrorsAndReachesNobody) {
    const ServicesOfAMac services(screen());
    const IOAVServiceRef service = CFSTR("text");
    const CopiedEDID copied(service);
    EXPECT_NE(copied.result, kIOReturnSuccess);
    EXPECT_TRUE(copied.isUntouched());
    EXPECT_NE(write(service, getOf10), kIOReturnSuccess);
    const Read read = av_service_test::read(service);
    EXPECT_NE(read.result, kIOReturnSuccess);
    EXPECT_THAT(read.buffer, Each(untouched));
    EXPECT_THAT(services.exchanges(), IsEmpty());
    EXPECT_EQ(services.held("CFData"), 0);
}

TEST(NoAVService, OpensOnAnIntelMac) {
    auto description = appleMac({screen()});
    description.chip = Chip::intel;
    description.graphics.framebuffers = 1;
    const Mac mac(description);
    for (const char* const name : {"AppleIntelFramebuffer", "display0"}) {
        const auto entries = entriesNamed(name);
        ASSERT_THAT(entries, SizeIs(1));
        EXPECT_EQ(IOAVServiceCreateWithService(kCFAllocatorDefault, entries[0]), nullptr);
    }
}

// Faults

TEST(FaultOfAnAVService, LetsTheOpeningFail) {
    const ServicesOfAMac services(screen(), {fault("IOAVServiceCreateWithService", 2)});
    EXPECT_NE(services.open(), nullptr);
    EXPECT_EQ(services.open(), nullptr);
    EXPECT_EQ(services.held("IOAVService"), 1);
    EXPECT_NE(services.open(), nullptr);
}

TEST(FaultOfAnAVService, LetsTheCopyOfTheEDIDFail) {
    const ServicesOfAMac services(
        screen(), {fault("IOAVServiceCopyEDID", 1), fault("IOAVServiceCopyEDID", 2, testError)});
    const auto service = services.open();
    const CopiedEDID first(service);
    EXPECT_EQ(first.result, kIOReturnError);
    EXPECT_TRUE(first.isUntouched());
    EXPECT_EQ(CopiedEDID(service).result, testError);
    EXPECT_EQ(services.held("CFData"), 0);
    EXPECT_EQ(CopiedEDID(service).result, kIOReturnSuccess);
}

TEST(FaultOfAnAVService, KeepsAWriteFromTheMonitor) {
    const ServicesOfAMac services(
        screen(), {fault("IOAVServiceWriteI2C", 1), fault("IOAVServiceWriteI2C", 2, testError)});
    const auto service = services.open();
    EXPECT_EQ(write(service, getOf10), kIOReturnError);
    EXPECT_EQ(write(service, getOf10), testError);
    EXPECT_THAT(services.exchanges(), IsEmpty());
    EXPECT_THAT(ask(service, getOf10), brings(replyTo10));
}

TEST(FaultOfAnAVService, KeepsAReadFromTheMonitor) {
    const ServicesOfAMac services(
        screen({{Kind::badChecksum, {}}, {Kind::good, {}}}),
        {fault("IOAVServiceReadI2C", 1), fault("IOAVServiceReadI2C", 2, testError)});
    const auto service = services.open();
    EXPECT_THAT(ask(service, getOf10), failsWith(kIOReturnError));
    EXPECT_THAT(read(service), failsWith(testError));
    EXPECT_THAT(read(service), brings(replyWithBadChecksum)) << "still its first answer";
}

// Traces

/// Each call with its arguments and its result.
std::vector<std::tuple<std::string, std::string, std::string>> tracedCalls(const Mac& mac) {
    std::vector<std::tuple<std::string, std::string, std::string>> traced;
    for (const auto& call : mac.trace.calls()) {
        traced.emplace_back(call.call, argumentsText(call), resultText(call));
    }
    return traced;
}

TEST(TraceOfAnAVService, ShowsTheProxyThatIsOpened) {
    ProxyDescription closed;
    closed.opens = false;
    ServicesOfAMac services({screen(), screenWithProxy(closed)});
    services.mac.trace.keepAll();
    services.open(0);
    services.open(1);
    const auto expectedProxy = [&](std::size_t proxy) {
        return fmt::format("proxy {:#x}", services.proxies[proxy]);
    };
    EXPECT_THAT(tracedCalls(services.mac),
                ElementsAre(std::tuple("IOAVServiceCreateWithService", expectedProxy(0), "ok"),
                            std::tuple("IOAVServiceCreateWithService", expectedProxy(1), "NULL")));
}

TEST(TraceOfAnAVService, ShowsTheDisplayWhoseEDIDIsCopied) {
    ServicesOfAMac services({screen(), screenWithProxy(proxyWhoseEDIDFails(kIOReturnNotFound))});
    const auto first = services.open(0);
    const auto second = services.open(1);
    services.mac.trace.keepOnly({"IOAVServiceCopyEDID"});
    CopiedEDID{first};
    CopiedEDID{second};
    CopiedEDID{CFSTR("text")};
    EXPECT_THAT(tracedCalls(services.mac),
                ElementsAre(std::tuple("IOAVServiceCopyEDID", "service of display 7", "0x0"),
                            std::tuple("IOAVServiceCopyEDID", "service of display 7", "0xe00002f0"),
                            std::tuple("IOAVServiceCopyEDID", "no service", "0xe00002c2")));
}

TEST(TraceOfAnAVService, ShowsTheBytesOfAWriteAndOfTheReplyToIt) {
    ServicesOfAMac services(screen({{Kind::good, {}}, {Kind::silent, {}}}));
    const auto service = services.open();
    services.mac.trace.keepAll();
    ask(service, getOf10);
    read(service, 4);
    EXPECT_THAT(
        tracedCalls(services.mac),
        ElementsAre(
            std::tuple("IOAVServiceWriteI2C",
                       "service of display 7, chip 0x37, address 0x51, bytes 82 01 10 AC", "0x0"),
            std::tuple("IOAVServiceReadI2C",
                       "service of display 7, chip 0x37, offset 0x51, size 11",
                       "0x0, bytes 6E 88 02 00 10 01 12 34 56 78 AD"),
            std::tuple("IOAVServiceReadI2C", "service of display 7, chip 0x37, offset 0x51, size 4",
                       "0xe00002bc")));
}

TEST(TraceOfAnAVService, ShowsWhatWentNowhere) {
    ServicesOfAMac services(screen());
    const auto service = services.open();
    services.mac.trace.keepAll();
    write(CFSTR("text"), {0xAA});
    write(service, {}, 0x36);
    EXPECT_THAT(
        tracedCalls(services.mac),
        ElementsAre(
            std::tuple("IOAVServiceWriteI2C", "no service, chip 0x37, address 0x51, bytes AA",
                       "0xe00002c2"),
            std::tuple("IOAVServiceWriteI2C",
                       "service of display 7, chip 0x36, address 0x51, bytes ", "0xe00002c0")));
}

TEST(TraceOfAnAVService, MarksTheCallsThatAFaultLetsFail) {
    ServicesOfAMac services(screen(), {fault("IOAVServiceWriteI2C", 1, testError)});
    const auto service = services.open();
    services.mac.trace.keepOnly({"IOAVServiceWriteI2C"});
    write(service, getOf10);
    write(service, getOf10);
    const auto calls = services.mac.trace.calls();
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_TRUE(calls[0].failed);
    EXPECT_EQ(calls[0].result, Hex{0x2A});
    EXPECT_FALSE(calls[1].failed);
}

}  // namespace av_service_test
}  // namespace simulated_mac
