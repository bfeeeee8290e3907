#include "displaycheck/commands/RunCommand.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/commands/MacFiles.h"
#include "displaycheck/host/CapturedOutput.h"
#include "displaycheck/host/ChildProcess.h"
#include "displaycheck/host/PaneHost.h"
#include "displaycheck/host/StandardError.h"
#include "displaycheck/report/JSONReport.h"
#include "displaycheck/report/Progress.h"
#include "displaycheck/report/TextReport.h"

namespace displaycheck {

namespace {

using namespace std::chrono_literals;

// Runs take milliseconds of real time; one that takes this long will never end.
constexpr auto limit = 60s;

constexpr std::size_t narrowest = 60;
constexpr std::size_t usualColumns = 80;
constexpr std::size_t widest = 100;

bool wantsColour(int descriptor) {
    const char* const refused = std::getenv("NO_COLOR");
    return isatty(descriptor) == 1 && (refused == nullptr || *refused == '\0');
}

std::size_t terminalColumns(int descriptor) {
    winsize size{};
    if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return usualColumns;
    return std::clamp<std::size_t>(size.ws_col, narrowest, widest);
}

/// The terminal's properties, for a run's child process, whose output is not the terminal.
struct Terminal {
    Palette output{wantsColour(STDOUT_FILENO)};
    Palette errors{wantsColour(STDERR_FILENO)};
    bool errorsLive = isatty(STDERR_FILENO) == 1;
    std::size_t columns = terminalColumns(STDOUT_FILENO);
};

simulated_mac::Mac::Options macOptions(const RunOptions& options, const ChildEnd& end) {
    simulated_mac::Mac::Options macOptions;
    macOptions.scheduler.realtime = options.realtime;
    macOptions.onCrash = [&end](const std::string& why) { end.fail("crashed: " + why); };
    return macOptions;
}

Report runOnMac(const MacFile& file, const RunOptions& options, const Terminal& terminal,
                simulated_mac::Mac& mac) {
    if (options.trace) {
        mac.trace.keepAll();
    } else {
        mac.trace.keepOnly(callsOfReports());
    }
    std::unique_ptr<Progress> progress;
    if (options.realtime) {
        progress =
            std::make_unique<Progress>(terminal.errorsLive, terminal.columns, terminal.errors);
        mac.journal.onNote([&progress](const auto& entry) { progress->show(entry); });
    }
    const CapturedOutput output;
    PaneHost host(mac);
    const auto outcome = host.run();
    mac.journal.onNote({});
    return makeReport(file.path, mac, host.pane(), outcome, output.text());
}

/// Text for standard output, and the exit status.
std::pair<std::string, ExitStatus> reportOn(const MacFile& file, const RunOptions& options,
                                            const Terminal& terminal, const ChildEnd& end) {
    simulated_mac::Mac mac(file.description, macOptions(options, end));
    const Report report = runOnMac(file, options, terminal, mac);
    const auto problems = problemsOf(report);
    for (const std::string& problem : problems) {
        printError("displaycheck: {}: {}\n", printable(file.path), printable(problem));
    }
    std::fflush(stderr);
    const TextReportOptions textOptions{options.log, options.trace, terminal.columns};
    return {options.json ? jsonReport(report, options.trace)
                         : textReport(report, textOptions, terminal.output),
            problems.empty() ? done : unfinished};
}

/// The body of a run's child process, which ends as soon as the Mac is destroyed.
void runFile(const MacFile& file, const RunOptions& options, const Terminal& terminal,
             const ChildEnd& end) {
    const auto [text, status] = reportOn(file, options, terminal, end);
    end.finish(text, status);
}

std::chrono::milliseconds limitOf(const RunOptions& options) {
    // In real time a run lasts as long as its file says, and the user is watching.
    return options.realtime ? std::chrono::hours(24 * 365) : limit;
}

}  // namespace

int runMacFiles(const RunOptions& options) {
    const auto files = readMacFiles(options.files);
    bool allGood = true;
    for (const MacFile& file : files) {
        if (!file.error) continue;
        printError("{}\n", *file.error);
        allGood = false;
    }
    if (!allGood) return badInput;

    const Terminal terminal;
    int status = done;
    bool first = true;
    for (const MacFile& file : files) {
        const ChildResult result = runInChild(
            [&](const ChildEnd& end) { runFile(file, options, terminal, end); }, limitOf(options));
        if (result.failure) {
            printError("displaycheck: {}: the run {}\n", printable(file.path),
                       printable(*result.failure));
            status = unfinished;
            continue;
        }
        if (!first && !options.json) fmt::print("\n");
        first = false;
        std::fwrite(result.output.data(), 1, result.output.size(), stdout);
        status = std::max(status, result.status);
    }
    return status;
}

}  // namespace displaycheck
