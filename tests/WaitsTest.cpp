#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "simulated_mac/file/MacFile.h"
#include "tests/support/PaneOnMac.h"
#include "tests/support/RequiredWaits.h"
#include "tests/support/WaitsTable.h"

// A run takes as long as the waits that it has to make, and not a moment longer. Which ones those
// are is worked out from the Mac file and compared with the run's virtual time. The kept report
// of an example has its time to Continue, but not why it takes that: a wait too many would be kept
// with the next update of the reports, and is found here.

namespace waits_test {

using simulated_mac::Time;

const std::filesystem::path root = PROJECT_SOURCE_DIR;

/// The waits that a run made, in order, from its traced sleeps.
std::vector<Time> sleepsIn(const simulated_mac::Mac& mac) {
    std::vector<Time> sleeps;
    for (const auto& call : mac.trace.calls()) sleeps.push_back(test::durationOf(call));
    return sleeps;
}

class WaitsOn : public testing::TestWithParam<std::string> {
  protected:
    const simulated_mac::MacDescription description =
        simulated_mac::readMacFile(root / "examples" / (GetParam() + ".yaml"));
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
    EXPECT_THAT(lines, testing::Contains(test::waitsRow(GetParam(), required)))
        << "write the table anew: scripts/update-reports";
}

INSTANTIATE_TEST_SUITE_P(Examples, WaitsOn, testing::ValuesIn(test::namesOfExamples()),
                         [](const auto& example) {
                             std::string name = example.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

}  // namespace waits_test
