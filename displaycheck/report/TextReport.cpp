#include "displaycheck/report/TextReport.h"

#include <fmt/format.h>

#include <algorithm>

#include "displaycheck/report/DisplayText.h"
#include "displaycheck/report/PaneDrawing.h"
#include "simulated_mac/machine/CallText.h"

namespace displaycheck {

namespace {

std::string section(std::string_view name, const Palette& palette) {
    return "\n" + palette.bold(name) + "\n";
}

/// The file and the Mac's title, on one line if they fit.
std::string title(const Report& report, std::size_t columns, const Palette& palette) {
    const std::string file = printable(report.file);
    const std::string mac = printable(report.mac);
    if (mac.empty()) return palette.bold(file) + "\n";
    if (displayWidth(file) + 2 + displayWidth(mac) <= columns) {
        return palette.bold(file) + ": " + mac + "\n";
    }
    const auto bold = [&palette](std::string_view line) { return palette.bold(line); };
    return paragraph(file + ":", columns, 0, 0, bold) + paragraph(mac, columns, 2);
}

bool isSupported(const DisplayFacts& display) {
    return !display.why.builtIn && isSupportedState(display.record->displayState);
}

struct Finding {
    std::string text;
    bool isShown = false;  ///< the pane warns just where nothing was found
};

/// What was found, whatever the pane shows: its labels may be gone or its texts missing.
Finding findingOf(const Report& report) {
    const bool monitor = std::any_of(report.displays.begin(), report.displays.end(), isSupported);
    const bool camera = !report.cameras.empty();
    const std::string found = monitor && camera ? "A supported monitor and a camera were found"
                              : monitor         ? "A supported monitor was found"
                              : camera          ? "A supported camera was found"
                                       : "Neither a supported monitor nor a camera was found";
    const bool warns = report.pane.warningShown();
    if (warns == (monitor || camera)) {
        return {found + ", but the pane " + (warns ? "warns." : "shows no warning."), false};
    }
    return {found + ": the pane " + (warns ? "warns." : "does not warn."), true};
}

std::string conclusion(const Report& report, std::size_t columns, const Palette& palette) {
    const bool isAlarming = report.runs == 0 || !findingOf(report).isShown;
    return paragraph(conclusionText(report), columns, 0, 0, [&](std::string_view line) {
        return isAlarming                   ? palette.alarm(line)
               : report.pane.warningShown() ? palette.yellow(line)
                                            : palette.green(line);
    });
}

std::string problemLines(const Report& report, std::size_t columns, const Palette& palette) {
    const auto alarm = [&palette](std::string_view line) { return palette.alarm(line); };
    std::string text;
    for (const std::string& problem : problemsOf(report)) {
        text += paragraph("!!! " + problem, columns, 0, 4, alarm);
    }
    return text;
}

std::string differenceLines(const Report& report, std::size_t columns, const Palette& palette) {
    if (!report.differences) return "";
    if (report.differences->empty()) return palette.green("As its file expects.") + "\n";
    const auto alarm = [&palette](std::string_view line) { return palette.alarm(line); };
    std::string text;
    for (const Difference& one : *report.differences) {
        text += paragraph(fmt::format("Not as its file expects: {}: found {}, expected {}",
                                      one.what, one.found, one.expected),
                          columns, 0, 4, alarm);
    }
    return text;
}

std::string effectLines(const Report& report, std::size_t columns, const Palette& palette) {
    const auto yellow = [&palette](std::string_view line) { return palette.yellow(line); };
    std::string text;
    for (const WithoutEffect& one : report.withoutEffect) {
        text += paragraph("Warning: " + textOf(one) + ".", columns, 0, 4, yellow);
    }
    return text;
}

/// Facts that the drawing of the pane can't show.
std::string paneNotes(const PaneFacts& pane, std::size_t columns, const Palette& palette) {
    std::string text = pane.nextEnabled ? "Continue is enabled." : "Continue is greyed.";
    text += pane.warningShown() ? " A warning is shown" : " No warning is shown";
    text += pane.clickRecognizers > 0
                ? fmt::format("; its label takes clicks ({} recognizer{}).", pane.clickRecognizers,
                              pane.clickRecognizers == 1 ? "" : "s")
                : ".";
    const auto dim = [&palette](std::string_view line) { return palette.dim(line); };
    std::string lines = paragraph(text, columns, 0, 0, dim);
    for (const std::string& address : pane.openedAddresses) {
        lines += paragraph("Opened in the browser: " + address, columns, 0, 2, dim);
    }
    return lines;
}

std::string cameraText(const CameraDictionary& cameras, std::size_t columns) {
    if (cameras.empty()) return "  none\n";
    std::string text;
    for (const auto& [location, camera] : cameras) {
        text += paragraph(
            fmt::format(
                "{}  {}, serial number {}", location,
                camera.name.empty() ? "(no name)" : camera.name,
                camera.kUSBSerialNumberString.empty() ? "none" : camera.kUSBSerialNumberString),
            columns, 2, 2);
    }
    return text;
}

std::string runText(const Report& report, std::size_t columns) {
    std::string text =
        fmt::format("{} detection run{} finished", report.runs, report.runs == 1 ? "" : "s");
    if (report.elapsed) {
        text += fmt::format("; Continue was {}enabled after {}", report.runs == 1 ? "" : "first ",
                            secondsText(*report.elapsed));
    }
    return paragraph(text, columns, 2);
}

std::string standardOutputText(const std::string& output) {
    if (output.empty()) return "  nothing\n";
    std::string text;
    for (std::size_t at = 0; at < output.size();) {
        const std::size_t end = std::min(output.find('\n', at), output.size());
        text += "  " + printable(std::string_view(output).substr(at, end - at)) + "\n";
        at = end + 1;
    }
    return text;
}

}  // namespace

std::string conclusionText(const Report& report) {
    return report.runs == 0 ? "No detection run finished." : findingOf(report).text;
}

std::string traceText(const std::vector<simulated_mac::TracedCall>& trace, const Palette& palette) {
    std::size_t threadColumns = 0;
    for (const auto& call : trace) {
        threadColumns = std::max(threadColumns, displayWidth(call.thread));
    }
    std::string text;
    for (const auto& call : trace) {
        text +=
            fmt::format("  {:>10.6f}  {}  {}({})", std::chrono::duration<double>(call.time).count(),
                        padded(call.thread, threadColumns), printable(call.call),
                        printable(argumentsText(call)));
        const std::string result = resultText(call);
        if (!result.empty()) text += " = " + printable(result);
        if (call.failed) text += "  " + palette.alarm("made to fail");
        text += "\n";
    }
    return text;
}

std::string timelineText(const simulated_mac::TimelineEntry& entry, std::size_t columns,
                         const Palette& palette) {
    const std::string time = fmt::format("{:>12}", secondsText(entry.time));
    const std::string before = fmt::format("{}  {}  ", palette.dim(time), padded(entry.source, 4));
    const std::size_t indent =
        time.size() + 2 + std::max<std::size_t>(displayWidth(entry.source), 4) + 2;
    std::string text;
    for (const auto& line : wrapText(printable(entry.what), columns - indent, {}, Palette(false))) {
        text += (text.empty() ? before : std::string(indent, ' ')) + line.text + "\n";
    }
    return text.empty() ? before + "\n" : text;
}

std::string textReport(const Report& report, const TextReportOptions& options,
                       const Palette& palette) {
    const std::size_t columns = options.columns;
    std::string text = title(report, columns, palette);
    text += conclusion(report, columns, palette) + problemLines(report, columns, palette) +
            differenceLines(report, columns, palette) + effectLines(report, columns, palette) +
            "\n";
    text += drawPane(report.pane, columns, palette);
    text += paneNotes(report.pane, columns, palette);

    text += section("Displays", palette);
    if (report.displays.empty()) text += "  none\n";
    for (const DisplayFacts& display : report.displays) {
        text += displayText(display, columns, palette);
    }
    text += section("Cameras", palette) + cameraText(report.cameras, columns);
    text += section("Detection", palette) + runText(report, columns);
    text += section("Timeline", palette);
    for (const auto& entry : report.timeline) {
        text += timelineText(entry, columns, palette);
    }

    if (options.log) {
        text += section("System log", palette);
        for (const std::string& line : report.systemLog) text += "  " + printable(line) + "\n";
        if (report.systemLog.empty()) text += "  nothing\n";
        text += section("Standard output", palette) + standardOutputText(report.standardOutput);
    }
    if (options.trace) {
        text += section("Platform calls", palette) + traceText(report.trace, palette);
    }
    return text;
}

}  // namespace displaycheck
