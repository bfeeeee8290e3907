#include "displaycheck/facts/Report.h"

#include <fmt/format.h>

#include <algorithm>

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
    report.pane = paneFacts(mac, pane);
    report.cameras = infoDic.get();
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

std::string_view sentenceOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::warns:
            return "Neither a supported monitor nor a camera was found: the pane warns.";
        case Verdict::doesNotWarn:
            return "A supported monitor or camera was found: the pane does not warn.";
        case Verdict::noRun:
            return "No detection run finished.";
        case Verdict::failed:
            break;
    }
    return "The run gave no report.";
}

Verdict verdictOf(const Report& report) {
    if (report.runs == 0) return Verdict::noRun;
    return report.pane.warningShown() ? Verdict::warns : Verdict::doesNotWarn;
}

std::vector<std::string> problemsOf(const Report& report) {
    std::vector<std::string> problems;
    switch (report.outcome) {
        case Scheduler::Outcome::stuck:
            problems.emplace_back("the run got stuck: threads wait for what can't happen any more");
            break;
        case Scheduler::Outcome::outOfTime:
            problems.push_back(
                fmt::format("the run was still going on after {}", secondsText(report.end)));
            break;
        case Scheduler::Outcome::waiting:  // not of a run that went on until all was quiet
        case Scheduler::Outcome::quiet:
            if (!report.pane.nextEnabled) {
                problems.emplace_back("all is quiet, but Continue was not enabled");
            }
            break;
    }
    for (const std::string& misuse : report.misuses) {
        problems.push_back("misuse of the platform: " + misuse);
    }
    return problems;
}

std::string secondsText(Time time) {
    return fmt::format("{:.3f} s", std::chrono::duration<double>(time).count());
}

}  // namespace displaycheck
