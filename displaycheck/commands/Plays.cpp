#include "displaycheck/commands/Plays.h"

#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>
#include <utility>

#include "displaycheck/facts/Expectations.h"
#include "displaycheck/host/AssumedMac.h"
#include "displaycheck/host/CapturedOutput.h"
#include "displaycheck/host/ChildProcess.h"
#include "displaycheck/host/PaneHost.h"
#include "displaycheck/report/JSONReport.h"
#include "displaycheck/report/Progress.h"
#include "displaycheck/report/Summary.h"
#include "displaycheck/report/TextReport.h"

namespace displaycheck {

namespace {

using namespace std::chrono_literals;
using JSON = nlohmann::ordered_json;

// Runs take milliseconds of real time; one that takes this long will never end.
constexpr auto longestRun = 60s;

simulated_mac::Mac::Options macOptions(const PlayOptions& options, const ChildEnd& end) {
    simulated_mac::Mac::Options macOptions;
    macOptions.scheduler.realtime = options.realtime;
    macOptions.language = options.language;
    macOptions.onCrash = [&end](const std::string& why) { end.fail("crashed: " + why); };
    return macOptions;
}

Report runOnMac(const Play& play, const PlayOptions& options, const Terminal& terminal,
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
    Report report = makeReport(play.path, mac, host.pane(), outcome, output.text());
    report.assumed = play.assumed;
    if (options.trace) {
        std::erase_if(report.trace, [&options](const simulated_mac::TracedCall& call) {
            return fnmatch(options.trace->c_str(), call.call.c_str(), 0) != 0;
        });
    }
    if (const auto& expected = mac.description.expected) {
        report.differences = differencesFrom(*expected, report);
    }
    return report;
}

/// What a run's process hands on.
std::string packed(const Report& report, const PlayOptions& options, const Terminal& terminal) {
    const bool hasTrace = options.trace.has_value();
    const TextReportOptions textOptions{options.log, hasTrace && !options.traceApart,
                                        terminal.columns};
    return jsonText(
        {{"verdict", verdictOf(report)},
         {"report", jsonReport(report, hasTrace)},
         {"trace", hasTrace ? traceText(report.trace, Palette(false)) : ""},
         {"text", options.text ? textReport(report, textOptions, terminal.output) : ""}});
}

/// The body of a run's child process, which ends as soon as the Mac is destroyed.
void playInChild(const Play& play, const PlayOptions& options, const Terminal& terminal,
                 const ChildEnd& end) {
    std::string output;
    {
        simulated_mac::Mac mac(assumedMac(play.description, play.assumed),
                               macOptions(options, end));
        output = packed(runOnMac(play, options, terminal, mac), options, terminal);
        std::fflush(stderr);
    }
    end.finish(output, 0);
}

RunRecord recordOf(const Play& play, const ChildResult& result) {
    RunRecord record;
    record.name = play.name();
    if (result.failure) {
        record.report = jsonReportOfFailure(play.description.title, play.path, play.assumed,
                                            "the run " + *result.failure);
        return record;
    }
    JSON handedOn = JSON::parse(result.output);
    record.verdict = handedOn["verdict"].get<Verdict>();
    record.report = std::move(handedOn["report"]);
    record.trace = handedOn["trace"].get<std::string>();
    record.text = handedOn["text"].get<std::string>();
    return record;
}

}  // namespace

std::string Play::name() const {
    if (!label.empty()) return label;
    const std::string file = printable(path);
    return assumed ? fmt::format("{} (assumed: {})", file, nameOf(*assumed)) : file;
}

void playAll(const std::vector<Play>& plays, const PlayOptions& options, const Terminal& terminal,
             const std::function<void(const RunRecord&)>& take,
             const std::function<void(std::size_t)>& progress) {
    std::vector<ChildBody> bodies;
    for (const Play& play : plays) {
        bodies.emplace_back([&play, &options, &terminal](const ChildEnd& end) {
            playInChild(play, options, terminal, end);
        });
    }
    std::vector<std::optional<RunRecord>> records(plays.size());
    std::size_t taken = 0;
    std::size_t over = 0;
    // In real time a run lasts as long as its file says, and the user is watching.
    const std::chrono::milliseconds most = options.realtime ? 24h * 365 : longestRun;
    runInChildren(bodies, options.jobs, most, [&](std::size_t index, const ChildResult& result) {
        records[index] = recordOf(plays[index], result);
        progress(++over);
        for (; taken < records.size() && records[taken]; ++taken) {
            take(*records[taken]);
            records[taken].reset();
        }
    });
}

std::size_t jobsFor(const std::optional<std::size_t>& asked) {
    return asked.value_or(std::max(1U, std::thread::hardware_concurrency()));
}

ExitStatus complain(const RunRecord& run) {
    ExitStatus status = done;
    for (const std::string& text : problemTexts(run)) {
        printMessages("displaycheck: " + run.name + ": " + printable(text));
        status = unfinished;
    }
    for (const std::string& text : differenceTexts(run)) {
        printMessages("displaycheck: " + run.name + ": " + printable(text));
        status = unexpected;
    }
    return status;
}

}  // namespace displaycheck
