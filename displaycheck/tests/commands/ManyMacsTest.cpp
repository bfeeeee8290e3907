#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pugixml.hpp>

#include "displaycheck/tests/Program.h"

// Many Macs in one go, each compared with what its file expects.

namespace test {
namespace many_macs_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string good = "mac: A Mac alone\nscreens: [built-in]\n";
const std::string asExpected = good + "expect: {warning: true, continue_after: 3, cameras: 0}\n";
const std::string otherwise = good + "expect: {warning: false}\n";
/// Continue stays greyed.
const std::string failing = good + "faults: [{call: IOMasterPort}]\n";

TEST(ManyMacs, EndWithStatus3WhereOneIsNotAsExpected) {
    const Folder folder;
    const std::string met = folder.write("met.yaml", asExpected);
    const std::string unmet = folder.write("unmet.yaml", otherwise);
    EXPECT_EQ(run(folder, {"run", met}).status, 0);
    const auto finished = run(folder, {"run", met, unmet});
    EXPECT_EQ(finished.status, 3);
    EXPECT_EQ(finished.errors, "displaycheck: " + unmet + ": warning: found yes, expected no\n");
    EXPECT_THAT(finished.output, HasSubstr("As its file expects.\n"));
    EXPECT_THAT(finished.output,
                HasSubstr("Not as its file expects: warning: found yes, expected no\n"));
}

TEST(ManyMacs, AreSummedUp) {
    const Folder folder;
    std::vector<std::string> arguments = {"run"};
    for (const std::string name : {"a", "b", "c"}) {
        arguments.push_back(folder.write(name + ".yaml", asExpected));
    }
    EXPECT_THAT(run(folder, arguments).output, HasSubstr("Display Check"));
    arguments.push_back(folder.write("d.yaml", otherwise));
    arguments.push_back(folder.write("e.yaml", good));
    const auto finished = run(folder, arguments);
    EXPECT_THAT(
        linesOf(finished.output),
        ElementsAre(
            StartsWith("In "), "",  //
            "Mac     verdict  states  Continue  expected", "a.yaml  warns    -1      3.00 s    yes",
            "b.yaml  warns    -1      3.00 s    yes", "c.yaml  warns    -1      3.00 s    yes",
            "d.yaml  warns    -1      3.00 s    NO", "e.yaml  warns    -1      3.00 s    -", "",
            "5 runs: 5 with a warning.", "3 as expected, 1 not."));
    EXPECT_EQ(finished.status, 3);
    arguments.emplace_back("--details");
    EXPECT_THAT(run(folder, arguments).output, HasSubstr("Display Check"));
}

TEST(ManyMacs, GiveTheSameWhateverTheNumberOfJobs) {
    const Folder folder;
    std::vector<std::string> arguments = {"run", "--json"};
    for (int mac = 0; mac < 12; ++mac) {
        arguments.push_back(folder.write(
            std::to_string(mac) + ".yaml",
            "mac: Mac " + std::to_string(mac) + "\nscreens: [built-in]\n" +
                "events: [{at: " + std::to_string(mac) + ", user: enters the pane}]\n"));
    }
    const auto with = [&](const std::string& jobs) {
        auto all = arguments;
        all.insert(all.end(), {"--jobs", jobs});
        return run(folder, all);
    };
    const auto one = with("1");
    EXPECT_EQ(linesOf(one.output).size(), 12U);
    for (const std::string jobs : {"2", "5", "12", "50"}) {
        EXPECT_EQ(with(jobs).output, one.output) << jobs;
    }
}

TEST(ManyMacs, StandInJUnitsForm) {
    const Folder folder;
    const std::string file = folder.path("report.xml");
    const auto finished = run(folder, {"run", folder.write("met.yaml", asExpected),
                                       folder.write("unmet <&>.yaml", otherwise),
                                       folder.write("bad.yaml", failing), "--junit", file});
    EXPECT_EQ(finished.status, 3);
    pugi::xml_document document;
    ASSERT_TRUE(document.load_file(file.c_str()));
    const pugi::xml_node suite = document.child("testsuite");
    EXPECT_EQ(suite.attribute("tests").as_int(), 3);
    EXPECT_EQ(suite.attribute("failures").as_int(), 1);
    EXPECT_EQ(suite.attribute("errors").as_int(), 1);
    std::vector<std::string> names;
    for (const pugi::xml_node test : suite) names.emplace_back(test.attribute("name").value());
    EXPECT_EQ(names[1], folder.path("unmet <&>.yaml"));
    EXPECT_EQ(suite.first_child().attribute("time").as_double(), 3);
    EXPECT_FALSE(suite.first_child().first_child());
    EXPECT_STREQ(suite.first_child().next_sibling().child("failure").attribute("message").value(),
                 "warning: found yes, expected no");
    EXPECT_TRUE(suite.last_child().child("error"));
}

TEST(ManyMacs, WithUnknownMonitorsHaveExpectationsForEachCase) {
    const Folder folder;
    const std::string mac =
        "screens:\n"
        "  - monitor: {edid: {name: VORN K2725DX, product: 1, serial: 2}, vcp: unknown}\n"
        "expect:\n"
        "  displays: [{paired: true}]\n"
        "  if_answers: {warning: false, displays: [{state: 0}]}\n"
        "  if_silent: {warning: true, displays: [{state: 3}]}\n";
    const std::string file = folder.write("mac.yaml", mac);
    const auto finished = run(folder, {"run", "--json", file});
    EXPECT_EQ(finished.status, 0) << finished.errors;
    EXPECT_EQ(jsonLinesOf(finished.output).size(), 2U);
}

TEST(ManyMacs, ReportOnARunThatFailedToo) {
    const Folder folder;
    const std::string file = folder.write("failing.yaml", failing);
    const auto finished = run(folder, {"run", "--json", file});
    EXPECT_EQ(finished.status, 1);
    const auto report = jsonLinesOf(finished.output).at(0);
    EXPECT_EQ(report["file"], file);
    EXPECT_FALSE(report["problem"]["texts"].empty());
}

}  // namespace many_macs_test
}  // namespace test
