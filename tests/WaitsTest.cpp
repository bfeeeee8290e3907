#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "displaycheck/host/AssumedMac.h"
#include "simulated_mac/file/MacFile.h"
#include "tests/support/PaneOnMac.h"
#include "tests/support/RequiredWaits.h"
#include "tests/support/WaitsTable.h"

// A run takes as long as the waits that it has to make, and not a moment longer. Which ones those
// are is worked out from the Mac file and compared with the run's virtual time. The kept report
// of an example has its time to Continue, but not why it takes that: a wait too many would be kept
// with the next update of the reports, and is found here.

namespace waits_test {

using simulated_mac::Assumption;
using simulated_mac::Time;

const std::filesystem::path root = PROJECT_SOURCE_DIR;

/// The waits that a run made, in order, from its traced sleeps.
std::vector<Time> sleepsIn(const simulated_mac::Mac& mac) {
    std::vector<Time> sleeps;
    for (const auto& call : mac.trace.calls()) sleeps.push_back(test::durationOf(call));
    return sleeps;
}

simulated_mac::MacDescription macOf(const std::string& example) {
    return simulated_mac::readMacFile(root / "examples" / (example + ".yaml"));
}

/// An example, and what is assumed of its unknown monitors, if it has any.
using Played = std::tuple<std::string, Assumption>;

class WaitsOn : public testing::TestWithParam<Played> {
  protected:
    const simulated_mac::MacDescription whole = macOf(std::get<0>(GetParam()));
    const std::optional<Assumption> assumed = simulated_mac::countUnknownMonitors(whole) == 0
                                                  ? std::nullopt
                                                  : std::optional(std::get<Assumption>(GetParam()));
    const simulated_mac::MacDescription description = displaycheck::assumedMac(whole, assumed);
    const test::RequiredWaits required = test::requiredWaits(description);
};

TEST_P(WaitsOn, AreAllThatARunTakes) {
    test::PaneOnMac host(description);
    host.mac.trace.keepOnly({"NSThread.sleep"});
    ASSERT_EQ(host.run(), test::Scheduler::Outcome::quiet);
    EXPECT_EQ(host.timeOfContinue(), required.toContinue);
    EXPECT_EQ(host.mac.scheduler.now(), required.end);
    EXPECT_EQ(sleepsIn(host.mac), required.waits);
    for (const auto& call : host.mac.trace.calls()) EXPECT_NE(call.thread, "main");
}

TEST_P(WaitsOn, StandInTheDocumentation) {
    std::ifstream file(root / "docs" / "performance.md");
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    const std::string row = test::nameOfRun(std::get<0>(GetParam()), assumed);
    EXPECT_THAT(lines, testing::Contains(test::waitsRow(row, required)))
        << "write the table anew: scripts/update-reports";
}

std::string nameOfTest(const testing::TestParamInfo<Played>& played) {
    std::string name = std::get<0>(played.param);
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

const std::vector<std::string> examplesWithUnknownMonitors = {"intel-recent-unknown"};

INSTANTIATE_TEST_SUITE_P(Examples, WaitsOn,
                         testing::Combine(testing::ValuesIn(test::namesOfExamples()),
                                          testing::Values(Assumption::answers)),
                         nameOfTest);

INSTANTIATE_TEST_SUITE_P(SilentExamples, WaitsOn,
                         testing::Combine(testing::ValuesIn(examplesWithUnknownMonitors),
                                          testing::Values(Assumption::silent)),
                         nameOfTest);

TEST(WaitsOnSilentExamples, AreThoseOfEveryUnknownMonitor) {
    std::vector<std::string> found;
    for (const std::string& example : test::namesOfExamples()) {
        if (simulated_mac::countUnknownMonitors(macOf(example)) > 0) found.push_back(example);
    }
    EXPECT_EQ(found, examplesWithUnknownMonitors);
}

}  // namespace waits_test
