#include "displaycheck/report/Summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace displaycheck {

namespace {

using JSON = nlohmann::ordered_json;

const SummaryRow summaryHeadings = {"Mac", "verdict", "states", "Continue", "expected"};

std::string statesOf(const JSON& report) {
    if (!report.contains("displays")) return "";
    std::vector<int> states;
    for (const JSON& display : report["displays"]) states.push_back(display["displayState"]);
    return fmt::format("{}", fmt::join(states, " "));
}

std::string timeOf(const JSON& report) {
    if (!report.contains("elapsed_s")) return "";
    const JSON& elapsed = report["elapsed_s"];
    return elapsed.is_null() ? "never" : fmt::format("{:.2f} s", elapsed.get<double>());
}

/// Whether the run is as its file expects; nothing where that can't be said.
std::optional<bool> isMet(const JSON& report) {
    if (!report.contains("expectation") || report["expectation"].is_null()) return std::nullopt;
    return report["expectation"]["met"].get<bool>();
}

/// The name in at most so many columns; what comes last tells files apart.
std::string shortened(const std::string& name, std::size_t columns) {
    if (displayWidth(name) <= columns) return name;
    const auto isInside = [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
    };
    std::size_t at = 0;
    do {
        ++at;
        while (at < name.size() && isInside(name[at])) ++at;
    } while (displayWidth(std::string_view(name).substr(at)) >= columns);
    return "…" + name.substr(at);
}

/// The folder in which all are, with its slash; empty where they have none in common.
std::string commonFolder(const std::vector<RunRecord>& runs) {
    std::string_view common = runs.front().name;
    for (const RunRecord& run : runs) {
        const auto [end, other] =
            std::mismatch(common.begin(), common.end(), run.name.begin(), run.name.end());
        common = common.substr(0, static_cast<std::size_t>(end - common.begin()));
    }
    return std::string(common.substr(0, common.rfind('/') + 1));
}

std::string counted(std::size_t count, std::string_view what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

bool isAlarming(const SummaryRow& row) {
    return row.expected == "NO" || row.verdict == nameOf(Verdict::failed);
}

/// A row as a paragraph, for where the columns don't fit.
std::string paragraphOf(const SummaryRow& row, std::size_t columns, const Palette& palette) {
    std::string text = row.verdict;
    if (!row.states.empty()) text += ", states " + row.states;
    if (!row.time.empty()) text += ", Continue: " + row.time;
    if (row.expected != "-") text += ", as expected: " + row.expected;
    return paragraph(row.name, columns, 0, 2) +
           paragraph(text, columns, 4, 0, [&](std::string_view line) {
               return isAlarming(row) ? palette.alarm(line) : std::string(line);
           });
}

std::string tableOf(const std::vector<SummaryRow>& rows, std::size_t columns,
                    const Palette& palette) {
    constexpr std::size_t gap = 2;
    constexpr std::size_t shortestName = 12;
    constexpr std::array<std::string SummaryRow::*, 4> others = {
        &SummaryRow::verdict, &SummaryRow::states, &SummaryRow::time, &SummaryRow::expected};
    const auto widthOf = [&rows](std::string SummaryRow::*column) {
        std::size_t width = displayWidth(summaryHeadings.*column);
        for (const SummaryRow& row : rows) width = std::max(width, displayWidth(row.*column));
        return width;
    };
    std::size_t taken = 0;
    for (const auto column : others) taken += gap + widthOf(column);
    std::string text;
    if (columns < taken + shortestName) {
        for (const SummaryRow& row : rows) text += paragraphOf(row, columns, palette);
        return text;
    }
    const std::size_t nameColumns = std::min(widthOf(&SummaryRow::name), columns - taken);
    const auto lineOf = [&](const SummaryRow& row) {
        std::string line = padded(shortened(row.name, nameColumns), nameColumns);
        for (const auto column : others) {
            line += std::string(gap, ' ') + padded(row.*column, widthOf(column));
        }
        return line.substr(0, line.find_last_not_of(' ') + 1);
    };
    text = palette.bold(lineOf(summaryHeadings)) + "\n";
    for (const SummaryRow& row : rows) {
        text += (isAlarming(row) ? palette.alarm(lineOf(row)) : lineOf(row)) + "\n";
    }
    return text;
}

}  // namespace

SummaryRow summaryRow(const RunRecord& run) {
    const std::optional<bool> met = isMet(run.report);
    return {run.name, std::string(nameOf(run.verdict)), statesOf(run.report), timeOf(run.report),
            !met   ? "-"
            : *met ? "yes"
                   : "NO"};
}

std::vector<std::string> totals(const std::vector<RunRecord>& runs) {
    std::array<std::size_t, 4> verdicts{};
    std::size_t met = 0;
    std::size_t unmet = 0;
    for (const RunRecord& run : runs) {
        ++verdicts[static_cast<std::size_t>(run.verdict)];
        const std::optional<bool> isAsExpected = isMet(run.report);
        if (isAsExpected == true) ++met;
        if (isAsExpected == false) ++unmet;
    }
    std::string text = counted(runs.size(), "run") + ":";
    const char* between = " ";
    const auto add = [&](Verdict verdict, std::string_view words) {
        const std::size_t count = verdicts[static_cast<std::size_t>(verdict)];
        if (count == 0) return;
        text += fmt::format("{}{} {}", between, count, words);
        between = ", ";
    };
    add(Verdict::doesNotWarn, "without a warning");
    add(Verdict::warns, "with a warning");
    add(Verdict::noRun, "without a finished detection");
    add(Verdict::failed, "failed");
    std::vector<std::string> lines = {text + "."};
    if (unmet > 0) {
        lines.push_back(fmt::format("{} as expected, {} not.", met, unmet));
    } else if (met > 0) {
        lines.push_back(fmt::format("{} as expected.", met));
    }
    return lines;
}

std::vector<std::string> problemTexts(const RunRecord& run) {
    const JSON& problem = run.report["problem"];
    return problem.is_null() ? std::vector<std::string>()
                             : problem["texts"].get<std::vector<std::string>>();
}

std::vector<std::string> differenceTexts(const RunRecord& run) {
    std::vector<std::string> texts;
    if (!isMet(run.report)) return texts;
    for (const JSON& one : run.report["expectation"]["differences"]) {
        texts.push_back(fmt::format("{}: found {}, expected {}", one["what"].get<std::string>(),
                                    one["found"].get<std::string>(),
                                    one["expected"].get<std::string>()));
    }
    return texts;
}

std::string summary(const std::vector<RunRecord>& runs, std::size_t columns,
                    const Palette& palette) {
    const std::string folder = commonFolder(runs);
    std::vector<SummaryRow> rows;
    for (const RunRecord& run : runs) {
        rows.push_back(summaryRow(run));
        rows.back().name.erase(0, folder.size());
    }
    std::string text = folder.empty() ? "" : paragraph("In " + folder, columns) + "\n";
    text += tableOf(rows, columns, palette) + "\n";
    for (const std::string& line : totals(runs)) text += paragraph(line, columns);
    return text;
}

}  // namespace displaycheck
