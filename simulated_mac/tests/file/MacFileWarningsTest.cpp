#include "simulated_mac/file/MacFileWarnings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "simulated_mac/description/ReadFile.h"
#include "simulated_mac/file/MacFile.h"

// What a Mac file says without effect.

namespace simulated_mac {
namespace mac_file_warnings_test {

using Lines = std::vector<std::string>;

const std::filesystem::path project = PROJECT_SOURCE_DIR;

/// The warnings of a text in the folder of the recorded registries, each without "mac.yaml:". Of
/// the calls, only "CFNumberCreate" is never made.
Lines warningsIn(const std::string& text) {
    const auto makesCall = [](const auto&, std::string_view call) {
        return call != "CFNumberCreate";
    };
    std::istringstream stream(
        readMacText({"mac.yaml", text, project / "tests/dumps"}, makesCall).warnings);
    Lines lines;
    for (std::string line; std::getline(stream, line);) {
        EXPECT_TRUE(line.starts_with("mac.yaml:")) << line;
        lines.push_back(line.substr(9));
    }
    return lines;
}

TEST(MacFileWarnings, AreNoneForTheExamples) {
    for (const auto& file : std::filesystem::directory_iterator(project / "examples")) {
        const MacFileText text = {file.path().string(), readFile(file.path()),
                                  file.path().parent_path()};
        EXPECT_EQ(readMacText(text, [](const auto&, auto) { return true; }).warnings, "");
    }
}

TEST(MacFileWarnings, NameKeysForTheOtherKindOfMac) {
    EXPECT_EQ(warningsIn("stray_proxies: [{}]\n"
                         "screens:\n"
                         "  - display_service: none\n"
                         "    info_dictionary: none\n"
                         "    framebuffer: none\n"),
              (Lines{"1:1: warning: \"stray_proxies\" has no effect on an Intel Mac; expected it "
                     "with \"chip: apple\"",
                     "3:5: warning: \"display_service\" has no effect on an Intel Mac; expected it "
                     "with \"chip: apple\"",
                     "4:5: warning: \"info_dictionary\" has no effect on an Intel Mac; expected it "
                     "with \"chip: apple\""}));
    EXPECT_EQ(warningsIn("chip: apple\n"
                         "stray_interfaces: [19]\n"
                         "graphics: {chipset: Apple M2, driver: x, framebuffers: 3}\n"
                         "screens: [{framebuffer: {asleep: true}, display_service: none}]\n"),
              (Lines{"2:1: warning: \"stray_interfaces\" has no effect on Apple silicon; expected "
                     "it without \"chip: apple\"",
                     "3:31: warning: \"driver\" has no effect on Apple silicon; expected it "
                     "without \"chip: apple\"",
                     "3:42: warning: \"framebuffers\" has no effect on Apple silicon; expected it "
                     "without \"chip: apple\"",
                     "4:12: warning: \"framebuffer\" has no effect on Apple silicon; expected it "
                     "without \"chip: apple\""}));
}

TEST(MacFileWarnings, NameKeysThatARecordedRegistryReplaces) {
    EXPECT_EQ(warningsIn("registry: intel.ioreg.txt\n"
                         "model: VornBook1,1\n"
                         "stray_interfaces: [19]\n"
                         "other_registry_entries: 5\n"
                         "graphics: {driver: x, framebuffers: 5}\n"
                         "screens: []\n"),
              (Lines{"2:1: warning: \"model\" has no effect beside \"registry\"; expected only one "
                     "of them",
                     "3:1: warning: \"stray_interfaces\" has no effect beside \"registry\"; "
                     "expected only one of them",
                     "4:1: warning: \"other_registry_entries\" has no effect beside \"registry\"; "
                     "expected only one of them",
                     "5:23: warning: \"framebuffers\" has no effect beside \"registry\"; expected "
                     "only one of them"}));
    EXPECT_EQ(warningsIn("chip: apple\n"
                         "registry: apple-silicon.ioreg.txt\n"
                         "stray_proxies: [{}]\n"
                         "screens: [{display_service: {position: 1}}]\n"),
              (Lines{"3:1: warning: \"stray_proxies\" has no effect beside \"registry\"; expected "
                     "only one of them",
                     "4:30: warning: \"position\" has no effect beside \"registry\"; expected only "
                     "one of them"}));
}

TEST(MacFileWarnings, NameChangesToADisplayServiceThatNothingTakes) {
    EXPECT_EQ(
        warningsIn("chip: apple\n"
                   "screens:\n"
                   "  - display_service:\n"
                   "      product_attributes: {ProductName: x}\n"
                   "      properties: {DisplayAttributes: null}\n"),
        (Lines{"4:7: warning: \"product_attributes\" has no effect beside \"properties\" with "
               "DisplayAttributes, which hold them; expected only one of the two"}));
    const auto record = readFile(project / "tests/dumps/apple-silicon.ioreg.txt");
    const std::string id = record.substr(record.find("AppleCLCD2", record.find("+-o AppleCLCD2")));
    const std::string number =
        id.substr(id.find("id 0x") + 3, id.find(',', id.find("id 0x")) - id.find("id 0x") - 3);
    EXPECT_EQ(
        warningsIn("chip: apple\n"
                   "registry: apple-silicon.ioreg.txt\n"
                   "screens:\n"
                   "  - display_service:\n"
                   "      entry: " +
                   number +
                   "\n"
                   "      product_attributes: {ProductName: x}\n"),
        (Lines{"6:7: warning: \"product_attributes\" has no effect beside \"entry\"; expected "
               "it without a recorded entry"}));
}

TEST(MacFileWarnings, NameTheListingOfAnEDIDThatThereIsNot) {
    EXPECT_EQ(
        warningsIn("screens: [{edid_listed: {at: 1}}, {edid_listed: empty}, {edid_listed: "
                   "false}]\n"),
        (Lines{"1:12: warning: \"edid_listed\" has no effect on a screen whose monitor has no "
               "EDID; expected it with an EDID"}));
}

TEST(MacFileWarnings, NameScreensThatShareADisplayID) {
    EXPECT_EQ(warningsIn("screens: [{display_id: 7}, {display_id: 8}, {display_id: 0x7}]\n"),
              (Lines{"1:58: warning: screen 1 has the display ID 0x7 too, and answers for both; "
                     "expected an ID of its own"}));
}

TEST(MacFileWarnings, NameADetachWhereNoDeviceIs) {
    EXPECT_EQ(warningsIn("screens: []\n"
                         "usb:\n"
                         "  - location_id: 1\n"
                         "  - {location_id: 2, properties: {locationID: 3}}\n"
                         "events:\n"
                         "  - {at: 1, detach: 1}\n"
                         "  - {at: 2, detach: 2}\n"
                         "  - {at: 3, detach: 3}\n"
                         "  - {at: 4, detach: 4}\n"
                         "  - {at: 5, attach: {location_id: 4}}\n"
                         "  - {at: 5, detach: 4}\n"
                         "  - {at_call: {call: IOMasterPort}, detach: 4}\n"),
              (Lines{"7:21: warning: no USB device is at 0x2 then; expected the location_id of one",
                     "9:21: warning: no USB device is at 0x4 then; expected the location_id of "
                     "one"}));
}

TEST(MacFileWarnings, KnowTheUSBDevicesOfARecordedRegistry) {
    const std::string record = readFile(project / "tests/dumps/intel.ioreg.txt");
    const std::size_t at = record.find("\"locationID\" = ");
    ASSERT_NE(at, std::string::npos);
    const std::string number = record.substr(at + 15, record.find('\n', at) - at - 15);
    const std::string text = "registry: intel.ioreg.txt\nscreens: []\nevents: [{at: 1, detach: ";
    EXPECT_EQ(warningsIn(text + number + "}]\n"), Lines());
    EXPECT_EQ(warningsIn(text + "12345}]\n").size(), 1U);
}

TEST(MacFileWarnings, NameAClickAfterTheViewIsGone) {
    const std::string release =
        "screens: []\nevents: [{at: 5, installer: releases the pane's view}, ";
    EXPECT_EQ(warningsIn(release + "{at: 4, user: clicks the warning}]\n"), Lines());
    EXPECT_EQ(warningsIn(release + "{at: 6, user: clicks the warning}]\n"),
              (Lines{"2:70: warning: the pane's view is released before, so nothing takes the "
                     "click; expected it earlier"}));
}

TEST(MacFileWarnings, NameCallsThatNothingMakes) {
    EXPECT_EQ(warningsIn("screens: []\n"
                         "events: [{at_call: {call: CFNumberCreate}, attach: {}}]\n"
                         "faults: [{call: CFNumberCreate}, {call: IOMasterPort}]\n"),
              (Lines{"2:27: warning: nothing calls CFNumberCreate on this Mac, so the event never "
                     "happens; expected a call that is made",
                     "3:17: warning: nothing calls CFNumberCreate on this Mac, so the fault never "
                     "strikes; expected a call that is made"}));
}

TEST(MacFileWarnings, AreCountedWhereThereAreTooManyToList) {
    std::string text = "screens: []\nevents:\n";
    for (int i = 0; i < 22; ++i) text += "  - {at: 1, detach: 1}\n";
    const auto lines = warningsIn(text);
    ASSERT_EQ(lines.size(), 21U);
    EXPECT_EQ(lines.back(), " and 2 more warnings");
}

TEST(MacFileWarnings, NameExpectationsOfUnknownMonitorsWhereThereAreNone) {
    const std::string expect =
        "expect: {if_answers: {warning: false}, if_silent: {warning: true}}\n";
    EXPECT_EQ(warningsIn("screens: [{monitor: {vcp: unknown}}]\n" + expect), Lines{});
    EXPECT_EQ(
        warningsIn("screens: [{}]\n" + expect),
        (Lines{"2:10: warning: \"if_answers\" has no effect on a Mac without unknown monitors; "
               "expected it with \"vcp: unknown\"",
               "2:40: warning: \"if_silent\" has no effect on a Mac without unknown monitors; "
               "expected it with \"vcp: unknown\""}));
}

}  // namespace mac_file_warnings_test
}  // namespace simulated_mac
