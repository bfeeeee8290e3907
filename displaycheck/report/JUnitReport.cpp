#include "displaycheck/report/JUnitReport.h"

#include <fmt/format.h>

#include <pugixml.hpp>
#include <sstream>

#include "displaycheck/report/Summary.h"
#include "displaycheck/report/TerminalText.h"

namespace displaycheck {

namespace {

/// Text that XML can hold: without control characters.
std::string joinedLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += printable(line) + "\n";
    return text;
}

void addOutcome(pugi::xml_node testCase, const char* kind, const std::vector<std::string>& lines) {
    if (lines.empty()) return;
    pugi::xml_node outcome = testCase.append_child(kind);
    outcome.append_attribute("message") = printable(lines.front()).c_str();
    outcome.text() = joinedLines(lines).c_str();
}

void addTestCase(pugi::xml_node suite, const RunRecord& run) {
    pugi::xml_node testCase = suite.append_child("testcase");
    testCase.append_attribute("name") = run.name.c_str();
    testCase.append_attribute("classname") = "displaycheck";
    if (run.report.contains("elapsed_s") && !run.report["elapsed_s"].is_null()) {
        testCase.append_attribute("time") =
            fmt::format("{:.6f}", run.report["elapsed_s"].get<double>()).c_str();
    }
    const auto problems = problemTexts(run);
    addOutcome(testCase, "error", problems);
    // A test case has one outcome.
    if (problems.empty()) addOutcome(testCase, "failure", differenceTexts(run));
}

}  // namespace

std::string junitReport(const std::vector<RunRecord>& runs) {
    pugi::xml_document document;
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version") = "1.0";
    declaration.append_attribute("encoding") = "UTF-8";
    pugi::xml_node suite = document.append_child("testsuite");
    suite.append_attribute("name") = "displaycheck run";
    std::size_t failures = 0;
    std::size_t errors = 0;
    for (const RunRecord& run : runs) {
        if (!problemTexts(run).empty()) {
            ++errors;
        } else if (!differenceTexts(run).empty()) {
            ++failures;
        }
    }
    suite.append_attribute("tests") = runs.size();
    suite.append_attribute("failures") = failures;
    suite.append_attribute("errors") = errors;
    for (const RunRecord& run : runs) addTestCase(suite, run);
    std::ostringstream text;
    document.save(text, "  ");
    return text.str();
}

}  // namespace displaycheck
