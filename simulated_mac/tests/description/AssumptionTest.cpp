#include "simulated_mac/description/Assumption.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "simulated_mac/machine/Mac.h"

namespace simulated_mac {
namespace assumption_test {

using Answering = MonitorDescription::Answering;

const VCPTable answers = {{0x10, {.current = 7}}};

ScreenDescription unknownScreen() {
    ScreenDescription screen;
    screen.monitor.edid = {1, 2, 3};
    screen.monitor.answering = Answering::unknown;
    return screen;
}

ScreenDescription knownScreen() {
    ScreenDescription screen;
    screen.monitor.vcp = {{0x12, {.current = 50}}};
    screen.monitor.needsReplyDelay = 40;
    return screen;
}

MacDescription macWith(std::vector<ScreenDescription> screens) {
    MacDescription mac;
    mac.screens = std::move(screens);
    return mac;
}

TEST(Assumption, HasANameEach) {
    EXPECT_EQ(nameOf(Assumption::answers), "answers");
    EXPECT_EQ(nameOf(Assumption::silent), "silent");
    EXPECT_EQ(assumptionNamed("answers"), Assumption::answers);
    EXPECT_EQ(assumptionNamed("silent"), Assumption::silent);
    EXPECT_EQ(assumptionNamed(""), std::nullopt);
    EXPECT_EQ(assumptionNamed("Silent"), std::nullopt);
}

TEST(UnknownMonitors, AreCounted) {
    EXPECT_EQ(countUnknownMonitors(macWith({})), 0U);
    EXPECT_EQ(countUnknownMonitors(macWith({knownScreen()})), 0U);
    EXPECT_EQ(countUnknownMonitors(macWith({unknownScreen(), knownScreen(), unknownScreen()})), 2U);
}

TEST(UnknownMonitors, AreAllAssumedTheSame) {
    const auto answering = assume(macWith({unknownScreen(), knownScreen(), unknownScreen()}),
                                  Assumption::answers, answers);
    EXPECT_EQ(countUnknownMonitors(answering), 0U);
    for (const std::size_t at : {0U, 2U}) {
        const MonitorDescription& monitor = answering.screens[at].monitor;
        EXPECT_EQ(monitor.answering, Answering::assumed);
        EXPECT_EQ(monitor.edid, (Bytes{1, 2, 3}));
        ASSERT_EQ(monitor.vcp.size(), 1U);
        EXPECT_EQ(monitor.vcp.at(0x10).current, 7);
        EXPECT_TRUE(monitor.answers.empty());
    }
    const auto silent = assume(macWith({unknownScreen()}), Assumption::silent, answers);
    const MonitorDescription& monitor = silent.screens[0].monitor;
    EXPECT_EQ(monitor.answering, Answering::assumed);
    EXPECT_EQ(monitor.edid, (Bytes{1, 2, 3}));
    EXPECT_TRUE(monitor.vcp.empty());
    ASSERT_EQ(monitor.answers.size(), 1U);
    EXPECT_EQ(monitor.answers[0].kind, DDCAnswer::Kind::silent);
}

TEST(UnknownMonitors, LeaveTheKnownOnesAlone) {
    for (const Assumption assumption : {Assumption::answers, Assumption::silent}) {
        const auto mac = assume(macWith({knownScreen()}), assumption, answers);
        const MonitorDescription& monitor = mac.screens[0].monitor;
        EXPECT_EQ(monitor.answering, Answering::described);
        EXPECT_EQ(monitor.vcp.at(0x12).current, 50);
        EXPECT_EQ(monitor.needsReplyDelay, 40U);
        EXPECT_TRUE(monitor.answers.empty());
    }
}

TEST(UnknownMonitors, AreNothingThatAMacRunsWith) {
    EXPECT_THROW(Mac{macWith({unknownScreen()})}, std::invalid_argument);
    // The refused Mac was never switched on.
    EXPECT_EQ(Mac::current(), nullptr);
    const Mac mac(assume(macWith({unknownScreen()}), Assumption::silent, answers));
    EXPECT_EQ(Mac::current(), &mac);
}

}  // namespace assumption_test
}  // namespace simulated_mac
