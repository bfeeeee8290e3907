#include "displaycheck/facts/Explanation.h"

#include <gtest/gtest.h>

#include "displaycheck/host/AssumedMac.h"
#include "displaycheck/tests/Reports.h"
#include "plugin/DDCCI/DDCCtl.h"
#include "tests/support/PaneOnMac.h"

namespace displaycheck {
namespace explanation_test {

using simulated_mac::DDCAnswer;
using simulated_mac::ScreenDescription;

DisplayFacts factsOf(const ScreenDescription& screen) {
    return reportOn(test::macWith({test::builtInPanel(), screen})).displays.at(1);
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(Explain, AMonitorThatAnswers) {
    const auto facts = factsOf(test::answeringMonitor("VORN K2725QX", 0x4001));
    const Explanation& why = facts.why;
    EXPECT_FALSE(why.builtIn);
    EXPECT_TRUE(why.model.listed);
    EXPECT_TRUE(why.model.recent);
    EXPECT_EQ(why.model.regularName, "K2725QX");
    ASSERT_TRUE(why.paired);
    EXPECT_EQ(why.paired->plugNplayID, "VRN1234");
    EXPECT_EQ(why.fromMaker, true);
    ASSERT_TRUE(why.reading);
    EXPECT_EQ(why.reading->status, DDCCtl::success);
    EXPECT_EQ(why.reading->value, 0x4001);
    ASSERT_EQ(why.reading->tries.size(), 1u);
    EXPECT_TRUE(why.reading->tries[0].good);
    EXPECT_EQ(why.reading->tries[0].reached, facts.record->screenNumber);
    EXPECT_TRUE(contains(textOf(facts), "supported: its answer over DDC/CI confirms it"));
    EXPECT_TRUE(contains(textOf(facts),
                         "sent 51 82 01 F1 4D, came back 6E 88 02 00 F1 00 FF FF "
                         "40 01 04: good reply"));
}

TEST(Explain, TheBuiltInPanel) {
    const auto report = reportOn(test::macWith({test::builtInPanel()}));
    EXPECT_TRUE(report.displays.at(0).why.builtIn);
    EXPECT_TRUE(contains(textOf(report.displays[0]), "the built-in panel: not judged"));
}

TEST(Explain, AMonitorThatIsNamedLikeAPanel) {
    auto screen = test::answeringMonitor("VORN K2725QX", 0x4001);
    screen.name = "Build-in K2725QX";
    EXPECT_TRUE(contains(textOf(factsOf(screen)),
                         "not judged: the pane takes its name for the built-in panel's"));
}

TEST(Explain, EveryTryUpToTheGoodOne) {
    auto screen = test::answeringMonitor("VORN K2424HX", 0x0001);
    screen.monitor.answers = {{DDCAnswer::Kind::silent, {}},
                              {DDCAnswer::Kind::badChecksum, {}},
                              {DDCAnswer::Kind::wrongSource, {}},
                              {DDCAnswer::Kind::good, {}}};
    const auto facts = factsOf(screen);
    ASSERT_TRUE(facts.why.reading);
    const Reading& reading = *facts.why.reading;
    ASSERT_EQ(reading.tries.size(), 4u);
    EXPECT_FALSE(reading.tries[0].request.empty());
    EXPECT_TRUE(reading.tries[0].reply.empty());
    EXPECT_NE(reading.tries[0].transaction, "");
    EXPECT_EQ(reading.tries[1].faults.size(), 1u);
    EXPECT_EQ(reading.tries[2].faults, std::vector<std::string>{"source 50, not 6E"});
    EXPECT_EQ(reading.tries[3].at, simulated_mac::Time(3'000'000));
    EXPECT_TRUE(reading.tries[3].good);
    EXPECT_EQ(reading.value, 1);
    EXPECT_TRUE(contains(textOf(facts), "value 0x0001 after 4 tries (status 0), without the bit"));
    EXPECT_TRUE(contains(textOf(facts), "supported: by the model list alone"));
}

TEST(Explain, SilenceOfARecentModel) {
    const auto facts = factsOf(test::silentMonitor("VORN K2725QX"));
    ASSERT_TRUE(facts.why.reading);
    EXPECT_EQ(facts.why.reading->tries.size(), 5u);
    EXPECT_EQ(facts.why.reading->status, DDCCtl::noValue);
    EXPECT_FALSE(facts.why.reading->value);
    const std::string text = textOf(facts);
    EXPECT_TRUE(contains(text, "not supported: a recent model has to answer over DDC/CI"));
    EXPECT_TRUE(contains(text,
                         "try 1-5   at 0.000 s to 4.000 s: sent 51 82 01 F1 4D, nothing came "
                         "back; request's result 0xe00002bc"));
}

TEST(Explain, TheValueThatStandsForNothing) {
    const auto facts = factsOf(test::answeringMonitor("VORN K2424HX", 0xFFFF));
    ASSERT_TRUE(facts.why.reading);
    EXPECT_EQ(facts.why.reading->value, 0xFFFF);
    EXPECT_EQ(facts.why.reading->status, DDCCtl::noValue);
    EXPECT_EQ(facts.record->displayState, displayInfo::supportedByList);
    EXPECT_TRUE(contains(textOf(facts), "which stands for \"nothing read\""));
}

TEST(Explain, BusesThatAreNoUse) {
    auto screen = test::answeringMonitor("VORN K2424HX", 0x4000);
    simulated_mac::BusDescription missing;
    missing.copyResult = -1;
    simulated_mac::BusDescription closed;
    closed.openResult = -1;
    simulated_mac::BusDescription absent;
    absent.hasInterface = false;
    simulated_mac::BusDescription busy;
    busy.sendResult = -2;
    screen.framebuffer.buses = {missing, closed, absent, busy, {}};
    const auto facts = factsOf(screen);
    ASSERT_TRUE(facts.why.reading);
    EXPECT_EQ(
        facts.why.reading->tries.at(0).obstacles,
        (std::vector<std::string>{
            "bus 0 has no interface (0xffffffff)", "bus 1 does not open (0xffffffff)",
            "bus 2 does not open (0xe00002c2)", "bus 3 does not take the request (0xfffffffe)"}));
    EXPECT_TRUE(facts.why.reading->tries[0].good);
}

/// What is said of the first try of a monitor on such a framebuffer.
std::string firstTryOn(simulated_mac::FramebufferDescription framebuffer) {
    auto screen = test::answeringMonitor("VORN K2424HX", 0x4000);
    screen.framebuffer = std::move(framebuffer);
    return textOf(factsOf(screen));
}

TEST(Explain, ABusThatLeadsNowhere) {
    simulated_mac::BusDescription elsewhere;
    elsewhere.leadsToMonitor = false;
    simulated_mac::FramebufferDescription framebuffer;
    framebuffer.buses = {elsewhere, {}};
    EXPECT_TRUE(contains(firstTryOn(framebuffer),
                         "nothing reached the monitor; request's result 0xe00002c0"));
}

TEST(Explain, AFramebufferThatSleeps) {
    simulated_mac::FramebufferDescription framebuffer;
    framebuffer.asleep = true;
    EXPECT_TRUE(contains(firstTryOn(framebuffer),
                         "bus 0 took the request and did nothing; nothing reached the monitor"));
}

TEST(Explain, ABusThatIsNotGivenBack) {
    simulated_mac::BusDescription stuck;
    stuck.releaseResult = -3;
    simulated_mac::FramebufferDescription framebuffer;
    framebuffer.buses = {stuck};
    EXPECT_TRUE(contains(firstTryOn(framebuffer),
                         "bus 0 was not given back (0xfffffffd); sent 51 82 01 F1 4D"));
}

TEST(Explain, AFramebufferWithAnotherIdentity) {
    auto screen = test::answeringMonitor("VORN K2424HX", 0x4000);
    screen.framebuffer.dictionary = {{"DisplaySerialNumber", {std::int64_t{1}}}};
    const auto facts = factsOf(screen);
    ASSERT_TRUE(facts.why.reading);
    EXPECT_EQ(facts.why.reading->tries.size(), 5u);
    EXPECT_TRUE(contains(textOf(facts),
                         "no framebuffer with I2C buses has this display; nothing "
                         "reached the monitor"));
}

TEST(Explain, ADisplayBeyondThoseThatThePaneHasLocksFor) {
    const std::vector<ScreenDescription> screens(51, test::answeringMonitor("VORN K2725QX", 0x40));
    const auto report = reportOn(test::macWith(screens));
    EXPECT_FALSE(contains(textOf(report.displays.at(49)), "no lock"));
    EXPECT_TRUE(contains(textOf(report.displays.at(50)),
                         "the pane has no lock for this display: it makes 50 at most; nothing "
                         "reached the monitor"));
}

TEST(Explain, TheLaterOfTwoReads) {
    auto description = test::macWith({test::builtInPanel(), test::silentMonitor("VORN K2725QX")});
    simulated_mac::EventDescription enter;
    enter.at = 10;
    enter.user = simulated_mac::EventDescription::User::entersPane;
    description.events = {enter};
    const auto facts = reportOn(description).displays.at(1);
    ASSERT_TRUE(facts.why.reading);
    ASSERT_EQ(facts.why.reading->tries.size(), 5u);
    EXPECT_EQ(facts.why.reading->tries[0].at, simulated_mac::Time(10'000'000));
}

TEST(Explain, ANameThatDecidesAlone) {
    const auto facts = factsOf(test::answeringMonitor("VORN X2424Z", 0x4000));
    EXPECT_FALSE(facts.why.model.listed);
    EXPECT_FALSE(facts.why.model.recent);
    EXPECT_FALSE(facts.why.reading);
    EXPECT_EQ(facts.why.fromMaker, std::nullopt);
    EXPECT_TRUE(contains(textOf(facts), "not on the model list, and not of a recent model year"));
    EXPECT_FALSE(contains(textOf(facts), "DDC/CI"));
}

TEST(Explain, ATwinsNumberThatHidesAModelFromTheList) {
    const auto twin = test::answeringMonitor("VORN K2424HX", 0x4000);
    const auto report = reportOn(test::macWith({test::builtInPanel(), twin, twin}));
    const DisplayFacts& facts = report.displays.at(1);
    EXPECT_EQ(facts.record->name, "VORN K2424HX (1)");
    ASSERT_TRUE(facts.why.model.nearlyListed);
    EXPECT_TRUE(facts.why.model.nearlyListed->twinSuffix);
    const std::string text = textOf(facts);
    EXPECT_TRUE(
        contains(text,
                 "not supported: the number behind its name keeps it off the model list, and it "
                 "is not of a recent model year"));
    EXPECT_TRUE(contains(text,
                         "model list  no: nearly listed as K2424HX; the trailing \" (1)\" prevents "
                         "the match"));
    EXPECT_TRUE(contains(text, "(the system puts it behind the names of monitors of one name)"));
    EXPECT_TRUE(contains(textOf(report.displays.at(2)), "the trailing \" (2)\" prevents"));
}

TEST(Explain, ANameThatIsNearlyListed) {
    EXPECT_TRUE(contains(textOf(factsOf(test::answeringMonitor("VORN  K2424HX", 0x4000))),
                         "model list  no: nearly listed as K2424HX; the \"VORN  \" in front of it, "
                         "where \"VORN \" is expected, prevents the match"));
    EXPECT_TRUE(contains(textOf(factsOf(test::answeringMonitor("VORN K2424HY", 0x4000))),
                         "no: not listed; nearest is K2424HX, 1 change away"));
}

TEST(Explain, AYearFromTextBehindTheModel) {
    auto screen = test::answeringMonitor("VORN K2424HX", 0x4000);
    screen.name = "VORN K2424HX 3CQ4R72";
    EXPECT_TRUE(contains(textOf(factsOf(screen)),
                         "model year  recent: 72 in \"K2424HX 3CQ4R72\"; \"K2424HX\" alone would "
                         "not be recent"));
}

constexpr auto noCleanRequest =
    "chip        no clean request was sent after a bad reply: K2723QX needs one, but the \"VORN \" "
    "in front of it prevents the match with its name";

TEST(Explain, ASpecialChipUnderABrandedName) {
    auto screen = test::answeringMonitor("VORN K2723QX", 0x4000);
    screen.monitor.settlesAfterClean = true;
    const auto onApple =
        reportOn(test::appleMacWith({test::builtInPanel(), screen})).displays.at(1);
    EXPECT_TRUE(onApple.why.lacksCleanRequest);
    EXPECT_TRUE(contains(textOf(onApple), noCleanRequest));
    // Intel Macs send none to any model.
    EXPECT_FALSE(contains(textOf(factsOf(screen)), "chip"));
}

TEST(Explain, ASpecialChipThatAnswersAtOnce) {
    const auto facts =
        reportOn(test::appleMacWith(
                     {test::builtInPanel(), test::answeringMonitor("VORN K2723QX", 0x4000)}))
            .displays.at(1);
    EXPECT_TRUE(facts.why.model.nearlySpecialChip);
    EXPECT_FALSE(facts.why.lacksCleanRequest);
    EXPECT_FALSE(contains(textOf(facts), "chip"));
}

TEST(Explain, AnAnswerOfTheTwin) {
    auto twin = test::answeringMonitor("VORN K2725QX", 0x4000);
    const auto report = reportOn(test::macWith({test::builtInPanel(), twin, twin}));
    const std::uint32_t first = report.displays.at(1).record->screenNumber;
    EXPECT_TRUE(
        contains(textOf(report.displays.at(1)), "supported: its answer over DDC/CI confirms it"));
    EXPECT_TRUE(contains(textOf(report.displays.at(2)),
                         "supported: an answer over DDC/CI confirms it, but that of display " +
                             std::to_string(first) + "'s monitor"));
}

TEST(Explain, AMonitorThatCouldNotBeAsked) {
    auto screen = test::answeringMonitor("VORN K2424HX", 0x4000);
    screen.displayService.present = false;
    const auto facts = reportOn(test::appleMacWith({test::builtInPanel(), screen})).displays.at(1);
    const std::string text = textOf(facts);
    EXPECT_TRUE(contains(text, "by the model list alone; it was not asked over DDC/CI")) << text;
    EXPECT_TRUE(contains(text, "not asked: the display has no AV service")) << text;
}

TEST(Explain, AnotherMaker) {
    simulated_mac::EDIDFields fields;
    fields.manufacturer = "QZX";
    fields.name = "VORN K2725QX";
    ScreenDescription screen;
    screen.monitor.edid = simulated_mac::makeEDID(fields);
    const auto facts = factsOf(screen);
    EXPECT_EQ(facts.why.fromMaker, false);
    EXPECT_FALSE(facts.why.reading);
    EXPECT_TRUE(
        contains(textOf(facts), "not supported: its EDID is another maker's: QZX, not VRN"));
    EXPECT_TRUE(contains(textOf(facts), "maker       no: QZX in QZX0000; expected VRN"));
    EXPECT_TRUE(contains(textOf(facts), "not asked: the EDID is another maker's"));
}

TEST(Explain, AnEDIDThatDoesNotFit) {
    auto screen = test::answeringMonitor("VORN K2725QX", 0x4000);
    screen.serialNumber = 7;
    const auto facts = factsOf(screen);
    EXPECT_FALSE(facts.why.paired);
    ASSERT_TRUE(facts.why.unpaired);
    EXPECT_EQ(facts.why.unpaired->serialNumber, 0x12345678u);
    EXPECT_FALSE(facts.why.unpairedFits);
    EXPECT_TRUE(contains(textOf(facts), "not supported: no EDID could be paired with it"));
    EXPECT_TRUE(contains(textOf(facts), "with serial number 7, but the monitor's EDID says"));
    EXPECT_TRUE(contains(textOf(facts), "maker       not known without an EDID; expected VRN"));
    EXPECT_TRUE(contains(textOf(facts), "not asked: no EDID was paired with it"));
}

TEST(Explain, AnEDIDThatCameTooLate) {
    auto screen = test::answeringMonitor("VORN K2725QX", 0x4000);
    screen.edidListed = false;
    const auto facts = factsOf(screen);
    EXPECT_TRUE(facts.why.unpairedFits);
    EXPECT_TRUE(contains(textOf(facts), "the monitor's own fits, but the pane did not have it"));
}

constexpr auto saysUnsupported = "the monitor says that it has no such VCP code";
constexpr auto fileHasNone = "the Mac file has no `vcp` for 0xF1, which counts as unsupported";

TEST(Explain, AMonitorWithoutTheCode) {
    auto screen = test::monitorNamed("VORN K2424HX");
    screen.monitor.vcp[0xF1].result = 1;
    const auto facts = factsOf(screen);
    ASSERT_TRUE(facts.why.reading);
    EXPECT_EQ(facts.why.reading->value, 0);
    EXPECT_FALSE(facts.why.codeWithoutAnswer);
    EXPECT_TRUE(contains(textOf(facts), saysUnsupported));
}

TEST(Explain, AMonitorThatSendsGivenBytes) {
    auto screen = test::monitorNamed("VORN K2424HX");
    screen.monitor.answers = {{simulated_mac::DDCAnswer::Kind::bytes,
                               {0x6E, 0x88, 0x02, 0x01, 0xF1, 0, 0, 0, 0, 0, 0x44}}};
    const auto facts = factsOf(screen);
    EXPECT_FALSE(facts.why.codeWithoutAnswer);
    EXPECT_TRUE(contains(textOf(facts), saysUnsupported));
}

TEST(Explain, AMonitorWhoseAnswerTheFileDoesNotGive) {
    const auto facts = factsOf(test::monitorNamed("VORN K2424HX"));
    ASSERT_TRUE(facts.why.reading);
    EXPECT_EQ(facts.why.reading->value, 0);
    EXPECT_EQ(facts.why.codeWithoutAnswer, 0xF1);
    EXPECT_FALSE(facts.why.answerAssumed);
    EXPECT_TRUE(contains(textOf(facts), std::string("no evidence: ") + fileHasNone));
    EXPECT_TRUE(contains(textOf(facts), "good reply, made up, as there is no `vcp`"));
    EXPECT_FALSE(contains(textOf(facts), saysUnsupported));
    EXPECT_TRUE(contains(
        textOf(facts),
        "supported: by the model list alone; the Mac file gives it no answer over DDC/CI"));
}

TEST(Explain, ARecentModelWhoseAnswerTheFileDoesNotGive) {
    const std::string text = textOf(factsOf(test::monitorNamed("VORN K2725QX")));
    EXPECT_TRUE(contains(text,
                         "not supported: a recent model has to answer over DDC/CI, and the Mac "
                         "file gives it no answer"));
    EXPECT_FALSE(contains(text, "it answers over DDC/CI, but"));
}

TEST(Explain, AnAnswerThatIsAssumed) {
    auto screen = test::monitorNamed("VORN K2725QX");
    screen.monitor.answering = simulated_mac::MonitorDescription::Answering::unknown;
    simulated_mac::MacDescription mac;
    mac.screens = {test::builtInPanel(), screen};
    const auto facts = reportOn(assumedMac(mac, simulated_mac::Assumption::answers)).displays.at(1);
    EXPECT_TRUE(facts.why.answerAssumed);
    EXPECT_TRUE(contains(textOf(facts), "assumed: value 0x4000 after 1 try"));
    EXPECT_TRUE(contains(textOf(facts), "its assumed answer over DDC/CI confirms it"));
}

TEST(Explain, ASilenceThatIsAssumed) {
    auto screen = test::monitorNamed("VORN K2725QX");
    screen.monitor.answering = simulated_mac::MonitorDescription::Answering::unknown;
    simulated_mac::MacDescription mac;
    mac.screens = {test::builtInPanel(), screen};
    const auto facts = reportOn(assumedMac(mac, simulated_mac::Assumption::silent)).displays.at(1);
    EXPECT_TRUE(facts.why.answerAssumed);
    EXPECT_TRUE(contains(textOf(facts), "assumed: no answer that counts after 5 tries"));
}

TEST(Explain, TriesOverAnAVService) {
    auto screen = test::answeringMonitor("K2723QX", 0x4000);
    screen.monitor.settlesAfterClean = true;
    auto description = test::appleMacWith({test::builtInPanel(), screen});
    const auto facts = reportOn(description).displays.at(1);
    ASSERT_TRUE(facts.why.reading);
    const Reading& reading = *facts.why.reading;
    ASSERT_EQ(reading.tries.size(), 2u);
    EXPECT_EQ(reading.tries[0].at, simulated_mac::Time(60'000));
    EXPECT_EQ(reading.tries[0].faults.size(), 1u);
    // 180 ms of the first try, as much for the clean requests, a second's pause, 60 ms.
    EXPECT_EQ(reading.tries[1].at, simulated_mac::Time(1'420'000));
    EXPECT_TRUE(reading.tries[1].good);
    EXPECT_EQ(reading.tries[1].request.at(3), 0xF1);
    EXPECT_EQ(reading.status, DDCCtl::success);
    EXPECT_EQ(reading.value, 0x4000);
}

TEST(Explain, AServiceThatDoesNotWrite) {
    auto description =
        test::appleMacWith({test::builtInPanel(), test::answeringMonitor("VORN K2424HX", 0x4000)});
    description.faults = {{"IOAVServiceWriteI2C", 1, false, std::nullopt}};
    const auto facts = reportOn(description).displays.at(1);
    ASSERT_TRUE(facts.why.reading);
    ASSERT_EQ(facts.why.reading->tries.size(), 1u);
    EXPECT_EQ(facts.why.reading->status, DDCCtl::noValue);
    EXPECT_TRUE(contains(textOf(facts),
                         "the service does not write (0xe00002bc, made to fail); "
                         "nothing reached the monitor"));
}

TEST(Explain, DoesNotShowInTheReport) {
    // The EDID that doesn't pair is tried once more for the explanation.
    auto screen = test::answeringMonitor("VORN K2725QX", 0x4000);
    screen.serialNumber = 7;
    const auto report = reportOn(test::macWith({test::builtInPanel(), screen}));
    EXPECT_FALSE(report.displays[1].record->EDIDString);
    EXPECT_EQ(report.references.at("CFString"), 0);
    EXPECT_TRUE(report.misuses.empty());
}

}  // namespace explanation_test
}  // namespace displaycheck
