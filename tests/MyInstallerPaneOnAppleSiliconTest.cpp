#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "plugin/MyInstallerPane.h"
#include "tests/support/Detection.h"

// Whole detection runs on Apple-silicon Macs: display services are found, paired with screens, and
// DDC/CI goes over them.

namespace pane_on_apple_silicon_test {

using namespace std::chrono_literals;
using namespace test;
using simulated_mac::Bytes;
using simulated_mac::Chip;
using simulated_mac::DDCAnswer;
using simulated_mac::EventDescription;
using simulated_mac::PropertyList;
using simulated_mac::PropertyMap;
using simulated_mac::PropertyValue;
using simulated_mac::ProxyDescription;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr auto unlistedOlder = "VORN M2724";
constexpr auto unlistedRecent = "VORN M2726X";

constexpr auto profilerCommand =
    R"(/bin/sh, "-c", "system_profiler SPDisplaysDataType | grep "Chipset Model"")";
constexpr auto firmwareCommand =
    R"(/bin/sh, "-c", "afktool -r all registry | grep -E '"RegisterSetName"="EDID Block 0"' )"
    R"(| awk 'BEGIN{RS="|"};{print $3}'")";

/// The monitor's display service joins the registry only then.
ScreenDescription lateBy(double seconds, ScreenDescription screen) {
    screen.displayService.appearsAt = seconds;
    return screen;
}

ScreenDescription withoutService(ScreenDescription screen) {
    screen.displayService.present = false;
    return screen;
}

/// The same model with this serial number, 0 for none.
ScreenDescription twin(std::uint32_t serialNumber) {
    EDIDFields fields;
    fields.name = listedRecent;
    fields.product = 0x2725;
    fields.serial = serialNumber;
    auto screen = answeringMonitor(listedRecent, 0x4000);
    screen.monitor.edid = simulated_mac::makeEDID(fields);
    return screen;
}

// Looking for display services

TEST(MyInstallerPaneOnAppleSilicon, AMonitorThatAnswersIsSupportedAfterOneRead) {
    const Detection run(appleMacWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)}));
    EXPECT_THAT(run.states(), ElementsAre(-1, 0));
    EXPECT_FALSE(run.warns());
    EXPECT_THAT(run.waits(), IsEmpty());
    EXPECT_EQ(run.timeOfContinue(), Time(180ms));
}

struct Retry {
    double serviceAppears;
    std::vector<Time> waits;
    Time end;
};

class LateService : public testing::TestWithParam<Retry> {};

TEST_P(LateService, IsFoundAtTheNextLook) {
    const Detection run(
        appleMacWith({builtInPanel(),
                      lateBy(GetParam().serviceAppears, answeringMonitor(listedOlder, 0x4000))}));
    EXPECT_EQ(run.waits(), GetParam().waits);
    EXPECT_THAT(run.states(), ElementsAre(-1, 0));
    EXPECT_EQ(run.timeOfContinue(), GetParam().end + 180ms);
}

INSTANTIATE_TEST_SUITE_P(
    Retries, LateService,
    testing::Values(Retry{0.5, {2s}, 2s}, Retry{2.5, {2s, 3s}, 5s}, Retry{5.5, {2s, 3s, 4s}, 9s},
                    Retry{9.5, {2s, 3s, 4s, 5s}, 14s}, Retry{14.5, {2s, 3s, 4s, 5s, 6s}, 20s}),
    [](const auto& retry) {
        return fmt::format("At{}Milliseconds", static_cast<int>(retry.param.serviceAppears * 1000));
    });

TEST(MyInstallerPaneOnAppleSilicon, AfterFiveRetriesTheRunGoesOnWithoutServices) {
    const Detection run(
        appleMacWith({builtInPanel(), lateBy(20.5, answeringMonitor(listedOlder, 0x4000))}));
    EXPECT_THAT(run.waits(), ElementsAre(2s, 3s, 4s, 5s, 6s));
    EXPECT_EQ(run.display(1).arm64avService, nullptr);
    EXPECT_THAT(run.states(), ElementsAre(-1, 1)) << "identified by the firmware's EDID";
    EXPECT_EQ(run.timeOfContinue(), Time(20s));
}

TEST(MyInstallerPaneOnAppleSilicon, WithoutServicesAndEDIDsTheRunTakesTwentyOneSeconds) {
    auto screen = withoutService(answeringMonitor(listedOlder, 0x4000));
    screen.edidListed = false;
    const Detection run(appleMacWith({builtInPanel(), screen}));
    EXPECT_THAT(run.waits(), ElementsAre(2s, 3s, 4s, 5s, 6s, 1s));
    EXPECT_THAT(run.states(), ElementsAre(-1, 3));
    EXPECT_TRUE(run.warns());
    EXPECT_EQ(run.timeOfContinue(), Time(21s));
}

TEST(MyInstallerPaneOnAppleSilicon, TheWaitsAreNeverOnTheMainThread) {
    const Detection run(appleMacWith({withoutService(silentMonitor(listedOlder))}));
    for (const auto& sleep : run.calls("NSThread.sleep")) EXPECT_EQ(sleep.thread, "SerialQueue");
}

TEST(MyInstallerPaneOnAppleSilicon, EveryLookAsksForTheScreensAnew) {
    auto late = lateBy(1, answeringMonitor(listedRecent, 0x4000));
    late.appearsAt = 1;
    const Detection run(
        appleMacWith({builtInPanel(), withoutService(monitorNamed(unlistedOlder)), late}));
    // The retry finds the late one; then an EDID is missing for the other monitor.
    EXPECT_THAT(run.waits(), ElementsAre(2s, 1s));
    EXPECT_THAT(run.states(), ElementsAre(-1, 3, 0));
}

TEST(MyInstallerPaneOnAppleSilicon, WithoutAnExternalScreenNoServiceIsLookedFor) {
    const Detection run(appleMacWith({builtInPanel()}));
    EXPECT_THAT(run.calls("IORegistryEntryCreateIterator"), IsEmpty());
    EXPECT_THAT(run.waits(), ElementsAre(2s));
    EXPECT_THAT(run.argumentsOf("posix_spawn"), ElementsAre(profilerCommand, firmwareCommand));
    EXPECT_THAT(run.states(), ElementsAre(-1));
    EXPECT_TRUE(run.warns());
}

TEST(MyInstallerPaneOnAppleSilicon, OneRegistryWalkIsMadeForEveryDisplayID) {
    const Detection run(appleMacWith({builtInPanel(), twin(1), twin(2)}));
    EXPECT_THAT(run.calls("IORegistryEntryCreateIterator"), SizeIs(3));
}

TEST(MyInstallerPaneOnAppleSilicon, AWalkThatCannotStartIsTriedAgain) {
    auto description = appleMacWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)});
    // One walk for each of the two display IDs.
    description.faults = {{"IORegistryEntryCreateIterator", 1, false, {}},
                          {"IORegistryEntryCreateIterator", 2, false, {}}};
    const Detection run(description);
    EXPECT_THAT(run.waits(), ElementsAre(2s));
    EXPECT_THAT(run.states(), ElementsAre(-1, 0));
}

// EDIDs

TEST(MyInstallerPaneOnAppleSilicon, TheEDIDsComeFromTheServicesAlone) {
    const Detection run(appleMacWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)}));
    EXPECT_THAT(run.argumentsOf("posix_spawn"), ElementsAre(profilerCommand));
    EXPECT_THAT(run.calls("IOAVServiceCopyEDID"), SizeIs(1));
    EXPECT_EQ(run.display(1).EDIDString, hexText(run.mac().displays()[1]->screen.monitor.edid));
}

TEST(MyInstallerPaneOnAppleSilicon, WithoutServicesTheEDIDsComeFromTheFirmware) {
    const Detection run(
        appleMacWith({builtInPanel(), withoutService(answeringMonitor(listedOlder, 0x4000))}));
    EXPECT_THAT(run.argumentsOf("posix_spawn"), ElementsAre(profilerCommand, firmwareCommand));
    EXPECT_TRUE(run.display(1).EDIDString.has_value());
}

TEST(MyInstallerPaneOnAppleSilicon, AnEDIDOfTwoScreensIsListedOnce) {
    // One EDID for two monitors and a built-in panel: they are read again.
    const Detection run(appleMacWith({builtInPanel(), twin(0), twin(0)}));
    EXPECT_THAT(run.waits(), ElementsAre(1s));
    // Three pairings were handed out, and each is read both times.
    EXPECT_THAT(run.calls("IOAVServiceCopyEDID"), SizeIs(6));
    EXPECT_EQ(run.display(1).EDIDString, run.display(2).EDIDString);
}

TEST(MyInstallerPaneOnAppleSilicon, TheOneEDIDOfTwinsIsEnoughWhereThereIsNoPanel) {
    const Detection run(appleMacWith({twin(0), twin(0)}));
    EXPECT_THAT(run.waits(), IsEmpty());
    EXPECT_THAT(run.calls("IOAVServiceCopyEDID"), SizeIs(3)) << "once for each pairing";
    EXPECT_THAT(run.states(), ElementsAre(0, 0));
}

TEST(MyInstallerPaneOnAppleSilicon, AnEDIDThatCannotBeCopiedIsLeftOutAndTriedAgain) {
    auto description = appleMacWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)});
    description.faults = {{"IOAVServiceCopyEDID", 1, false, {}}};
    const Detection run(description);
    EXPECT_THAT(run.waits(), ElementsAre(1s));
    EXPECT_THAT(run.states(), ElementsAre(-1, 0));
    EXPECT_THAT(run.mac().journal.systemLog(), testing::Contains("Cannot copy EDID"));
}

TEST(MyInstallerPaneOnAppleSilicon, AnEDIDThatIsNeverThereLeavesAMonitorUnidentified) {
    auto screen = answeringMonitor(listedOlder, 0x4000);
    screen.displayService.proxies[0].edid = Bytes{};
    const Detection run(appleMacWith({builtInPanel(), screen}));
    EXPECT_THAT(run.states(), ElementsAre(-1, 3));
    EXPECT_TRUE(run.warns());
    const auto log = run.mac().journal.systemLog();
    EXPECT_EQ(std::count(log.begin(), log.end(), "No EDID found"), 2);
}

TEST(MyInstallerPaneOnAppleSilicon, ExtensionBlocksAreNotPartOfTheEDID) {
    auto screen = answeringMonitor(listedOlder, 0x4000);
    const std::string base = hexText(screen.monitor.edid);
    screen.monitor.edid.resize(256, 0xAB);
    const Detection run(appleMacWith({builtInPanel(), screen}));
    EXPECT_EQ(run.display(1).EDIDString, base);
}

TEST(MyInstallerPaneOnAppleSilicon, AMacWithoutABuiltInPanelReadsTheEDIDsTwice) {
    const Detection run(appleMacWith({answeringMonitor(listedOlder, 0x4000)}));
    EXPECT_THAT(run.waits(), ElementsAre(1s));
    EXPECT_THAT(run.calls("IOAVServiceCopyEDID"), SizeIs(2));
    EXPECT_THAT(run.states(), ElementsAre(0));
}

// Services of displays

TEST(MyInstallerPaneOnAppleSilicon, DisplaysGetTheirServicesAfterTheirEDIDs) {
    PaneOnMac onMac(appleMacWith({answeringMonitor(listedOlder, 0x4000)}));
    onMac.mac.trace.countUses();
    bool hasService = true;
    // The second copy is of the second reading.
    onMac.mac.trace.before({"IOAVServiceCopyEDID", 2}, [&hasService] {
        hasService = displayInfoArray.get().at(0)->arm64avService != nullptr;
    });
    onMac.run();
    EXPECT_FALSE(hasService);
}

TEST(MyInstallerPaneOnAppleSilicon, EachOfTwoMonitorsIsAskedOverItsOwnService) {
    auto silent = twin(2);
    silent.monitor.answers = {{DDCAnswer::Kind::silent, {}}};
    const Detection run(appleMacWith({builtInPanel(), twin(1), silent}));
    EXPECT_THAT(run.states(), ElementsAre(-1, 0, 3));
    EXPECT_NE(run.display(1).arm64avService, run.display(2).arm64avService);
}

TEST(MyInstallerPaneOnAppleSilicon, TwinsWithoutSerialNumbersShareTheFirstService) {
    auto silent = twin(0);
    silent.monitor.answers = {{DDCAnswer::Kind::silent, {}}};
    const Detection run(appleMacWith({builtInPanel(), twin(0), silent}));
    EXPECT_THAT(run.states(), ElementsAre(-1, 0, 0)) << "the silent one is never asked";
    EXPECT_THAT(run.mac().displays()[1]->monitor.exchanges(), SizeIs(testing::Gt(0u)));
    EXPECT_THAT(run.mac().displays()[2]->monitor.exchanges(), IsEmpty());
}

TEST(MyInstallerPaneOnAppleSilicon, ABuiltInPanelThatMatchesAServiceGetsItToo) {
    auto panel = builtInPanel();
    const auto monitor = answeringMonitor(listedOlder, 0x4000);
    panel.monitor.edid = monitor.monitor.edid;
    const Detection run(appleMacWith({panel, monitor}));
    EXPECT_NE(run.display(0).arm64avService, nullptr);
    EXPECT_EQ(run.display(0).displayState, -1);
}

TEST(MyInstallerPaneOnAppleSilicon, AnOlderModelWithoutAServiceCountsByTheList) {
    const Detection run(
        appleMacWith({builtInPanel(), withoutService(answeringMonitor(listedOlder, 0x4000))}));
    EXPECT_THAT(run.states(), ElementsAre(-1, 1));
}

TEST(MyInstallerPaneOnAppleSilicon, ARecentModelWithoutAServiceIsNotSupported) {
    const Detection run(
        appleMacWith({builtInPanel(), withoutService(answeringMonitor(listedRecent, 0x4000))}));
    EXPECT_THAT(run.states(), ElementsAre(-1, 3));
    EXPECT_THAT(run.calls("IOAVServiceWriteI2C"), IsEmpty());
}

// DDC/CI

TEST(MyInstallerPaneOnAppleSilicon, TheMonitorIsAskedForItsConfirmationCode) {
    const Detection run(appleMacWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)}));
    const std::string service =
        fmt::format("service of display {}", run.mac().displays()[1]->displayID);
    EXPECT_THAT(
        run.argumentsOf("IOAVServiceWriteI2C"),
        testing::AllOf(SizeIs(2), Each(service + ", chip 0x37, address 0x51, bytes 82 01 F1 4D")));
    EXPECT_THAT(run.argumentsOf("IOAVServiceReadI2C"),
                ElementsAre(service + ", chip 0x37, offset 0x51, size 12"));
}

TEST(MyInstallerPaneOnAppleSilicon, AMonitorThatNeverAnswersIsAskedOnce) {
    const Detection run(appleMacWith({builtInPanel(), silentMonitor(listedOlder)}));
    EXPECT_THAT(run.calls("IOAVServiceReadI2C"), SizeIs(1));
    EXPECT_THAT(run.states(), ElementsAre(-1, 1));
    EXPECT_EQ(run.timeOfContinue(), Time(180ms));
}

TEST(MyInstallerPaneOnAppleSilicon, BadRepliesAreTriedFiveTimesWithASecondAfterEach) {
    auto screen = monitorNamed(listedOlder);
    screen.monitor.answers = {{DDCAnswer::Kind::badChecksum, {}}};
    const Detection run(appleMacWith({builtInPanel(), screen}));
    EXPECT_THAT(run.calls("IOAVServiceReadI2C"), SizeIs(5));
    EXPECT_THAT(run.waits(), testing::AllOf(SizeIs(5), Each(1s)));
    EXPECT_THAT(run.states(), ElementsAre(-1, 1));
    EXPECT_EQ(run.timeOfContinue(), Time(5 * 1180ms));
}

// References

TEST(MyInstallerPaneOnAppleSilicon, ARunKeepsItsWatcherAndTheServicesAndNothingElse) {
    const Detection run(appleMacWith({builtInPanel(), twin(1), twin(2)}));
    EXPECT_EQ(run.mac().ledger.heldByCall(),
              (std::map<std::pair<std::string, std::string>, std::int64_t>{
                  {{"CFDictionary", "IOServiceMatching"}, 1},
                  {{"IONotificationPort", "IONotificationPortCreate"}, 1},
                  {{"io_iterator_t", "IOServiceAddMatchingNotification"}, 1},
                  {{"dispatch_queue_t", "dispatch_queue_create"}, 1},
                  // Two external proxies, opened anew in each of the three walks.
                  {{"IOAVService", "IOAVServiceCreateWithService"}, 6},
              }));
}

// The same monitors on either kind of Mac

struct Pair {
    std::string name;
    ScreenDescription screen;
};

void PrintTo(const Pair& pair, std::ostream* out) {
    *out << pair.name;
}

ScreenDescription monitorThatSends(const std::string& name, std::vector<DDCAnswer> answers) {
    auto screen = answeringMonitor(name, 0x4000);
    screen.monitor.answers = std::move(answers);
    return screen;
}

ScreenDescription ofAnotherMaker() {
    EDIDFields fields;
    fields.manufacturer = "XYZ";
    fields.name = listedOlder;
    auto screen = answeringMonitor(listedOlder, 0x4000);
    screen.monitor.edid = simulated_mac::makeEDID(fields);
    return screen;
}

std::vector<Pair> monitorsOfEitherMac() {
    using Kind = DDCAnswer::Kind;
    const Bytes noise = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0, 0x11, 0x22, 0x33, 0x44};
    std::vector<Pair> pairs;
    for (const auto& [word, model] :
         std::map<std::string, std::string>{{"ListedOlder", listedOlder},
                                            {"ListedRecent", listedRecent},
                                            {"UnlistedOlder", unlistedOlder},
                                            {"UnlistedRecent", unlistedRecent}}) {
        pairs.push_back({word + "Confirms", answeringMonitor(model, 0x4000)});
        pairs.push_back({word + "WithoutTheBit", answeringMonitor(model, 0x0001)});
        pairs.push_back({word + "IsSilent", silentMonitor(model)});
        pairs.push_back({word + "LacksTheCode", monitorNamed(model)});
        pairs.push_back(
            {word + "HasBadChecksums", monitorThatSends(model, {{Kind::badChecksum, {}}})});
        pairs.push_back(
            {word + "EchoesAnotherCode", monitorThatSends(model, {{Kind::wrongCode, {}}})});
        pairs.push_back(
            {word + "HasAnotherSource", monitorThatSends(model, {{Kind::wrongSource, {}}})});
        pairs.push_back(
            {word + "HasAnotherOpcode", monitorThatSends(model, {{Kind::wrongOpcode, {}}})});
        pairs.push_back(
            {word + "LiesAboutItsLength", monitorThatSends(model, {{Kind::wrongLength, {}}})});
        pairs.push_back({word + "SendsNoise", monitorThatSends(model, {{Kind::bytes, noise}})});
        pairs.push_back({word + "RecoversAfterABadReply",
                         monitorThatSends(model, {{Kind::badChecksum, {}}, {Kind::good, {}}})});
    }
    pairs.push_back({"AnotherMakers", ofAnotherMaker()});
    auto otherSerial = answeringMonitor(listedOlder, 0x4000);
    otherSerial.serialNumber = 7;
    pairs.push_back({"WithAnotherSerialNumber", otherSerial});
    return pairs;
}

class EitherMac : public testing::TestWithParam<Pair> {};

TEST_P(EitherMac, GivesAMonitorTheSameVerdict) {
    const auto verdict = [](Chip chip) {
        auto description = appleMacWith({builtInPanel(), GetParam().screen});
        description.chip = chip;
        const Detection run(description);
        return std::pair(run.states(), run.warns());
    };
    EXPECT_EQ(verdict(Chip::intel), verdict(Chip::apple));
}

INSTANTIATE_TEST_SUITE_P(Monitors, EitherMac, testing::ValuesIn(monitorsOfEitherMac()),
                         [](const auto& pair) { return pair.param.name; });

TEST(MyInstallerPaneOnAppleSilicon, DoesNotReadAgainAfterSilenceAsAnIntelMacDoes) {
    const auto screen = monitorThatSends(
        listedRecent, {{DDCAnswer::Kind::silent, {}}, {DDCAnswer::Kind::good, {}}});
    auto description = appleMacWith({builtInPanel(), screen});
    EXPECT_THAT(Detection(description).states(), ElementsAre(-1, 3));
    description.chip = Chip::intel;
    EXPECT_THAT(Detection(description).states(), ElementsAre(-1, 0));
}

// Property values that lie

/// One value of every type that a property can have, and none.
std::vector<PropertyValue> valuesOfEveryType() {
    return {{},
            {true},
            {std::int64_t{-1}},
            {std::string("no")},
            {std::string()},
            {Bytes{1, 2, 3}},
            {PropertyList{{std::int64_t{1}}}},
            {PropertyMap{}},
            {PropertyMap{{"ProductAttributes", {std::int64_t{1}}}, {"en_US", {Bytes{0}}}}}};
}

/// Runs once with each value in a place of a listed older monitor's description.
void expectVerdicts(const std::function<void(ScreenDescription&, const PropertyValue&)>& put) {
    for (const PropertyValue& value : valuesOfEveryType()) {
        auto screen = answeringMonitor(listedOlder, 0x4000);
        put(screen, value);
        const Detection run(appleMacWith({builtInPanel(), screen}));
        // The firmware's EDID identifies the monitor where no service matches.
        EXPECT_THAT(run.states(), ElementsAre(-1, testing::AnyOf(0, 1)));
    }
}

class LyingFramebuffer : public testing::TestWithParam<std::string> {};

TEST_P(LyingFramebuffer, LeadsToAVerdict) {
    expectVerdicts([](ScreenDescription& screen, const PropertyValue& value) {
        screen.displayService.properties = {{GetParam(), value}};
    });
}

INSTANTIATE_TEST_SUITE_P(Properties, LyingFramebuffer,
                         testing::Values("EDID UUID", "DisplayAttributes", "Transport"),
                         [](const auto& key) {
                             std::string name = key.param;
                             std::erase(name, ' ');
                             return name;
                         });

class LyingProductAttributes : public testing::TestWithParam<std::string> {};

TEST_P(LyingProductAttributes, LeadToAVerdict) {
    expectVerdicts([](ScreenDescription& screen, const PropertyValue& value) {
        screen.displayService.productAttributes = {{GetParam(), value}};
    });
}

INSTANTIATE_TEST_SUITE_P(Keys, LyingProductAttributes,
                         testing::Values("ProductName", "ManufacturerID", "SerialNumber"));

class LyingInformationDictionary : public testing::TestWithParam<std::string> {};

TEST_P(LyingInformationDictionary, LeadsToAVerdict) {
    expectVerdicts([](ScreenDescription& screen, const PropertyValue& value) {
        screen.infoDictionary = {{GetParam(), value}};
    });
}

INSTANTIATE_TEST_SUITE_P(Keys, LyingInformationDictionary,
                         testing::Values("DisplayVendorID", "DisplayProductID",
                                         "DisplayWeekManufacture", "DisplayYearManufacture",
                                         "DisplayHorizontalImageSize", "DisplayVerticalImageSize",
                                         "DisplayProductName", "DisplaySerialNumber"));

TEST(MyInstallerPaneOnAppleSilicon, ALyingLocationOpensNoService) {
    for (const PropertyValue& value : valuesOfEveryType()) {
        auto screen = answeringMonitor(listedOlder, 0x4000);
        screen.displayService.proxies[0].location = value;
        const Detection run(appleMacWith({builtInPanel(), screen}));
        EXPECT_THAT(run.states(), ElementsAre(-1, 1));
        EXPECT_THAT(run.calls("IOAVServiceCreateWithService"), IsEmpty());
    }
}

}  // namespace pane_on_apple_silicon_test
