#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "displaycheck/host/CapturedOutput.h"
#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/Platform/IOAVService.h"
#include "simulated_mac/platform/CFReferences.h"
#include "tests/support/PaneOnMac.h"

using namespace std::chrono_literals;

namespace ddc_ctl_read_write_test {

using test::Mac;
using test::MacDescription;
using test::ScreenDescription;
using test::Time;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr std::uint64_t usualDelay = 50;
constexpr std::uint64_t amdDelay = 100'000'000;
constexpr std::uint32_t nothingRead = 65535;
constexpr std::uint32_t confirmationCode = 0xF1;

constexpr auto amdPath = "IOService:/AppleACPIPlatformExpert/PCI0@0/AMDGraphics55@2";
constexpr auto lowerCaseAMDPath = "IOService:/AppleACPIPlatformExpert/PCI0@0/amdgraphics@2";

ScreenDescription monitor(std::uint16_t value = 0x4000) {
    return test::answeringMonitor("VORN K2790Z", value);
}

ScreenDescription monitorOnPath(const std::string& path) {
    auto screen = monitor();
    screen.framebuffer.path = path;
    return screen;
}

class ReadOverFramebuffer : public ::testing::Test {
  protected:
    void switchOn(MacDescription description) {
        mac.emplace(std::move(description));
        mac->trace.keepOnly({"IOI2CSendRequest"});
        controller.emplace();
        display.screenNumber = mac->displays()[0]->displayID;
        display.name = mac->displays()[0]->localizedName;
    }
    void switchOn(ScreenDescription screen) { switchOn(test::macWith({std::move(screen)})); }

    template <class Work>
    void printing(Work work) {
        const displaycheck::CapturedOutput output;
        work();
        printed = output.text();
    }
    /// The pane's way of reading.
    void read() {
        printing([&] { status = controller->Get(confirmationCode, display, &result); });
    }
    /// Reading with every parameter chosen by the caller.
    void read(std::uint32_t delay, bool current) {
        printing(
            [&] { status = controller->Get(&display, confirmationCode, delay, current, &result); });
    }
    void changeDelay() { controller->ChangeMinReplyDelay(display.screenNumber); }

    /// The minimum reply delays of all requests so far.
    std::vector<std::int64_t> delays() const {
        std::vector<std::int64_t> all;
        for (const auto& call : mac->trace.calls()) {
            all.push_back(std::get<std::int64_t>(call.argument("delay").value));
        }
        return all;
    }

    std::optional<Mac> mac;
    std::optional<DDCCtl> controller;
    displayInfo display;
    std::int32_t status = 99;
    std::uint32_t result = 99;
    std::string printed;
};

TEST_F(ReadOverFramebuffer, BringsTheCurrentValue) {
    switchOn(monitor(0x4321));
    read();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 0x4321u);
}

TEST_F(ReadOverFramebuffer, OfASilentMonitorHasNoValue) {
    switchOn(test::silentMonitor("VORN K2790Z"));
    read();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
    EXPECT_EQ(mac->scheduler.now(), Time(4s));
}

TEST_F(ReadOverFramebuffer, OfASilentMonitorLeaves65535AlsoWithEveryChoiceGiven) {
    switchOn(test::silentMonitor("VORN K2790Z"));
    read(50, true);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
}

TEST_F(ReadOverFramebuffer, OfAValueThatSaysNothingWasReadCountsAsNone) {
    switchOn(monitor(0xFFFF));
    read();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
    read(50, true);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, nothingRead);
}

TEST_F(ReadOverFramebuffer, OfTheValueZeroIsAValue) {
    switchOn(monitor(0));
    read();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 0u);
}

TEST_F(ReadOverFramebuffer, GivesTheValueAlone) {
    switchOn(monitor(0x4321));
    printing([&] { result = controller->Get(&display, confirmationCode); });
    EXPECT_EQ(result, 0x4321u);
}

TEST_F(ReadOverFramebuffer, GivesTheValueAloneAs65535WhenThereIsNone) {
    switchOn(test::silentMonitor("VORN K2790Z"));
    printing([&] { result = controller->Get(&display, confirmationCode); });
    EXPECT_EQ(result, nothingRead);
}

TEST_F(ReadOverFramebuffer, BringsTheCurrentValueWhateverTheFlagSays) {
    switchOn(monitor(0x4321));
    read(50, false);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 0x4321u);
}

TEST_F(ReadOverFramebuffer, AlwaysPrintsItsPackets) {
    switchOn(monitor());
    read();
    EXPECT_THAT(printed, HasSubstr("minReplyDelay = 50\n"
                                   "Check DDCRead (send) 6E 51 82 01 F1 4D \n"
                                   "Check DDCRead (reply)6E 88 02 00 F1 00 FF FF 40 00 05 , "
                                   "chksum: 05\n"));
    EXPECT_THAT(mac->journal.systemLog(), IsEmpty());
}

TEST_F(ReadOverFramebuffer, OfADisplayWithoutAFramebufferHasNoValue) {
    auto screen = monitor();
    screen.framebuffer.present = false;
    switchOn(screen);
    read();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
}

TEST_F(ReadOverFramebuffer, AnAVServiceOfTheRecordIsNotUsed) {
    switchOn(monitor(0x4321));
    mac->trace.keepOnly({"IOAVServiceWriteI2C", "IOAVServiceReadI2C"});
    display.arm64avService = &display;
    read();
    EXPECT_EQ(status, 0);
    EXPECT_THAT(mac->trace.calls(), IsEmpty());
}

TEST_F(ReadOverFramebuffer, UsesTheDelayThatStoodBeforeAndTheChangedOneNextTime) {
    switchOn(monitorOnPath(lowerCaseAMDPath));
    read();
    EXPECT_EQ(DDCMinReplyDelay, amdDelay);
    read();
    EXPECT_THAT(delays(), ElementsAre(50, 100'000'000));
}

TEST_F(ReadOverFramebuffer, ChoosesTheDelayOfTheNextReadBeforeItSends) {
    switchOn(monitor());
    mac->trace.keepOnly({"IORegistryEntryCopyPath", "IOI2CSendRequest"});
    read();
    EXPECT_THAT(test::namesOfCalls(*mac),
                ElementsAre("IORegistryEntryCopyPath", "IOI2CSendRequest"));
}

TEST_F(ReadOverFramebuffer, OnOtherGraphicsKeepsTheUsualDelay) {
    switchOn(monitor());
    read();
    read();
    EXPECT_THAT(delays(), ElementsAre(50, 50));
}

TEST_F(ReadOverFramebuffer, UsesAGivenDelayAndStillChoosesThatOfTheNext) {
    switchOn(monitorOnPath(amdPath));
    read(7, true);
    EXPECT_THAT(delays(), ElementsAre(7));
    EXPECT_EQ(DDCMinReplyDelay, amdDelay);
}

TEST_F(ReadOverFramebuffer, OnAMDGraphicsTakesThePathElementInAnyCase) {
    switchOn(monitorOnPath("IOService:/PCI0@0/aMdGPU@0"));
    changeDelay();
    EXPECT_EQ(DDCMinReplyDelay, amdDelay);
}

TEST_F(ReadOverFramebuffer, ByADriverOfThatNameIsOnAMDGraphics) {
    auto description = test::macWith({monitor()});
    description.graphics.driver = "AMDFramebufferVIB";
    switchOn(description);
    changeDelay();
    EXPECT_EQ(DDCMinReplyDelay, amdDelay);
}

TEST_F(ReadOverFramebuffer, WithThoseLettersInsideAPathElementIsNotOnAMDGraphics) {
    switchOn(monitorOnPath("IOService:/PCI0@0/GPU-AMD@0"));
    changeDelay();
    EXPECT_EQ(DDCMinReplyDelay, usualDelay);
}

TEST_F(ReadOverFramebuffer, OnOtherGraphicsSetsTheUsualDelayAgain) {
    switchOn(monitor());
    DDCMinReplyDelay = amdDelay;
    changeDelay();
    EXPECT_EQ(DDCMinReplyDelay, usualDelay);
}

TEST_F(ReadOverFramebuffer, WithoutAnIOServiceLeavesTheDelay) {
    auto screen = monitor();
    screen.framebuffer.hasServicePort = false;
    switchOn(screen);
    mac->trace.keepOnly({"IORegistryEntryCopyPath"});
    for (const std::uint64_t delay : {amdDelay, std::uint64_t{123}}) {
        DDCMinReplyDelay = delay;
        changeDelay();
        EXPECT_EQ(DDCMinReplyDelay, delay);
    }
    EXPECT_THAT(mac->trace.calls(), IsEmpty());
}

TEST_F(ReadOverFramebuffer, WhenThePathCannotBeReadTheUsualDelayIsSet) {
    auto description = test::macWith({monitorOnPath(amdPath)});
    description.faults = {{"IORegistryEntryCopyPath", 1, false, {}}};
    switchOn(description);
    DDCMinReplyDelay = amdDelay;
    changeDelay();
    EXPECT_EQ(DDCMinReplyDelay, usualDelay);
    changeDelay();
    EXPECT_EQ(DDCMinReplyDelay, amdDelay);
}

TEST_F(ReadOverFramebuffer, ChoosingTheDelayReleasesThePathAndLeavesTheService) {
    switchOn(monitorOnPath(amdPath));
    const auto before = mac->ledger.heldByCall();
    changeDelay();
    EXPECT_EQ(mac->ledger.heldByCall(), before);
    EXPECT_THAT(mac->journal.misuses(), IsEmpty());
}

TEST_F(ReadOverFramebuffer, KeepsTheLockAndOneIteratorATry) {
    switchOn(monitor());
    auto expected = mac->ledger.heldByCall();
    read();
    expected[{"CFAllocator memory", "CFAllocatorAllocate"}] = 1;
    expected[{"dispatch_semaphore_t", "dispatch_semaphore_create"}] = 1;
    expected[{"io_iterator_t", "IOServiceGetMatchingServices"}] = 1;
    EXPECT_EQ(mac->ledger.heldByCall(), expected);
    EXPECT_THAT(mac->journal.misuses(), IsEmpty());
}

TEST_F(ReadOverFramebuffer, WithoutARecordHasNoValue) {
    switchOn(monitor());
    printing([&] { status = controller->Get(nullptr, confirmationCode, 50, true, &result); });
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
}

/// Reads with the flag for Apple silicon set, on a Mac that has no AV services.
class ReadWithoutAVService : public ReadOverFramebuffer {
  protected:
    void SetUp() override {
        test::makeProcessWideObjects();
        switchOn(monitor());
        controller->UseArm64 = true;
    }
    void TearDown() override {
        // The framebuffer takes no part.
        EXPECT_EQ(printed, "");
        EXPECT_EQ(mac->displays()[0]->monitor.exchanges().size(), 0u);
    }
};

TEST_F(ReadWithoutAVService, WithEveryChoiceGivenIsNotEvenTried) {
    read(50, true);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
    EXPECT_EQ(mac->scheduler.now(), Time(0));
    EXPECT_THAT(mac->journal.systemLog(), IsEmpty());
}

TEST_F(ReadWithoutAVService, WithoutARecordIsNotEvenTried) {
    status = controller->Get(nullptr, confirmationCode, 50, true, &result);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
    EXPECT_THAT(mac->journal.systemLog(), IsEmpty());
}

TEST_F(ReadWithoutAVService, HasNoValueAndLogsThatThereIsNoService) {
    read();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
    EXPECT_EQ(mac->scheduler.now(), Time(0));
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre("M1DDCCI isForceRunDDCCI : NO Read VCP : \"0xF1\" Could not find a "
                            "suitable external display.\n"));
}

TEST_F(ReadWithoutAVService, GivesTheValueAloneAs65535) {
    EXPECT_EQ(controller->Get(&display, confirmationCode), nothingRead);
}

TEST_F(ReadWithoutAVService, AServiceThatCannotBeWrittenToIsTriedOnce) {
    const auto service = simulated_mac::makeCF(simulated_mac::CFObject::Opaque{"IOAVService", 1});
    display.arm64avService = service.get();
    read();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
    EXPECT_EQ(mac->scheduler.now(), Time(60ms));
    EXPECT_EQ(mac->journal.systemLog().size(), 1u);
}

/// Reads over the AV service of an Apple-silicon Mac's monitor.
class ReadOverAVService : public ReadOverFramebuffer {
  protected:
    void SetUp() override { test::makeProcessWideObjects(); }
    void TearDown() override {
        EXPECT_EQ(printed, "");
        EXPECT_EQ(DDCMinReplyDelay, usualDelay);
        EXPECT_THAT(mac->journal.misuses(), IsEmpty());
    }

    void switchOnAppleMac(ScreenDescription screen,
                          std::vector<simulated_mac::FaultDescription> faults = {}) {
        auto description = test::appleMacWith({std::move(screen)});
        description.faults = std::move(faults);
        switchOn(std::move(description));
        controller->UseArm64 = true;
        const io_service_t proxy =
            mac->registry.handOut(mac->displays()[0]->proxies.at(0), "IOIteratorNext");
        display.arm64avService = IOAVServiceCreateWithService(kCFAllocatorDefault, proxy);
        ASSERT_NE(display.arm64avService, nullptr);
    }

    /// The VCP codes of all requests that reached the monitor.
    std::vector<int> requestedCodes() const {
        std::vector<int> codes;
        for (const auto& exchange : mac->displays()[0]->monitor.exchanges()) {
            codes.push_back(exchange.request.at(3));
        }
        return codes;
    }
};

ScreenDescription monitorThatAnswers(const std::string& name,
                                     std::vector<simulated_mac::DDCAnswer> answers) {
    auto screen = test::answeringMonitor(name, 0x4000);
    screen.monitor.answers = std::move(answers);
    return screen;
}

simulated_mac::DDCAnswer answer(simulated_mac::DDCAnswer::Kind kind) {
    return {kind, {}};
}

const auto badChecksum = answer(simulated_mac::DDCAnswer::Kind::badChecksum);
const auto good = answer(simulated_mac::DDCAnswer::Kind::good);

/// Two writes and a read, or the three writes of a clean request: 60 ms before each.
constexpr auto transfers = 180ms;

TEST_F(ReadOverAVService, BringsTheCurrentValue) {
    switchOnAppleMac(monitor(0x4321));
    read();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 0x4321u);
    EXPECT_EQ(mac->scheduler.now(), Time(transfers));
    EXPECT_THAT(requestedCodes(), ElementsAre(0xF1, 0xF1));
}

TEST_F(ReadOverAVService, BringsTheCurrentValueWithEveryChoiceGiven) {
    switchOnAppleMac(monitor(0x4321));
    mac->trace.keepOnly({"CGDisplayIOServicePort"});
    read(7, false);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 0x4321u);
    EXPECT_THAT(mac->trace.calls(), IsEmpty()) << "no framebuffer's delay is chosen";
}

TEST_F(ReadOverAVService, GivesTheValueAlone) {
    switchOnAppleMac(monitor(0x4321));
    EXPECT_EQ(controller->Get(&display, confirmationCode), 0x4321u);
}

TEST_F(ReadOverAVService, LooksEveryHundredthOfASecondWhetherAnotherReadIsOver) {
    switchOnAppleMac(monitor(0x4321));
    const auto readFrom = [this](Time start, Time& end) {
        mac->scheduler.startThread("reader", [this, start, &end] {
            mac->scheduler.sleep(start);
            EXPECT_EQ(controller->Get(&display, confirmationCode), 0x4321u);
            end = mac->scheduler.now();
        });
    };
    Time first{0};
    Time second{0};
    readFrom(0ms, first);
    readFrom(5ms, second);
    mac->scheduler.runUntilQuiet();
    EXPECT_EQ(first, Time(transfers));
    EXPECT_EQ(second, Time(185ms + transfers));
}

TEST_F(ReadOverAVService, RepliesThatAlwaysFailTheChecksumCostFiveAttemptsAndFivePauses) {
    switchOnAppleMac(monitorThatAnswers("VORN K2790Z", {badChecksum}));
    read();
    EXPECT_EQ(status, 7);
    EXPECT_EQ(result, nothingRead);
    EXPECT_EQ(requestedCodes(), std::vector<int>(10, 0xF1));
    EXPECT_EQ(mac->scheduler.now(), Time(5 * (transfers + 1s)));
}

TEST_F(ReadOverAVService, RepliesThatAlwaysFailTheChecksumCostTheSameWithEveryChoiceGiven) {
    switchOnAppleMac(monitorThatAnswers("VORN K2790Z", {badChecksum}));
    read(50, true);
    EXPECT_EQ(status, 7);
    EXPECT_EQ(result, nothingRead);
    EXPECT_EQ(requestedCodes(), std::vector<int>(10, 0xF1));
    EXPECT_EQ(mac->scheduler.now(), Time(5 * (transfers + 1s)));
}

TEST_F(ReadOverAVService, AGoodReplyEndsTheAttempts) {
    switchOnAppleMac(monitorThatAnswers("VORN K2790Z", {badChecksum, badChecksum, good}));
    read();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 0x4000u);
    EXPECT_EQ(mac->scheduler.now(), Time(3 * transfers + 2s));
}

TEST_F(ReadOverAVService, TheSpecialChipIsSentACleanRequestBeforeThePause) {
    auto screen = test::answeringMonitor("K2422H", 0x4000);
    screen.monitor.settlesAfterClean = true;
    switchOnAppleMac(screen);
    read();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 0x4000u);
    EXPECT_THAT(requestedCodes(), ElementsAre(0xF1, 0xF1, 0, 0, 0, 0xF1, 0xF1));
    EXPECT_EQ(mac->scheduler.now(), Time(3 * transfers + 1s));
    // The first two writes are the read's, the next three the clean request's, 60 ms apart.
    EXPECT_EQ(mac->displays()[0]->monitor.exchanges()[4].time, Time(6 * 60ms));
}

TEST_F(ReadOverAVService, TheSpecialChipIsSentACleanRequestAfterTheFifthBadReplyToo) {
    switchOnAppleMac(monitorThatAnswers("K2422H", {badChecksum}));
    read(50, true);
    EXPECT_EQ(status, 7);
    EXPECT_EQ(result, nothingRead);
    const auto codes = requestedCodes();
    EXPECT_EQ(codes.size(), 25u);
    EXPECT_EQ(std::count(codes.begin(), codes.end(), 0), 15);
    EXPECT_EQ(codes.back(), 0);
    EXPECT_EQ(mac->scheduler.now(), Time(5 * (2 * transfers + 1s)));
}

TEST_F(ReadOverAVService, ACleanRequestThatFailsDoesNotEndTheAttempts) {
    // The first two writes are the read's, the third is the clean request's.
    switchOnAppleMac(monitorThatAnswers("K2422H", {badChecksum, good}),
                     {{"IOAVServiceWriteI2C", 3, false, {}}});
    read();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(result, 0x4000u);
    EXPECT_THAT(requestedCodes(), ElementsAre(0xF1, 0xF1, 0xF1, 0xF1));
    EXPECT_EQ(mac->scheduler.now(), Time(transfers + 60ms + 1s + transfers));
    EXPECT_THAT(mac->journal.systemLog(),
                Contains(StartsWith("M1DDCCI isForceRunDDCCI : NO, I2C")));
}

TEST_F(ReadOverAVService, ANameWithTheBrandIsNotTakenForTheSpecialChip) {
    switchOnAppleMac(monitorThatAnswers("VORN K2422H", {badChecksum, good}));
    read();
    EXPECT_EQ(status, 0);
    EXPECT_THAT(requestedCodes(), ElementsAre(0xF1, 0xF1, 0xF1, 0xF1));
}

TEST_F(ReadOverAVService, OfASilentMonitorIsTriedOnceWithoutAPause) {
    switchOnAppleMac(test::silentMonitor("VORN K2790Z"));
    read();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
    EXPECT_THAT(requestedCodes(), ElementsAre(0xF1, 0xF1));
    EXPECT_EQ(mac->scheduler.now(), Time(transfers));
}

TEST_F(ReadOverAVService, AFailureAfterABadReplyEndsTheAttempts) {
    switchOnAppleMac(monitorThatAnswers(
        "VORN K2790Z", {badChecksum, answer(simulated_mac::DDCAnswer::Kind::silent)}));
    read();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
    EXPECT_EQ(mac->scheduler.now(), Time(2 * transfers + 1s));
}

TEST_F(ReadOverAVService, AWriteThatFailsIsTriedOnceWithoutAPause) {
    switchOnAppleMac(monitor(), {{"IOAVServiceWriteI2C", 1, false, {}}});
    read();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(result, nothingRead);
    EXPECT_EQ(mac->scheduler.now(), Time(60ms));
}

TEST_F(ReadOverAVService, NeitherReleasesNorKeepsAnything) {
    switchOnAppleMac(monitorThatAnswers("K2422H", {badChecksum, good}));
    const auto before = mac->ledger.heldByCall();
    read();
    EXPECT_EQ(mac->ledger.heldByCall(), before);
}

}  // namespace ddc_ctl_read_write_test
