#include "displaycheck/commands/RunCommand.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/commands/MacFiles.h"
#include "displaycheck/host/AssumedMac.h"
#include "displaycheck/host/CapturedOutput.h"
#include "displaycheck/host/ChildProcess.h"
#include "displaycheck/host/PaneHost.h"
#include "displaycheck/host/StandardError.h"
#include "displaycheck/report/AssumptionText.h"
#include "displaycheck/report/JSONReport.h"
#include "displaycheck/report/Progress.h"
#include "displaycheck/report/TextReport.h"

namespace displaycheck {

namespace {

using namespace std::chrono_literals;
using simulated_mac::Assumption;

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
    macOptions.language = options.language;
    macOptions.onCrash = [&end](const std::string& why) { end.fail("crashed: " + why); };
    return macOptions;
}

/// One run of the Mac of a file.
struct Play {
    const MacFile& file;
    /// Of its unknown monitors; nothing for a Mac without any.
    std::optional<Assumption> assumed;

    /// The file, and what is assumed, as messages name the run.
    std::string name() const {
        const std::string path = printable(file.path);
        return assumed ? fmt::format("{} (assumed: {})", path, nameOf(*assumed)) : path;
    }
};

Report runOnMac(const Play& play, const RunOptions& options, const Terminal& terminal,
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
    Report report = makeReport(play.file.path, mac, host.pane(), outcome, output.text());
    report.assumed = play.assumed;
    return report;
}

/// The outcome of a run.
struct Played {
    Verdict verdict = Verdict::failed;
    std::string text;  ///< for standard output; empty for a run that failed
};

/// What a run's process hands on: the verdict's character, then the text.
std::string packed(const Played& played) {
    return static_cast<char>(played.verdict) + played.text;
}

Played unpacked(const std::string& output) {
    return {static_cast<Verdict>(output.front()), output.substr(1)};
}

/// The outcome and the exit status.
std::pair<Played, ExitStatus> reportOn(const Play& play, const RunOptions& options,
                                       const Terminal& terminal, const ChildEnd& end) {
    simulated_mac::Mac mac(assumedMac(play.file.description, play.assumed),
                           macOptions(options, end));
    const Report report = runOnMac(play, options, terminal, mac);
    const auto problems = problemsOf(report);
    for (const std::string& problem : problems) {
        printError("displaycheck: {}: {}\n", play.name(), printable(problem));
    }
    std::fflush(stderr);
    const TextReportOptions textOptions{options.log, options.trace, terminal.columns};
    return {{verdictOf(report), options.json ? jsonReport(report, options.trace)
                                             : textReport(report, textOptions, terminal.output)},
            problems.empty() ? done : unfinished};
}

/// The body of a run's child process, which ends as soon as the Mac is destroyed.
void runFile(const Play& play, const RunOptions& options, const Terminal& terminal,
             const ChildEnd& end) {
    const auto [played, status] = reportOn(play, options, terminal, end);
    end.finish(packed(played), status);
}

std::chrono::milliseconds limitOf(const RunOptions& options) {
    // In real time a run lasts as long as its file says, and the user is watching.
    return options.realtime ? std::chrono::hours(24 * 365) : limit;
}

/// Runs the Mac in a process of its own. Raises `status` to the run's.
Played playedApart(const Play& play, const RunOptions& options, const Terminal& terminal,
                   int& status) {
    if (options.realtime && play.assumed) printError("{}\n", play.name());
    const ChildResult result = runInChild(
        [&](const ChildEnd& end) { runFile(play, options, terminal, end); }, limitOf(options));
    if (result.failure) {
        printError("displaycheck: {}: the run {}\n", play.name(), printable(*result.failure));
        status = unfinished;
        return {};
    }
    status = std::max(status, result.status);
    return unpacked(result.output);
}

/// The reports on a Mac with unknown monitors: what holds either way stands there once.
std::string textOf(const std::vector<Played>& all, const std::vector<Assumption>& assumed,
                   const MacFile& file, const Palette& palette) {
    const std::size_t unknown = simulated_mac::countUnknownMonitors(file.description);
    const auto section = [&palette](const std::string& heading, const std::string& text) {
        return text.empty() ? "" : "\n" + palette.bold(heading + ":") + "\n\n" + text;
    };
    std::string text;
    if (all.size() == 2) {
        text = printable(file.path) + ": " + bothVerdicts(all[0].verdict, all[1].verdict, unknown) +
               "\n";
        if (all[0].text == all[1].text) return text + section(eitherWay(unknown), all[0].text);
    } else {
        text =
            printable(file.path) + ": " + singleVerdict(assumed[0], all[0].verdict, unknown) + "\n";
    }
    for (std::size_t at = 0; at < all.size(); ++at) {
        text += section(condition(assumed[at], unknown), all[at].text);
    }
    return text;
}

/// Runs a file's Mac as often as it takes. Gives text for standard output; raises `status`.
std::string playedFile(const MacFile& file, const RunOptions& options, const Terminal& terminal,
                       int& status) {
    if (simulated_mac::countUnknownMonitors(file.description) == 0) {
        return playedApart({file, std::nullopt}, options, terminal, status).text;
    }
    const std::vector<Assumption> assumed =
        options.assume ? std::vector{*options.assume}
                       : std::vector{Assumption::answers, Assumption::silent};
    std::vector<Played> all;
    for (const Assumption assumption : assumed) {
        all.push_back(playedApart({file, assumption}, options, terminal, status));
    }
    if (!options.json) return textOf(all, assumed, file, terminal.output);
    std::string text;
    for (const Played& played : all) text += played.text;
    return text;
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
        const std::string text = playedFile(file, options, terminal, status);
        if (text.empty()) continue;
        if (!first && !options.json) fmt::print("\n");
        first = false;
        std::fwrite(text.data(), 1, text.size(), stdout);
    }
    return status;
}

}  // namespace displaycheck
