#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/MyInstallerPane.h"
#include "simulated_mac/machine/CallText.h"
#include "tests/support/PaneOnMac.h"

// Listing the screens and gathering what is known of them.

namespace pane_displays_test {

using namespace std::chrono_literals;
using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr auto unlistedOlder = "VORN M2724";
constexpr auto unlistedRecent = "VORN M2726X";

ScreenDescription noScreen() {
    auto screen = monitorNamed(listedOlder);
    screen.isScreen = false;
    return screen;
}

/// The pane on a Mac where no run has started.
class PaneAtRest {
  public:
    explicit PaneAtRest(std::vector<ScreenDescription> screens) : onMac_(macWith(screens)) {
        makeProcessWideObjects();
    }

    vorn::MyInstallerPane& pane() { return onMac_.pane; }
    CGDirectDisplayID displayID(std::size_t screen) const {
        return onMac_.mac.displays()[screen]->displayID;
    }
    /// The verdict that enumeration alone gives the first screen.
    std::int32_t firstVerdict() {
        return pane().ReturnAllDisplaysWithBuiltIn().at(0)->displayState;
    }

  private:
    PaneOnMac onMac_;
};

/// When each sleep of the plug-in began, and how long it took.
std::vector<std::pair<Time, Time>> sleepsOf(const Mac& mac) {
    std::vector<std::pair<Time, Time>> sleeps;
    for (const auto& call : mac.trace.calls()) {
        if (call.call == "NSThread.sleep") sleeps.emplace_back(call.time, test::durationOf(call));
    }
    return sleeps;
}

// Counting

TEST(MyInstallerPaneDisplays, ABuiltInPanelIsNoExternalScreen) {
    EXPECT_EQ(PaneAtRest({builtInPanel()}).pane().getNSScreenCount(), 0);
}

TEST(MyInstallerPaneDisplays, AnEmptyScreenListCountsZero) {
    EXPECT_EQ(PaneAtRest({}).pane().getNSScreenCount(), 0);
}

TEST(MyInstallerPaneDisplays, EveryExternalScreenCountsWhateverItsMonitor) {
    EXPECT_EQ(PaneAtRest({monitorNamed(listedOlder), builtInPanel(), monitorNamed(unlistedOlder),
                          ScreenDescription{}})
                  .pane()
                  .getNSScreenCount(),
              3);
}

TEST(MyInstallerPaneDisplays, CountingSkipsEntriesThatAreNoScreensAndGoesOn) {
    EXPECT_EQ(
        PaneAtRest({noScreen(), monitorNamed(listedOlder), noScreen(), monitorNamed(listedRecent)})
            .pane()
            .getNSScreenCount(),
        2);
}

TEST(MyInstallerPaneDisplays, TheDisplayIDsAreThoseOfAllScreensInOrder) {
    PaneAtRest mac({monitorNamed(listedOlder), builtInPanel(), monitorNamed(listedRecent)});
    EXPECT_THAT(mac.pane().getDisplayIDsArr(),
                ElementsAre(mac.displayID(0), mac.displayID(1), mac.displayID(2)));
}

TEST(MyInstallerPaneDisplays, AnEmptyScreenListHasNoDisplayIDs) {
    EXPECT_THAT(PaneAtRest({}).pane().getDisplayIDsArr(), IsEmpty());
}

TEST(MyInstallerPaneDisplays, TheRecordsEndAtAnEntryThatIsNoScreenWhileTheDisplayIDsGoOn) {
    PaneAtRest mac({builtInPanel(), noScreen(), monitorNamed(listedOlder), monitorNamed("X24")});
    EXPECT_THAT(mac.pane().ReturnAllDisplaysWithBuiltIn(), SizeIs(1));
    EXPECT_THAT(mac.pane().getDisplayIDsArr(),
                ElementsAre(mac.displayID(0), mac.displayID(2), mac.displayID(3)));
}

TEST(MyInstallerPaneDisplays, AFirstEntryThatIsNoScreenLeavesNoRecords) {
    PaneAtRest mac({noScreen(), monitorNamed(listedOlder)});
    EXPECT_THAT(mac.pane().ReturnAllDisplaysWithBuiltIn(), IsEmpty());
}

// Records

TEST(MyInstallerPaneDisplays, TheBuiltInRecordHasItsDeliberateSpelling) {
    PaneAtRest mac({builtInPanel()});
    const auto displays = mac.pane().ReturnAllDisplaysWithBuiltIn();
    ASSERT_THAT(displays, SizeIs(1));
    EXPECT_EQ(displays[0]->name, "Build-in Display");
    EXPECT_EQ(displays[0]->modelInfo, "Build-in");
    EXPECT_EQ(displays[0]->displayState, -1);
}

TEST(MyInstallerPaneDisplays, RecordsStandInTheOrderOfTheScreenListWithTheirIdentity) {
    auto second = monitorNamed(listedRecent);
    second.name = "Vorn K2725QX (DP)";
    second.displayID = 0xFFFFFFF0;
    second.serialNumber = 0x87654321;
    PaneAtRest mac({monitorNamed(listedOlder), builtInPanel(), second});
    const auto displays = mac.pane().ReturnAllDisplaysWithBuiltIn();
    ASSERT_THAT(displays, SizeIs(3));
    for (std::size_t at = 0; at < 3; ++at) {
        EXPECT_EQ(displays[at]->idx, static_cast<std::int32_t>(at));
        EXPECT_EQ(displays[at]->screenNumber, mac.displayID(at));
    }
    EXPECT_EQ(displays[0]->name, listedOlder);
    EXPECT_EQ(displays[0]->serialNumber, 0x12345678u);
    EXPECT_EQ(displays[0]->modelInfo, std::nullopt);
    EXPECT_EQ(displays[1]->name, "Build-in Display");
    EXPECT_EQ(displays[2]->name, "Vorn K2725QX (DP)");
    EXPECT_EQ(displays[2]->serialNumber, 0x87654321u);
    EXPECT_EQ(displays[2]->screenNumber, 0xFFFFFFF0u);
}

TEST(MyInstallerPaneDisplays, ARecordStartsWithoutUSBIndexServiceOrEDID) {
    PaneAtRest mac({monitorNamed(listedOlder)});
    const auto display = mac.pane().ReturnAllDisplaysWithBuiltIn().at(0);
    EXPECT_EQ(display->USBIdx, -1);
    EXPECT_FALSE(display->isUSBPassthrough);
    EXPECT_EQ(display->EDIDString, std::nullopt);
    EXPECT_EQ(display->plugNplayID, std::nullopt);
    EXPECT_EQ(display->arm64avService, nullptr);
}

TEST(MyInstallerPaneDisplays, AListedModelIsNotJudgedYet) {
    EXPECT_EQ(PaneAtRest({monitorNamed(listedOlder)}).firstVerdict(), -1);
}

TEST(MyInstallerPaneDisplays, AnUnlistedModelOfYear24IsNotSupported) {
    EXPECT_EQ(PaneAtRest({monitorNamed(unlistedOlder)}).firstVerdict(), 3);
}

TEST(MyInstallerPaneDisplays, AnUnlistedModelOfYear25OrLaterIsNotJudgedYet) {
    EXPECT_EQ(PaneAtRest({monitorNamed(unlistedRecent)}).firstVerdict(), -1);
}

TEST(MyInstallerPaneDisplays, TheModelYearIsThatOfTheNameWithoutItsBrackets) {
    auto recent = monitorNamed(listedRecent);
    recent.name = "VORN K2725QX (2)";
    EXPECT_EQ(PaneAtRest({recent}).firstVerdict(), -1);
}

TEST(MyInstallerPaneDisplays, ABracketedSuffixTakesAnOlderModelOffTheList) {
    // As macOS names twins.
    PaneAtRest mac({monitorNamed(listedOlder), monitorNamed(listedOlder)});
    const auto displays = mac.pane().ReturnAllDisplaysWithBuiltIn();
    ASSERT_THAT(displays, SizeIs(2));
    EXPECT_EQ(displays[0]->name, "VORN K2422H (1)");
    EXPECT_EQ(displays[0]->displayState, 3);
    EXPECT_EQ(displays[1]->displayState, 3);
}

TEST(MyInstallerPaneDisplays, AMonitorWithoutANameIsNotSupported) {
    auto nameless = monitorNamed(listedOlder);
    nameless.name = "";
    EXPECT_EQ(PaneAtRest({nameless}).firstVerdict(), 3);
}

// The run and its waits

TEST(MyInstallerPaneDisplays, WithABuiltInPanelAloneTheRunWaitsTwoSecondsOnce) {
    PaneOnMac onMac(macWith({builtInPanel()}));
    onMac.mac.trace.keepOnly({"NSThread.sleep"});
    onMac.run();
    EXPECT_THAT(sleepsOf(onMac.mac), ElementsAre(std::pair(Time(0), Time(2s))));
    EXPECT_EQ(onMac.timeOfContinue(), Time(2s));
    const auto displays = displayInfoArray.get();
    ASSERT_THAT(displays, SizeIs(1));
    EXPECT_EQ(displays[0]->name, "Build-in Display");
    EXPECT_EQ(displays[0]->displayState, -1);
}

TEST(MyInstallerPaneDisplays, WithAnExternalScreenTheRunDoesNotWaitForOne) {
    PaneOnMac onMac(macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)}));
    onMac.mac.trace.keepOnly({"NSThread.sleep"});
    onMac.run();
    EXPECT_THAT(sleepsOf(onMac.mac), IsEmpty());
    EXPECT_EQ(onMac.timeOfContinue(), Time(0));
}

TEST(MyInstallerPaneDisplays, WithoutAnyScreenTheRunWaitsTwoSecondsAndReadsTheEDIDsTwice) {
    PaneOnMac onMac(macWith({}));
    onMac.mac.trace.keepOnly({"NSThread.sleep"});
    EXPECT_EQ(onMac.run(), Scheduler::Outcome::quiet);
    EXPECT_THAT(sleepsOf(onMac.mac),
                ElementsAre(std::pair(Time(0), Time(2s)), std::pair(Time(2s), Time(1s))));
    EXPECT_THAT(displayInfoArray.get(), IsEmpty());
    EXPECT_NE(onMac.mac.window.warnings.text, "");
}

TEST(MyInstallerPaneDisplays, AScreenThatAppearsDuringTheWaitHasARecordAndIsJudged) {
    auto late = answeringMonitor(listedRecent, 0x4000);
    late.appearsAt = 1;
    PaneOnMac onMac(macWith({builtInPanel(), late}));
    onMac.mac.trace.keepOnly({"NSThread.sleep", "NSScreen.screens"});
    onMac.run();
    EXPECT_THAT(sleepsOf(onMac.mac), ElementsAre(std::pair(Time(0), Time(2s))));
    std::vector<Time> listings;
    for (const auto& call : onMac.mac.trace.calls()) {
        if (call.call == "NSScreen.screens") listings.push_back(call.time);
    }
    EXPECT_THAT(listings, ElementsAre(Time(0), Time(2s))) << "the count is not taken again";
    const auto displays = displayInfoArray.get();
    ASSERT_THAT(displays, SizeIs(2));
    EXPECT_EQ(displays[1]->name, listedRecent);
    EXPECT_EQ(displays[1]->displayState, 0);
    EXPECT_EQ(onMac.mac.window.warnings.text, "");
}

TEST(MyInstallerPaneDisplays, AScreenThatAppearsAfterTheWaitHasNoRecord) {
    auto late = answeringMonitor(listedRecent, 0x4000);
    late.appearsAt = 2.5;
    PaneOnMac onMac(macWith({builtInPanel(), late}));
    onMac.run();
    EXPECT_THAT(displayInfoArray.get(), SizeIs(1));
    EXPECT_NE(onMac.mac.window.warnings.text, "");
}

TEST(MyInstallerPaneDisplays, ARunLeavesOutWhatComesAfterAnEntryThatIsNoScreen) {
    PaneOnMac onMac(macWith({builtInPanel(), noScreen(), answeringMonitor(listedRecent, 0x4000)}));
    onMac.run();
    EXPECT_THAT(displayInfoArray.get(), SizeIs(1));
    EXPECT_NE(onMac.mac.window.warnings.text, "");
    EXPECT_TRUE(onMac.mac.window.nextEnabled);
}

TEST(MyInstallerPaneDisplays, TheEDIDsOfAnIntelMacComeFromTheRegistryTool) {
    PaneOnMac onMac(macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)}));
    onMac.mac.trace.keepOnly({"posix_spawn"});
    onMac.run();
    std::vector<std::string> commands;
    for (const auto& call : onMac.mac.trace.calls()) commands.push_back(argumentsText(call));
    EXPECT_THAT(commands, ElementsAre(testing::HasSubstr("system_profiler SPDisplaysDataType"),
                                      "/bin/sh, \"-c\", \"ioreg -l | grep IODisplayEDID\""));
}

TEST(MyInstallerPaneDisplays, TheEDIDsAreReadBeforeTheRecordsAreMade) {
    PaneOnMac onMac(macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)}));
    onMac.mac.trace.keepOnly({"NSScreen.screens", "posix_spawn"});
    onMac.run();
    EXPECT_THAT(namesOfCalls(onMac.mac),
                ElementsAre("posix_spawn", "NSScreen.screens", "posix_spawn", "NSScreen.screens"))
        << "the kind of Mac, the count of screens, the EDIDs, the records";
}

TEST(MyInstallerPaneDisplays, ARunReplacesTheRecordsOfAnEarlierOne) {
    PaneOnMac onMac(macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)}));
    onMac.run();
    const auto first = displayInfoArray.get();
    onMac.run();
    const auto second = displayInfoArray.get();
    ASSERT_THAT(second, SizeIs(2));
    EXPECT_NE(second[0], first[0]);
    EXPECT_NE(second[1], first[1]);
}

TEST(MyInstallerPaneDisplays, TheRecordsOfAnEarlierRunAreGoneBeforeTheScreensAreCounted) {
    PaneOnMac onMac(macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)}));
    onMac.mac.trace.countUses();
    onMac.run();
    std::size_t records = 99;
    onMac.mac.trace.before({"NSScreen.screens", onMac.mac.trace.uses()["NSScreen.screens"] + 1},
                           [&records] { records = displayInfoArray.get().size(); });
    onMac.run();
    EXPECT_EQ(records, 0u);
}

TEST(MyInstallerPaneDisplays, TheRecordsOfAnEarlierRunAreGoneWhenARunStarts) {
    PaneOnMac onMac(macWith({builtInPanel()}));
    onMac.enterAt(10s);
    std::vector<std::size_t> sizes;
    for (const Time time : {9s, 11s, 13s}) {
        onMac.mac.scheduler.onMainAt(time, [&] { sizes.push_back(displayInfoArray.get().size()); });
    }
    onMac.run();
    EXPECT_THAT(sizes, ElementsAre(1u, 0u, 1u));
}

TEST(MyInstallerPaneDisplays, EnumerationNeverBlocksTheMainThread) {
    PaneOnMac onMac(macWith({silentMonitor(listedOlder)}));
    onMac.mac.trace.keepOnly({"NSThread.sleep", "NSScreen.screens", "IOI2CSendRequest"});
    onMac.run();
    ASSERT_FALSE(onMac.mac.trace.calls().empty());
    for (const auto& call : onMac.mac.trace.calls()) EXPECT_EQ(call.thread, "SerialQueue");
}

// USB displays

std::shared_ptr<displayInfo> usbDisplay(std::optional<std::string> name, std::int32_t index,
                                        std::uint32_t serialNumber = 0x12345678) {
    const auto display = std::make_shared<displayInfo>();
    display->name = std::move(name);
    display->serialNumber = serialNumber;
    display->USBIdx = index;
    return display;
}

/// USB position of a screen's display.
struct USBPosition {
    std::int32_t index;
    bool passthrough;
    bool operator==(const USBPosition&) const = default;
};

void PrintTo(const USBPosition& position, std::ostream* out) {
    *out << "index " << position.index << ", passthrough " << position.passthrough;
}

constexpr USBPosition noPosition{-1, false};

/// What a screen's display gets from the controller's list of USB displays in a whole run.
USBPosition positionAfterARun(const ScreenDescription& screen, std::optional<DisplayList> usb) {
    PaneOnMac onMac(macWith({screen}));
    makeProcessWideObjects();
    DDC->usbAllDisplays = std::move(usb);
    onMac.run();
    const auto display = displayInfoArray.get().at(0);
    return {display->USBIdx, display->isUSBPassthrough};
}

USBPosition positionAfterARun(std::optional<DisplayList> usb) {
    return positionAfterARun(monitorNamed(listedOlder), std::move(usb));
}

TEST(MyInstallerPaneDisplays, USBPositionsAreGivenToPublishedRecordsBeforeTheEDIDsAreReadAgain) {
    PaneOnMac onMac(macWith({monitorNamed(listedOlder)}));
    makeProcessWideObjects();
    DDC->usbAllDisplays = DisplayList{usbDisplay(listedOlder, 2)};
    onMac.mac.trace.countUses();
    // What asks whether the screen is built in: the count, the record, the USB position.
    std::vector<std::int32_t> positions;
    const auto note = [&positions] {
        for (const auto& display : displayInfoArray.get()) positions.push_back(display->USBIdx);
    };
    onMac.mac.trace.before({"CGDisplayIsBuiltin", 3}, note);
    // What starts tools: the kind of Mac, the EDIDs, the EDIDs again.
    onMac.mac.trace.before({"posix_spawn", 3}, note);
    onMac.run();
    EXPECT_THAT(positions, ElementsAre(-1, 2));
}

TEST(MyInstallerPaneDisplays, NothingFillsTheListOfUSBDisplays) {
    EXPECT_EQ(positionAfterARun(std::nullopt), noPosition);
    EXPECT_EQ(DDC->usbAllDisplays, std::nullopt);
}

TEST(MyInstallerPaneDisplays, AnEmptyListOfUSBDisplaysChangesNothing) {
    EXPECT_EQ(positionAfterARun(DisplayList{}), noPosition);
}

TEST(MyInstallerPaneDisplays, AUSBDisplayOfTheSameNameAndSerialNumberGivesItsIndex) {
    EXPECT_EQ(positionAfterARun(DisplayList{usbDisplay(listedOlder, 3)}), (USBPosition{3, true}));
}

TEST(MyInstallerPaneDisplays, AUSBIndexOfZeroIsAPassthrough) {
    EXPECT_EQ(positionAfterARun(DisplayList{usbDisplay(listedOlder, 0)}), (USBPosition{0, true}));
}

TEST(MyInstallerPaneDisplays, ANegativeUSBIndexIsNoPassthrough) {
    EXPECT_EQ(positionAfterARun(DisplayList{usbDisplay(listedOlder, -7)}),
              (USBPosition{-7, false}));
}

TEST(MyInstallerPaneDisplays, TheUSBDisplaysNameMayBeAPartOfTheDisplays) {
    EXPECT_EQ(positionAfterARun(DisplayList{usbDisplay("K2422", 2)}), (USBPosition{2, true}));
}

TEST(MyInstallerPaneDisplays, TheDisplaysNameMayNotBeAPartOfTheUSBDisplays) {
    EXPECT_EQ(positionAfterARun(DisplayList{usbDisplay("VORN K2422HX", 2)}), noPosition);
}

TEST(MyInstallerPaneDisplays, CaseCountsInAUSBDisplaysName) {
    EXPECT_EQ(positionAfterARun(DisplayList{usbDisplay("Vorn K2422H", 2)}), noPosition);
}

TEST(MyInstallerPaneDisplays, AUSBDisplayWithoutANameFitsNothing) {
    EXPECT_EQ(positionAfterARun(DisplayList{usbDisplay("", 2), usbDisplay(std::nullopt, 2)}),
              noPosition);
}

TEST(MyInstallerPaneDisplays, AUSBDisplayOfAnotherSerialNumberDoesNotFit) {
    EXPECT_EQ(positionAfterARun(DisplayList{usbDisplay(listedOlder, 2, 0x12345679)}), noPosition);
}

TEST(MyInstallerPaneDisplays, TheLastUSBDisplayThatFitsWins) {
    EXPECT_EQ(positionAfterARun(DisplayList{usbDisplay(listedOlder, 1), usbDisplay("K2422H", 5),
                                            usbDisplay("OTHER", 9)}),
              (USBPosition{5, true}));
    EXPECT_EQ(
        positionAfterARun(DisplayList{usbDisplay(listedOlder, 1), usbDisplay(listedOlder, -1)}),
        noPosition);
}

TEST(MyInstallerPaneDisplays, AnUnsupportedDisplayTakesNoUSBPosition) {
    EXPECT_EQ(
        positionAfterARun(monitorNamed(unlistedOlder), DisplayList{usbDisplay(unlistedOlder, 2)}),
        noPosition);
}

TEST(MyInstallerPaneDisplays, ABuiltInDisplayTakesNoUSBPosition) {
    auto panel = builtInPanel();
    panel.serialNumber = 0x12345678;
    EXPECT_EQ(positionAfterARun(panel, DisplayList{usbDisplay("Build-in Display", 2)}), noPosition);
}

TEST(MyInstallerPaneDisplays, ABuiltInDisplayTakesNoUSBPositionWhateverItsName) {
    PaneAtRest mac({builtInPanel()});
    const auto display = std::make_shared<displayInfo>();
    display->screenNumber = mac.displayID(0);
    display->serialNumber = 0x12345678;
    display->name = listedOlder;
    DDC->usbAllDisplays = DisplayList{usbDisplay(listedOlder, 2)};
    mac.pane().mappingUSBDisplays({display});
    EXPECT_EQ(display->USBIdx, -1);
}

TEST(MyInstallerPaneDisplays, ADisplayWithoutANameTakesNoUSBPosition) {
    PaneAtRest mac({monitorNamed(listedOlder)});
    const auto display = std::make_shared<displayInfo>();
    display->screenNumber = mac.displayID(0);
    display->serialNumber = 0x12345678;
    DDC->usbAllDisplays = DisplayList{usbDisplay("VORN", 2)};
    for (const auto& name : {std::optional<std::string>(), std::optional<std::string>("")}) {
        display->name = name;
        mac.pane().mappingUSBDisplays({display});
        EXPECT_EQ(display->USBIdx, -1);
        EXPECT_FALSE(display->isUSBPassthrough);
    }
}

}  // namespace pane_displays_test
