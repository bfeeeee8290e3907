#include "displaycheck/report/HTMLRun.h"

#include <fmt/format.h>

#include "displaycheck/report/HTMLNodes.h"
#include "displaycheck/report/Summary.h"
#include "simulated_mac/description/ReadFile.h"

namespace displaycheck {

namespace {

using JSON = nlohmann::ordered_json;

constexpr std::size_t longestMacFile = 1 << 20;

std::string stringOf(const JSON& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string joinedTexts(const JSON& texts) {
    std::string all;
    for (const std::string text : texts) all += (all.empty() ? "" : "; ") + text;
    return all;
}

std::string secondsOf(const JSON& seconds) {
    return fmt::format("{:.3f} s", seconds.get<double>());
}

void addVerdict(pugi::xml_node section, const RunRecord& run) {
    const std::string conclusion = run.verdict == Verdict::failed
                                       ? "The run gave no report."
                                       : stringOf(run.report["conclusion"]);
    const std::string style = std::string("verdict ") + styleOf(run.verdict);
    addElementWithText(section, "p", conclusion, style.c_str());
    for (const std::string& problem : problemTexts(run)) {
        addElementWithText(section, "p", problem, "bad");
    }
    for (const std::string& difference : differenceTexts(run)) {
        addElementWithText(section, "p", "Not as its file expects: " + difference, "bad");
    }
    if (run.verdict == Verdict::failed) return;
    for (const JSON& one : run.report["without_effect"]) {
        addElementWithText(section, "p", "Warning: " + stringOf(one["text"]) + ".", "warn");
    }
}

void addPane(pugi::xml_node section, const JSON& pane) {
    pugi::xml_node window = addElement(section, "div", "installer");
    window.append_attribute("role") = "img";
    window.append_attribute("aria-label") = "The pane in the installer";
    addElementWithText(window, "div", stringOf(pane["title"]), "bar");
    pugi::xml_node inside = addElement(window, "div", "pane");
    inside.append_attribute("dir") = "auto";
    addRawText(addElement(inside, "div", "heading"), stringOf(pane["lb_title"]));
    pugi::xml_node warnings = addElement(inside, "div", "warnings");
    const std::string text = stringOf(pane["lb_warnings"]);
    if (const JSON& link = pane["link"]; link.is_null()) {
        addRawText(warnings, text);
    } else {
        const TextRange range = {link["start"], link["length"]};
        const std::size_t end = range.start + range.length;
        addRawText(warnings, utf16Part(text, {0, range.start}));
        addRawText(addElement(warnings, "span", "link"), utf16Part(text, range));
        addRawText(warnings, utf16Part(text, {end, text.size()}));
    }
    pugi::xml_node buttons = addElement(window, "div", "buttons");
    addElementWithText(buttons, "span", "Go Back", "button");
    addElementWithText(buttons, "span", "Continue",
                       pane["next_enabled"] ? "button default" : "button greyed");
    for (const std::string address : pane["opened_addresses"]) {
        addElementWithText(section, "p", "Opened in the browser: " + address, "dim");
    }
}

void addServices(pugi::xml_node parent, const JSON& services) {
    if (services.empty()) return;
    addElementWithText(parent, "p", "AV services compared with it:", "dim");
    pugi::xml_node rows = addTable(parent, {"framebuffer", "location", "points", "for", "outcome"});
    for (const JSON& service : services) {
        pugi::xml_node row = addElement(rows, "tr");
        addElementWithText(row, "td", stringOf(service["framebuffer"]), "number");
        addElementWithText(row, "td",
                           service["location"].is_null() ? "none" : stringOf(service["location"]));
        addElementWithText(row, "td", service["score"].is_null() ? "–" : stringOf(service["score"]),
                           "number");
        addElementWithText(row, "td", joinedTexts(service["matched"]));
        const bool opened = service["opened"];
        addElementWithText(row, "td",
                           stringOf(service["fate"]) + (opened ? "" : ", could not be opened"));
    }
}

void addTries(pugi::xml_node parent, const JSON& reading) {
    addElementWithText(parent, "p", "On the bus:", "dim");
    pugi::xml_node rows = addTable(parent, {"try", "at", "sent", "came back", "outcome"});
    std::size_t number = 0;
    for (const JSON& attempt : reading["tries"]) {
        pugi::xml_node row = addElement(rows, "tr");
        addElementWithText(row, "td", std::to_string(++number), "number");
        addElementWithText(row, "td", secondsOf(attempt["at_s"]), "number");
        addElementWithText(row, "td", stringOf(attempt["request"]), "bytes");
        addElementWithText(row, "td", stringOf(attempt["reply"]), "bytes");
        std::string outcome = attempt["good"] ? "good reply" : joinedTexts(attempt["faults"]);
        for (const std::string& more :
             {joinedTexts(attempt["obstacles"]), stringOf(attempt["transaction"])}) {
            if (!more.empty()) outcome += (outcome.empty() ? "" : "; ") + more;
        }
        if (outcome.empty()) outcome = "nothing came back";
        addElementWithText(row, "td", outcome);
    }
}

const char* styleOfState(int state) {
    if (isSupportedState(state)) return "good";
    return state == displayInfo::notSupported ? "warn" : "dim";
}

void addDisplay(pugi::xml_node parent, const JSON& display) {
    pugi::xml_node card = addElement(parent, "div", "display");
    const bool hasName = !display["name"].is_null();
    addElementWithText(card, "h4", hasName ? stringOf(display["name"]) : "(no name)");
    const int state = display["displayState"];
    addElementWithText(card, "p", stringOf(display["summary"]), styleOfState(state));
    pugi::xml_node list = addElement(card, "dl");
    const auto add = [&list](const std::string& label, const std::string& text) {
        addElementWithText(list, "dt", label);
        addElementWithText(list, "dd", text);
    };
    add("display ID", fmt::format("{}, displayState {}", stringOf(display["screenNumber"]), state));
    for (const JSON& reason : display["reasons"]) {
        add(stringOf(reason["question"]), stringOf(reason["answer"]));
    }
    if (!display["services"].is_null()) addServices(card, display["services"]);
    if (!display["reading"].is_null()) addTries(card, display["reading"]);
}

void addCameras(pugi::xml_node section, const JSON& cameras) {
    addElementWithText(section, "h3", "Cameras");
    if (cameras.empty()) addElementWithText(section, "p", "none", "dim");
    for (const auto& [location, camera] : cameras.items()) {
        const std::string serial = stringOf(camera["kUSBSerialNumberString"]);
        addElementWithText(section, "p",
                           fmt::format("{}: {}, serial number {}", location,
                                       stringOf(camera["name"]), serial.empty() ? "none" : serial));
    }
}

void addTimeline(pugi::xml_node section, const JSON& timeline) {
    addElementWithText(section, "h3", "Timeline");
    pugi::xml_node rows = addTable(section, {"at", "by", "what"});
    for (const JSON& entry : timeline) {
        pugi::xml_node row = addElement(rows, "tr");
        addElementWithText(row, "td", secondsOf(entry["at_s"]), "number");
        addElementWithText(row, "td", stringOf(entry["source"]), "dim");
        addElementWithText(row, "td", stringOf(entry["what"]));
    }
}

/// A text of several lines, folded.
void addFolded(pugi::xml_node section, const char* title, const std::string& text) {
    if (text.empty()) return;
    pugi::xml_node details = addElement(section, "details");
    addElementWithText(details, "summary", title);
    std::string lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        lines += printable(std::string_view(text).substr(at, end - at)) + "\n";
        at = end + 1;
    }
    addRawText(addElement(details, "pre"), lines);
}

/// Empty where it can't be read, as standard input can't a second time.
std::string macFileText(const std::string& path) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) return "";
    try {
        return simulated_mac::readFile(path, longestMacFile);
    } catch (const simulated_mac::UnreadableFile&) {
        return "";
    }
}

std::string linesIn(const JSON& texts) {
    std::string all;
    for (const std::string text : texts) all += text + "\n";
    return all;
}

}  // namespace

const char* styleOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::warns:
            return "warn";
        case Verdict::doesNotWarn:
            return "good";
        case Verdict::noRun:
        case Verdict::failed:
            break;
    }
    return "bad";
}

void addRun(pugi::xml_node parent, const RunRecord& run, const std::string& id) {
    const JSON& report = run.report;
    pugi::xml_node section = addElement(parent, "section");
    section.append_attribute("id") = id.c_str();
    const std::string title = stringOf(report["mac"]);
    addElementWithText(section, "h2", title.empty() ? run.name : title);
    if (!title.empty()) addElementWithText(section, "p", run.name, "dim");
    addVerdict(section, run);
    if (run.verdict != Verdict::failed) {
        addPane(section, report["pane"]);
        addElementWithText(section, "h3", "Displays");
        if (report["displays"].empty()) addElementWithText(section, "p", "none", "dim");
        for (const JSON& display : report["displays"]) addDisplay(section, display);
        addCameras(section, report["cameras"]);
        addTimeline(section, report["timeline"]);
        addFolded(section, "System log", linesIn(report["system_log"]));
        addFolded(section, "Standard output", stringOf(report["stdout"]));
    }
    addFolded(section, "Mac file", macFileText(stringOf(report["file"])));
}

}  // namespace displaycheck
