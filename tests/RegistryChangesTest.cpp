#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/Detection.h"

// A device that comes or goes while the pane walks the registry cuts the walk short: what that
// hides, and what the pane's own retries make of it.

namespace registry_changes_test {

using namespace test;
using simulated_mac::EventDescription;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto step = "IOIteratorNext";
constexpr auto recentModel = "VORN K2725QX";
constexpr auto otherRecentModel = "VORN K2726QX";

/// The uses of IOIteratorNext that are the steps of one walk.
struct Walk {
    std::uint64_t first;
    std::uint64_t last;
};

/// The walks that a run makes on this Mac, in order: one for each screen, the panel's first.
std::vector<Walk> walksOn(const MacDescription& description) {
    PaneOnMac onMac(description);
    onMac.mac.trace.keepOnly({"IORegistryEntryCreateIterator", step});
    onMac.run();
    std::vector<Walk> walks;
    std::uint64_t uses = 0;
    bool walking = false;
    for (const auto& call : onMac.mac.trace.calls()) {
        if (call.call != step) {
            walks.push_back({uses + 1, uses + 1});
            walking = true;
            continue;
        }
        ++uses;
        if (walking) walks.back().last = uses;
        if (call.result == 0) walking = false;
    }
    return walks;
}

EventDescription attachedAt(std::uint64_t use) {
    EventDescription event;
    event.atCall = {step, use};
    event.attach = camera();
    event.attach->productID = 0x0001;
    return event;
}

MacDescription cutAt(MacDescription description, std::uint64_t use) {
    description.events.push_back(attachedAt(use));
    return description;
}

/// A monitor that answers like a supported one.
ScreenDescription supported(const std::string& name, std::uint32_t serialNumber) {
    EDIDFields fields;
    fields.name = name;
    fields.product = static_cast<std::uint16_t>(serialNumber);
    fields.serial = serialNumber;
    auto screen = answeringMonitor(name, 0x4000);
    screen.monitor.edid = simulated_mac::makeEDID(fields);
    return screen;
}

const MacDescription oneMonitor = appleMacWith({builtInPanel(), supported(recentModel, 0x11)});
const MacDescription twoMonitors =
    appleMacWith({builtInPanel(), supported(recentModel, 0x11), supported(otherRecentModel, 0x22)});

TEST(WalkThatIsCut, IsMadeAgainAfterTwoSecondsWhereItWasTheOnlyMonitors) {
    const auto walks = walksOn(oneMonitor);
    ASSERT_EQ(walks.size(), 2u);
    const Detection run(cutAt(oneMonitor, walks[1].first + 1));
    EXPECT_THAT(run.waits(), ElementsAre(Time(std::chrono::seconds(2))));
    EXPECT_THAT(run.states(), ElementsAre(-1, 0));
}

TEST(WalkThatIsCut, NeverLosesAnOnlyMonitor) {
    const auto walks = walksOn(oneMonitor);
    for (std::uint64_t use = walks.front().first; use <= walks.back().last; ++use) {
        const Detection run(cutAt(oneMonitor, use));
        EXPECT_THAT(run.states(), ElementsAre(-1, 0)) << "at step " << use;
        EXPECT_FALSE(run.warns());
    }
}

TEST(WalkThatIsCut, HidesNothingWhereItWasThePanels) {
    const auto walks = walksOn(twoMonitors);
    ASSERT_EQ(walks.size(), 3u);
    const Detection run(cutAt(twoMonitors, walks[0].first + 1));
    EXPECT_THAT(run.waits(), IsEmpty());
    EXPECT_THAT(run.states(), ElementsAre(-1, 0, 0));
}

TEST(WalkThatIsCut, HidesTheServiceOfOneOfTwoMonitorsForThisRun) {
    const auto walks = walksOn(twoMonitors);
    const Detection run(cutAt(twoMonitors, walks[1].first + 1));
    EXPECT_THAT(run.waits(), IsEmpty()) << "the other monitor's walk found services";
    EXPECT_EQ(run.display(1).arm64avService, nullptr);
    EXPECT_NE(run.display(2).arm64avService, nullptr);
    EXPECT_THAT(run.states(), ElementsAre(-1, 3, 0));
    EXPECT_FALSE(run.warns());
}

TEST(WalkThatIsCut, LeavesAnOlderModelToTheList) {
    auto description = twoMonitors;
    description.screens[1] = supported(listedOlder, 0x11);
    const auto walks = walksOn(description);
    const Detection run(cutAt(description, walks[1].first + 1));
    EXPECT_THAT(run.states(), ElementsAre(-1, 1, 0));
}

TEST(WalkThatIsCut, IsWholeAgainWhenThePaneIsEnteredAgain) {
    const auto walks = walksOn(twoMonitors);
    auto description = cutAt(twoMonitors, walks[1].first + 1);
    EventDescription entered;
    entered.at = 10;
    entered.user = EventDescription::User::entersPane;
    description.events.push_back(entered);
    const Detection run(description);
    EXPECT_THAT(run.states(), ElementsAre(-1, 0, 0));
}

TEST(WalkThatIsCut, KeepsWhatItHadMetBefore) {
    const auto walks = walksOn(twoMonitors);
    // All proxies have been met by the last step, which finds nothing.
    const Detection run(cutAt(twoMonitors, walks[1].last));
    EXPECT_THAT(run.states(), ElementsAre(-1, 0, 0));
}

TEST(WalkThatIsCut, DoesNotHideTheCameraThatCutIt) {
    auto description = appleMacWith({builtInPanel(), monitorNamed("VORN M2724")});
    const auto walks = walksOn(description);
    description.events.push_back(attachedAt(walks[1].first + 1));
    description.events.back().attach = camera();
    const Detection run(description);
    EXPECT_EQ(infoDic.get().size(), 1u);
    EXPECT_FALSE(run.warns());
}

TEST(WalkThatIsCut, IsCutByADeviceThatGoesToo) {
    auto description = oneMonitor;
    description.usb = {camera()};
    const auto walks = walksOn(description);
    EventDescription event;
    event.atCall = {step, walks[1].first + 1};
    event.detach = camera().locationID;
    description.events = {event};
    const Detection run(description);
    EXPECT_THAT(run.waits(), ElementsAre(Time(std::chrono::seconds(2))));
    EXPECT_THAT(run.states(), ElementsAre(-1, 0));
}

TEST(WalkThatIsCut, IsNoneOnAnIntelMac) {
    const auto description = macWith({builtInPanel(), supported(recentModel, 0x11)});
    PaneOnMac untouched(description);
    untouched.mac.trace.countUses();
    untouched.run();
    const auto uses = untouched.mac.trace.uses();
    EXPECT_FALSE(uses.contains("IORegistryEntryCreateIterator"));
}

}  // namespace registry_changes_test
