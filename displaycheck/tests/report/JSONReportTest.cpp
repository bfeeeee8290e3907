#include "displaycheck/report/JSONReport.h"

#include <gtest/gtest.h>

#include "displaycheck/host/PaneHost.h"
#include "displaycheck/tests/Program.h"
#include "tests/support/PaneOnMac.h"

namespace displaycheck {
namespace json_report_test {

using JSON = nlohmann::ordered_json;
using Keys = std::vector<std::string>;

JSON reportOn(simulated_mac::MacDescription description, bool withTrace = false) {
    simulated_mac::Mac mac(std::move(description));
    if (withTrace) {
        mac.trace.keepAll();
    } else {
        mac.trace.keepOnly(callsOfReports());
    }
    const CapturedOutput output;
    PaneHost host(mac);
    const auto outcome = host.run();
    return jsonReport(makeReport("mac.yaml", mac, host.pane(), outcome, output.text()), withTrace);
}

const Keys reportKeys = {"mac",        "file",    "pane",        "displays",
                         "cameras",    "runs",    "elapsed_s",   "timeline",
                         "system_log", "stdout",  "references",  "verdict",
                         "conclusion", "problem", "expectation", "without_effect"};

TEST(JSONReport, HasItsKeysInOrder) {
    auto description = test::macWith({test::builtInPanel(), test::silentMonitor("VORN K2725QX")});
    description.title = "A Mac";
    const JSON report = reportOn(description);
    EXPECT_EQ(test::keysOf(report), reportKeys);
    EXPECT_EQ(report["mac"], "A Mac");
    EXPECT_EQ(report["file"], "mac.yaml");
    EXPECT_EQ(test::keysOf(report["pane"]),
              (Keys{"title", "lb_title", "lb_warnings", "warning_shown", "link", "next_enabled",
                    "click_recognizers", "opened_addresses"}));
    EXPECT_EQ(test::keysOf(report["displays"][1]),
              (Keys{"idx",          "screenNumber",     "name",
                    "modelInfo",    "plugNplayID",      "serialNumber",
                    "isConnected",  "isDDCCIConnected", "isUSBPassthrough",
                    "displayState", "serviceTag",       "USBIdx",
                    "EDIDString",   "arm64avService",   "built_in",
                    "listed",       "regular_name",     "year_25_or_above",
                    "from_maker",   "services",         "reading",
                    "summary",      "reasons"}));
    EXPECT_EQ(test::keysOf(report["timeline"][0]), (Keys{"at_s", "source", "what"}));
    EXPECT_EQ(report["timeline"][0],
              (JSON{{"at_s", 0.0}, {"source", "user"}, {"what", "enters the pane"}}));
}

TEST(JSONReport, HasAWarningAndItsLink) {
    auto description = test::macWith({test::builtInPanel()});
    description.strings["NO_CAMERA_AND_DISPLAY_WARNING"] = "\U0001F467!";
    const JSON report = reportOn(description);
    const JSON& pane = report["pane"];
    EXPECT_EQ(pane["warning_shown"], true);
    EXPECT_EQ(pane["next_enabled"], true);
    EXPECT_EQ(pane["click_recognizers"], 1);
    EXPECT_EQ(pane["opened_addresses"], JSON::array());
    const std::string warning = pane["lb_warnings"];
    EXPECT_EQ(warning.rfind("\U0001F467! \n\n", 0), 0u);
    const JSON& link = pane["link"];
    EXPECT_EQ(test::keysOf(link), (Keys{"text", "start", "length", "color", "underline"}));
    EXPECT_EQ(link["text"], "here");
    EXPECT_EQ(link["length"], 4);
    // The pictograph takes four bytes, but two UTF-16 units.
    EXPECT_EQ(link["start"].get<std::size_t>() + 2, warning.find("here"));
    EXPECT_EQ(link["color"], "systemBlue");
    EXPECT_EQ(link["underline"], 1);
}

TEST(JSONReport, HasASupportedMonitor) {
    const JSON report = reportOn(
        test::macWith({test::builtInPanel(), test::answeringMonitor("VORN K2725QX", 0x4000)}));
    EXPECT_EQ(report["pane"]["link"], nullptr);
    EXPECT_EQ(report["pane"]["warning_shown"], false);
    EXPECT_EQ(report["pane"]["lb_warnings"], "");
    EXPECT_EQ(report["runs"], 1);
    EXPECT_EQ(report["elapsed_s"], 0.0);
    const JSON& builtIn = report["displays"][0];
    EXPECT_EQ(builtIn["modelInfo"], "Build-in");
    EXPECT_TRUE(builtIn["EDIDString"].is_null());
    const JSON& display = report["displays"][1];
    EXPECT_EQ(display["displayState"], 0);
    EXPECT_EQ(display["serviceTag"], "7XYZ123");
    EXPECT_EQ(display["serialNumber"], 0x12345678);
    EXPECT_EQ(display["arm64avService"], false);
    EXPECT_EQ(display["EDIDString"].get<std::string>().size(), 256u);
}

TEST(JSONReport, HasCamerasAndRuns) {
    auto description = test::macWith({test::builtInPanel()});
    simulated_mac::EventDescription attach;
    attach.at = 12.5;
    attach.attach = test::camera();
    simulated_mac::EventDescription enter;
    enter.at = 20;
    enter.user = simulated_mac::EventDescription::User::entersPane;
    description.events = {attach, enter};
    const JSON report = reportOn(description);
    EXPECT_EQ(report["runs"], 3);
    EXPECT_EQ(report["elapsed_s"], 2.0);
    ASSERT_EQ(test::keysOf(report["cameras"]), Keys{"0x14200000"});
    const JSON& camera = report["cameras"]["0x14200000"];
    EXPECT_EQ(test::keysOf(camera), (Keys{"service", "kUSBSerialNumberString", "name"}));
    EXPECT_TRUE(camera["service"].is_number_unsigned());
    EXPECT_EQ(camera["kUSBSerialNumberString"], "CAM0001");
    EXPECT_EQ(camera["name"], "Vorn Camera 4K");
}

TEST(JSONReport, CountsEveryKindOfReference) {
    const JSON report = reportOn(test::macWith({}));
    for (const auto kind : {"CFString", "CFData", "io_iterator_t", "dispatch_semaphore_t"}) {
        EXPECT_TRUE(report["references"].contains(kind)) << kind;
    }
}

TEST(JSONReport, AddsTheTraceWhenAsked) {
    const JSON report = reportOn(test::macWith({test::builtInPanel()}), true);
    Keys keys = reportKeys;
    keys.insert(keys.begin() + 11, "trace");
    EXPECT_EQ(test::keysOf(report), keys);
    EXPECT_EQ(report["trace"][0], (JSON{{"at_s", 0.0},
                                        {"thread", "main"},
                                        {"call", "NSTextField.setStringValue"},
                                        {"arguments", report["trace"][0]["arguments"]},
                                        {"result", ""},
                                        {"failed", false}}));
}

TEST(JSONReport, ReplacesWhatIsNotUTF8) {
    Report report;
    report.standardOutput = "a\xFF" + std::string("\0b", 2);
    const JSON object = JSON::parse(jsonText(jsonReport(report, false)));
    EXPECT_EQ(object["stdout"].get<std::string>(), "a\uFFFD" + std::string("\0b", 2));
}

TEST(JSONReport, IsOneLine) {
    const std::string text = jsonText(jsonReport(Report(), false));
    EXPECT_EQ(text.find('\n'), std::string::npos);
}

TEST(PaneHostTest, LetsOneRecognizerTakeAClick) {
    auto description = test::macWith({});
    const auto user = [](double at, simulated_mac::EventDescription::User action) {
        simulated_mac::EventDescription event;
        event.at = at;
        event.user = action;
        return event;
    };
    using User = simulated_mac::EventDescription::User;
    description.events = {user(1, User::clicksWarning), user(10, User::entersPane),
                          user(20, User::clicksWarning)};
    const JSON report = reportOn(description);
    EXPECT_EQ(report["pane"]["click_recognizers"], 2);
    EXPECT_EQ(report["pane"]["opened_addresses"].size(), 1u);
}

}  // namespace json_report_test
}  // namespace displaycheck
