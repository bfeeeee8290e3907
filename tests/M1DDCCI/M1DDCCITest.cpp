#include "plugin/M1DDCCI/M1DDCCI.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mach/mach_error.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <optional>

#include "plugin/Platform/IOObject.h"
#include "simulated_mac/machine/CallText.h"
#include "tests/support/PaneOnMac.h"

using namespace vorn;

using namespace std::chrono_literals;

namespace m1_ddcci_test {

using simulated_mac::Bytes;
using simulated_mac::DDCAnswer;
using simulated_mac::FaultDescription;
using test::Mac;
using test::ScreenDescription;
using test::Time;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;
using ::testing::Values;
using ::testing::WithParamInterface;
using Kind = DDCAnswer::Kind;

constexpr std::uint32_t confirmationCode = 0xF1;
constexpr std::uint32_t nothingRead = 65535;
/// The out parameter's value before a read.
constexpr std::uint32_t untouched = 99;

constexpr auto writeCall = "IOAVServiceWriteI2C";
constexpr auto readCall = "IOAVServiceReadI2C";

using Reply = std::array<std::uint8_t, M1DDCCI::replySize>;

/// The reply to a get of 0xF1: maximum 100, current value 50.
constexpr Reply goodReply = {0x6E, 0x88, 0x02, 0x00, 0xF1, 0x00,
                             0x00, 0x64, 0x00, 0x32, 0x13, 0x00};
constexpr auto goodReplyLine = "Get VCP: 0xF1, Reply Data:  6E 88 02 00 F1 00 00 64 00 32 13 00";
constexpr auto failedReadLine =
    "M1DDCCI isForceRunDDCCI : NO Read VCP : \"0xF1\" , I2C communication failure: "
    "(iokit/common) general error\n";
constexpr auto goodValuesLine =
    "M1DDCCI isForceRunDDCCI : NO Read VCP : \"0xF1\" Maximum : 0x64(100) , Current : 0x32(50)";

/// Twelve bytes of no monitor.
const Bytes noise = {0x3B, 0x91, 0xC4, 0x07, 0x5E, 0xF0, 0x1D, 0xA8, 0x62, 0x9F, 0x44, 0xE3};

/// A monitor that sends the good reply.
ScreenDescription monitor() {
    auto screen = test::monitorNamed("VORN K2790Z");
    screen.displayID = 7;
    screen.monitor.vcp[confirmationCode].maximum = 100;
    screen.monitor.vcp[confirmationCode].current = 50;
    return screen;
}

ScreenDescription monitorWith(std::uint16_t maximum, std::uint16_t current) {
    auto screen = monitor();
    screen.monitor.vcp[confirmationCode].maximum = maximum;
    screen.monitor.vcp[confirmationCode].current = current;
    return screen;
}

ScreenDescription monitorThatAnswers(std::vector<DDCAnswer> answers) {
    auto screen = monitor();
    screen.monitor.answers = std::move(answers);
    return screen;
}

FaultDescription fault(const std::string& call, std::uint64_t nth = 1) {
    return {call, nth, false, {}};
}

/// A transfer to or from the monitor as transfers() tells it.
std::string write(Time at, const std::string& bytes) {
    return fmt::format("{} us {} service of display 7, chip 0x37, address 0x51, bytes {}",
                       at.count(), writeCall, bytes);
}
std::string writeOfGet(Time at) {
    return write(at, "82 01 F1 4D");
}
std::string writeOfClean(Time at) {
    return write(at, "82 01 00 BC");
}
std::string readOfReply(Time at) {
    return fmt::format("{} us {} service of display 7, chip 0x37, offset 0x51, size 12", at.count(),
                       readCall);
}

std::vector<std::string> transfersOfARead() {
    return {writeOfGet(60ms), writeOfGet(120ms), readOfReply(180ms)};
}
std::vector<std::string> transfersOfAClean() {
    return {writeOfClean(60ms), writeOfClean(120ms), writeOfClean(180ms)};
}

/// An Apple-silicon Mac with one monitor and its AV service.
class M1DDCCIOnMac : public ::testing::Test {
  protected:
    void TearDown() override { EXPECT_THAT(mac->journal.misuses(), IsEmpty()); }

    void switchOn(ScreenDescription screen, std::vector<FaultDescription> faults = {}) {
        auto description = test::appleMacWith({std::move(screen)});
        description.faults = std::move(faults);
        mac.emplace(std::move(description));
        const IOObject proxy(
            mac->registry.handOut(mac->displays()[0]->proxies.at(0), "IOIteratorNext"));
        service =
            CFRef<IOAVServiceRef>(IOAVServiceCreateWithService(kCFAllocatorDefault, proxy.get()));
        ASSERT_TRUE(service);
        mac->trace.keepOnly({writeCall, readCall});
    }

    void read(std::uint32_t code = confirmationCode, std::uint32_t mode = 0, bool force = false) {
        status = M1DDCCI::readDDCCIWithAVService(service.get(), code, mode, force, &result);
    }
    void clean(bool force = false) {
        status = M1DDCCI::cleanDDCCIWithAVService(service.get(), force);
    }

    /// The traced calls: time, name, arguments.
    std::vector<std::string> transfers() const {
        std::vector<std::string> all;
        for (const auto& call : mac->trace.calls()) {
            all.push_back(
                fmt::format("{} us {} {}", call.time.count(), call.call, argumentsText(call)));
        }
        return all;
    }
    /// Their names alone.
    std::vector<std::string> calls() const { return test::namesOfCalls(*mac); }
    /// The requests that the monitor took off the bus, as it saw them.
    std::vector<Bytes> requests() const {
        std::vector<Bytes> all;
        for (const auto& exchange : mac->displays()[0]->monitor.exchanges()) {
            all.push_back(exchange.request);
        }
        return all;
    }

    void expectNothingKept() const {
        const std::map<std::pair<std::string, std::string>, std::int64_t> ownService = {
            {{"IOAVService", "IOAVServiceCreateWithService"}, 1}};
        EXPECT_EQ(mac->ledger.heldByCall(), ownService);
    }

    std::optional<Mac> mac;
    CFRef<IOAVServiceRef> service;
    std::int32_t status = 99;
    std::uint32_t result = untouched;
};

// A good read

class M1DDCCIRead : public M1DDCCIOnMac {};

TEST_F(M1DDCCIRead, BringsTheCurrentValue) {
    switchOn(monitor());
    read();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 50u);
}

TEST_F(M1DDCCIRead, WritesTheRequestTwiceAndReadsTwelveBytesEachAfterSixtyMilliseconds) {
    switchOn(monitor());
    read();
    EXPECT_EQ(transfers(), transfersOfARead());
}

TEST_F(M1DDCCIRead, CostsNothingBeyondItsThreePauses) {
    switchOn(monitor());
    read();
    EXPECT_EQ(mac->scheduler.now(), Time(180ms));
}

TEST_F(M1DDCCIRead, CallsThePlatformForItsPausesTransfersAndTwoLogLinesOnly) {
    switchOn(monitor());
    mac->trace.keepAll();
    read();
    EXPECT_THAT(calls(), ElementsAre("NSThread.sleep", writeCall, "NSThread.sleep", writeCall,
                                     "NSThread.sleep", readCall, "NSLog", "NSLog"));
}

TEST_F(M1DDCCIRead, ReachesTheMonitorWithTheHostsAddressInFront) {
    switchOn(monitor());
    read();
    EXPECT_THAT(requests(), ElementsAre(Bytes{0x51, 0x82, 0x01, 0xF1, 0x4D},
                                        Bytes{0x51, 0x82, 0x01, 0xF1, 0x4D}));
}

TEST_F(M1DDCCIRead, LogsTheReplyAndThenItsValues) {
    switchOn(monitor());
    read();
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre(goodReplyLine, goodValuesLine));
}

TEST_F(M1DDCCIRead, LogsSmallValuesWithTwoDigitsAndLargeOnesWithFour) {
    switchOn(monitorWith(0xFEDC, 0x0005));
    read();
    EXPECT_THAT(mac->journal.systemLog(),
                Contains("M1DDCCI isForceRunDDCCI : NO Read VCP : \"0xF1\" Maximum : "
                         "0xFEDC(65244) , Current : 0x05(5)"));
}

TEST_F(M1DDCCIRead, OfACodeBelow16LogsItWithTwoDigits) {
    auto screen = monitor();
    screen.monitor.vcp[0x02].maximum = 2;
    screen.monitor.vcp[0x02].current = 1;
    switchOn(screen);
    read(0x02);
    EXPECT_EQ(result, 1u);
    EXPECT_THAT(requests(), Each(Bytes{0x51, 0x82, 0x01, 0x02, 0xBE}));
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre("Get VCP: 0x02, Reply Data:  6E 88 02 00 02 00 00 02 00 01 B5 00",
                            "M1DDCCI isForceRunDDCCI : NO Read VCP : \"0x02\" Maximum : 0x02(2) "
                            ", Current : 0x01(1)"));
}

TEST_F(M1DDCCIRead, OfACodeThatTheMonitorLacksIsZero) {
    switchOn(monitor());
    read(0x12);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 0u);
    EXPECT_THAT(mac->journal.systemLog(),
                Contains("Get VCP: 0x12, Reply Data:  6E 88 02 01 12 00 00 00 00 00 A7 00"));
}

TEST_F(M1DDCCIRead, OfAValueThatSaysNothingWasReadIsAGoodRead) {
    switchOn(monitorWith(0, 0xFFFF));
    read();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, nothingRead);
}

TEST_F(M1DDCCIRead, KeepsNothing) {
    switchOn(monitor());
    read();
    expectNothingKept();
}

// Codes above 0xFF

class M1DDCCICode : public M1DDCCIOnMac, public WithParamInterface<std::uint32_t> {};

TEST_P(M1DDCCICode, CountsByItsLowEightBits) {
    switchOn(monitor());
    read(GetParam());
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 50u);
    EXPECT_EQ(transfers(), transfersOfARead());
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre(goodReplyLine, goodValuesLine));
}

TEST_P(M1DDCCICode, IsLoggedByItsLowEightBitsWhenTheReadFails) {
    switchOn(monitor(), {fault(readCall)});
    read(GetParam());
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre(failedReadLine));
}

INSTANTIATE_TEST_SUITE_P(Of, M1DDCCICode, Values(0x1F1u, 0x6EF1u, 0xFFFFFFF1u));

// Read modes

struct ModeAndValue {
    std::uint32_t mode;
    std::uint32_t value;

    friend void PrintTo(const ModeAndValue& of, std::ostream* out) { *out << of.mode; }
};

class M1DDCCIReadMode : public M1DDCCIOnMac, public WithParamInterface<ModeAndValue> {};

TEST_P(M1DDCCIReadMode, ChoosesWhatIsRead) {
    switchOn(monitorWith(0xFEDC, 0x89AB));
    read(confirmationCode, GetParam().mode);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, GetParam().value);
}

TEST_P(M1DDCCIReadMode, ChangesNothingOnTheBusOrInTheLog) {
    switchOn(monitor());
    read(confirmationCode, GetParam().mode);
    EXPECT_EQ(transfers(), transfersOfARead());
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre(goodReplyLine, goodValuesLine));
}

TEST_P(M1DDCCIReadMode, LeavesTheOutLocationOfABadReply) {
    switchOn(monitorThatAnswers({{Kind::badChecksum, {}}}));
    read(confirmationCode, GetParam().mode);
    EXPECT_EQ(status, 7);
    EXPECT_EQ(result, untouched);
}

TEST_P(M1DDCCIReadMode, StoresTheSameAfterAFailedWrite) {
    switchOn(monitor(), {fault(writeCall)});
    read(confirmationCode, GetParam().mode);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
}

INSTANTIATE_TEST_SUITE_P(Mode, M1DDCCIReadMode,
                         Values(ModeAndValue{0, 0x89AB}, ModeAndValue{1, 0xFEDC},
                                ModeAndValue{2, 0xFEDC89AB}, ModeAndValue{3, 0xFEDC},
                                ModeAndValue{0x102, 0xFEDC}, ModeAndValue{0xFFFFFFFF, 0xFEDC}));

// Failures of a read

TEST_F(M1DDCCIRead, WhoseFirstWriteFailsLeaves65535AfterSixtyMilliseconds) {
    switchOn(monitor(), {fault(writeCall, 1)});
    read();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
    EXPECT_THAT(transfers(), ElementsAre(writeOfGet(60ms)));
    EXPECT_EQ(mac->scheduler.now(), Time(60ms));
    EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(M1DDCCIRead, WhoseSecondWriteFailsLeaves65535After120Milliseconds) {
    switchOn(monitor(), {fault(writeCall, 2)});
    read();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
    EXPECT_THAT(transfers(), ElementsAre(writeOfGet(60ms), writeOfGet(120ms)));
    EXPECT_EQ(mac->scheduler.now(), Time(120ms));
    EXPECT_THAT(requests(), SizeIs(1));
}

TEST_F(M1DDCCIRead, WhoseReplyCannotBeReadLeavesTheOutLocation) {
    switchOn(monitor(), {fault(readCall)});
    read();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, untouched);
    EXPECT_EQ(transfers(), transfersOfARead());
    EXPECT_EQ(mac->scheduler.now(), Time(180ms));
}

TEST_F(M1DDCCIRead, OfASilentMonitorFailsAndLeavesTheOutLocation) {
    switchOn(monitorThatAnswers({{Kind::silent, {}}}));
    read();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, untouched);
    EXPECT_EQ(mac->scheduler.now(), Time(180ms));
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre(failedReadLine));
}

TEST_F(M1DDCCIRead, AfterAFailedOneBringsTheValue) {
    switchOn(monitor(), {fault(writeCall)});
    read();
    ASSERT_EQ(status, -1);
    read();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 50u);
}

TEST_F(M1DDCCIRead, ThatFailsKeepsNothing) {
    switchOn(monitorThatAnswers({{Kind::badChecksum, {}}}),
             {fault(writeCall, 1), fault(writeCall, 3), fault(readCall, 1)});
    // The first write, the second one, the read, the check of the reply.
    for (const std::int32_t expected : {-1, -1, -1, 7}) {
        read();
        EXPECT_EQ(status, expected);
    }
    expectNothingKept();
}

// What the monitor may send

struct BadReply {
    const char* name;
    DDCAnswer answer;

    friend void PrintTo(const BadReply& reply, std::ostream* out) { *out << reply.name; }
};

class M1DDCCIBadReply : public M1DDCCIOnMac, public WithParamInterface<BadReply> {};

TEST_P(M1DDCCIBadReply, HasItsOwnStatusAndLeavesTheOutLocation) {
    switchOn(monitorThatAnswers({GetParam().answer}));
    read();
    EXPECT_EQ(status, 7);
    EXPECT_EQ(result, untouched);
}

TEST_P(M1DDCCIBadReply, IsReadOnceAndNotAskedForAgain) {
    switchOn(monitorThatAnswers({GetParam().answer}));
    read();
    EXPECT_EQ(transfers(), transfersOfARead());
    EXPECT_EQ(mac->scheduler.now(), Time(180ms));
}

TEST_P(M1DDCCIBadReply, IsLoggedWithoutValues) {
    switchOn(monitorThatAnswers({GetParam().answer}));
    read();
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre(AllOf(StartsWith("Get VCP: 0xF1, Reply Data:  "),
                                  Not(StartsWith(goodReplyLine)))));
}

INSTANTIATE_TEST_SUITE_P(Of, M1DDCCIBadReply,
                         Values(BadReply{"WrongSource", {Kind::wrongSource, {}}},
                                BadReply{"WrongOpcode", {Kind::wrongOpcode, {}}},
                                BadReply{"WrongCode", {Kind::wrongCode, {}}},
                                BadReply{"BadChecksum", {Kind::badChecksum, {}}},
                                BadReply{"Noise", {Kind::bytes, noise}},
                                BadReply{"TwoBytes", {Kind::bytes, {0x6E, 0x88}}},
                                BadReply{"NoBytes", {Kind::bytes, {}}}));

TEST_F(M1DDCCIRead, TakesAReplyOfAnotherLengthWhoseChecksumIsRight) {
    switchOn(monitorThatAnswers({{Kind::wrongLength, {}}}));
    read();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 50u);
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre("Get VCP: 0xF1, Reply Data:  6E 80 02 00 F1 00 00 64 00 32 1B 00",
                            goodValuesLine));
}

TEST_F(M1DDCCIRead, LogsNoiseByteForByte) {
    switchOn(monitorThatAnswers({{Kind::bytes, noise}}));
    read();
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre("Get VCP: 0xF1, Reply Data:  3B 91 C4 07 5E F0 1D A8 62 9F 44 E3"));
}

TEST_F(M1DDCCIRead, TakesAReplyWhateverStandsInItsTwelfthByte) {
    Bytes bytes(goodReply.begin(), goodReply.end());
    bytes.back() = 0xA5;
    switchOn(monitorThatAnswers({{Kind::bytes, bytes}}));
    read();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 50u);
    EXPECT_THAT(mac->journal.systemLog(),
                Contains("Get VCP: 0xF1, Reply Data:  6E 88 02 00 F1 00 00 64 00 32 13 A5"));
}

TEST_F(M1DDCCIRead, TakesTwelveBytesOfALongerReply) {
    Bytes bytes(goodReply.begin(), goodReply.end());
    bytes.insert(bytes.end(), 200, 0xEE);
    switchOn(monitorThatAnswers({{Kind::bytes, bytes}}));
    read();
    EXPECT_EQ(status, 0);
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre(goodReplyLine, goodValuesLine));
}

TEST_F(M1DDCCIRead, FillsAShortReplyUpWithZerosNotWithThatOfTheReadBefore) {
    switchOn(monitorThatAnswers({{Kind::good, {}}, {Kind::bytes, {0x6E, 0x88}}}));
    read();
    ASSERT_EQ(status, 0);
    read();
    EXPECT_EQ(status, 7);
    EXPECT_EQ(mac->journal.systemLog().back(),
              "Get VCP: 0xF1, Reply Data:  6E 88 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(M1DDCCIRead, DoesNotTakeTheReplyToAnotherCode) {
    Bytes toAnother(goodReply.begin(), goodReply.end());
    toAnother[4] = 0x10;
    toAnother[10] ^= 0xF1 ^ 0x10;
    switchOn(monitorThatAnswers({{Kind::bytes, toAnother}}));
    read();
    EXPECT_EQ(status, 7);
    EXPECT_EQ(result, untouched);
    read(0x10);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 50u);
}

// The clean request

class M1DDCCIClean : public M1DDCCIOnMac {};

TEST_F(M1DDCCIClean, WritesAGetOfCodeZeroThreeTimesEachAfterSixtyMilliseconds) {
    switchOn(monitor());
    clean();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(transfers(), transfersOfAClean());
    EXPECT_EQ(mac->scheduler.now(), Time(180ms));
}

TEST_F(M1DDCCIClean, CallsThePlatformForItsPausesAndWritesOnly) {
    switchOn(monitor());
    mac->trace.keepAll();
    clean();
    EXPECT_THAT(calls(), ElementsAre("NSThread.sleep", writeCall, "NSThread.sleep", writeCall,
                                     "NSThread.sleep", writeCall));
    EXPECT_THAT(mac->journal.systemLog(), IsEmpty());
}

TEST_F(M1DDCCIClean, ReachesTheMonitorThreeTimesAndTakesNoReply) {
    switchOn(monitor());
    clean();
    EXPECT_THAT(requests(), SizeIs(3));
    EXPECT_THAT(requests(), Each(Bytes{0x51, 0x82, 0x01, 0x00, 0xBC}));
    for (const auto& exchange : mac->displays()[0]->monitor.exchanges()) {
        EXPECT_THAT(exchange.reply, IsEmpty());
    }
}

TEST_F(M1DDCCIClean, SettlesAMonitorThatWaitsForIt) {
    auto screen = monitor();
    screen.monitor.settlesAfterClean = true;
    switchOn(screen);
    read();
    EXPECT_EQ(status, 7);
    clean();
    EXPECT_EQ(status, 0);
    read();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 50u);
}

TEST_F(M1DDCCIClean, OfASilentMonitorSucceeds) {
    switchOn(monitorThatAnswers({{Kind::silent, {}}}));
    clean();
    EXPECT_EQ(status, 0);
}

TEST_F(M1DDCCIClean, KeepsNothing) {
    switchOn(monitor(), {fault(writeCall, 4)});
    clean();
    ASSERT_EQ(status, 0);
    clean();
    ASSERT_EQ(status, -1);
    expectNothingKept();
}

class M1DDCCICleanFailure : public M1DDCCIOnMac, public WithParamInterface<unsigned> {};

TEST_P(M1DDCCICleanFailure, OfAWriteEndsIt) {
    const unsigned nth = GetParam();
    switchOn(monitor(), {fault(writeCall, nth)});
    clean();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(mac->scheduler.now(), Time(nth * 60ms));
    EXPECT_THAT(transfers(), SizeIs(nth));
    EXPECT_THAT(requests(), SizeIs(nth - 1));
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre("M1DDCCI isForceRunDDCCI : NO, I2C communication failure: "
                            "(iokit/common) general error\n"));
}

INSTANTIATE_TEST_SUITE_P(Nth, M1DDCCICleanFailure, Values(1u, 2u, 3u));

// No service

class M1DDCCIWithoutService : public M1DDCCIOnMac {
  protected:
    void SetUp() override {
        switchOn(monitor());
        service = {};
        mac->trace.keepAll();
    }
    void TearDown() override {
        EXPECT_EQ(status, -1);
        EXPECT_THAT(calls(), ElementsAre("NSLog"));
        EXPECT_EQ(mac->scheduler.now(), Time(0));
        EXPECT_THAT(requests(), IsEmpty());
        EXPECT_THAT(mac->ledger.heldByCall(), IsEmpty());
        M1DDCCIOnMac::TearDown();
    }
};

TEST_F(M1DDCCIWithoutService, AReadFailsAtOnceAndLeavesTheOutLocation) {
    read();
    EXPECT_EQ(result, untouched);
}

TEST_F(M1DDCCIWithoutService, AReadOfACodeAbove255LogsItsLowEightBits) {
    read(0xABCD0A);
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre("M1DDCCI isForceRunDDCCI : NO Read VCP : \"0x0A\" Could not find a "
                            "suitable external display.\n"));
}

TEST_F(M1DDCCIWithoutService, ACleanRequestFailsAtOnce) {
    clean();
}

// The force flag

class M1DDCCIForceFlag : public M1DDCCIOnMac, public WithParamInterface<bool> {
  protected:
    void readForced() { read(confirmationCode, 0, GetParam()); }
    void cleanForced() { clean(GetParam()); }

    static constexpr auto failureLine =
        "M1DDCCI isForceRunDDCCI : {} Read VCP : \"0xF1\" , I2C communication failure: "
        "(iokit/common) general error\n";

    /// A log line with the flag's word in the place of "{}".
    static std::string line(fmt::string_view text) {
        return fmt::format(fmt::runtime(text), GetParam() ? "YES" : "NO");
    }
};

TEST_P(M1DDCCIForceFlag, IsInTheLineOfTheValues) {
    switchOn(monitor());
    readForced();
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre(goodReplyLine,
                            line("M1DDCCI isForceRunDDCCI : {} Read VCP : \"0xF1\" Maximum : "
                                 "0x64(100) , Current : 0x32(50)")));
}

TEST_P(M1DDCCIForceFlag, IsInTheLineOfAReadWithoutAService) {
    switchOn(monitor());
    service = {};
    readForced();
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre(line("M1DDCCI isForceRunDDCCI : {} Read VCP : \"0xF1\" Could not find "
                                 "a suitable external display.\n")));
}

TEST_P(M1DDCCIForceFlag, IsInTheLineOfAFirstWriteThatFails) {
    switchOn(monitor(), {fault(writeCall, 1)});
    readForced();
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre(line(failureLine)));
}

TEST_P(M1DDCCIForceFlag, IsInTheLineOfASecondWriteThatFails) {
    switchOn(monitor(), {fault(writeCall, 2)});
    readForced();
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre(line(failureLine)));
}

TEST_P(M1DDCCIForceFlag, IsInTheLineOfAReplyThatCannotBeRead) {
    switchOn(monitor(), {fault(readCall)});
    readForced();
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre(line(failureLine)));
}

TEST_P(M1DDCCIForceFlag, IsNotInTheLineOfABadReply) {
    switchOn(monitorThatAnswers({{Kind::badChecksum, {}}}));
    readForced();
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre("Get VCP: 0xF1, Reply Data:  6E 88 02 00 F1 00 00 64 00 32 EC 00"));
}

TEST_P(M1DDCCIForceFlag, IsInTheLineOfACleanRequestWithoutAService) {
    switchOn(monitor());
    service = {};
    cleanForced();
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre(line("M1DDCCI cleanDDCCIWithAVService : {} Could not find a suitable "
                                 "external display.\n")));
}

TEST_P(M1DDCCIForceFlag, IsInTheLineOfACleanRequestThatFails) {
    switchOn(monitor(), {fault(writeCall)});
    cleanForced();
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre(line("M1DDCCI isForceRunDDCCI : {}, I2C communication failure: "
                                 "(iokit/common) general error\n")));
}

TEST_P(M1DDCCIForceFlag, ChangesNothingElseOfARead) {
    switchOn(monitor());
    readForced();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 50u);
    EXPECT_EQ(transfers(), transfersOfARead());
}

TEST_P(M1DDCCIForceFlag, ChangesNothingElseOfAFailedRead) {
    switchOn(monitor(), {fault(writeCall, 2)});
    readForced();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
    EXPECT_THAT(transfers(), ElementsAre(writeOfGet(60ms), writeOfGet(120ms)));
}

TEST_P(M1DDCCIForceFlag, ChangesNothingElseOfACleanRequest) {
    switchOn(monitor());
    cleanForced();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(transfers(), transfersOfAClean());
}

INSTANTIATE_TEST_SUITE_P(Flag, M1DDCCIForceFlag, Values(false, true));

// The error in the line of a failure

struct ErrorAndText {
    IOReturn error;
    const char* text;

    friend void PrintTo(const ErrorAndText& of, std::ostream* out) {
        *out << fmt::format("{:#x}", static_cast<std::uint32_t>(of.error));
    }
};

class M1DDCCIErrorText : public M1DDCCIOnMac, public WithParamInterface<ErrorAndText> {
  protected:
    void switchOnFailing(const std::string& call) {
        switchOn(monitor(), {{call, 1, false, GetParam().error}});
    }
    static std::string readLine() {
        return fmt::format(
            "M1DDCCI isForceRunDDCCI : NO Read VCP : \"0xF1\" , I2C communication failure: {}\n",
            GetParam().text);
    }
};

TEST_P(M1DDCCIErrorText, StandsInTheLineOfAFailedWrite) {
    switchOnFailing(writeCall);
    read();
    EXPECT_EQ(status, -1);
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre(readLine()));
}

TEST_P(M1DDCCIErrorText, StandsInTheLineOfAFailedRead) {
    switchOnFailing(readCall);
    read();
    EXPECT_EQ(status, -1);
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre(readLine()));
}

TEST_P(M1DDCCIErrorText, StandsInTheLineOfAFailedCleanRequest) {
    switchOnFailing(writeCall);
    clean();
    EXPECT_EQ(status, -1);
    EXPECT_THAT(
        mac->journal.systemLog(),
        ElementsAre(fmt::format("M1DDCCI isForceRunDDCCI : NO, I2C communication failure: {}\n",
                                GetParam().text)));
}

INSTANTIATE_TEST_SUITE_P(
    Of, M1DDCCIErrorText,
    Values(ErrorAndText{kIOReturnError, "(iokit/common) general error"},
           ErrorAndText{kIOReturnNoDevice, "(iokit/common) no such device"},
           ErrorAndText{kIOReturnUnsupported, "(iokit/common) unsupported function"},
           ErrorAndText{kIOReturnNotFound, "(iokit/common) data was not found"},
           // A positive number is an error too, whatever the platform's text for it.
           ErrorAndText{0x1234, mach_error_string(0x1234)}));

// The check of a reply by itself

bool isGood(const Reply& reply, std::uint8_t code = confirmationCode) {
    return M1DDCCI::checkChecksum(reply.data(), code);
}

/// The good reply with another byte.
Reply altered(std::size_t at, unsigned byte) {
    Reply reply = goodReply;
    reply[at] = static_cast<std::uint8_t>(byte);
    return reply;
}

/// The good reply with another byte and the checksum that belongs to it.
Reply alteredWithChecksum(std::size_t at, unsigned byte) {
    Reply reply = altered(at, byte);
    reply[10] = static_cast<std::uint8_t>(goodReply[10] ^ goodReply[at] ^ byte);
    return reply;
}

/// All values that the good reply doesn't have there.
std::vector<unsigned> otherValues(std::size_t at) {
    std::vector<unsigned> values;
    for (unsigned value = 0; value < 256; ++value) {
        if (value != goodReply[at]) values.push_back(value);
    }
    return values;
}

TEST(M1DDCCIReply, ThatIsGoodPasses) {
    EXPECT_TRUE(isGood(goodReply));
}

TEST(M1DDCCIReply, FromAnotherSourceFails) {
    // The checksum doesn't cover the source.
    for (const unsigned source : otherValues(0)) EXPECT_FALSE(isGood(altered(0, source)));
}

TEST(M1DDCCIReply, OfAnotherOpcodeFailsThoughItsChecksumIsRight) {
    for (const unsigned opcode : otherValues(2)) {
        EXPECT_FALSE(isGood(alteredWithChecksum(2, opcode))) << opcode;
    }
}

TEST(M1DDCCIReply, ThatEchoesAnotherCodeFailsThoughItsChecksumIsRight) {
    for (const unsigned code : otherValues(4)) {
        EXPECT_FALSE(isGood(alteredWithChecksum(4, code))) << code;
    }
}

TEST(M1DDCCIReply, ToEveryCodePassesForThatCode) {
    for (unsigned code = 0; code < 256; ++code) {
        EXPECT_TRUE(isGood(alteredWithChecksum(4, code), static_cast<std::uint8_t>(code))) << code;
    }
}

TEST(M1DDCCIReply, WithAnotherFourthByteAloneFails) {
    for (const unsigned byte : otherValues(3)) EXPECT_FALSE(isGood(altered(3, byte))) << byte;
}

TEST(M1DDCCIReply, WithOneWrongBitInItsFirstElevenBytesFails) {
    for (std::size_t at = 0; at < 11; ++at) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            EXPECT_FALSE(isGood(altered(at, goodReply[at] ^ (1u << bit)))) << at << ' ' << bit;
        }
    }
}

TEST(M1DDCCIReply, PassesWhateverItsTwelfthByteIs) {
    for (unsigned byte = 0; byte < 256; ++byte) EXPECT_TRUE(isGood(altered(11, byte))) << byte;
}

TEST(M1DDCCIReply, PassesWithAnyLengthResultTypeAndValuesThatItsChecksumCovers) {
    for (const std::size_t at : {1u, 3u, 5u, 6u, 7u, 8u, 9u}) {
        for (const unsigned byte : otherValues(at)) {
            EXPECT_TRUE(isGood(alteredWithChecksum(at, byte))) << at << ' ' << byte;
        }
    }
}

TEST(M1DDCCIReply, OfTwelveEqualBytesFailsForEveryCode) {
    for (const unsigned byte : {0x00u, 0x02u, 0x6Eu, 0xFFu}) {
        Reply reply;
        reply.fill(static_cast<std::uint8_t>(byte));
        for (unsigned code = 0; code < 256; ++code) {
            EXPECT_FALSE(isGood(reply, static_cast<std::uint8_t>(code)));
        }
    }
}

TEST(M1DDCCIReply, OfNoiseFailsForEveryCode) {
    Reply reply;
    std::copy(noise.begin(), noise.end(), reply.begin());
    for (unsigned code = 0; code < 256; ++code) {
        EXPECT_FALSE(isGood(reply, static_cast<std::uint8_t>(code)));
    }
}

class M1DDCCIReplyLog : public M1DDCCIOnMac {
  protected:
    void SetUp() override { switchOn(monitor()); }
};

TEST_F(M1DDCCIReplyLog, ShowsTheCodeAndTwelveBytes) {
    const Reply reply = {0, 1, 2, 3, 4, 5, 0xA, 0x10, 0x7F, 0x80, 0xFE, 0xFF};
    M1DDCCI::printReplyBytes(reply.data(), 0x0B);
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre("Get VCP: 0x0B, Reply Data:  00 01 02 03 04 05 0A 10 7F 80 FE FF"));
}

TEST_F(M1DDCCIReplyLog, IsWrittenOnceByACheckThatPasses) {
    EXPECT_TRUE(isGood(goodReply));
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre(goodReplyLine));
}

TEST_F(M1DDCCIReplyLog, IsWrittenOnceByACheckThatFailsAtTheFirstByte) {
    EXPECT_FALSE(isGood(altered(0, 0)));
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre("Get VCP: 0xF1, Reply Data:  00 88 02 00 F1 00 00 64 00 32 13 00"));
}

TEST_F(M1DDCCIReplyLog, ShowsTheCodeThatWasAskedForNotTheEcho) {
    EXPECT_FALSE(isGood(goodReply, 0x10));
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre("Get VCP: 0x10, Reply Data:  6E 88 02 00 F1 00 00 64 00 32 13 00"));
}

}  // namespace m1_ddcci_test
