#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pugixml.hpp>
#include <set>

#include "displaycheck/tests/Program.h"

namespace test {
namespace html_report_test {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class HTMLReport : public testing::Test {
  protected:
    /// The page about these Mac files.
    std::string pageOf(const std::vector<std::string>& macs) {
        std::vector<std::string> arguments = {"run", "--html", folder.path("report.html")};
        for (std::size_t at = 0; at < macs.size(); ++at) {
            arguments.push_back(folder.write(std::to_string(at) + ".yaml", macs[at]));
        }
        run(folder, arguments);
        return folder.read("report.html");
    }

    /// What the page shows; HTML's own rules stop at its head.
    void parse(const std::string& page) {
        const std::size_t begin = page.find("<body>");
        const std::size_t end = page.find("</html>");
        ASSERT_NE(begin, std::string::npos);
        const auto result = body.load_string(page.substr(begin, end - begin).c_str());
        ASSERT_TRUE(result) << result.description();
    }

    std::vector<std::string> textsOf(const char* path) const {
        std::vector<std::string> texts;
        for (const auto& found : body.select_nodes(path)) {
            texts.emplace_back(found.node().text().get());
        }
        return texts;
    }

    const Folder folder;
    pugi::xml_document body;
};

const std::string twins =
    "mac: Twins\nchip: apple\nscreens:\n  - built-in\n"
    "  - monitor: &twin {edid: {name: VORN R2726Q, product: 1}, vcp: {0xF1: 0x4000}}\n"
    "  - monitor: *twin\nexpect: {warning: true}\n";

TEST_F(HTMLReport, HasAllThatARunShows) {
    parse(pageOf({twins}));
    EXPECT_THAT(textsOf("//h2"), Contains("Twins"));
    EXPECT_THAT(textsOf("//p[@class='verdict good']"),
                Contains("A supported monitor was found: the pane does not warn."));
    EXPECT_THAT(textsOf("//p[@class='bad']"),
                Contains("Not as its file expects: warning: found no, expected yes"));
    EXPECT_THAT(textsOf("//div[@class='heading']"), Contains("Checking for your Vorn devices"));
    EXPECT_THAT(textsOf("//h4"), Contains("VORN R2726Q (1)"));
    EXPECT_THAT(textsOf("//dd"), Contains(HasSubstr("which confirms a supported monitor")));
    EXPECT_THAT(textsOf("//td[@class='bytes']"), Contains("51 82 01 F1 4D"));
    EXPECT_THAT(textsOf("//td"), Contains("refused"));
    EXPECT_THAT(textsOf("//td"), Contains("enters the pane"));
    EXPECT_THAT(textsOf("//pre"), Contains(HasSubstr("  - built-in\n")));
}

TEST_F(HTMLReport, ShowsTheWarningWithItsLink) {
    parse(pageOf({"screens: [built-in]\nstrings: {TITLE: T}\n"}));
    EXPECT_THAT(textsOf("//span[@class='link']"), testing::SizeIs(1));
    EXPECT_THAT(textsOf("//span[@class='button default']"), Contains("Continue"));
}

TEST_F(HTMLReport, SaysThatARunFailed) {
    parse(pageOf({"screens: []\nfaults: [{call: IOMasterPort}]\n"}));
    EXPECT_THAT(textsOf("//p[@class='verdict bad']"), Contains("No detection run finished."));
    EXPECT_THAT(textsOf("//span[@class='button greyed']"), Contains("Continue"));
}

TEST_F(HTMLReport, NeedsNothingButItself) {
    const std::string page = pageOf({twins});
    for (const char* const reference : {"src=", "url(", "@import", "<link", "<script", "http:"}) {
        EXPECT_THAT(page, Not(HasSubstr(reference)));
    }
    parse(page);
    std::set<std::string> places;
    for (const auto& found : body.select_nodes("//*[@id]")) {
        places.insert("#" + std::string(found.node().attribute("id").value()));
    }
    for (const auto& found : body.select_nodes("//*[@href]")) {
        EXPECT_TRUE(places.contains(found.node().attribute("href").value()));
    }
}

TEST_F(HTMLReport, TakesNoMarkUpFromAMac) {
    const std::string nasty = "</p><script>alert(1)</script>&amp;";
    const std::string page = pageOf(
        {"mac: \"" + nasty + "\\x01\"\nscreens:\n  - name: \"" + nasty +
         "\"\n    monitor: {edid: {name: \"<b>\"}}\nstrings: {NO_CAMERA_AND_DISPLAY_WARNING: \"" +
         nasty + "\"}\n"});
    EXPECT_THAT(page, Not(HasSubstr("<script")));
    parse(page);
    EXPECT_THAT(textsOf("//h2"), Contains(nasty + "\\x01"));
    EXPECT_THAT(textsOf("//h4"), Contains(nasty));
}

}  // namespace html_report_test
}  // namespace test
