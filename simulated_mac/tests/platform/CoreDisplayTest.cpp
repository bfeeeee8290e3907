#include <CoreGraphics/CoreGraphics.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>

#include "plugin/Platform/CoreDisplay.h"
#include "simulated_mac/machine/CallText.h"
#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/tests/hardware/AppleMac.h"

// CoreDisplay's information dictionary of a display.

namespace simulated_mac {
namespace core_display_test {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Key;
using testing::Not;
using testing::Pair;
using testing::SizeIs;

constexpr CGDirectDisplayID displayID = 7;

ScreenDescription onDisplay(CGDirectDisplayID display, ScreenDescription screen) {
    screen.displayID = display;
    return screen;
}

/// An Apple-silicon Mac whose only screen is `displayID`.
MacDescription macWith(ScreenDescription screen) {
    return appleMac({onDisplay(displayID, std::move(screen))});
}

std::map<std::string, std::string> information(CGDirectDisplayID display = displayID) {
    return entriesOf(CoreDisplay_DisplayCreateInfoDictionary(display));
}

TEST(CoreDisplay, KnowsADisplayByItsEDID) {
    const Mac mac(macWith(deskScreen()));
    EXPECT_THAT(
        information(),
        ElementsAre(Pair("DisplayHorizontalImageSize", "710"),  // in mm
                    Pair("DisplayProductID", "10019"),          // 0x2723
                    Pair("DisplayProductName", "{\"en_US\"=\"VORN K2723QX\"}"),
                    Pair("DisplaySerialNumber", "305419896"),  // 0x12345678
                    Pair("DisplayVendorID", "23118"),          // 0x5A4E, VRN
                    Pair("DisplayVerticalImageSize", "400"), Pair("DisplayWeekManufacture", "14"),
                    Pair("DisplayYearManufacture", "2023")));
}

TEST(CoreDisplay, KnowsTheBuiltInPanelByItsEDIDToo) {
    const Mac mac(macWith(builtInPanel()));
    EXPECT_THAT(information(),
                IsSupersetOf({Pair("DisplayProductName", "{\"en_US\"=\"Color LCD\"}"),
                              Pair("DisplayVendorID", "23118"),
                              Pair("DisplayHorizontalImageSize", "710")}));
}

TEST(CoreDisplay, GivesTheLargestNumbersOfAnEDIDUnsigned) {
    EDIDFields fields;
    fields.manufacturer = "ZZZ";
    fields.product = 0xFFFF;
    fields.serial = 0xFFFFFFFF;
    fields.week = 255;
    fields.year = 2245;
    fields.widthCm = 255;
    fields.heightCm = 255;
    const Mac mac(macWith(screenWith(makeEDID(fields))));
    EXPECT_THAT(
        information(),
        ElementsAre(Pair("DisplayHorizontalImageSize", "2550"), Pair("DisplayProductID", "65535"),
                    Pair("DisplaySerialNumber", "4294967295"),
                    Pair("DisplayVendorID", "27482"),  // 0x6B5A
                    Pair("DisplayVerticalImageSize", "2550"), Pair("DisplayWeekManufacture", "255"),
                    Pair("DisplayYearManufacture", "2245")));
}

TEST(CoreDisplay, GivesZeroForASerialNumberThatAnEDIDLacks) {
    auto fields = deskMonitor();
    fields.serial = 0;
    const Mac mac(macWith(screenWith(makeEDID(fields))));
    EXPECT_EQ(information()["DisplaySerialNumber"], "0");
}

TEST(CoreDisplay, NamesNoDisplayWhoseEDIDHasNoName) {
    auto fields = deskMonitor();
    fields.name.reset();
    const Mac mac(macWith(screenWith(makeEDID(fields))));
    EXPECT_THAT(information(), Not(Contains(Key("DisplayProductName"))));
}

TEST(CoreDisplay, ReadsBytesThatAShortEDIDLacksAsZero) {
    const Mac mac(macWith(
        screenWith({0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x5A, 0x4E, 0x34, 0x12})));
    EXPECT_THAT(
        information(),
        ElementsAre(Pair("DisplayHorizontalImageSize", "0"),
                    Pair("DisplayProductID", "4660"),  // 0x1234
                    Pair("DisplaySerialNumber", "0"), Pair("DisplayVendorID", "23118"),
                    Pair("DisplayVerticalImageSize", "0"), Pair("DisplayWeekManufacture", "0"),
                    Pair("DisplayYearManufacture", "1990")));
}

TEST(CoreDisplay, KnowsNothingOfADisplayWithoutAnEDID) {
    const Mac mac(macWith(screenWith({})));
    EXPECT_THAT(information(), IsEmpty());
}

TEST(CoreDisplay, GivesTheNumbersOfTheWindowSystem) {
    const Mac mac(macWith(deskScreen()));
    auto known = information();
    EXPECT_EQ(known["DisplayVendorID"], std::to_string(CGDisplayVendorNumber(displayID)));
    EXPECT_EQ(known["DisplayProductID"], std::to_string(CGDisplayModelNumber(displayID)));
    EXPECT_EQ(known["DisplaySerialNumber"], std::to_string(CGDisplaySerialNumber(displayID)));
}

TEST(CoreDisplay, TellsDisplaysApart) {
    auto twin = deskMonitor();
    twin.serial = 2;
    const Mac mac(appleMac({onDisplay(7, deskScreen()), onDisplay(9, screenWith(makeEDID(twin)))}));
    EXPECT_EQ(information(7)["DisplaySerialNumber"], "305419896");
    EXPECT_EQ(information(9)["DisplaySerialNumber"], "2");
}

TEST(CoreDisplay, KnowsDisplaysWithoutADisplayService) {
    auto screen = deskScreen();
    screen.displayService.present = false;
    const Mac mac(macWith(screen));
    EXPECT_EQ(information()["DisplayProductName"], "{\"en_US\"=\"VORN K2723QX\"}");
}

// Properties that the description changes

TEST(CoreDisplay, LetsEntriesBeChangedAddedAndTakenOut) {
    auto screen = deskScreen();
    screen.infoDictionary = {
        {"DisplayVendorID", number(-1)},
        {"DisplayProductID", text("odd")},
        {"DisplaySerialNumber", missing()},
        {"DisplayProductName", PropertyValue{PropertyMap{{"de_DE", text("V")}}}},
        {"Further", PropertyValue{Bytes{0x0A, 0xFF}}},
        {"Never", missing()}};
    const Mac mac(macWith(screen));
    EXPECT_THAT(
        information(),
        ElementsAre(Pair("DisplayHorizontalImageSize", "710"), Pair("DisplayProductID", "\"odd\""),
                    Pair("DisplayProductName", "{\"de_DE\"=\"V\"}"), Pair("DisplayVendorID", "-1"),
                    Pair("DisplayVerticalImageSize", "400"), Pair("DisplayWeekManufacture", "14"),
                    Pair("DisplayYearManufacture", "2023"), Pair("Further", "<0aff>")));
}

TEST(CoreDisplay, CanBeToldOfADisplayWithoutAnEDID) {
    auto screen = screenWith({});
    screen.infoDictionary = {{"DisplayVendorID", number(5)}};
    const Mac mac(macWith(screen));
    EXPECT_THAT(information(), ElementsAre(Pair("DisplayVendorID", "5")));
}

TEST(CoreDisplay, IsNotChangedWithTheRegistry) {
    auto screen = deskScreen();
    screen.displayService.properties = {{"EDID UUID", missing()}};
    screen.displayService.productAttributes = {{"ProductName", text("VORN other")}};
    screen.vendorNumber = 1;
    const Mac mac(macWith(screen));
    EXPECT_THAT(information(),
                IsSupersetOf({Pair("DisplayProductName", "{\"en_US\"=\"VORN K2723QX\"}"),
                              Pair("DisplayVendorID", "23118")}));
}

// Displays without a dictionary

TEST(CoreDisplay, MayHaveNoDictionaryOfADisplay) {
    auto without = onDisplay(9, deskScreen());
    without.hasInfoDictionary = false;
    without.infoDictionary = {{"DisplayVendorID", number(5)}};
    const Mac mac(appleMac({onDisplay(7, deskScreen()), without}));
    EXPECT_EQ(CoreDisplay_DisplayCreateInfoDictionary(9), nullptr);
    EXPECT_NE(CoreDisplay_DisplayCreateInfoDictionary(7), nullptr);
}

TEST(CoreDisplay, HasNoDictionaryOfADisplayThatIsNotThere) {
    const Mac mac(macWith(deskScreen()));
    for (const CGDirectDisplayID unknown : {0u, 6u, 8u, 0xFFFFFFFFu}) {
        EXPECT_EQ(CoreDisplay_DisplayCreateInfoDictionary(unknown), nullptr) << unknown;
    }
    EXPECT_EQ(mac.ledger.held()["CFDictionary"], 0);
}

TEST(CoreDisplay, HasNoDictionariesOnAnIntelMac) {
    auto description = macWith(deskScreen());
    description.chip = Chip::intel;
    const Mac mac(description);
    EXPECT_EQ(CoreDisplay_DisplayCreateInfoDictionary(displayID), nullptr);
}

// Ownership, faults and traces

TEST(CoreDisplay, GivesADictionaryThatIsTheCallers) {
    const Mac mac(macWith(deskScreen()));
    const auto first = CoreDisplay_DisplayCreateInfoDictionary(displayID);
    const auto second = CoreDisplay_DisplayCreateInfoDictionary(displayID);
    EXPECT_THAT(
        mac.ledger.heldByCall(),
        ElementsAre(Pair(Pair("CFDictionary", "CoreDisplay_DisplayCreateInfoDictionary"), 2)));
    CFRelease(first);
    CFRelease(second);
    EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
    EXPECT_THAT(mac.journal.misuses(), IsEmpty());
}

TEST(CoreDisplay, MayFail) {
    auto description = macWith(deskScreen());
    description.faults = {fault("CoreDisplay_DisplayCreateInfoDictionary", 1)};
    const Mac mac(description);
    EXPECT_EQ(CoreDisplay_DisplayCreateInfoDictionary(displayID), nullptr);
    EXPECT_EQ(mac.ledger.held()["CFDictionary"], 0);
    EXPECT_NE(CoreDisplay_DisplayCreateInfoDictionary(displayID), nullptr);
}

TEST(CoreDisplay, IsTracedWithTheDisplay) {
    Mac mac(macWith(deskScreen()));
    mac.trace.keepAll();
    CoreDisplay_DisplayCreateInfoDictionary(displayID);
    CoreDisplay_DisplayCreateInfoDictionary(8);
    const auto calls = mac.trace.calls();
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_EQ(calls[0].call, "CoreDisplay_DisplayCreateInfoDictionary");
    EXPECT_EQ(argumentsText(calls[0]), "display 7");
    EXPECT_EQ(resultText(calls[0]), "ok");
    EXPECT_EQ(argumentsText(calls[1]), "display 8");
    EXPECT_EQ(resultText(calls[1]), "NULL");
}

}  // namespace core_display_test
}  // namespace simulated_mac
