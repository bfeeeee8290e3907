#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "plugin/MyInstallerPane.h"
#include "tests/support/Detection.h"

// Which monitor a display is, and the verdict on it.

namespace pane_identification_test {

using namespace std::chrono_literals;
using namespace test;
using simulated_mac::Bytes;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Ne;
using testing::SizeIs;

constexpr auto unlistedOlder = "VORN M2724";
constexpr auto unlistedRecent = "VORN M2726X";

/// EDID fields of the monitors of tests/support.
EDIDFields fieldsOf(const std::string& name) {
    EDIDFields fields;
    fields.product = 0x1234;
    fields.serial = 0x12345678;
    fields.name = name;
    fields.serialText = "7XYZ123";
    return fields;
}

/// A monitor that would confirm itself over DDC/CI, with the test's EDID.
ScreenDescription monitorWith(const EDIDFields& fields) {
    auto screen = answeringMonitor(fields.name.value_or(""), 0x4000);
    screen.monitor.edid = simulated_mac::makeEDID(fields);
    screen.name = fields.name;
    return screen;
}

/// What `ioreg -l` prints for EDIDs.
std::string listingOf(const std::vector<EDIDFields>& monitors) {
    std::string text;
    for (const EDIDFields& fields : monitors) {
        text += fmt::format("    | |   \"IODisplayEDID\" = <{:02x}>\n",
                            fmt::join(simulated_mac::makeEDID(fields), ""));
    }
    return text;
}

/// The record of a monitor of tests/support before its name is known.
std::shared_ptr<displayInfo> recordOfTheFirstScreen(const Mac& mac) {
    const auto display = std::make_shared<displayInfo>();
    display->screenNumber = mac.displays()[0]->displayID;
    display->serialNumber = 0x12345678;
    return display;
}

/// The verdict on an external monitor beside the built-in panel.
std::int32_t verdictOn(const ScreenDescription& monitor) {
    return Detection(macWith({builtInPanel(), monitor})).display(1).displayState;
}

// The model year

struct YearCase {
    std::string name;
    bool recent;
};

void PrintTo(const YearCase& year, std::ostream* out) {
    *out << '"' << year.name << '"';
}

class ModelYear : public testing::TestWithParam<YearCase> {};

TEST_P(ModelYear, IsOfTheTwoCharactersThatEndAtTheLastDigit) {
    PaneOnMac onMac(macWith({}));
    EXPECT_EQ(onMac.pane.isYear25orAbove(GetParam().name), GetParam().recent);
}

INSTANTIATE_TEST_SUITE_P(
    Names, ModelYear,
    testing::Values(YearCase{"", false}, YearCase{"VORN", false}, YearCase{"9", false},
                    YearCase{"9ABC", false}, YearCase{"AB2725QE", true},
                    YearCase{"AB2724QE", false}, YearCase{"AB27Q5", false}, YearCase{"25", true},
                    YearCase{"24", false}, YearCase{"A25", true}, YearCase{"A27", true},
                    YearCase{"A90", true}, YearCase{"A99", true}, YearCase{"A00", false},
                    YearCase{"A27BC", true}, YearCase{"A24BC", false}, YearCase{"A2725B1", false},
                    YearCase{"A 9", false}, YearCase{"A+9", false}, YearCase{"A-9", false},
                    YearCase{"A125", true}, YearCase{"A924", false}, YearCase{"A2726 (DP)", true},
                    YearCase{"A2726(2)", false}, YearCase{"A:5", false},
                    // Names too long for a string's own buffer.
                    YearCase{"ABCDEFGHIJKLMNOPQRSTUVWXYZ", false},
                    YearCase{"9ABCDEFGHIJKLMNOPQRSTUVWXYZ", false},
                    // Digits of other scripts don't count, and a character isn't its bytes.
                    YearCase{"A２７", false}, YearCase{"A25２", true}, YearCase{"Ä9", false},
                    YearCase{"漢5", false}, YearCase{"漢25字", true}, YearCase{"🎥9", false}));

// Reading the EDIDs

TEST(MyInstallerPaneIdentification, OneEDIDForEveryDisplayButTheBuiltInOneIsReadOnce) {
    const Detection run(macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)}));
    EXPECT_EQ(run.listings(), 1u);
    EXPECT_THAT(run.sleeps(), IsEmpty());
    EXPECT_EQ(run.timeOfContinue(), Time(0));
}

TEST(MyInstallerPaneIdentification, TwoMonitorsAndThreeEDIDsAreReadAgainAfterASecond) {
    auto panel = builtInPanel();
    auto panelFields = fieldsOf("Color LCD");
    panelFields.manufacturer = "APP";
    panel.monitor.edid = simulated_mac::makeEDID(panelFields);
    panel.edidListed = true;
    const Detection run(macWith(
        {panel, answeringMonitor(listedOlder, 0x4000), answeringMonitor(listedRecent, 0x4000)}));
    EXPECT_EQ(run.listings(), 2u);
    EXPECT_THAT(run.sleeps(), ElementsAre(1s));
    EXPECT_EQ(run.timeOfContinue(), Time(1s));
    EXPECT_THAT(run.states(), ElementsAre(-1, 0, 0)) << "the pairing comes after the second read";
}

TEST(MyInstallerPaneIdentification, AMonitorWithoutAnEDIDInTheListMakesTheEDIDsReadAgain) {
    auto unlisted = monitorNamed(unlistedOlder);
    unlisted.edidListed = false;
    const Detection run(macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000), unlisted}));
    EXPECT_EQ(run.listings(), 2u);
    EXPECT_EQ(run.timeOfContinue(), Time(1s));
    EXPECT_THAT(run.states(), ElementsAre(-1, 0, 3));
}

TEST(MyInstallerPaneIdentification, AMacWithoutABuiltInPanelAlwaysReadsTheEDIDsAgain) {
    const Detection run(macWith({answeringMonitor(listedOlder, 0x4000)}));
    EXPECT_EQ(run.listings(), 2u);
    EXPECT_EQ(run.timeOfContinue(), Time(1s));
    EXPECT_THAT(run.states(), ElementsAre(0));
}

TEST(MyInstallerPaneIdentification, AMacWithoutABuiltInPanelReadsAgainWithSeveralMonitorsToo) {
    const Detection run(
        macWith({answeringMonitor(listedOlder, 0x4000), answeringMonitor(listedRecent, 0x4000)}));
    EXPECT_EQ(run.listings(), 2u);
    EXPECT_EQ(run.timeOfContinue(), Time(1s));
}

TEST(MyInstallerPaneIdentification, TheEDIDsAreNotReadAThirdTime) {
    auto unlisted = monitorNamed(unlistedRecent);
    unlisted.edidListed = false;
    const Detection run(macWith({builtInPanel(), unlisted}));
    EXPECT_EQ(run.listings(), 2u);
    EXPECT_EQ(run.timeOfContinue(), Time(1s));
}

TEST(MyInstallerPaneIdentification, AnEDIDThatArrivesAtTheSecondReadIdentifiesTheMonitor) {
    auto late = answeringMonitor(listedRecent, 0x4000);
    late.edidListedAt = 0.5;
    const Detection run(macWith({builtInPanel(), late}));
    EXPECT_EQ(run.listings(), 2u);
    EXPECT_THAT(run.states(), ElementsAre(-1, 0));
    EXPECT_EQ(run.display(1).plugNplayID, "VRN1234");
    EXPECT_EQ(run.timeOfContinue(), Time(1s));
    EXPECT_FALSE(run.warns());
}

TEST(MyInstallerPaneIdentification, AnEDIDThatArrivesAfterTheSecondReadIsMissed) {
    auto late = answeringMonitor(listedRecent, 0x4000);
    late.edidListedAt = 1.5;
    const Detection run(macWith({builtInPanel(), late}));
    EXPECT_THAT(run.states(), ElementsAre(-1, 3));
    EXPECT_TRUE(run.warns());
}

TEST(MyInstallerPaneIdentification, TheSecondReadReplacesTheFirst) {
    auto description = macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)});
    auto first = fieldsOf(listedOlder);
    first.serialText = "FIRST";
    auto second = fieldsOf(listedOlder);
    second.serialText = "SECOND";
    second.name = "VORN OTHER";
    description.tools["ioreg"] = {{listingOf({first, first}), 0}, {listingOf({second}), 0}};
    const Detection run(description);
    EXPECT_EQ(run.listings(), 2u);
    EXPECT_EQ(run.display(1).EDIDString, std::nullopt);
    EXPECT_THAT(run.states(), ElementsAre(-1, 3));
}

// Pairing

TEST(MyInstallerPaneIdentification, ADisplayTakesTheIdentityOfItsEDID) {
    const auto monitor = answeringMonitor(listedOlder, 0x4000);
    const Detection run(macWith({builtInPanel(), monitor}));
    const displayInfo& display = run.display(1);
    EXPECT_EQ(display.EDIDString, fmt::format("{:02x}", fmt::join(monitor.monitor.edid, "")));
    EXPECT_EQ(display.serviceTag, "7XYZ123");
    EXPECT_EQ(display.modelInfo, "VRN12.12345678.K2422H.7XYZ123");
    EXPECT_EQ(display.plugNplayID, "VRN1234");
    EXPECT_EQ(display.name, listedOlder);
}

TEST(MyInstallerPaneIdentification, EachOfTwoMonitorsTakesItsOwnIdentity) {
    auto older = fieldsOf(listedOlder);
    auto recent = fieldsOf(listedRecent);
    recent.serial = 2;
    recent.serialText = "RECENT";
    const Detection run(macWith({monitorWith(recent), builtInPanel(), monitorWith(older)}));
    EXPECT_EQ(run.display(0).serviceTag, "RECENT");
    EXPECT_EQ(run.display(2).serviceTag, "7XYZ123");
    EXPECT_EQ(run.display(1).EDIDString, std::nullopt);
}

TEST(MyInstallerPaneIdentification, TwinsAreToldApartByTheirSerialNumbers) {
    auto first = fieldsOf(listedRecent);
    first.serialText = "FIRST";
    auto second = fieldsOf(listedRecent);
    second.serial = 2;
    second.serialText = "SECOND";
    auto one = monitorWith(first);
    auto two = monitorWith(second);
    one.name.reset();
    two.name.reset();
    const Detection run(macWith({builtInPanel(), one, two}));
    EXPECT_EQ(run.display(1).name, "VORN K2725QX (1)");
    EXPECT_EQ(run.display(1).serviceTag, "FIRST");
    EXPECT_EQ(run.display(2).serviceTag, "SECOND");
    EXPECT_THAT(run.states(), ElementsAre(-1, 0, 0));
}

TEST(MyInstallerPaneIdentification, TheCaseOfTheNamesDoesNotMatter) {
    auto monitor = monitorWith(fieldsOf("Vorn k2422h"));
    monitor.name = "vORN K2422h";
    EXPECT_EQ(verdictOn(monitor), 0);
}

TEST(MyInstallerPaneIdentification, TheEDIDsNameMayBeAPartOfTheDisplaysName) {
    auto monitor = monitorWith(fieldsOf("K2725QX"));
    monitor.name = "VORN K2725QX (DP)";
    EXPECT_EQ(verdictOn(monitor), 0);
}

TEST(MyInstallerPaneIdentification, TheDisplaysNameMayNotBeAPartOfTheEDIDsName) {
    auto monitor = monitorWith(fieldsOf("VORN K2725QX"));
    monitor.name = "K2725QX";
    EXPECT_EQ(verdictOn(monitor), 3);
}

TEST(MyInstallerPaneIdentification, AnEDIDOfAnotherSerialNumberDoesNotFit) {
    auto monitor = monitorWith(fieldsOf(listedOlder));
    monitor.serialNumber = 0x12345679;
    const Detection run(macWith({builtInPanel(), monitor}));
    EXPECT_EQ(run.display(1).EDIDString, std::nullopt);
    EXPECT_EQ(run.display(1).plugNplayID, std::nullopt);
    EXPECT_THAT(run.states(), ElementsAre(-1, 3));
}

TEST(MyInstallerPaneIdentification, TheSerialNumberIsComparedInAllIts32Bits) {
    auto fields = fieldsOf(listedOlder);
    fields.serial = 0xFEDCBA98;
    EXPECT_EQ(verdictOn(monitorWith(fields)), 0);
}

TEST(MyInstallerPaneIdentification, ASerialNumberOfZeroFitsZero) {
    auto fields = fieldsOf(listedOlder);
    fields.serial = 0;
    EXPECT_EQ(verdictOn(monitorWith(fields)), 0);
}

TEST(MyInstallerPaneIdentification, AnEDIDWithoutANameFitsNothing) {
    auto fields = fieldsOf(listedOlder);
    fields.name.reset();
    auto monitor = monitorWith(fields);
    monitor.name = listedOlder;
    const Detection run(macWith({builtInPanel(), monitor}));
    EXPECT_EQ(run.display(1).EDIDString, std::nullopt);
    EXPECT_THAT(run.states(), ElementsAre(-1, 3));
}

TEST(MyInstallerPaneIdentification, AnEDIDWithoutANameFitsNoNameWhateverItsLetters) {
    PaneOnMac onMac(macWith({monitorNamed(listedOlder)}));
    makeProcessWideObjects();
    const auto display = recordOfTheFirstScreen(onMac.mac);
    display->name = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    auto fields = fieldsOf(listedOlder);
    fields.name.reset();
    onMac.pane.parseMonitorEDIDWithScreenNumber({}, {hexText(simulated_mac::makeEDID(fields))},
                                                {display, display});
    EXPECT_EQ(display->EDIDString, std::nullopt);
}

TEST(MyInstallerPaneIdentification, ABuiltInDisplayFitsNoEDIDWhateverItsName) {
    PaneOnMac onMac(macWith({builtInPanel()}));
    makeProcessWideObjects();
    const auto display = recordOfTheFirstScreen(onMac.mac);
    display->name = listedOlder;
    onMac.pane.parseMonitorEDIDWithScreenNumber(
        {}, {hexText(simulated_mac::makeEDID(fieldsOf(listedOlder)))}, {display, display});
    EXPECT_EQ(display->EDIDString, std::nullopt);
}

TEST(MyInstallerPaneIdentification, ADisplayWithoutANameFitsNoEDIDOfAnyName) {
    PaneOnMac onMac(macWith({monitorNamed(listedOlder)}));
    makeProcessWideObjects();
    const auto display = recordOfTheFirstScreen(onMac.mac);
    std::vector<std::string> EDIDs;
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        EDIDs.push_back(hexText(simulated_mac::makeEDID(fieldsOf(std::string(1, letter)))));
    }
    const DisplayList asManyAsEDIDsAndAPanel(EDIDs.size() + 1, display);
    onMac.pane.parseMonitorEDIDWithScreenNumber({}, EDIDs, asManyAsEDIDsAndAPanel);
    EXPECT_EQ(display->EDIDString, std::nullopt);
}

TEST(MyInstallerPaneIdentification, OfTwoEDIDsThatFitTheLastOneWins) {
    auto description = macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)});
    auto first = fieldsOf(listedOlder);
    first.serialText = "FIRST";
    auto second = fieldsOf(listedOlder);
    second.serialText = "SECOND";
    second.product = 0xABCD;
    auto misfit = fieldsOf("VORN OTHER");
    misfit.serialText = "THIRD";
    description.tools["ioreg"] = {{listingOf({first, second, misfit}), 0}};
    const Detection run(description);
    EXPECT_EQ(run.display(1).serviceTag, "SECOND");
    EXPECT_EQ(run.display(1).plugNplayID, "VRNABCD");
    EXPECT_EQ(run.display(1).modelInfo, "VRNAB.12345678.K2422H.SECOND");
    EXPECT_EQ(run.display(1).EDIDString,
              fmt::format("{:02x}", fmt::join(simulated_mac::makeEDID(second), "")));
}

TEST(MyInstallerPaneIdentification, AnUnsupportedDisplayTakesNoIdentity) {
    const Detection run(macWith({builtInPanel(), monitorNamed(unlistedOlder)}));
    EXPECT_EQ(run.display(1).EDIDString, std::nullopt);
    EXPECT_EQ(run.display(1).serviceTag, std::nullopt);
    EXPECT_EQ(run.display(1).plugNplayID, std::nullopt);
}

TEST(MyInstallerPaneIdentification, ABuiltInDisplayTakesNoIdentity) {
    auto panel = builtInPanel();
    panel.serialNumber = 0x12345678;
    auto description = macWith({panel});
    description.tools["ioreg"] = {{listingOf({fieldsOf("Build-in")}), 0}};
    const Detection run(description);
    EXPECT_EQ(run.display(0).EDIDString, std::nullopt);
    EXPECT_EQ(run.display(0).modelInfo, "Build-in");
    EXPECT_THAT(run.states(), ElementsAre(-1));
}

TEST(MyInstallerPaneIdentification, AnEDIDTextThatIsTooShortIsPassedOver) {
    auto description = macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)});
    description.tools["ioreg"] = {{"\"IODisplayEDID\" = <>\n\"IODisplayEDID\" = <00ffff>\n" +
                                       listingOf({fieldsOf(listedOlder)}),
                                   0}};
    EXPECT_THAT(Detection(description).states(), ElementsAre(-1, 0));
}

// The verdict

TEST(MyInstallerPaneIdentification, AListedOlderModelThatDoesNotAnswerCountsByTheList) {
    EXPECT_EQ(verdictOn(silentMonitor(listedOlder)), 1);
}

TEST(MyInstallerPaneIdentification, AListedOlderModelThatConfirmsIsSupported) {
    EXPECT_EQ(verdictOn(answeringMonitor(listedOlder, 0x4000)), 0);
}

TEST(MyInstallerPaneIdentification, AListedOlderModelWithoutTheBitCountsByTheList) {
    EXPECT_EQ(verdictOn(answeringMonitor(listedOlder, 0x0001)), 1);
}

TEST(MyInstallerPaneIdentification, AListedModelOfYear24CountsByTheListOrByItsAnswer) {
    EXPECT_EQ(verdictOn(silentMonitor("VORN K2724DX")), 1);
    EXPECT_EQ(verdictOn(answeringMonitor("VORN K2724DX", 0x4000)), 0);
    EXPECT_EQ(verdictOn(answeringMonitor("VORN K2724DX", 0x0001)), 1);
}

TEST(MyInstallerPaneIdentification, AListedRecentModelCountsOnlyWhenItConfirms) {
    EXPECT_EQ(verdictOn(answeringMonitor(listedRecent, 0x4000)), 0);
    EXPECT_EQ(verdictOn(answeringMonitor(listedRecent, 0x0001)), 3);
    EXPECT_EQ(verdictOn(silentMonitor(listedRecent)), 3);
}

TEST(MyInstallerPaneIdentification, AListedModelOfYear90IsARecentOne) {
    EXPECT_EQ(verdictOn(silentMonitor("VORN K2790Z")), 3);
}

TEST(MyInstallerPaneIdentification, AnUnlistedRecentModelThatConfirmsIsSupported) {
    EXPECT_EQ(verdictOn(answeringMonitor(unlistedRecent, 0x4000)), 0);
}

TEST(MyInstallerPaneIdentification, AnUnlistedRecentModelWithoutTheBitIsNotSupported) {
    EXPECT_EQ(verdictOn(answeringMonitor(unlistedRecent, 0xBFFF)), 3);
}

TEST(MyInstallerPaneIdentification, AnUnlistedRecentModelThatDoesNotAnswerIsNotSupported) {
    EXPECT_EQ(verdictOn(silentMonitor(unlistedRecent)), 3);
}

TEST(MyInstallerPaneIdentification, AnUnlistedOlderModelIsNotSupportedAndNotAsked) {
    const Detection run(macWith({builtInPanel(), answeringMonitor(unlistedOlder, 0x4000)}));
    EXPECT_THAT(run.states(), ElementsAre(-1, 3));
    EXPECT_THAT(run.requests(1), IsEmpty());
    EXPECT_EQ(run.timeOfContinue(), Time(0));
}

class ConfirmationValue : public testing::TestWithParam<std::pair<std::uint16_t, int>> {};

TEST_P(ConfirmationValue, DecidesByOneBit) {
    const auto [value, state] = GetParam();
    EXPECT_EQ(verdictOn(answeringMonitor(listedOlder, value)), state);
}

INSTANTIATE_TEST_SUITE_P(Of, ConfirmationValue,
                         testing::Values(std::pair(0x4000, 0), std::pair(0x4001, 0),
                                         std::pair(0x7FFF, 0), std::pair(0xC000, 0),
                                         std::pair(0xFFFE, 0), std::pair(0x0000, 1),
                                         std::pair(0x2000, 1), std::pair(0x8000, 1),
                                         std::pair(0xBFFF, 1),
                                         // It means that no value was read.
                                         std::pair(0xFFFF, 1)));

TEST(MyInstallerPaneIdentification, AMonitorThatDoesNotKnowTheCodeCountsByTheList) {
    const Detection run(macWith({builtInPanel(), monitorNamed(listedOlder)}));
    EXPECT_THAT(run.states(), ElementsAre(-1, 1));
    EXPECT_THAT(run.requests(1), SizeIs(1)) << "such a reply is a good one";
}

TEST(MyInstallerPaneIdentification, AListedModelOfAnotherMakersIDIsNotSupportedAndNotAsked) {
    auto fields = fieldsOf(listedOlder);
    fields.manufacturer = "ABC";
    const Detection run(macWith({builtInPanel(), monitorWith(fields)}));
    EXPECT_EQ(run.display(1).plugNplayID, "ABC1234");
    EXPECT_THAT(run.states(), ElementsAre(-1, 3));
    EXPECT_THAT(run.requests(1), IsEmpty());
    EXPECT_TRUE(run.warns());
}

TEST(MyInstallerPaneIdentification, ARecentModelOfAnotherMakersIDIsNotSupported) {
    auto fields = fieldsOf(unlistedRecent);
    fields.manufacturer = "VRM";
    EXPECT_EQ(verdictOn(monitorWith(fields)), 3);
}

TEST(MyInstallerPaneIdentification, AListedModelWithoutAnEDIDIsNotSupportedAndNotAsked) {
    auto monitor = answeringMonitor(listedOlder, 0x4000);
    monitor.edidListed = false;
    const Detection run(macWith({builtInPanel(), monitor}));
    EXPECT_THAT(run.states(), ElementsAre(-1, 3));
    EXPECT_THAT(run.requests(1), IsEmpty());
}

TEST(MyInstallerPaneIdentification, AnExternalDisplayNamedBuildInIsNotJudged) {
    auto monitor = monitorWith(fieldsOf("K2725QX"));
    monitor.name = "VORN K2725QX Build-in";
    const Detection run(macWith({builtInPanel(), monitor}));
    EXPECT_THAT(run.states(), ElementsAre(-1, -1));
    EXPECT_THAT(run.requests(1), IsEmpty());
    EXPECT_TRUE(run.warns());
}

/// The verdicts on an external display and on the built-in one, both judged by such a record.
class JudgedRecord : public testing::Test {
  protected:
    JudgedRecord() { makeProcessWideObjects(); }

    std::shared_ptr<displayInfo> recordOf(std::size_t screen, const std::string& name) const {
        const auto display = std::make_shared<displayInfo>();
        display->screenNumber = onMac.mac.displays()[screen]->displayID;
        display->name = name;
        display->plugNplayID = "VRN1234";
        return display;
    }
    void judge(const std::shared_ptr<displayInfo>& display) {
        onMac.onMain([&] { onMac.pane.setDisplayConnectionState({display}); });
    }
    std::size_t requests(std::size_t screen) const {
        return onMac.mac.displays()[screen]->monitor.exchanges().size();
    }

    PaneOnMac onMac{macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)})};
};

TEST_F(JudgedRecord, OfTheBuiltInDisplayStaysAsItIsWhateverItsName) {
    const auto display = recordOf(0, listedOlder);
    judge(display);
    EXPECT_EQ(display->displayState, -1);
}

TEST_F(JudgedRecord, OfAnUnlistedOlderModelIsNotSupportedAndNotAskedThoughItIsTheMakers) {
    const auto display = recordOf(1, unlistedOlder);
    judge(display);
    EXPECT_EQ(display->displayState, 3);
    EXPECT_EQ(requests(1), 0u);
}

TEST(MyInstallerPaneIdentification, TheMonitorIsAskedForItsConfirmationCode) {
    const Detection run(macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)}));
    EXPECT_THAT(run.requests(1), ElementsAre(Bytes{0x51, 0x82, 0x01, 0xF1, 0x4D}));
}

TEST(MyInstallerPaneIdentification, AMonitorThatNeverAnswersIsAskedFiveTimesInFourSeconds) {
    const Detection run(macWith({builtInPanel(), silentMonitor(listedOlder)}));
    EXPECT_THAT(run.requests(1), SizeIs(5));
    EXPECT_EQ(run.timeOfContinue(), Time(4s));
    EXPECT_FALSE(run.warns());
}

TEST(MyInstallerPaneIdentification, AMonitorThatAnswersAtTheThirdTryIsSupported) {
    using Kind = simulated_mac::DDCAnswer::Kind;
    auto monitor = answeringMonitor(listedRecent, 0x4000);
    monitor.monitor.answers = {{Kind::silent, {}}, {Kind::badChecksum, {}}, {Kind::good, {}}};
    const Detection run(macWith({builtInPanel(), monitor}));
    EXPECT_THAT(run.states(), ElementsAre(-1, 0));
    EXPECT_EQ(run.timeOfContinue(), Time(2s));
}

TEST(MyInstallerPaneIdentification, AMonitorCountsAsSupportedWhileItIsAsked) {
    PaneOnMac onMac(macWith({builtInPanel(), silentMonitor(listedRecent)}));
    std::int32_t meanwhile = -2;
    onMac.mac.scheduler.onMainAt(3s,
                                 [&] { meanwhile = displayInfoArray.get().at(1)->displayState; });
    onMac.run();
    EXPECT_EQ(meanwhile, 0);
    EXPECT_EQ(displayInfoArray.get().at(1)->displayState, 3);
}

TEST(MyInstallerPaneIdentification, EveryMonitorIsJudgedOneAfterTheOther) {
    auto silentOlder = fieldsOf(listedOlder);
    silentOlder.serial = 2;
    auto silent = monitorWith(silentOlder);
    silent.monitor.answers = {{simulated_mac::DDCAnswer::Kind::silent, {}}};
    auto another = silent;
    another.monitor.edid = [&] {
        auto fields = fieldsOf("VORN K2722D");
        fields.serial = 3;
        return simulated_mac::makeEDID(fields);
    }();
    another.name = "VORN K2722D";
    const Detection run(macWith({silent, builtInPanel(), answeringMonitor(listedRecent, 0x4000),
                                 monitorNamed(unlistedOlder), another}));
    EXPECT_THAT(run.states(), ElementsAre(1, -1, 0, 3, 1));
    EXPECT_EQ(run.timeOfContinue(), Time(8s)) << "two silent monitors at four seconds each";
    EXPECT_FALSE(run.warns());
}

TEST(MyInstallerPaneIdentification, AnAnsweringMonitorMakesUpForOneThatIsNotSupported) {
    auto other = fieldsOf(unlistedOlder);
    other.serial = 2;
    const Detection run(
        macWith({builtInPanel(), monitorWith(other), answeringMonitor(listedRecent, 0x4000)}));
    EXPECT_THAT(run.states(), ElementsAre(-1, 3, 0));
    EXPECT_FALSE(run.warns());
}

TEST(MyInstallerPaneIdentification, AMonitorWithoutAFramebufferCountsByTheListAfterFourSeconds) {
    auto monitor = answeringMonitor(listedOlder, 0x4000);
    monitor.framebuffer.present = false;
    auto description = macWith({builtInPanel(), monitor});
    description.tools["ioreg"] = {{listingOf({fieldsOf(listedOlder)}), 0}};
    const Detection run(description);
    EXPECT_THAT(run.states(), ElementsAre(-1, 1));
    EXPECT_THAT(run.requests(1), IsEmpty());
}

TEST(MyInstallerPaneIdentification, TheModelListIsAskedForTheNameThatTheSystemReports) {
    auto monitor = monitorWith(fieldsOf("K2422H"));
    monitor.name = "K2422H";
    EXPECT_EQ(verdictOn(monitor), 0);
    monitor.name = "VORN  K2422H";
    EXPECT_EQ(verdictOn(monitor), 3);
}

TEST(MyInstallerPaneIdentification, AnAskedMonitorsTrafficIsPrinted) {
    PaneOnMac onMac(macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)}));
    onMac.run();
    EXPECT_EQ(onMac.printed(),
              "\nD: IOI2CTransactionTypes: 0x13 (19)\n"
              "D: IOI2CNoTransactionType                   supported \n"
              "D: IOI2CSimpleTransactionType               supported \n"
              "E: IOI2CDDCciReplyTransactionType           unsupported \n"
              "E: IOI2CCombinedTransactionType             unsupported \n"
              "D: IOI2CDisplayPortNativeTransactionType    supported \n"
              "minReplyDelay = 50\n"
              "Check DDCRead (send) 6E 51 82 01 F1 4D \n"
              "Check DDCRead (reply)6E 88 02 00 F1 00 FF FF 40 00 05 , chksum: 05\n");
}

// References

using HeldByCall = std::map<std::pair<std::string, std::string>, std::int64_t>;

/// What one run keeps beside its watcher when monitors are asked over DDC/CI.
HeldByCall heldWith(std::int64_t monitors, std::int64_t requests) {
    return {
        {{"CFDictionary", "IOServiceMatching"}, 1},
        {{"IONotificationPort", "IONotificationPortCreate"}, 1},
        {{"io_iterator_t", "IOServiceAddMatchingNotification"}, 1},
        {{"dispatch_queue_t", "dispatch_queue_create"}, 1},
        {{"dispatch_semaphore_t", "dispatch_semaphore_create"}, monitors},
        {{"CFAllocator memory", "CFAllocatorAllocate"}, 1},  // the table of the displays' locks
        {{"io_iterator_t", "IOServiceGetMatchingServices"}, requests},
    };
}

TEST(MyInstallerPaneIdentification, AnAnsweringMonitorKeepsItsLockAndOneIterator) {
    PaneOnMac onMac(macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)}));
    onMac.run();
    EXPECT_EQ(onMac.mac.ledger.heldByCall(), heldWith(1, 1));
}

TEST(MyInstallerPaneIdentification, ASilentMonitorKeepsItsLockAndAnIteratorForEachTry) {
    PaneOnMac onMac(macWith({builtInPanel(), silentMonitor(listedOlder)}));
    onMac.run();
    EXPECT_EQ(onMac.mac.ledger.heldByCall(), heldWith(1, 5));
}

TEST(MyInstallerPaneIdentification, AnUnsupportedMonitorKeepsNothing) {
    PaneOnMac onMac(macWith({builtInPanel(), monitorNamed(unlistedOlder)}));
    onMac.run();
    auto held = onMac.mac.ledger.heldByCall();
    EXPECT_THAT(held, SizeIs(4)) << "the watcher and the controller's queue";
    EXPECT_EQ((held[{"io_iterator_t", "IOServiceGetMatchingServices"}]), 0);
}

}  // namespace pane_identification_test
