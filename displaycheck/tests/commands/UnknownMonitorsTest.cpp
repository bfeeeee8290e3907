#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "displaycheck/tests/Program.h"

// Macs with monitors of which nobody knows whether they answer over DDC/CI.

namespace test {
namespace unknown_monitors_test {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// With a serial number of its own, by which its screen and its framebuffer are found.
std::string monitor(const std::string& name, const std::string& vcp = "unknown", int serial = 2) {
    return "  - monitor: {edid: {name: " + name +
           ", product: 1, serial: " + std::to_string(serial) + "}, vcp: " + vcp + "}\n";
}

const std::string recent = "mac: Desk\nscreens:\n  - built-in\n" + monitor("VORN K2725DX");
const std::string listed = "mac: Desk\nscreens:\n  - built-in\n" + monitor("VORN K2424HX");
const std::string unlisted = "mac: Desk\nscreens:\n  - built-in\n" + monitor("VORN K1912A");

std::size_t countOf(const std::string& part, const std::string& text) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

class UnknownMonitors : public testing::Test {
  protected:
    std::string write(const std::string& text) { return folder.write("mac.yaml", text); }

    const Folder folder;
};

TEST_F(UnknownMonitors, ShowBothVerdictsAndBothReports) {
    const std::string file = write(recent);
    const auto finished = run(folder, {"run", file});
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.errors, "");
    const auto lines = linesOf(unwrapped(finished.output, 2));
    ASSERT_GT(lines.size(), 4U);
    EXPECT_EQ(lines[0], file +
                            ": If it answers over DDC/CI, the pane does not warn; if it stays "
                            "silent, the pane warns.");
    EXPECT_EQ(lines[2], "If it answers over DDC/CI:");
    const auto second = finished.output.find("\nIf it stays silent:\n\n" + file + ": Desk\n");
    ASSERT_NE(second, std::string::npos);
    const std::string answering = finished.output.substr(0, second);
    const std::string silent = finished.output.substr(second);
    EXPECT_THAT(answering, HasSubstr("supported: its assumed answer over DDC/CI confirms it"));
    EXPECT_THAT(answering, HasSubstr("assumed: value 0x4000 after 1 try (status 0)"));
    EXPECT_THAT(silent, HasSubstr("assumed: no answer that counts after 5 tries"));
    EXPECT_THAT(silent, HasSubstr("the pane warns."));
}

TEST_F(UnknownMonitors, ShowOneVerdictThatHoldsEitherWay) {
    const std::string file = write(listed);
    const auto finished = run(folder, {"run", file});
    EXPECT_EQ(linesOf(unwrapped(finished.output, 2)).at(0),
              file + ": Whether it answers over DDC/CI or not, the pane does not warn.");
    EXPECT_EQ(countOf(file + ": Desk\n", finished.output), 2U);
    EXPECT_THAT(finished.output, HasSubstr("\nIf it answers over DDC/CI:\n"));
    EXPECT_THAT(finished.output, HasSubstr("\nIf it stays silent:\n"));
}

TEST_F(UnknownMonitors, ShowAReportThatHoldsEitherWayOnce) {
    const std::string file = write(unlisted);
    const auto finished = run(folder, {"run", "--trace", file});
    const auto lines = linesOf(unwrapped(finished.output, 2));
    EXPECT_EQ(lines.at(0), file + ": Whether it answers over DDC/CI or not, the pane warns.");
    EXPECT_EQ(lines.at(2), "Whether it answers over DDC/CI or not:");
    EXPECT_EQ(countOf(file + ": Desk\n", finished.output), 1U);
    EXPECT_THAT(finished.output, Not(HasSubstr("If it")));
}

TEST_F(UnknownMonitors, AreAllAssumedTheSame) {
    const std::string file =
        write(recent + monitor("VORN K2725QX", "unknown", 3) + monitor("VORN J2725QV", "{}", 4));
    const auto finished = run(folder, {"run", file});
    EXPECT_EQ(linesOf(unwrapped(finished.output, 2)).at(0),
              file +
                  ": If they answer over DDC/CI, the pane does not warn; if they stay silent, the "
                  "pane warns.");
    // The third one's answers are not assumed.
    EXPECT_EQ(countOf("assumed: value 0x4000", finished.output), 2U);
    EXPECT_EQ(countOf("assumed: no answer", finished.output), 2U);
    EXPECT_EQ(countOf("the Mac file gives it no answer", unwrapped(finished.output, 4)), 2U);
}

TEST_F(UnknownMonitors, GiveTwoObjects) {
    const std::string file = write(recent);
    const auto finished = run(folder, {"run", "--json", file});
    EXPECT_EQ(finished.status, 0);
    const auto reports = jsonLinesOf(finished.output);
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_EQ(reports[0]["assumed"], "answers");
    EXPECT_EQ(reports[0]["pane"]["warning_shown"], false);
    EXPECT_EQ(reports[1]["assumed"], "silent");
    EXPECT_EQ(reports[1]["pane"]["warning_shown"], true);
}

TEST_F(UnknownMonitors, HaveOneAssumptionPlayedWhereAsked) {
    const std::string file = write(recent);
    const auto silent = run(folder, {"run", "--assume", "silent", file});
    EXPECT_EQ(linesOf(unwrapped(silent.output, 2)).at(0),
              file + ": If it stays silent, the pane warns.");
    EXPECT_EQ(countOf(file + ": Desk\n", silent.output), 1U);
    const auto answering = run(folder, {"run", "--json", "--assume", "answers", file});
    const auto reports = jsonLinesOf(answering.output);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0]["assumed"], "answers");
}

TEST_F(UnknownMonitors, AreAQuestionForNoOtherMac) {
    const std::string file = write("screens:\n  - built-in\n" + monitor("VORN K2725DX", "{}"));
    const auto plain = run(folder, {"run", file});
    EXPECT_THAT(plain.output, StartsWith(file + "\n"));
    EXPECT_THAT(plain.output, Not(HasSubstr("ssumed")));
    EXPECT_EQ(run(folder, {"run", "--assume", "silent", file}).output, plain.output);
    const auto reports = jsonLinesOf(run(folder, {"run", "--json", file}).output);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_FALSE(reports[0].contains("assumed"));
}

TEST_F(UnknownMonitors, AreNamedWhereARunFails) {
    // What that call hands out stays NULL, and the next one crashes with it.
    const std::string file =
        write(recent + "faults: [{call: IOServiceMatching, and_later: true}]\n");
    const auto finished = run(folder, {"run", file});
    EXPECT_EQ(finished.status, 1);
    EXPECT_THAT(finished.errors, HasSubstr("displaycheck: " + file + " (assumed: answers): "));
    EXPECT_THAT(finished.errors, HasSubstr("displaycheck: " + file + " (assumed: silent): "));
}

TEST_F(UnknownMonitors, AreAssumedToAnswerInTheWindow) {
    unsetenv("DISPLAY");
    const std::string file = write(recent);
    const auto usual = run(folder, {"window", file});
    EXPECT_THAT(unwrapped(usual.output, 2),
                HasSubstr(file + ": assumed of the unknown monitor: an answer over "
                                 "DDC/CI as of a supported monitor (--assume "
                                 "answers)\n"));
    const auto silent = run(folder, {"window", "--assume", "silent", file});
    EXPECT_THAT(unwrapped(silent.output, 2),
                HasSubstr(file + ": assumed of the unknown monitor: no answer over "
                                 "DDC/CI (--assume silent)\n"));
}

}  // namespace unknown_monitors_test
}  // namespace test
