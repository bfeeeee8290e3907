#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "plugin/Utilities/RunCommand.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/machine/Mac.h"

// What `system_profiler` says of the screens, as data.

namespace simulated_mac {
namespace displays_profile_test {

std::string shell(const std::string& commandLine) {
    return RunCommand().runCommand(commandLine).value_or("no UTF-8");
}

MacDescription macWithPanelAndMonitor() {
    MacDescription description;
    description.graphics.chipset = "Vorn Graphics";
    ScreenDescription panel;
    panel.builtIn = true;
    EDIDFields fields;
    fields.name = "VORN K2422H";
    fields.product = 0x2422;
    fields.serial = 0x4C47554C;
    fields.serialText = "V12345";
    fields.week = 36;
    fields.year = 2020;
    ScreenDescription monitor;
    monitor.monitor.edid = makeEDID(fields);
    description.screens = {panel, monitor};
    return description;
}

nlohmann::json asJSON() {
    return nlohmann::json::parse(shell("system_profiler SPDisplaysDataType -json"));
}

nlohmann::json asXML() {
    return nlohmann::json::parse(
        shell("system_profiler -xml SPDisplaysDataType | python3 -c 'import json, plistlib, sys; "
              "print(json.dumps(plistlib.loads(sys.stdin.buffer.read())))'"));
}

TEST(DisplaysProfile, ListsTheScreensOfTheGraphicsChip) {
    const Mac mac(macWithPanelAndMonitor());
    const auto chip = asJSON()["SPDisplaysDataType"][0];
    EXPECT_EQ(chip["_name"], "Vorn Graphics");
    EXPECT_EQ(chip["sppci_model"], "Vorn Graphics");
    const auto screens = chip["spdisplays_ndrvs"];
    ASSERT_EQ(screens.size(), 2u);
    EXPECT_EQ(screens[0]["_name"], "Built-in Retina Display");
    EXPECT_EQ(screens[0]["spdisplays_connection_type"], "spdisplays_internal");
    EXPECT_EQ(screens[0]["spdisplays_main"], "spdisplays_yes");
    EXPECT_EQ(screens[1]["_name"], "VORN K2422H");
    EXPECT_EQ(screens[1]["spdisplays_connection_type"], "spdisplays_displayport");
    EXPECT_FALSE(screens[1].contains("spdisplays_main"));
}

TEST(DisplaysProfile, GivesAMonitorsIdentityInHexadecimalAndItsDateInDecimal) {
    const Mac mac(macWithPanelAndMonitor());
    const auto monitor = asJSON()["SPDisplaysDataType"][0]["spdisplays_ndrvs"][1];
    EXPECT_EQ(monitor["_spdisplays_display-vendor-id"], "5a4e");
    EXPECT_EQ(monitor["_spdisplays_display-product-id"], "2422");
    EXPECT_EQ(monitor["_spdisplays_display-serial-number"], "4c47554c");
    EXPECT_EQ(monitor["spdisplays_display-serial-number"], "V12345");
    EXPECT_EQ(monitor["_spdisplays_display-week"], "36");
    EXPECT_EQ(monitor["_spdisplays_display-year"], "2020");
    EXPECT_EQ(monitor["_spdisplays_displayID"], "4280200");
}

TEST(DisplaysProfile, HoldsTheSameInAPropertyList) {
    const Mac mac(macWithPanelAndMonitor());
    const auto report = asXML();
    ASSERT_EQ(report.size(), 1u);
    EXPECT_EQ(report[0]["_dataType"], "SPDisplaysDataType");
    EXPECT_EQ(report[0]["_items"], asJSON()["SPDisplaysDataType"]);
}

TEST(DisplaysProfile, HasNoListOfScreensWithoutAny) {
    const Mac mac((MacDescription()));
    EXPECT_FALSE(asJSON()["SPDisplaysDataType"][0].contains("spdisplays_ndrvs"));
    EXPECT_EQ(asXML()[0]["_items"].size(), 1u);
}

TEST(DisplaysProfile, KeepsWhatANameHoldsBesideControlCharacters) {
    auto description = macWithPanelAndMonitor();
    description.screens[1].name = "Vorn <27\"> & \x01\xC3\xA9";
    const Mac mac(description);
    EXPECT_EQ(asXML()[0]["_items"][0]["spdisplays_ndrvs"][1]["_name"], "Vorn <27\"> & é");
    EXPECT_EQ(asXML()[0]["_items"], asJSON()["SPDisplaysDataType"]);
}

}  // namespace displays_profile_test
}  // namespace simulated_mac
