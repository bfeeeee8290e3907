#include "plugin/MyInstallerPane.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "displaycheck/host/PaneHost.h"
#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/ProductData.h"
#include "plugin/Utilities/EDIDUtils.h"
#include "plugin/Utilities/StringUtil.h"
#include "tests/support/PaneOnMac.h"

// Entering the pane, its texts, the verdict that it shows, the link and Continue.

namespace pane_test {

using namespace std::chrono_literals;
using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Texts = std::map<std::string, std::optional<std::string>>;

constexpr auto warningKey = "NO_CAMERA_AND_DISPLAY_WARNING";
constexpr auto requestKey = "Please connect a supported Vorn monitor or camera";
constexpr auto clickKey = "Click here for the compatible models.";
constexpr auto linkKey = "here";

MacDescription macWithTexts(Texts texts) {
    auto description = macWith({builtInPanel()});
    description.strings = std::move(texts);
    return description;
}

/// A string table that lacks every key but the ones given.
Texts onlyTexts(const Texts& given) {
    Texts texts;
    for (const char* key : {"PaneTitle", "TITLE", warningKey, requestKey, clickKey, linkKey}) {
        texts[key] = std::nullopt;
    }
    for (const auto& [key, text] : given) texts[key] = text;
    return texts;
}

/// What the pane changed on the screen from a time on, in order.
std::vector<std::string> paneChanges(const Mac& mac, Time from = Time(0),
                                     Time before = Time::max()) {
    std::vector<std::string> changes;
    for (const auto& entry : mac.journal.timeline()) {
        if (entry.source == "pane" && entry.time >= from && entry.time < before) {
            changes.push_back(entry.what);
        }
    }
    return changes;
}

/// The part of a label that looks like a link.
struct LinkRange {
    CFIndex location;
    CFIndex length;
    bool operator==(const LinkRange&) const = default;
};

void PrintTo(const LinkRange& range, std::ostream* out) {
    *out << "location " << range.location << ", length " << range.length;
}

std::optional<LinkRange> linkOf(const Mac& mac) {
    const auto& link = mac.window.warnings.link;
    if (!link) return std::nullopt;
    return LinkRange{link->location, link->length};
}

/// The pane on a Mac whose displays the test sets, without a run.
class PaneWithVerdicts {
  public:
    /// One external display for each state, after the built-in panel.
    explicit PaneWithVerdicts(const std::vector<std::int32_t>& states) : onMac_(macOf(states)) {
        DisplayList displays;
        for (std::size_t index = 0; index < states.size(); ++index) {
            const auto display = std::make_shared<displayInfo>();
            display->screenNumber = mac().displays()[index + 1]->displayID;
            display->displayState = states[index];
            displays.push_back(display);
        }
        displayInfoArray.set(displays);
    }

    bool warns() {
        onMac_.onMain([this] { onMac_.pane.initializeUI(); });
        return !mac().window.warnings.text.empty();
    }

    Mac& mac() { return onMac_.mac; }

  private:
    static MacDescription macOf(const std::vector<std::int32_t>& states) {
        auto description = macWith({builtInPanel()});
        for (std::size_t count = states.size(); count > 0; --count) {
            description.screens.push_back(monitorNamed(listedOlder));
        }
        return description;
    }

    PaneOnMac onMac_;
};

// A camera's record

TEST(CameraRecord, AFreshOneIsOfNoDevice) {
    const CameraEntry camera;
    EXPECT_EQ(camera.service, 0u);
    EXPECT_EQ(camera.kUSBSerialNumberString, "");
    EXPECT_EQ(camera.name, "");
}

// Entering

TEST(MyInstallerPane, EnteringSetsTheTitleThenEmptiesTheWarningThenDisablesContinue) {
    auto texts = onlyTexts({{"TITLE", "Looking for monitors"}});
    PaneOnMac onMac(macWithTexts(texts));
    std::vector<std::string> changes;
    onMac.mac.scheduler.onMainAt(Time(0), [&] {
        onMac.pane.didEnterPane(0);
        changes = paneChanges(onMac.mac);
    });
    onMac.mac.scheduler.runUntilQuiet();
    EXPECT_THAT(changes, ElementsAre("lb_title shows \"Looking for monitors\"",
                                     "lb_warnings is emptied", "Continue is disabled"));
}

TEST(MyInstallerPane, EnteringReturnsAtOnceAndTheRunWorksInTheBackground) {
    PaneOnMac onMac(macWith({builtInPanel()}));
    onMac.mac.trace.keepOnly({"NSScreen.screens", "IOMasterPort", "NSThread.sleep"});
    std::optional<Time> returned;
    onMac.mac.scheduler.onMainAt(Time(0), [&] {
        onMac.pane.didEnterPane(0);
        returned = onMac.mac.scheduler.now();
        EXPECT_THAT(onMac.mac.trace.calls(), IsEmpty()) << "the run must not start on this thread";
        EXPECT_FALSE(onMac.mac.window.nextEnabled);
    });
    EXPECT_EQ(onMac.mac.scheduler.runUntilQuiet(), Scheduler::Outcome::quiet);
    EXPECT_EQ(returned, Time(0));
    ASSERT_FALSE(onMac.mac.trace.calls().empty());
    for (const auto& call : onMac.mac.trace.calls()) EXPECT_EQ(call.thread, "SerialQueue");
}

TEST(MyInstallerPane, ContinueStaysDisabledUntilTheRunEnds) {
    PaneOnMac onMac(macWith({builtInPanel()}));
    bool enabledMeanwhile = true;
    onMac.mac.scheduler.onMainAt(1'999'999us,
                                 [&] { enabledMeanwhile = onMac.mac.window.nextEnabled; });
    onMac.run();
    EXPECT_FALSE(enabledMeanwhile);
    EXPECT_TRUE(onMac.mac.window.nextEnabled);
}

TEST(MyInstallerPane, ARunWithoutASupportedDeviceChangesThePaneInThisOrder) {
    PaneOnMac onMac(macWithTexts(onlyTexts({})));
    onMac.run();
    EXPECT_THAT(
        paneChanges(onMac.mac, Time(0), 1s),
        ElementsAre("lb_title shows \"TITLE\"", "lb_warnings is emptied", "Continue is disabled"));
    EXPECT_THAT(
        paneChanges(onMac.mac, 1s),
        ElementsAre("lb_title shows \"TITLE\"", "lb_warnings is emptied",
                    "lb_warnings shows \"NO_CAMERA_AND_DISPLAY_WARNING \n\nPlease connect a "
                    "supported Vorn monitor or camera. Click here for the compatible models.\"",
                    "lb_warnings takes clicks", "Continue is enabled"));
}

TEST(MyInstallerPane, ARunWithASupportedDeviceChangesThePaneInThisOrder) {
    auto description = macWithTexts(onlyTexts({}));
    description.usb = {camera()};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_THAT(
        paneChanges(onMac.mac, 1s),
        ElementsAre("lb_title shows \"TITLE\"", "lb_warnings is emptied", "Continue is enabled"));
}

TEST(MyInstallerPane, TheLabelsAndContinueAreChangedOnTheMainThreadOnly) {
    auto description = macWith({builtInPanel(), silentMonitor(listedRecent)});
    description.events = {{.at = 10, .attach = camera(), .detach = {}, .user = {}}};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_THAT(onMac.mac.journal.misuses(), IsEmpty());
}

TEST(MyInstallerPane, TheDirectionOfEntryChangesNothing) {
    PaneOnMac onMac(macWith({builtInPanel()}));
    int direction = -1;
    for (const Time time : {0s, 10s, 20s}) {
        onMac.mac.scheduler.onMainAt(time,
                                     [&onMac, direction] { onMac.pane.didEnterPane(direction); });
        ++direction;
    }
    onMac.mac.scheduler.runUntilQuiet();
    const auto first = paneChanges(onMac.mac, 0s, 10s);
    EXPECT_EQ(paneChanges(onMac.mac, 10s, 20s), first);
    EXPECT_EQ(paneChanges(onMac.mac, 20s), first);
    EXPECT_THAT(first, SizeIs(8));
}

// Process-wide objects

TEST(MyInstallerPane, TheProcessWideObjectsDoNotExistBeforeTheFirstEntry) {
    PaneOnMac onMac(macWith({builtInPanel()}));
    EXPECT_EQ(strUtil, nullptr);
    EXPECT_EQ(DDC, nullptr);
    EXPECT_EQ(whiteList, nullptr);
    EXPECT_EQ(edidUtils, nullptr);
    onMac.run();
    EXPECT_NE(strUtil, nullptr);
    EXPECT_NE(DDC, nullptr);
    EXPECT_NE(whiteList, nullptr);
    EXPECT_NE(edidUtils, nullptr);
    EXPECT_NE(arm64Util.get(), nullptr);
}

TEST(MyInstallerPane, ALaterEntryKeepsTheProcessWideObjectsAndReplacesTheServiceDiscovery) {
    PaneOnMac onMac(macWith({builtInPanel()}));
    onMac.run();
    auto* const firstStrUtil = strUtil;
    auto* const firstDDC = DDC;
    auto* const firstWhiteList = whiteList;
    auto* const firstEDIDUtils = edidUtils;
    const auto firstDiscovery = arm64Util.get();
    DDC->channelFree = true;
    onMac.run();
    EXPECT_EQ(strUtil, firstStrUtil);
    EXPECT_EQ(DDC, firstDDC);
    EXPECT_EQ(whiteList, firstWhiteList);
    EXPECT_EQ(edidUtils, firstEDIDUtils);
    EXPECT_NE(arm64Util.get(), firstDiscovery);
    EXPECT_TRUE(DDC->channelFree) << "the controller lost its state";
}

TEST(MyInstallerPane, TheServiceDiscoveryIsReplacedOnceTheKindOfMacIsKnown) {
    PaneOnMac onMac(macWith({builtInPanel()}));
    onMac.mac.trace.countUses();
    std::shared_ptr<Arm64Utility> whileAsked;
    onMac.mac.trace.before({"posix_spawn", 1}, [&] { whileAsked = arm64Util.get(); });
    onMac.run();
    EXPECT_EQ(whileAsked, nullptr);
    EXPECT_NE(arm64Util.get(), nullptr);
}

TEST(MyInstallerPane, EveryEntryAsksAnewWhichKindOfMacThisIs) {
    auto description = macWith({builtInPanel()});
    description.tools["system_profiler"] = {{.prints = "      Chipset Model: Apple M2\n"},
                                            {.prints = "      Chipset Model: Some GPU\n"}};
    PaneOnMac onMac(description);
    std::vector<bool> answers;
    for (const Time time : {0s, 10s}) {
        onMac.mac.scheduler.onMainAt(time, [&] {
            onMac.pane.didEnterPane(0);
            answers.push_back(DDC->UseArm64);
        });
    }
    onMac.mac.scheduler.runUntilQuiet();
    EXPECT_THAT(answers, ElementsAre(true, false));
}

TEST(MyInstallerPane, AnIntelMacReadsOverFramebuffers) {
    PaneOnMac onMac(macWith({builtInPanel()}));
    onMac.run();
    EXPECT_FALSE(DDC->UseArm64);
}

// The verdict

TEST(MyInstallerPane, ACameraAndNoExternalDisplayGiveNoWarningAndEnableContinue) {
    auto description = macWith({builtInPanel()});
    description.usb = {camera()};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_EQ(onMac.mac.window.warnings.text, "");
    EXPECT_TRUE(onMac.mac.window.nextEnabled);
}

TEST(MyInstallerPane, ABuiltInPanelAloneGivesTheWarningAndEnablesContinueAllTheSame) {
    PaneOnMac onMac(macWithTexts(onlyTexts({{warningKey, "Nothing was found."},
                                            {requestKey, "Connect one"},
                                            {clickKey, "Click here or here."}})));
    onMac.run();
    EXPECT_EQ(onMac.mac.window.warnings.text,
              "Nothing was found. \n\nConnect one. Click here or here.");
    EXPECT_EQ(linkOf(onMac.mac), (LinkRange{40, 4})) << "the first \"here\" alone is the link";
    EXPECT_TRUE(onMac.mac.window.nextEnabled);
}

TEST(MyInstallerPane, ADisplayOfStateOneGivesNoWarning) {
    EXPECT_FALSE(PaneWithVerdicts({displayInfo::supportedByList}).warns());
}

TEST(MyInstallerPane, DisplaysOfStateThreeAndZeroGiveNoWarning) {
    EXPECT_FALSE(PaneWithVerdicts({3, 0}).warns());
}

TEST(MyInstallerPane, TheScanOfDisplaysStopsAtStateZero) {
    PaneWithVerdicts pane({3, 0, 1, 3});
    pane.mac().trace.keepOnly({"CGDisplayIsBuiltin"});
    EXPECT_FALSE(pane.warns());
    EXPECT_THAT(pane.mac().trace.calls(), SizeIs(2));
}

TEST(MyInstallerPane, TheScanOfDisplaysGoesOnAfterStateOne) {
    PaneWithVerdicts pane({1, 3, 3});
    pane.mac().trace.keepOnly({"CGDisplayIsBuiltin"});
    EXPECT_FALSE(pane.warns());
    EXPECT_THAT(pane.mac().trace.calls(), SizeIs(3));
}

TEST(MyInstallerPane, ADisplayOfStateZeroAloneGivesNoWarning) {
    EXPECT_FALSE(PaneWithVerdicts({0}).warns());
}

TEST(MyInstallerPane, ADisplayThatWasNotJudgedCountsForNothing) {
    EXPECT_TRUE(PaneWithVerdicts({displayInfo::notJudged}).warns());
}

TEST(MyInstallerPane, UnsupportedDisplaysCountForNothing) {
    EXPECT_TRUE(PaneWithVerdicts({3, 3}).warns());
}

TEST(MyInstallerPane, StatesWithoutAMeaningCountForNothing) {
    EXPECT_TRUE(PaneWithVerdicts({2, 4, -2}).warns());
}

TEST(MyInstallerPane, NoDisplaysAtAllGiveTheWarning) {
    EXPECT_TRUE(PaneWithVerdicts({}).warns());
}

TEST(MyInstallerPane, ABuiltInDisplayCountsForNothingWhateverItsState) {
    PaneWithVerdicts pane({});
    const auto builtIn = std::make_shared<displayInfo>();
    builtIn->screenNumber = pane.mac().displays().front()->displayID;
    builtIn->displayState = 0;
    displayInfoArray.set({builtIn});
    EXPECT_TRUE(pane.warns());
}

TEST(MyInstallerPane, ACameraOutweighsUnsupportedDisplays) {
    PaneWithVerdicts pane({3});
    infoDic.update([](CameraDictionary& cameras) { cameras["0x14200000"] = {}; });
    EXPECT_FALSE(pane.warns());
}

TEST(MyInstallerPane, ShowingTheVerdictSetsTheTitleAndRemovesAnEarlierWarning) {
    PaneWithVerdicts pane({3});
    ASSERT_TRUE(pane.warns());
    pane.mac().window.title.text = "";
    displayInfoArray.get().front()->displayState = 1;
    EXPECT_FALSE(pane.warns());
    EXPECT_EQ(pane.mac().window.title.text, pane.mac().localizedString("TITLE"));
    EXPECT_EQ(linkOf(pane.mac()), std::nullopt);
}

// Entering again

TEST(MyInstallerPane, EnteringAgainClearsTheWarningAndDisablesContinueUntilTheNewRunEnds) {
    PaneOnMac onMac(macWith({builtInPanel()}));
    onMac.enterAt(10s);
    std::vector<bool> enabled;
    std::vector<std::string> warnings;
    for (const Time time : {9s, 11s, 13s}) {
        onMac.mac.scheduler.onMainAt(time, [&] {
            enabled.push_back(onMac.mac.window.nextEnabled);
            warnings.push_back(onMac.mac.window.warnings.text);
        });
    }
    onMac.run();
    EXPECT_THAT(enabled, ElementsAre(true, false, true));
    EXPECT_THAT(warnings, ElementsAre(testing::Ne(""), "", warnings.front()));
    EXPECT_EQ(onMac.mac.journal.timeline().back().time, Time(12s));
}

TEST(MyInstallerPane, CamerasOfAnEarlierEntryAreForgotten) {
    auto description = macWith({builtInPanel()});
    description.usb = {camera()};
    description.events = {{.at = 5, .attach = {}, .detach = *camera().locationID, .user = {}}};
    PaneOnMac onMac(description);
    onMac.enterAt(10s);
    std::string before = "unknown";
    onMac.mac.scheduler.onMainAt(9s, [&] { before = onMac.mac.window.warnings.text; });
    onMac.run();
    EXPECT_EQ(before, "");
    EXPECT_NE(onMac.mac.window.warnings.text, "");
    EXPECT_THAT(infoDic.get(), IsEmpty());
}

/// Enters the pane of a Mac with a camera a second time. Says whether the camera is still known at
/// the first use of a platform call after that.
bool cameraIsKnownAtTheNext(const std::string& call) {
    auto description = macWith({builtInPanel()});
    description.usb = {camera()};
    PaneOnMac onMac(description);
    onMac.mac.trace.countUses();
    onMac.run();
    std::optional<bool> known;
    onMac.mac.trace.before({call, onMac.mac.trace.uses()[call] + 1},
                           [&known] { known = !infoDic.get().empty(); });
    onMac.run();
    return known.value();
}

TEST(MyInstallerPane, AnEntryForgetsTheCamerasBetweenAskingForTheKindOfMacAndStartingTheRun) {
    EXPECT_TRUE(cameraIsKnownAtTheNext("posix_spawn"));
    EXPECT_FALSE(cameraIsKnownAtTheNext("dispatch_async_f"));
}

/// What a Mac's pane shows in the end.
struct Ending {
    std::string warning;
    bool nextEnabled;
    std::vector<std::int32_t> states;
    std::size_t cameras;
    bool operator==(const Ending&) const = default;
};

void PrintTo(const Ending& ending, std::ostream* out) {
    *out << "warning \"" << ending.warning << "\", Continue " << ending.nextEnabled << ", states "
         << testing::PrintToString(ending.states) << ", cameras " << ending.cameras;
}

Ending endingOf(const MacDescription& description, std::optional<Time> again) {
    PaneOnMac onMac(description);
    if (again) onMac.enterAt(*again);
    EXPECT_EQ(onMac.run(), Scheduler::Outcome::quiet);
    EXPECT_THAT(onMac.mac.journal.misuses(), IsEmpty());
    Ending ending{
        onMac.mac.window.warnings.text, onMac.mac.window.nextEnabled, {}, infoDic.get().size()};
    for (const auto& display : displayInfoArray.get())
        ending.states.push_back(display->displayState);
    return ending;
}

/// When the pane is entered again while its first run goes on, in milliseconds.
class EnteringDuringARun : public testing::TestWithParam<int> {
  protected:
    static void expectTheEndingOfASingleRun(const MacDescription& description) {
        const auto alone = endingOf(description, std::nullopt);
        ASSERT_TRUE(alone.nextEnabled);
        EXPECT_EQ(endingOf(description, std::chrono::milliseconds(GetParam())), alone);
    }
};

TEST_P(EnteringDuringARun, EndsAsOneRunDoesOnAMacWithoutMonitors) {
    expectTheEndingOfASingleRun(macWith({builtInPanel()}));
}

TEST_P(EnteringDuringARun, EndsAsOneRunDoesWithAMonitorThatCountsByTheList) {
    expectTheEndingOfASingleRun(macWith({builtInPanel(), silentMonitor(listedOlder)}));
}

TEST_P(EnteringDuringARun, EndsAsOneRunDoesWithAMonitorThatDoesNotCount) {
    expectTheEndingOfASingleRun(macWith({silentMonitor(listedRecent)}));
}

TEST_P(EnteringDuringARun, EndsAsOneRunDoesWithAMonitorThatAnswers) {
    expectTheEndingOfASingleRun(
        macWith({answeringMonitor(listedRecent, 0x4000), monitorNamed("OTHER M24")}));
}

TEST_P(EnteringDuringARun, EndsAsOneRunDoesWithACamera) {
    auto description = macWith({builtInPanel()});
    description.usb = {camera()};
    expectTheEndingOfASingleRun(description);
}

TEST_P(EnteringDuringARun, EndsAsOneRunDoesWithACameraAttachedMeanwhile) {
    auto description = macWith({silentMonitor(listedRecent)});
    description.events = {{.at = 2.25, .attach = camera(), .detach = {}, .user = {}}};
    expectTheEndingOfASingleRun(description);
}

INSTANTIATE_TEST_SUITE_P(AtMilliseconds, EnteringDuringARun,
                         testing::Values(0, 1, 500, 1000, 1500, 2000, 2500, 3000, 3999, 4000, 4500,
                                         5000));

// Texts and link

TEST(MyInstallerPane, TheTitleOfThePaneIsLocalized) {
    PaneOnMac onMac(macWithTexts({{"PaneTitle", "Bildschirme prüfen"}}));
    EXPECT_EQ(onMac.pane.title(), "Bildschirme prüfen");
}

TEST(MyInstallerPane, AKeyThatTheStringTableLacksShowsAsItself) {
    PaneOnMac onMac(macWithTexts(onlyTexts({})));
    onMac.run();
    EXPECT_EQ(onMac.pane.title(), "PaneTitle");
    EXPECT_EQ(onMac.mac.window.title.text, "TITLE");
    EXPECT_EQ(onMac.mac.window.warnings.text,
              "NO_CAMERA_AND_DISPLAY_WARNING \n\nPlease connect a supported Vorn monitor or "
              "camera. Click here for the compatible models.");
}

TEST(MyInstallerPane, TheStringTableOfTheBundleHasEveryKey) {
    PaneOnMac onMac(macWith({builtInPanel()}));
    for (const char* key : {"PaneTitle", "TITLE", warningKey}) {
        EXPECT_NE(onMac.mac.localizedString(key), key);
    }
    // The sentences are their own text in English.
    for (const char* key : {requestKey, clickKey, linkKey}) {
        EXPECT_EQ(onMac.mac.localizedString(key), key);
    }
}

/// Texts of a warning, and where its link is.
struct LinkCase {
    std::string name;
    std::string warning;
    std::string request;
    std::string click;
    std::string word;
    std::optional<LinkRange> link;
};

void PrintTo(const LinkCase& texts, std::ostream* out) {
    *out << texts.name;
}

class LinkOfTheWarning : public testing::TestWithParam<LinkCase> {};

TEST_P(LinkOfTheWarning, IsTheFirstLinkWordAfterTheWarningInUTF16Units) {
    const LinkCase& texts = GetParam();
    PaneOnMac onMac(macWithTexts({{warningKey, texts.warning},
                                  {requestKey, texts.request},
                                  {clickKey, texts.click},
                                  {linkKey, texts.word}}));
    onMac.run();
    EXPECT_EQ(onMac.mac.window.warnings.text,
              texts.warning + " \n\n" + texts.request + ". " + texts.click);
    EXPECT_EQ(linkOf(onMac.mac), texts.link);
    EXPECT_EQ(onMac.mac.window.warnings.clickRecognizers, 1) << "the whole label takes clicks";
}

INSTANTIATE_TEST_SUITE_P(
    Texts, LinkOfTheWarning,
    testing::Values(
        LinkCase{"Plain", "None", "R", "go here", "here", LinkRange{13, 4}},
        LinkCase{"WordInTheWarningDoesNotCount", "here", "R", "go here", "here", LinkRange{13, 4}},
        LinkCase{"WordInTheRequestComesFirst", "None", "as here", "go here", "here",
                 LinkRange{10, 4}},
        LinkCase{"WordWithinAWord", "None", "R", "go there", "here", LinkRange{14, 4}},
        LinkCase{"WordAcrossTheSentences", "None", "R", "go", "R. g", LinkRange{7, 4}},
        LinkCase{"CaseCounts", "None", "R", "Here or here", "here", LinkRange{18, 4}},
        // Beyond the Basic Multilingual Plane a character takes two units.
        LinkCase{"TwoUnitsInTheWarning", "🖥🖥", "R", "go here", "here", LinkRange{13, 4}},
        LinkCase{"TwoUnitsInTheRequest", "None", "🎥R", "go here", "here", LinkRange{15, 4}},
        LinkCase{"TwoUnitsBeforeTheWord", "None", "R", "🎥 here", "here", LinkRange{13, 4}},
        LinkCase{"TwoUnitsInTheWord", "None", "R", "go 🔗🔗", "🔗🔗", LinkRange{13, 4}},
        LinkCase{"OneUnitOfManyBytes", "Není", "漢", "jdi sem", "sem", LinkRange{14, 3}},
        LinkCase{"WordIsAll", "None", "R", "go", " \n\nR. go", LinkRange{4, 8}},
        LinkCase{"WordDoesNotOccur", "None", "R", "go there", "hier", std::nullopt},
        LinkCase{"WordInTheWarningAlone", "here", "R", "go", "here", std::nullopt},
        LinkCase{"WordAcrossTheWarning", "None", "R", "go", "e \n", std::nullopt},
        LinkCase{"EmptyWord", "None", "R", "go here", "", std::nullopt},
        LinkCase{"EmptyTexts", "", "", "", "here", std::nullopt},
        LinkCase{"WordIsNotUTF8", "None", "R", "go here", "\xFF", std::nullopt},
        LinkCase{"TextIsNotUTF8", "None", "R", "\xFF here", "here", std::nullopt}),
    [](const auto& tested) { return tested.param.name; });

TEST(MyInstallerPane, AWarningWhoseTextsCannotBeSearchedHasNoLink) {
    // Two texts are made for the search: the one that is searched and the link word.
    for (const std::uint64_t nth : {1u, 2u}) {
        auto description = macWithTexts(
            {{warningKey, "None"}, {requestKey, "R"}, {clickKey, "go here"}, {linkKey, "here"}});
        description.faults = {{"CFStringCreateWithBytes", nth, false, {}}};
        PaneOnMac onMac(description);
        onMac.onMain([&] { onMac.pane.showHyperLink(); });
        EXPECT_EQ(onMac.mac.window.warnings.text, "None \n\nR. go here");
        EXPECT_EQ(linkOf(onMac.mac), std::nullopt) << "fails at use " << nth;
    }
}

// A view that is gone

simulated_mac::EventDescription viewReleasedAt(double seconds) {
    simulated_mac::EventDescription event;
    event.at = seconds;
    event.installer = simulated_mac::EventDescription::Installer::releasesView;
    return event;
}

TEST(MyInstallerPane, ARunWhoseViewIsReleasedEndsQuietly) {
    auto description = macWith({builtInPanel()});
    description.events = {viewReleasedAt(1)};
    PaneOnMac onMac(description);
    EXPECT_EQ(onMac.run(), Scheduler::Outcome::quiet);
    EXPECT_THAT(paneChanges(onMac.mac, 1s), ElementsAre("Continue is enabled"));
    EXPECT_EQ(onMac.mac.window.warnings.clickRecognizers, 0);
    EXPECT_THAT(onMac.mac.journal.misuses(), IsEmpty());
}

TEST(MyInstallerPane, AnEntryWithoutAViewRunsAllTheSame) {
    auto description = macWith({builtInPanel()});
    description.events = {viewReleasedAt(5)};
    PaneOnMac onMac(description);
    onMac.enterAt(10s);
    onMac.run();
    EXPECT_THAT(paneChanges(onMac.mac, 5s),
                ElementsAre("Continue is disabled", "Continue is enabled"));
}

TEST(MyInstallerPane, AClickWhereTheWarningWasOpensNothing) {
    auto description = macWith({builtInPanel()});
    description.events = {viewReleasedAt(5)};
    description.events.push_back({});
    description.events.back().at = 10;
    description.events.back().user = simulated_mac::EventDescription::User::clicksWarning;
    const auto report = [&description] {
        Mac mac(description);
        displaycheck::PaneHost host(mac);
        host.run();
        return mac.window.openedAddresses;
    };
    EXPECT_THAT(report(), IsEmpty());
    description.events.erase(description.events.begin());
    EXPECT_THAT(report(), SizeIs(1));
}

// The process-wide list

TEST(MyInstallerPane, HasTheProcessWideListFromItsFirstEntryOn) {
    PaneOnMac onMac(macWith({builtInPanel()}));
    EXPECT_EQ(onMac.pane.whiteList, nullptr);
    WhiteList* listWhileAsked = nullptr;
    onMac.mac.trace.countUses();
    onMac.mac.trace.before({"posix_spawn", 1},
                           [&] { listWhileAsked = onMac.pane.whiteList; });  // the kind of Mac
    onMac.run();
    ASSERT_NE(::whiteList, nullptr);
    EXPECT_EQ(listWhileAsked, ::whiteList);
    EXPECT_EQ(onMac.pane.whiteList, ::whiteList);
}

// The environment

TEST(MyInstallerPane, FindsItsMonitorsWithoutAnEnvironment) {
    ASSERT_EQ(clearenv(), 0);
    PaneOnMac onMac(macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)}));
    onMac.run();
    EXPECT_EQ(displayInfoArray.get().at(1)->displayState, displayInfo::supportedAndAnswering);
}

TEST(MyInstallerPane, FindsItsMonitorsInAnEnvironmentThatMisleads) {
    ASSERT_EQ(setenv("PATH", "/nowhere", 1), 0);
    ASSERT_EQ(setenv("LC_ALL", "tr_TR.UTF-8", 1), 0);
    PaneOnMac onMac(appleMacWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)}));
    onMac.run();
    EXPECT_EQ(displayInfoArray.get().at(1)->displayState, displayInfo::supportedAndAnswering);
}

TEST(MyInstallerPane, EveryWarningAddsOneMoreRecognizer) {
    PaneOnMac onMac(macWith({builtInPanel()}));
    onMac.enterAt(10s);
    onMac.enterAt(20s);
    onMac.run();
    EXPECT_EQ(onMac.mac.window.warnings.clickRecognizers, 3);
}

TEST(MyInstallerPane, NoRecognizerIsAddedWithoutAWarningOrRemovedWithOne) {
    auto description = macWith({builtInPanel()});
    description.events = {{.at = 10, .attach = camera(), .detach = {}, .user = {}}};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_EQ(onMac.mac.window.warnings.text, "");
    EXPECT_EQ(onMac.mac.window.warnings.clickRecognizers, 1);
    EXPECT_EQ(onMac.mac.window.title.clickRecognizers, 0);
}

TEST(MyInstallerPane, AClickOnTheWarningOpensTheSupportArticle) {
    auto description = macWith({builtInPanel()});
    description.events = {{.at = 10,
                           .attach = {},
                           .detach = {},
                           .user = simulated_mac::EventDescription::User::clicksWarning}};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_THAT(onMac.mac.window.openedAddresses,
                ElementsAre(std::string(ProductData::supportArticle)));
    EXPECT_THAT(onMac.mac.window.openedAddresses.front(), testing::StartsWith("https://"));
}

}  // namespace pane_test
