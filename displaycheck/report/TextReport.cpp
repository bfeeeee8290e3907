#include "displaycheck/report/TextReport.h"

#include <fmt/format.h>

#include <algorithm>

#include "displaycheck/report/DisplayText.h"
#include "displaycheck/report/PaneDrawing.h"
#include "simulated_mac/machine/CallText.h"

namespace displaycheck {

namespace {

std::string section(std::string_view title, const Palette& palette) {
    return "\n" + palette.bold(title) + "\n";
}

bool isSupported(const DisplayFacts& display) {
    const std::int32_t state = display.record->displayState;
    return !display.why.builtIn &&
           (state == displayInfo::supportedAndAnswering || state == displayInfo::supportedByList);
}

/// What was found, whatever the pane shows: its labels may be gone or its texts missing.
std::string conclusion(const Report& report, const Palette& palette) {
    if (report.runs == 0) return palette.alarm("No detection run finished.");
    const bool monitor = std::any_of(report.displays.begin(), report.displays.end(), isSupported);
    const bool camera = !report.cameras.empty();
    const std::string found = monitor && camera ? "A supported monitor and a camera were found"
                              : monitor         ? "A supported monitor was found"
                              : camera          ? "A supported camera was found"
                                       : "Neither a supported monitor nor a camera was found";
    const bool warns = report.pane.warningShown();
    if (warns == (monitor || camera)) {
        return palette.alarm(found + ", but the pane " + (warns ? "warns." : "shows no warning."));
    }
    const std::string text = found + ": the pane " + (warns ? "warns." : "does not warn.");
    return warns ? palette.yellow(text) : palette.green(text);
}

std::string problemLines(const Report& report, const Palette& palette) {
    std::string text;
    for (const std::string& problem : problemsOf(report)) {
        text += palette.alarm("!!! " + printable(problem)) + "\n";
    }
    return text;
}

/// Facts that the drawing of the pane can't show.
std::string paneNotes(const PaneFacts& pane, const Palette& palette) {
    std::string text = pane.nextEnabled ? "Continue is enabled." : "Continue is greyed.";
    text += pane.warningShown() ? " A warning is shown" : " No warning is shown";
    text += pane.clickRecognizers > 0
                ? fmt::format("; its label takes clicks ({} recognizer{}).", pane.clickRecognizers,
                              pane.clickRecognizers == 1 ? "" : "s")
                : ".";
    for (const std::string& address : pane.openedAddresses) {
        text += "\nOpened in the browser: " + printable(address);
    }
    return palette.dim(text) + "\n";
}

std::string cameraText(const CameraDictionary& cameras) {
    if (cameras.empty()) return "  none\n";
    std::string text;
    for (const auto& [location, camera] : cameras) {
        text += fmt::format("  {}  {}, serial number {}\n", printable(location),
                            camera.name.empty() ? "(no name)" : printable(camera.name),
                            camera.kUSBSerialNumberString.empty()
                                ? "none"
                                : printable(camera.kUSBSerialNumberString));
    }
    return text;
}

std::string runText(const Report& report) {
    std::string text =
        fmt::format("  {} detection run{} finished", report.runs, report.runs == 1 ? "" : "s");
    if (report.elapsed) {
        text += fmt::format("; Continue was {}enabled after {}", report.runs == 1 ? "" : "first ",
                            secondsText(*report.elapsed));
    }
    return text + "\n";
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

}  // namespace

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
    std::string text = palette.bold(printable(report.file));
    if (!report.mac.empty()) text += ": " + printable(report.mac);
    text += "\n" + conclusion(report, palette) + "\n" + problemLines(report, palette) + "\n";
    text += drawPane(report.pane, options.columns, palette);
    text += paneNotes(report.pane, palette);

    text += section("Displays", palette);
    if (report.displays.empty()) text += "  none\n";
    for (const DisplayFacts& display : report.displays) {
        text += displayText(display, options.columns, palette);
    }
    text += section("Cameras", palette) + cameraText(report.cameras);
    text += section("Detection", palette) + runText(report);
    text += section("Timeline", palette);
    for (const auto& entry : report.timeline) {
        text += timelineText(entry, options.columns, palette);
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
