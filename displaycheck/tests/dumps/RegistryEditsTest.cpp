#include "displaycheck/dumps/RegistryEdits.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "displaycheck/dumps/RecordedDisplays.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/RecordedValue.h"

namespace registry_edits_test {

using displaycheck::recordedDisplays;
using displaycheck::RegistryEdits;
using simulated_mac::RecordedRegistry;
using testing::HasSubstr;
using testing::Not;

/// An EDID of the manufacturer VRN (0x5A4E), product 0x1234, serial number 7.
simulated_mac::Bytes vornEDID() {
    simulated_mac::EDIDFields fields;
    fields.manufacturer = "VRN";
    fields.product = 0x1234;
    fields.serial = 7;
    fields.name = "VORN K2725QX";
    return simulated_mac::makeEDID(fields);
}

constexpr auto intel =
    "+-o fb@0  <class VornFramebuffer, id 0x1>\n"
    "  +-o display0  <class IODisplayConnect, id 0x2>\n"
    "  | +-o AppleDisplay  <class AppleDisplay, id 0x3>\n"
    "  |     {\n"
    "  |       \"DisplayProductID\" = 1\n"
    "  |       \"DisplaySerialNumber\" = 0\n"
    "  |       \"DisplayVendorID\" = 2\n"
    "  |       \"IODisplayPrefsKey\" = \"IOService:/fb@0/display0/AppleDisplay-2-1\"\n"
    "  |       \"IODisplayEDID\" = <00ff>\n"
    "  |       \"note\" = \"of two\n"
    "lines\"\n"
    "  |     }\n"
    "  |     \n"
    "  +-o other  <class Other, id 0x4>\n";

/// The text with a monitor in the place of the first display.
std::string edited(const std::string& text) {
    const RecordedRegistry registry(text);
    RegistryEdits edits(registry);
    edits.putMonitor(recordedDisplays(registry).at(0), vornEDID());
    return edits.apply();
}

TEST(RegistryEdits, WithoutChangesKeepTheLinesOfTheTree) {
    const RecordedRegistry registry(intel);
    EXPECT_EQ(RegistryEdits(registry).apply(), intel);
}

TEST(RegistryEdits, LeaveOutWhatStandsAroundTheTreeAndBetweenItsParts) {
    const RecordedRegistry registry("mac:~ vorn$ ioreg\n" + std::string(intel) + "\n\n" + intel +
                                    "mac:~ vorn$ exit");
    EXPECT_EQ(RegistryEdits(registry).apply(), std::string(intel) + intel);
}

TEST(RegistryEdits, EndTheLastLine) {
    const RecordedRegistry registry("+-o a  <class A>\n  +-o b  <class B>");
    EXPECT_EQ(RegistryEdits(registry).apply(), "+-o a  <class A>\n  +-o b  <class B>\n");
}

TEST(RegistryEdits, OfAnIntelMacsDisplayReplaceWhatFollowsFromTheEDID) {
    const std::string text = edited(intel);
    EXPECT_THAT(text, HasSubstr("  |       \"DisplayProductID\" = 4660\n"));
    EXPECT_THAT(text, HasSubstr("  |       \"DisplaySerialNumber\" = 7\n"));
    EXPECT_THAT(text, HasSubstr("  |       \"DisplayVendorID\" = 23118\n"));
    EXPECT_THAT(text, HasSubstr("\"IODisplayPrefsKey\" = "
                                "\"IOService:/fb@0/display0/AppleDisplay-5a4e-1234\"\n"));
    EXPECT_THAT(
        text,
        HasSubstr("\"IODisplayEDID\" = " + simulated_mac::printRecordedValue({vornEDID()}) + "\n"));
    EXPECT_THAT(text, HasSubstr("\"note\" = \"of two\nlines\"\n"));
}

TEST(RegistryEdits, AddPropertiesThatTheDisplayLacksButNoSerialNumber) {
    const std::string text = edited(
        "+-o fb@0  <class VornFramebuffer>\n  +-o display0  <class IODisplayConnect>\n"
        "    +-o AppleDisplay  <class AppleDisplay>\n        {\n          \"a\" = 1\n        }\n");
    EXPECT_THAT(text, HasSubstr("          \"DisplayVendorID\" = 23118\n"));
    EXPECT_THAT(text, HasSubstr("          \"IODisplayEDID\" = <00ff"));
    EXPECT_THAT(text, HasSubstr("          \"a\" = 1\n        }\n"));
    EXPECT_THAT(text, Not(HasSubstr("DisplaySerialNumber")));
}

TEST(RegistryEdits, OfAnAppleSiliconMacsDisplayKeepItsOtherAttributes) {
    const std::string text = edited(
        "+-o AppleCLCD2  <class AppleCLCD2>\n    {\n      \"external\" = Yes\n"
        "      \"EDID UUID\" = \"old\"\n"
        "      \"DisplayAttributes\" = {\"Depth\"=8,\"ProductAttributes\"={\"ProductName\"=\"old\","
        "\"Old\"=1}}\n    }\n");
    EXPECT_THAT(text, HasSubstr("      \"EDID UUID\" = \"5A4E3412-"));
    EXPECT_THAT(text, HasSubstr("\"DisplayAttributes\" = {\"Depth\"=8,\"ProductAttributes\"={"
                                "\"ManufacturerID\"=\"VRN\","));
    EXPECT_THAT(text, HasSubstr("\"ProductName\"=\"VORN K2725QX\""));
    EXPECT_THAT(text, Not(HasSubstr("ld\"")));
}

}  // namespace registry_edits_test
