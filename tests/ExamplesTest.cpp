#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/WaitsTable.h"

// Each Mac in examples/ shows what its comment says. Its whole report is kept in tests/reports;
// scripts/update-reports writes it anew.

namespace examples_test {

using nlohmann::json;

const std::filesystem::path root = PROJECT_SOURCE_DIR;

/// The reports on an example: one, or two on a Mac with unknown monitors, of which one answers and
/// one is silent.
std::vector<json> reportsOn(const std::string& name) {
    const std::string command = std::string(DISPLAYCHECK_PROGRAM) + " run --json '" +
                                (root / "examples" / (name + ".yaml")).string() + "'";
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string text;
    std::array<char, 4096> piece;
    while (const auto count = std::fread(piece.data(), 1, piece.size(), pipe.get())) {
        text.append(piece.data(), count);
    }
    std::vector<json> reports;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        reports.push_back(json::parse(line));
        reports.back().erase("file");  // as the path was given
    }
    return reports;
}

json keptReportOf(const std::string& name) {
    std::ifstream file(root / "tests" / "reports" / (name + ".json"));
    return file ? json::parse(file) : json("no report is kept");
}

/// The example's name in the form of a test's name.
std::string underscored(std::string name) {
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

/// How a report differs from the kept one: a line for each change, up to ten.
std::string changesOf(const nlohmann::json& kept, const nlohmann::json& report) {
    const auto changes = nlohmann::json::diff(kept, report);
    std::string text;
    for (std::size_t at = 0; at < std::min<std::size_t>(changes.size(), 10); ++at) {
        const std::string path = changes[at].at("path");
        const nlohmann::json::json_pointer place(path);
        const auto valueIn = [&place](const nlohmann::json& whole) {
            return whole.contains(place) ? whole.at(place).dump() : "nothing";
        };
        text += path + ": " + valueIn(kept) + " became " + valueIn(report) + "\n";
    }
    return text + (changes.size() > 10 ? "...\n" : "");
}

class EveryExample : public testing::TestWithParam<std::string> {};

TEST_P(EveryExample, GivesTheReportThatIsKept) {
    const auto reports = reportsOn(GetParam());
    const json report = reports.size() == 1 ? reports.front() : json(reports);
    const auto kept = keptReportOf(GetParam());
    EXPECT_TRUE(report == kept) << changesOf(kept, report)
                                << "If that is right: scripts/update-reports";
}

TEST_P(EveryExample, SaysInACommentWhatItShows) {
    std::ifstream file(root / "examples" / (GetParam() + ".yaml"));
    std::string line;
    std::getline(file, line);
    EXPECT_THAT(line, testing::StartsWith("# "));
}

INSTANTIATE_TEST_SUITE_P(Examples, EveryExample, testing::ValuesIn(test::namesOfExamples()),
                         [](const auto& example) { return underscored(example.param); });

/// What an example shows. How long it takes is in its kept report, and WaitsTest.cpp says
/// why.
struct Verdict {
    std::string example;
    std::vector<int> states;  ///< of the displays, in the order of the screens
    bool warning;
    int runs = 1;
    std::string assumed = {};  ///< "answers" or "silent" of a Mac with unknown monitors
};

void PrintTo(const Verdict& verdict, std::ostream* out) {
    *out << verdict.example;
}

std::string nameOfVerdict(const testing::TestParamInfo<Verdict>& verdict) {
    const std::string& assumed = verdict.param.assumed;
    return underscored(verdict.param.example) + (assumed.empty() ? "" : "_" + assumed);
}

class Example : public testing::TestWithParam<Verdict> {};

TEST_P(Example, EndsAsItsCommentSays) {
    const Verdict& expected = GetParam();
    const auto reports = reportsOn(expected.example);
    const auto found = std::find_if(reports.begin(), reports.end(), [&](const json& report) {
        return report.value("assumed", "") == expected.assumed;
    });
    ASSERT_NE(found, reports.end());
    const json& report = *found;
    std::vector<int> states;
    for (const json& display : report["displays"]) states.push_back(display["displayState"]);
    EXPECT_EQ(states, expected.states);
    EXPECT_EQ(report["pane"]["warning_shown"], expected.warning);
    EXPECT_EQ(report["pane"]["next_enabled"], true);
    EXPECT_EQ(report["runs"], expected.runs);
}

INSTANTIATE_TEST_SUITE_P(
    Intel, Example,
    testing::Values(
        Verdict{"intel-first-look", {-1, 3}, true}, Verdict{"intel-listed-answers", {-1, 0}, false},
        Verdict{"intel-listed-silent", {-1, 1}, false},
        Verdict{"intel-listed-without-the-bit", {-1, 1}, false},
        Verdict{"intel-recent-silent", {-1, 3}, true},
        Verdict{"intel-recent-unknown", {-1, 0}, false, 1, "answers"},
        Verdict{"intel-recent-unknown", {-1, 3}, true, 1, "silent"},
        Verdict{"intel-recent-unlisted-answers", {-1, 0}, false},
        Verdict{"intel-other-maker", {-1, 3}, true}, Verdict{"intel-unlisted", {-1, 3}, true},
        Verdict{"intel-two-monitors", {-1, 3, 0}, false},
        Verdict{"intel-no-built-in-panel", {0}, false},
        Verdict{"intel-amd-graphics", {-1, 1, 0}, false},
        Verdict{"intel-first-bus-dead", {-1, 0}, false},
        Verdict{"intel-bus-leads-nowhere", {-1, 1}, false},
        Verdict{"intel-framebuffer-asleep", {-1, 1}, false},
        Verdict{"intel-third-try", {-1, 0}, false},
        Verdict{"intel-wrong-framebuffer-identity", {-1, 1}, false},
        Verdict{"intel-no-reply-type", {-1, 1}, false}, Verdict{"intel-camera-only", {-1}, false},
        Verdict{"intel-camera-later", {-1}, false, 2},
        Verdict{"intel-nothing-connected", {-1}, true},
        Verdict{"intel-entered-twice", {-1}, true, 2}, Verdict{"intel-view-released", {-1}, false},
        Verdict{"intel-late-edid", {-1, 0}, false},
        Verdict{"intel-service-tag-behind-name", {-1, 0}, false},
        Verdict{"intel-silent-tools", {-1, 3}, true}, Verdict{"intel-slow-tools", {-1, 0}, false}),
    nameOfVerdict);

INSTANTIATE_TEST_SUITE_P(AppleSilicon, Example,
                         testing::Values(Verdict{"apple-listed-answers", {-1, 0}, false},
                                         Verdict{"apple-listed-silent", {-1, 1}, false},
                                         Verdict{"apple-recent-silent", {-1, 3}, true},
                                         Verdict{"apple-other-maker", {-1, 3}, true},
                                         Verdict{"apple-write-fails", {-1, 1}, false},
                                         Verdict{"apple-bad-checksums", {-1, 1}, false},
                                         Verdict{"apple-special-chip", {-1, 0}, false},
                                         Verdict{"apple-special-chip-branded", {-1, 1}, false},
                                         Verdict{"apple-two-proxies", {-1, 0}, false},
                                         Verdict{"apple-no-built-in-panel", {0}, false},
                                         Verdict{"apple-twins", {-1, 0, 0}, false},
                                         Verdict{"apple-ordinal-breaks-the-tie", {-1, 0, 3}, false},
                                         Verdict{
                                             "apple-twins-with-serial-numbers", {-1, 0, 3}, false},
                                         Verdict{"apple-edid-not-copied", {-1, 3}, true},
                                         Verdict{"apple-odd-location", {-1, 3}, true},
                                         Verdict{"apple-attach-during-walk", {-1, 0}, false},
                                         Verdict{"apple-late-service", {-1, 0}, false},
                                         Verdict{"apple-edid-from-firmware", {-1, 1}, false},
                                         Verdict{"apple-no-location", {-1, 1}, false},
                                         Verdict{"apple-wrong-identity", {-1, 1}, false},
                                         Verdict{"apple-no-service", {-1, 3}, true},
                                         Verdict{"apple-unplugged-while-asked", {-1, 1}, false}),
                         nameOfVerdict);

}  // namespace examples_test
