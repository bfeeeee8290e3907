#include "displaycheck/report/TextReport.h"

#include <gtest/gtest.h>

#include "displaycheck/tests/Program.h"

namespace displaycheck {
namespace text_report_test {

const Palette plain(false);

Report finishedReport() {
    Report report;
    report.file = "mac.yaml";
    report.mac = "A Mac";
    report.runs = 1;
    report.elapsed = simulated_mac::Time(2'500'000);
    report.pane.nextEnabled = true;
    return report;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::string conclusionOf(const Report& report) {
    return conclusionText(report);
}

TEST(TextReportTest, BeginsWithFileTitleAndConclusion) {
    Report report = finishedReport();
    report.pane.lbWarnings = "Nothing was found.";
    const auto lines = test::linesOf(textReport(report, {}, plain));
    EXPECT_EQ(lines.at(0), "mac.yaml: A Mac");
    EXPECT_EQ(lines.at(1), "Neither a supported monitor nor a camera was found: the pane warns.");
}

TEST(TextReportTest, SaysWhatWasFound) {
    Report report = finishedReport();
    report.cameras["0x14200000"] = {1, "", "Camera"};
    EXPECT_EQ(conclusionOf(report), "A supported camera was found: the pane does not warn.");
    const auto record = std::make_shared<displayInfo>();
    report.displays = {{record, {}}};
    EXPECT_EQ(conclusionOf(report), "A supported camera was found: the pane does not warn.");
    record->displayState = displayInfo::supportedByList;
    EXPECT_EQ(conclusionOf(report),
              "A supported monitor and a camera were found: the pane does not warn.");
    report.cameras.clear();
    EXPECT_EQ(conclusionOf(report), "A supported monitor was found: the pane does not warn.");
}

TEST(TextReportTest, SaysWhenThePaneDoesNotShowWhatWasFound) {
    Report report = finishedReport();
    EXPECT_EQ(conclusionOf(report),
              "Neither a supported monitor nor a camera was found, but the pane shows no warning.");
    report.cameras["0x14200000"] = {1, "", "Camera"};
    report.pane.lbWarnings = "Nothing was found.";
    EXPECT_EQ(conclusionOf(report), "A supported camera was found, but the pane warns.");
    report.runs = 0;
    EXPECT_EQ(conclusionOf(report), "No detection run finished.");
}

TEST(TextReportTest, SaysHowLongItTook) {
    Report report = finishedReport();
    EXPECT_TRUE(contains(textReport(report, {}, plain),
                         "  1 detection run finished; Continue was enabled after 2.500 s\n"));
    report.runs = 2;
    EXPECT_TRUE(
        contains(textReport(report, {}, plain),
                 "  2 detection runs finished; Continue was first enabled after 2.500 s\n"));
}

TEST(TextReportTest, IsLoudAboutProblems) {
    Report report = finishedReport();
    EXPECT_TRUE(problemsOf(report).empty());
    report.misuses = {"a label was touched off the main thread"};
    EXPECT_TRUE(contains(textReport(report, {}, plain),
                         "!!! misuse of the platform: a label was touched off the main thread\n"));
    report.outcome = simulated_mac::Scheduler::Outcome::stuck;
    EXPECT_EQ(problemsOf(report).size(), 2u);
    report.misuses.clear();
    report.outcome = simulated_mac::Scheduler::Outcome::outOfTime;
    report.end = simulated_mac::Time(3'600'000'000);
    EXPECT_EQ(problemsOf(report),
              std::vector<std::string>{"the run was still going on after 3600.000 s"});
}

TEST(TextReportTest, ListsCameras) {
    Report report = finishedReport();
    EXPECT_TRUE(contains(textReport(report, {}, plain), "Cameras\n  none\n"));
    report.cameras["0x14200000"] = {1, "", "Camera\x1B"};
    EXPECT_TRUE(
        contains(textReport(report, {}, plain), "  0x14200000  Camera\\x1B, serial number none\n"));
}

TEST(TextReportTest, WritesOnlyWhatIsSafeOnATerminal) {
    Report report = finishedReport();
    const std::string nasty = "\x1B[2J\a\u202E" + std::string("\0", 1) + "\xFF";
    report.file = report.mac = report.pane.title = report.pane.lbWarnings = nasty;
    report.pane.openedAddresses = {nasty};
    report.timeline = {{simulated_mac::Time(0), "pane", nasty}};
    report.systemLog = {nasty};
    report.standardOutput = nasty + "\nsecond";
    report.trace = {{simulated_mac::Time(0), nasty, nasty, {{nasty, nasty}}, nasty, {}, true}};
    report.misuses = {nasty};
    const std::string text = textReport(report, {true, true, 80}, plain);
    for (const std::string& line : test::linesOf(text)) EXPECT_EQ(printable(line), line);
    EXPECT_TRUE(contains(text, "  second\n"));
}

TEST(TextReportTest, WritesPlatformCallsOneALine) {
    Report report = finishedReport();
    report.trace = {{.time = simulated_mac::Time(60'000),
                     .thread = "SerialQueue",
                     .call = "CGDisplayIsBuiltin",
                     .arguments = {{"display", 2}},
                     .result = 0,
                     .failed = false},
                    {.time = simulated_mac::Time(1'000'000),
                     .thread = "main",
                     .call = "IOMasterPort",
                     .arguments = {},
                     .result = simulated_mac::Hex{1},
                     .failed = true}};
    EXPECT_TRUE(contains(textReport(report, {false, true, 80}, plain),
                         "    0.060000  SerialQueue  CGDisplayIsBuiltin(display 2) = 0\n"
                         "    1.000000  main         IOMasterPort() = 0x1  made to fail\n"));
}

TEST(TimelineText, WrapsBelowItself) {
    const simulated_mac::TimelineEntry entry{simulated_mac::Time(12'500'000), "pane",
                                             "shows a text that is too long"};
    EXPECT_EQ(timelineText(entry, 40, plain),
              "    12.500 s  pane  shows a text that is\n"
              "                    too long\n");
}

}  // namespace text_report_test
}  // namespace displaycheck
