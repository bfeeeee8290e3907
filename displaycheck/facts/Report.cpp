#include "displaycheck/facts/Report.h"

#include <fmt/format.h>

#include <algorithm>

#include "simulated_mac/machine/CallText.h"

namespace displaycheck {

namespace {

using simulated_mac::Mac;
using simulated_mac::Scheduler;
using simulated_mac::Time;
using simulated_mac::TracedCall;

constexpr auto continueCall = "InstallerPane.setNextEnabled";

PaneFacts paneFacts(const Mac& mac, const vorn::MyInstallerPane& pane) {
    PaneFacts facts;
    facts.title = pane.title();
    facts.lbTitle = mac.window.title.text;
    facts.lbWarnings = mac.window.warnings.text;
    if (const auto& link = mac.window.warnings.link) {
        facts.link = {static_cast<std::size_t>(link->location),
                      static_cast<std::size_t>(link->length)};
    }
    facts.nextEnabled = mac.window.nextEnabled;
    facts.clickRecognizers = mac.window.warnings.clickRecognizers;
    facts.openedAddresses = mac.window.openedAddresses;
    return facts;
}

/// The last call that was made to fail, unless its thread made one of the noteworthy calls later:
/// then it went on.
std::optional<TracedCall> failureAtTheEnd(const simulated_mac::Trace& trace) {
    const auto failure = trace.lastFailure();
    if (!failure) return std::nullopt;
    const auto calls = trace.calls();
    const auto noteworthy = callsOfReports();
    const auto later = calls.begin() + static_cast<std::ptrdiff_t>(failure->callsBefore);
    const bool goesOn = std::any_of(later, calls.end(), [&](const TracedCall& call) {
        return !call.failed && call.thread == failure->call.thread &&
               noteworthy.contains(call.call);
    });
    return goesOn ? std::nullopt : std::optional(failure->call);
}

/// `thread "SerialQueue" waits in dispatch_sync_f since 5.000 s for what can no longer happen`
std::string waitsText(const std::vector<Scheduler::Waiting>& waiting) {
    std::vector<std::string> waits;
    for (const auto& thread : waiting) {
        waits.push_back(fmt::format("thread \"{}\" waits in {} since {}", thread.thread,
                                    thread.call, secondsText(thread.since)));
    }
    const std::string who =
        waits.empty() ? "threads wait" : fmt::format("{}", fmt::join(waits, ", "));
    return who + " for what can no longer happen";
}

std::string causeText(const Report& report) {
    if (!report.failedCall) return "";
    const TracedCall& call = *report.failedCall;
    const std::string result = resultText(call);
    return fmt::format(
        "; nothing went on after {}, which was made to fail at {} on thread \"{}\"{}", call.call,
        secondsText(call.time), call.thread,
        result.empty() ? "" : fmt::format(" (result {})", result));
}

}  // namespace

std::set<std::string, std::less<>> callsOfReports() {
    auto calls = callsOfReadings();
    calls.insert(continueCall);
    return calls;
}

Report makeReport(std::string file, const Mac& mac, vorn::MyInstallerPane& pane,
                  Scheduler::Outcome outcome, std::string standardOutput) {
    Report report;
    report.file = std::move(file);
    report.mac = mac.description.title;
    report.outcome = outcome;
    report.end = mac.scheduler.now();
    report.standardOutput = std::move(standardOutput);
    report.timeline = mac.journal.timeline();
    report.systemLog = mac.journal.systemLog();
    report.references = mac.ledger.held();
    report.trace = mac.trace.calls();
    // A call that waits is noted when it returns, but was made before those that it waited for.
    std::stable_sort(
        report.trace.begin(), report.trace.end(),
        [](const TracedCall& one, const TracedCall& other) { return one.time < other.time; });
    for (const TracedCall& call : report.trace) {
        if (call.call != continueCall || call.argument("enabled") != true) continue;
        if (report.runs++ == 0) report.elapsed = call.time;
    }
    report.failedCall = failureAtTheEnd(mac.trace);
    if (outcome == Scheduler::Outcome::stuck) report.waiting = mac.scheduler.waiting();
    report.pane = paneFacts(mac, pane);
    report.cameras = infoDic.get();
    report.withoutEffect = withoutEffect(mac);
    // What follows makes platform calls of its own.
    const DisplayList displays = displayInfoArray.get();
    const auto pairings = pairServices(pane, displays);
    for (const auto& display : displays) {
        report.displays.push_back({display, explain(mac, pane, *display, report.trace)});
        const auto pairing = pairings.find(display->screenNumber);
        if (pairing != pairings.end()) report.displays.back().why.services = pairing->second;
    }
    report.misuses = mac.journal.misuses();
    return report;
}

std::string_view nameOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::warns:
            return "warns";
        case Verdict::doesNotWarn:
            return "does not warn";
        case Verdict::noRun:
            return "no run";
        case Verdict::failed:
            break;
    }
    return "failed";
}

Verdict verdictOf(const Report& report) {
    if (report.runs == 0) return Verdict::noRun;
    return report.pane.warningShown() ? Verdict::warns : Verdict::doesNotWarn;
}

bool isSupportedState(std::int64_t displayState) {
    return displayState == displayInfo::supportedAndAnswering ||
           displayState == displayInfo::supportedByList;
}

std::optional<Problem> problemOf(const Report& report) {
    switch (report.outcome) {
        case Scheduler::Outcome::stuck:
            return Problem{"the run got stuck: " + waitsText(report.waiting) + causeText(report),
                           report.failedCall};
        case Scheduler::Outcome::outOfTime:
            return Problem{
                fmt::format("the run was still going on after {}", secondsText(report.end)), {}};
        case Scheduler::Outcome::waiting:  // not of a run that went on until all was quiet
        case Scheduler::Outcome::quiet:
            break;
    }
    if (report.pane.nextEnabled) return std::nullopt;
    return Problem{"all is quiet, but Continue was not enabled" + causeText(report),
                   report.failedCall};
}

std::vector<std::string> problemsOf(const Report& report) {
    std::vector<std::string> problems;
    if (const auto problem = problemOf(report)) problems.push_back(problem->text);
    for (const std::string& misuse : report.misuses) {
        problems.push_back("misuse of the platform: " + misuse);
    }
    return problems;
}

std::string secondsText(Time time) {
    return fmt::format("{:.3f} s", std::chrono::duration<double>(time).count());
}

}  // namespace displaycheck
