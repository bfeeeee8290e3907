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

#include "displaycheck/host/AssumedMac.h"
#include "simulated_mac/file/MacFile.h"
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

TEST_P(EveryExample, ShowsWhatItExpects) {
    for (const json& report : reportsOn(GetParam())) {
        ASSERT_FALSE(report["expectation"].is_null());
        EXPECT_EQ(report["expectation"]["differences"], json::array());
    }
}

TEST_P(EveryExample, ExpectsAVerdictATimeAndStates) {
    const auto mac = simulated_mac::readMacFile(root / "examples" / (GetParam() + ".yaml"));
    for (const auto& assumed : displaycheck::assumptionsFor(mac)) {
        const auto expected = displaycheck::assumedMac(mac, assumed).expected;
        ASSERT_TRUE(expected);
        EXPECT_TRUE(expected->warning && expected->continues && expected->displays);
    }
}

TEST_P(EveryExample, SaysInACommentWhatItShows) {
    std::ifstream file(root / "examples" / (GetParam() + ".yaml"));
    std::string line;
    std::getline(file, line);
    EXPECT_THAT(line, testing::StartsWith("# "));
}

INSTANTIATE_TEST_SUITE_P(Examples, EveryExample, testing::ValuesIn(test::namesOfExamples()),
                         [](const auto& example) { return underscored(example.param); });

}  // namespace examples_test
