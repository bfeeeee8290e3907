#include "displaycheck/report/JSONReport.h"

#include <chrono>
#include <nlohmann/json.hpp>

#include "displaycheck/report/TerminalText.h"
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

JSON displayObject(const displayInfo& display) {
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

JSON traceArray(const std::vector<simulated_mac::TracedCall>& trace) {
    JSON calls = JSON::array();
    for (const auto& call : trace) {
        calls.push_back({{"at_s", seconds(call.time)},
                         {"thread", call.thread},
                         {"call", call.call},
                         {"arguments", argumentsText(call)},
                         {"result", resultText(call)},
                         {"failed", call.failed}});
    }
    return calls;
}

}  // namespace

std::string jsonReport(const Report& report, bool withTrace) {
    JSON displays = JSON::array();
    for (const DisplayFacts& display : report.displays) {
        displays.push_back(displayObject(*display.record));
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
    if (report.assumed) whole["assumed"] = nameOf(*report.assumed);
    return whole.dump(-1, ' ', false, JSON::error_handler_t::replace) + "\n";
}

}  // namespace displaycheck
