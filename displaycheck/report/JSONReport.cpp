#include "displaycheck/report/JSONReport.h"

#include <chrono>
#include <nlohmann/json.hpp>

#include "displaycheck/report/DisplayText.h"
#include "displaycheck/report/TerminalText.h"
#include "displaycheck/report/TextReport.h"
#include "simulated_mac/description/HexText.h"
#include "simulated_mac/machine/CallText.h"

namespace displaycheck {

namespace {

using JSON = nlohmann::ordered_json;

double seconds(simulated_mac::Time time) {
    return std::chrono::duration<double>(time).count();
}

JSON textOrNull(const std::optional<std::string>& text) {
    return text ? JSON(*text) : JSON();
}

JSON paneObject(const PaneFacts& pane) {
    JSON link;
    if (pane.link) {
        link = {{"text", utf16Part(pane.lbWarnings, *pane.link)},
                {"start", pane.link->start},
                {"length", pane.link->length},
                {"color", "systemBlue"},
                {"underline", 1}};
    }
    return {{"title", pane.title},
            {"lb_title", pane.lbTitle},
            {"lb_warnings", pane.lbWarnings},
            {"warning_shown", pane.warningShown()},
            {"link", link},
            {"next_enabled", pane.nextEnabled},
            {"click_recognizers", pane.clickRecognizers},
            {"opened_addresses", pane.openedAddresses}};
}

/// In hex, such as "51 82 01".
std::string bytesText(const simulated_mac::Bytes& bytes) {
    return simulated_mac::hexText(bytes, " ");
}

JSON serviceObject(const ServiceCandidate& candidate) {
    JSON points = JSON::array();
    for (const auto& name : namesOf(candidate.matched)) points.push_back(name);
    const bool isScored = candidate.fate != ServiceCandidate::Fate::notExternal;
    return {{"framebuffer", candidate.framebuffer},
            {"location", textOrNull(candidate.location)},
            {"opened", candidate.opened},
            {"score", isScored ? JSON(candidate.matched.score()) : JSON()},
            {"matched", std::move(points)},
            {"fate", nameOf(candidate.fate)}};
}

JSON readingObject(const Reading& reading) {
    JSON tries = JSON::array();
    for (const Try& attempt : reading.tries) {
        tries.push_back({{"at_s", seconds(attempt.at)},
                         {"obstacles", attempt.obstacles},
                         {"request", bytesText(attempt.request)},
                         {"reply", bytesText(attempt.reply)},
                         {"reached", attempt.request.empty() ? JSON() : JSON(attempt.reached)},
                         {"good", attempt.good},
                         {"faults", attempt.faults},
                         {"transaction", attempt.transaction}});
    }
    return {{"status", reading.status},
            {"value", reading.value ? JSON(*reading.value) : JSON()},
            {"tries", std::move(tries)}};
}

/// What decided on the display, and how it was found and asked.
void addReasons(JSON& object, const DisplayFacts& display) {
    const Explanation& why = display.why;
    object["built_in"] = why.builtIn;
    object["listed"] = why.model.listed;
    object["regular_name"] = why.model.regularName;
    object["year_25_or_above"] = why.model.recent;
    object["from_maker"] = why.fromMaker ? JSON(*why.fromMaker) : JSON();
    object["services"] = JSON();
    if (why.services) {
        object["services"] = JSON::array();
        for (const auto& one : why.services->candidates) {
            object["services"].push_back(serviceObject(one));
        }
    }
    object["reading"] = why.reading ? readingObject(*why.reading) : JSON();
    object["summary"] = verdictText(display);
    object["reasons"] = JSON::array();
    for (const Reason& reason : reasonsOf(display)) {
        object["reasons"].push_back({{"question", reason.question}, {"answer", reason.answer}});
    }
}

JSON recordObject(const displayInfo& display) {
    return {{"idx", display.idx},
            {"screenNumber", display.screenNumber},
            {"name", textOrNull(display.name)},
            {"modelInfo", textOrNull(display.modelInfo)},
            {"plugNplayID", textOrNull(display.plugNplayID)},
            {"serialNumber", display.serialNumber},
            {"isConnected", display.isConnected},
            {"isDDCCIConnected", display.isDDCCIConnected},
            {"isUSBPassthrough", display.isUSBPassthrough},
            {"displayState", display.displayState.load()},
            {"serviceTag", textOrNull(display.serviceTag)},
            {"USBIdx", display.USBIdx},
            {"EDIDString", textOrNull(display.EDIDString)},
            {"arm64avService", display.arm64avService != nullptr}};
}

JSON cameraObjects(const CameraDictionary& cameras) {
    JSON objects = JSON::object();
    for (const auto& [location, camera] : cameras) {
        objects[location] = {{"service", camera.service},
                             {"kUSBSerialNumberString", camera.kUSBSerialNumberString},
                             {"name", camera.name}};
    }
    return objects;
}

JSON timelineArray(const std::vector<simulated_mac::TimelineEntry>& timeline) {
    JSON entries = JSON::array();
    for (const auto& entry : timeline) {
        entries.push_back(
            {{"at_s", seconds(entry.time)}, {"source", entry.source}, {"what", entry.what}});
    }
    return entries;
}

JSON callObject(const simulated_mac::TracedCall& call) {
    return {{"at_s", seconds(call.time)}, {"thread", call.thread},
            {"call", call.call},          {"arguments", argumentsText(call)},
            {"result", resultText(call)}, {"failed", call.failed}};
}

JSON traceArray(const std::vector<simulated_mac::TracedCall>& trace) {
    JSON calls = JSON::array();
    for (const auto& call : trace) calls.push_back(callObject(call));
    return calls;
}

void addAssumed(JSON& report, const std::optional<simulated_mac::Assumption>& assumed) {
    if (assumed) report["assumed"] = nameOf(*assumed);
}

JSON problemObject(const Report& report) {
    const auto problems = problemsOf(report);
    if (problems.empty()) return nullptr;
    const auto problem = problemOf(report);
    return {{"texts", problems},
            {"call", problem && problem->call ? callObject(*problem->call) : JSON()}};
}

JSON expectationObject(const std::optional<std::vector<Difference>>& differences) {
    if (!differences) return nullptr;
    JSON objects = JSON::array();
    for (const Difference& one : *differences) {
        objects.push_back({{"what", one.what}, {"expected", one.expected}, {"found", one.found}});
    }
    return {{"met", differences->empty()}, {"differences", std::move(objects)}};
}

JSON effectObjects(const std::vector<WithoutEffect>& all) {
    JSON objects = JSON::array();
    for (const WithoutEffect& one : all) {
        objects.push_back(
            {{"kind", nameOf(one.kind)}, {"number", one.number}, {"text", textOf(one)}});
    }
    return objects;
}

}  // namespace

JSON jsonReport(const Report& report, bool withTrace) {
    JSON displays = JSON::array();
    for (const DisplayFacts& display : report.displays) {
        displays.push_back(recordObject(*display.record));
        addReasons(displays.back(), display);
    }
    JSON whole = {{"mac", report.mac},
                  {"file", report.file},
                  {"pane", paneObject(report.pane)},
                  {"displays", std::move(displays)},
                  {"cameras", cameraObjects(report.cameras)},
                  {"runs", report.runs},
                  {"elapsed_s", report.elapsed ? JSON(seconds(*report.elapsed)) : JSON()},
                  {"timeline", timelineArray(report.timeline)},
                  {"system_log", report.systemLog},
                  {"stdout", report.standardOutput},
                  {"references", report.references}};
    if (withTrace) whole["trace"] = traceArray(report.trace);
    addAssumed(whole, report.assumed);
    whole["verdict"] = nameOf(verdictOf(report));
    whole["conclusion"] = conclusionText(report);
    whole["problem"] = problemObject(report);
    whole["expectation"] = expectationObject(report.differences);
    whole["without_effect"] = effectObjects(report.withoutEffect);
    return whole;
}

JSON jsonReportOfFailure(const std::string& mac, const std::string& file,
                         const std::optional<simulated_mac::Assumption>& assumed,
                         const std::string& problem) {
    JSON whole = {{"mac", mac}, {"file", file}};
    addAssumed(whole, assumed);
    whole["verdict"] = nameOf(Verdict::failed);
    whole["problem"] = {{"texts", {problem}}, {"call", nullptr}};
    return whole;
}

std::string jsonText(const JSON& value) {
    return value.dump(-1, ' ', false, JSON::error_handler_t::replace);
}

}  // namespace displaycheck
