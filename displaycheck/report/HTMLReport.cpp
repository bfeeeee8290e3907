#include "displaycheck/report/HTMLReport.h"

#include <fmt/format.h>

#include <pugixml.hpp>
#include <sstream>

#include "displaycheck/report/Embedded.h"
#include "displaycheck/report/HTMLNodes.h"
#include "displaycheck/report/HTMLRun.h"
#include "displaycheck/report/Summary.h"

namespace displaycheck {

namespace {

std::string idOf(std::size_t run) {
    return fmt::format("run-{}", run + 1);
}

void addOverview(pugi::xml_node body, const std::vector<RunRecord>& runs) {
    pugi::xml_node overview = addElement(body, "div", "overview");
    addElementWithText(overview, "h1", "Display check");
    for (const std::string& line : totals(runs)) addElementWithText(overview, "p", line);
    pugi::xml_node rows = addTable(overview, {"Mac", "verdict", "states", "Continue", "expected"});
    for (std::size_t at = 0; at < runs.size(); ++at) {
        const SummaryRow cells = summaryRow(runs[at]);
        pugi::xml_node row = addElement(rows, "tr");
        pugi::xml_node link = addElementWithText(addElement(row, "td"), "a", cells.name);
        link.append_attribute("href") = ("#" + idOf(at)).c_str();
        addElementWithText(row, "td", cells.verdict, styleOf(runs[at].verdict));
        addElementWithText(row, "td", cells.states, "number");
        addElementWithText(row, "td", cells.time, "number");
        addElementWithText(row, "td", cells.expected, cells.expected == "NO" ? "bad" : "");
    }
}

}  // namespace

std::string htmlReport(const std::vector<RunRecord>& runs) {
    pugi::xml_document document;
    pugi::xml_node body = document.append_child("body");
    addOverview(body, runs);
    for (std::size_t at = 0; at < runs.size(); ++at) addRun(body, runs[at], idOf(at));
    std::ostringstream text;
    text << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
            "<title>Display check</title>\n<style>\n"
         << reportStyle() << "</style>\n</head>\n";
    // An element that is empty still needs its end in HTML.
    document.save(
        text, "",
        pugi::format_raw | pugi::format_no_empty_element_tags | pugi::format_no_declaration);
    text << "\n</html>\n";
    return text.str();
}

}  // namespace displaycheck
