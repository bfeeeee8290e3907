#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "simulated_mac/platform/Running.h"
#include "tests/support/PaneOnMac.h"

// Whatever is thrown during a run, it is logged, and the run finishes with Continue enabled.

namespace exceptions_test {

using namespace test;
using simulated_mac::FaultDescription;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::string_view outOfMemory = " failed: std::bad_alloc";

FaultDescription fault(const std::string& call, std::uint64_t nth, bool andLater = false) {
    return {call, nth, andLater, {}};
}

struct Ended {
    std::vector<std::string> log;
    std::uint64_t requests;  ///< for memory
};

/// Runs the pane on the Mac with this fault; the run has to end as every run does.
Ended runWith(MacDescription description, const FaultDescription& what) {
    description.faults.push_back(what);
    PaneOnMac onMac(std::move(description));
    onMac.mac.trace.countUses();
    EXPECT_EQ(onMac.run(), Scheduler::Outcome::quiet);
    EXPECT_TRUE(onMac.mac.window.nextEnabled) << what.call << ", use " << what.nth;
    EXPECT_THAT(onMac.mac.journal.misuses(), IsEmpty());
    return {onMac.mac.journal.systemLog(), onMac.mac.trace.uses()["operator new"]};
}

class Memory : public testing::TestWithParam<MacDescription> {
  protected:
    /// Refuses the first request for memory, the second, ... until a run passes untouched.
    void refuseEach(bool andLater) {
        std::uint64_t refused = 0;
        for (std::uint64_t nth = 1;; ++nth) {
            const Ended run = runWith(GetParam(), fault("operator new", nth, andLater));
            if (run.requests < nth) break;
            EXPECT_THAT(run.log, Contains(EndsWith(std::string(outOfMemory)))) << nth;
            ++refused;
        }
        EXPECT_GT(refused, 30u);
    }
};

TEST_P(Memory, ThatIsRefusedOnceEndsInALoggedLineAndAnEnabledContinue) {
    refuseEach(false);
}

TEST_P(Memory, ThatIsRefusedForGoodDoesToo) {
    refuseEach(true);
}

std::string nameOfMac(const testing::TestParamInfo<MacDescription>& mac) {
    return std::array{"AnIntelMac", "AnAppleSiliconMac", "AMacWithoutDevices"}.at(mac.index);
}

MacDescription withACamera(MacDescription description) {
    description.usb = {camera()};
    return description;
}

INSTANTIATE_TEST_SUITE_P(
    Of, Memory,
    testing::Values(withACamera(macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)})),
                    withACamera(appleMacWith({builtInPanel(), silentMonitor(listedRecent)})),
                    macWith({builtInPanel()})),
    nameOfMac);

TEST(MemoryOfARun, IsLoggedWithTheStepThatLackedIt) {
    // Warns, until the camera comes.
    auto description = macWith({builtInPanel()});
    description.events = {{.at = 10, .attach = camera(), .detach = {}, .user = {}}};
    std::set<std::string> steps;
    for (std::uint64_t nth = 1;; ++nth) {
        const Ended run = runWith(description, fault("operator new", nth));
        if (run.requests < nth) break;
        for (const std::string& line : run.log) {
            if (line.ends_with(outOfMemory)) {
                steps.insert(line.substr(0, line.size() - outOfMemory.size()));
            }
        }
    }
    EXPECT_THAT(steps, ElementsAre("deviceAdded", "didEnterPane", "examineDevice", "finishRun",
                                   "getDisplayInfo", "initializeUI", "listeningUSBDevice",
                                   "showHyperLink", "staticDeviceAdded"));
}

TEST(MemoryOfAnEntry, ThatCannotStartARunEnablesContinueAtOnce) {
    auto description = macWith({builtInPanel()});
    description.faults = {fault("operator new", 1, true)};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_EQ(onMac.timeOfContinue(), Time(0)) << "no waits without a run";
    EXPECT_THAT(onMac.mac.journal.systemLog(), Contains("didEnterPane failed: std::bad_alloc"));
}

TEST(MemoryOfAnEntry, ThatIsThereAgainLetsTheNextEntryRun) {
    auto description = macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)});
    description.faults = {fault("operator new", 1)};
    PaneOnMac onMac(description);
    onMac.enterAt(Time(10'000'000));
    onMac.run();
    EXPECT_EQ(displayInfoArray.get().at(1)->displayState, displayInfo::supportedAndAnswering);
}

/// Has the installer call an operation of a pane that gets no memory, and returns the log.
std::vector<std::string> logWithoutMemoryFor(void (*operation)(vorn::MyInstallerPane& pane)) {
    auto description = macWith({});
    description.strings = {{"PaneTitle", "A title that a string does not keep within itself"}};
    description.faults = {fault("operator new", 1, true)};
    PaneOnMac onMac(description);
    onMac.onMain([&] { simulated_mac::runPlugin("an operation", [&] { operation(onMac.pane); }); });
    return onMac.mac.journal.systemLog();
}

TEST(MemoryOfTheTitle, ThatIsRefusedLeavesTheKey) {
    EXPECT_THAT(logWithoutMemoryFor(
                    [](vorn::MyInstallerPane& pane) { EXPECT_EQ(pane.title(), "PaneTitle"); }),
                ElementsAre("title failed: std::bad_alloc"));
}

TEST(MemoryOfAClick, ThatIsRefusedIsLogged) {
    EXPECT_THAT(
        logWithoutMemoryFor([](vorn::MyInstallerPane& pane) { pane.vornWebsiteBtnDidClicked(); }),
        ElementsAre("vornWebsiteBtnDidClicked failed: std::bad_alloc"));
}

class CocoaException : public testing::TestWithParam<std::string> {};

TEST_P(CocoaException, EndsInALoggedLineAndAnEnabledContinue) {
    for (std::uint64_t nth = 1; nth <= 4; ++nth) {
        const Ended run = runWith(macWith({builtInPanel()}), fault(GetParam(), nth));
        EXPECT_LE(std::count_if(run.log.begin(), run.log.end(),
                                [](const std::string& line) {
                                    return line.find("NSInternalInconsistencyException") !=
                                           std::string::npos;
                                }),
                  1);
    }
    const Ended run = runWith(macWith({builtInPanel()}), fault(GetParam(), 1));
    EXPECT_THAT(run.log, Contains(HasSubstr(" failed: NSInternalInconsistencyException: ")));
}

INSTANTIATE_TEST_SUITE_P(Of, CocoaException,
                         testing::Values("NSTextField.setStringValue",
                                         "NSTextField.setAttributedStringValue",
                                         "NSView.addGestureRecognizer"),
                         [](const auto& call) {
                             return call.param.substr(call.param.find('.') + 1);
                         });

TEST(CocoaExceptionOfALabel, LeavesTheOtherLabelToShowItsText) {
    auto description = macWith({builtInPanel()});
    description.faults = {fault("NSTextField.setStringValue", 1, true)};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_EQ(onMac.mac.window.title.text, "");
    EXPECT_NE(onMac.mac.window.warnings.text, "");
}

TEST(ExceptionOfADevice, LeavesTheOthersToBeExamined) {
    auto description = macWith({builtInPanel()});
    description.usb = {camera(), camera()};
    description.usb[1].locationID = 0x14300000;
    // A run without refusals says which requests for memory the examination makes.
    std::vector<std::string> withOneCamera;
    std::uint64_t nth = 1;
    for (; withOneCamera.empty(); ++nth) {
        auto failing = description;
        failing.faults = {fault("operator new", nth)};
        PaneOnMac onMac(failing);
        onMac.run();
        const auto log = onMac.mac.journal.systemLog();
        if (std::find(log.begin(), log.end(), "examineDevice failed: std::bad_alloc") !=
            log.end()) {
            withOneCamera = log;
            EXPECT_THAT(infoDic.get(), SizeIs(1));
            EXPECT_EQ(onMac.mac.window.warnings.text, "");
        }
        ASSERT_LT(nth, 1000u);
    }
}

}  // namespace exceptions_test
