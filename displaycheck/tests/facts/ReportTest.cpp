#include "displaycheck/facts/Report.h"

#include <dispatch/dispatch.h>
#include <gtest/gtest.h>

#include "displaycheck/tests/Reports.h"
#include "tests/support/PaneOnMac.h"

namespace displaycheck {
namespace report_test {

using simulated_mac::FaultDescription;
using simulated_mac::MacDescription;

MacDescription macWithFaults(std::vector<FaultDescription> faults) {
    auto description = test::macWith({test::builtInPanel(), test::silentMonitor("VORN K2424HX")});
    description.faults = std::move(faults);
    return description;
}

/// Why a run on such a Mac did not end with Continue enabled.
std::optional<Problem> problemWith(std::vector<FaultDescription> faults) {
    return problemOf(reportOn(macWithFaults(std::move(faults))));
}

TEST(Problem, ARunThatEndsWithContinueEnabledHasNone) {
    EXPECT_FALSE(problemWith({}));
    EXPECT_FALSE(problemWith({{"IORegistryEntryCreateCFProperty", 1, true, {}}}));
}

TEST(Problem, ARunWithoutMemoryForThePanesObjectsHasAReport) {
    for (const std::uint64_t nth : {1u, 2u, 3u, 4u}) {
        const Report report = reportOn(macWithFaults({{"operator new", nth, true, {}}}));
        EXPECT_TRUE(report.displays.empty());
        EXPECT_FALSE(problemOf(report));
    }
}

TEST(Problem, TheCallAfterWhichNothingWentOnIsNamed) {
    const auto problem = problemWith({{"IOMasterPort", 1, false, -2}});
    ASSERT_TRUE(problem);
    EXPECT_EQ(
        problem->text,
        "all is quiet, but Continue was not enabled; nothing went on after IOMasterPort, which "
        "was made to fail at 4.000 s on thread \"SerialQueue\" (result 0xfffffffe)");
    ASSERT_TRUE(problem->call);
    EXPECT_EQ(problem->call->call, "IOMasterPort");
    EXPECT_EQ(problem->call->time, simulated_mac::Time(4'000'000));
}

TEST(Problem, OfSeveralFailuresItIsTheLast) {
    const auto problem = problemWith({{"IOServiceMatching", 1, true, {}},
                                      {"CGDisplayIOServicePort", 1, true, {}},
                                      {"IOServiceGetMatchingServices", 1, false, {}}});
    ASSERT_TRUE(problem && problem->call);
    EXPECT_EQ(problem->call->call, "IOServiceMatching");
    EXPECT_NE(problem->text.find("(result NULL)"), std::string::npos) << problem->text;
}

TEST(Problem, ARunEnteredAgainIsJudgedByItsLastEntry) {
    auto description = macWithFaults({{"IOMasterPort", 2, false, {}}});
    simulated_mac::EventDescription enter;
    enter.at = 20;
    enter.user = simulated_mac::EventDescription::User::entersPane;
    description.events = {enter};
    const auto problem = problemOf(reportOn(description));
    ASSERT_TRUE(problem && problem->call);
    EXPECT_EQ(problem->call->time, simulated_mac::Time(24'000'000));
}

/// The report of a run in which a thread waits forever from 3 seconds on.
Report stuckReport(std::vector<FaultDescription> faults) {
    simulated_mac::Mac mac(macWithFaults(std::move(faults)));
    mac.trace.keepOnly(callsOfReports());
    const CapturedOutput output;
    PaneHost host(mac);
    mac.scheduler.onMainAt(simulated_mac::Time(3'000'000), [] {
        dispatch_async_f(dispatch_queue_create("stuck", nullptr), nullptr, [](void*) {
            dispatch_semaphore_wait(dispatch_semaphore_create(0), DISPATCH_TIME_FOREVER);
        });
    });
    const auto outcome = host.run();
    return makeReport("mac.yaml", mac, host.pane(), outcome, output.text());
}

TEST(Problem, AStuckRunNamesTheThreadsThatWait) {
    const Report report = stuckReport({});
    ASSERT_EQ(report.waiting.size(), 1u);
    EXPECT_EQ(report.waiting[0].thread, "stuck");
    const auto problem = problemOf(report);
    ASSERT_TRUE(problem);
    EXPECT_EQ(problem->text,
              "the run got stuck: thread \"stuck\" waits in dispatch_semaphore_wait since 3.000 s "
              "for what can no longer happen");
    EXPECT_FALSE(problem->call);
}

TEST(Problem, AStuckRunNamesTheCallThatFailed) {
    const auto problem = problemOf(stuckReport({{"IOMasterPort", 1, false, {}}}));
    ASSERT_TRUE(problem && problem->call);
    EXPECT_EQ(problem->call->call, "IOMasterPort");
    EXPECT_NE(problem->text.find("happen; nothing went on after IOMasterPort"), std::string::npos)
        << problem->text;
}

TEST(Problem, AFailureAfterWhichItsThreadWentOnIsNotTakenForTheCause) {
    // The pane reads a monitor behind the failed call.
    auto report = reportOn(macWithFaults({{"CGDisplayVendorNumber", 1, false, {}}}));
    EXPECT_FALSE(report.failedCall);
    report.pane.nextEnabled = false;
    const auto problem = problemOf(report);
    ASSERT_TRUE(problem);
    EXPECT_EQ(problem->text, "all is quiet, but Continue was not enabled");
}

}  // namespace report_test
}  // namespace displaycheck
