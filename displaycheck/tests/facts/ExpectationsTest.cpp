#include "displaycheck/facts/Expectations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "displaycheck/tests/Reports.h"
#include "tests/support/PaneOnMac.h"

namespace displaycheck {
namespace expectations_test {

using simulated_mac::DisplayExpectation;
using simulated_mac::Expectation;
using testing::ElementsAre;
using testing::IsEmpty;

/// A built-in panel and a listed monitor that stays silent, which makes the pane wait for four
/// seconds.
Report silentReport() {
    return reportOn(test::macWith({test::builtInPanel(), test::silentMonitor("VORN J2722D")}));
}

DisplayExpectation display(std::int64_t state, std::optional<bool> supported = {},
                           std::optional<bool> paired = {}) {
    return {state, supported, paired};
}

/// "what: found, expected".
std::vector<std::string> textsOf(const std::vector<Difference>& differences) {
    std::vector<std::string> texts;
    for (const Difference& one : differences) {
        texts.push_back(one.what + ": " + one.found + ", expected " + one.expected);
    }
    return texts;
}

TEST(Expectations, ThatSayNothingAreMet) {
    EXPECT_THAT(differencesFrom({}, silentReport()), IsEmpty());
}

TEST(Expectations, ThatAreMetShowNoDifference) {
    Expectation expected;
    expected.warning = false;
    expected.continues = {.after = 4};
    expected.displays = std::vector{display(-1), display(1, true, true)};
    expected.cameras = 0;
    EXPECT_THAT(differencesFrom(expected, silentReport()), IsEmpty());
}

TEST(Expectations, SayWhatDiffers) {
    Expectation expected;
    expected.warning = true;
    expected.continues = {.after = 4.00001};
    expected.displays = std::vector{display(0, true, true), display(3, false, false)};
    expected.cameras = 2;
    EXPECT_THAT(
        textsOf(differencesFrom(expected, silentReport())),
        ElementsAre(
            "warning: no, expected yes", "Continue enabled after: 4 s, expected 4.00001 s",
            "display 1, displayState: -1, expected 0", "display 1, supported: no, expected yes",
            "display 1, paired with an EDID: no, expected yes",
            "display 2, displayState: 1, expected 3", "display 2, supported: yes, expected no",
            "display 2, paired with an EDID: yes, expected no", "cameras: 0, expected 2"));
}

TEST(Expectations, CountTheDisplays) {
    Expectation expected;
    expected.displays = std::vector{display(-1)};
    EXPECT_THAT(textsOf(differencesFrom(expected, silentReport())),
                ElementsAre("displays: 2, expected 1"));
}

TEST(Expectations, MayBeThatContinueStaysGreyed) {
    Expectation expected;
    expected.continues = {.after = std::nullopt};
    Report report = silentReport();
    EXPECT_THAT(textsOf(differencesFrom(expected, report)),
                ElementsAre("Continue enabled after: 4 s, expected never"));
    report.elapsed.reset();
    EXPECT_THAT(differencesFrom(expected, report), IsEmpty());
    expected.continues = {.after = 4};
    EXPECT_THAT(textsOf(differencesFrom(expected, report)),
                ElementsAre("Continue enabled after: never, expected 4 s"));
}

}  // namespace expectations_test
}  // namespace displaycheck
