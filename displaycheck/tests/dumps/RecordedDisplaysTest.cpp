#include "displaycheck/dumps/RecordedDisplays.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "displaycheck/dumps/DumpError.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/HexText.h"

namespace recorded_displays_test {

using displaycheck::DumpError;
using displaycheck::isAppleSilicon;
using displaycheck::recordedChipset;
using displaycheck::RecordedDisplay;
using displaycheck::recordedDisplays;
using simulated_mac::RecordedRegistry;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// One entry as ioreg prints it, and its properties in one line each.
std::string entry(int level, const std::string& name, const std::string& className,
                  const std::vector<std::string>& properties = {}) {
    const std::string margin(2 * static_cast<std::size_t>(level), ' ');
    std::string text =
        margin + "+-o " + name + "  <class " + className + ">\n" + margin + "    {\n";
    for (const std::string& property : properties) text += margin + "      " + property + "\n";
    return text + margin + "    }\n";
}

/// A chip with a framebuffer and the display of this class.
std::string intelMac(const std::string& displayClass, const std::vector<std::string>& properties) {
    return entry(0, "Root", "IORegistryEntry") +
           entry(1, "VornMac1,1", "IOPlatformExpertDevice", {"\"model\" = <\"VornMac1,1\">"}) +
           entry(2, "GFX0@0", "IOPCIDevice", {"\"model\" = <566f726e2047505500>"}) +
           entry(3, "Vorn@0", "VornFramebuffer") + entry(4, "display0", "IODisplayConnect") +
           entry(5, displayClass, displayClass, properties);
}

std::string hexEDID() {
    return simulated_mac::hexText(simulated_mac::makeEDID({}));
}

TEST(RecordedDisplays, OfAnIntelMacAreTheNodesBelowItsConnections) {
    const RecordedRegistry registry(
        intelMac("AppleDisplay", {"\"DisplayVendorID\" = 1", "\"DisplayProductID\" = 0x2",
                                  "\"IODisplayEDID\" = <" + hexEDID() + ">"}));
    EXPECT_FALSE(isAppleSilicon(registry));
    const auto displays = recordedDisplays(registry);
    ASSERT_THAT(displays, SizeIs(1));
    EXPECT_FALSE(displays[0].builtIn);
    EXPECT_EQ(displays[0].framebuffer, 3U);
    EXPECT_EQ(displays[0].node, 5U);
    EXPECT_EQ(displays[0].vendor, 1U);
    EXPECT_EQ(displays[0].product, 2U);
    EXPECT_EQ(displays[0].serial, std::nullopt);
    EXPECT_EQ(displays[0].edid, simulated_mac::makeEDID({}));
    EXPECT_FALSE(displays[0].isEDIDCut);
    EXPECT_EQ(recordedChipset(registry, displays), "Vorn GPU");
}

TEST(RecordedDisplays, HaveTheSerialNumberWithoutTheExtensionOfItsSign) {
    const RecordedRegistry registry(
        intelMac("AppleDisplay", {"\"DisplaySerialNumber\" = 18446744072860495227"}));
    EXPECT_EQ(recordedDisplays(registry).at(0).serial, 0xCD646D7BU);
}

TEST(RecordedDisplays, KnowTheBuiltInPanelByItsClass) {
    EXPECT_TRUE(
        recordedDisplays(RecordedRegistry(intelMac("AppleBacklightDisplay", {}))).at(0).builtIn);
}

TEST(RecordedDisplays, OfACutEDIDHaveTheFirstBlock) {
    const RecordedRegistry registry(
        intelMac("AppleDisplay", {"\"IODisplayEDID\" = <" + hexEDID() + "0203..."}));
    const auto display = recordedDisplays(registry).at(0);
    EXPECT_EQ(display.edid, simulated_mac::makeEDID({}));
    EXPECT_TRUE(display.isEDIDCut);
}

TEST(RecordedDisplays, OfAnEDIDThatIsCutInItsFirstBlockHaveNone) {
    const RecordedRegistry registry(
        intelMac("AppleDisplay", {"\"IODisplayEDID\" = <" + hexEDID().substr(0, 200)}));
    const auto display = recordedDisplays(registry).at(0);
    EXPECT_THAT(display.edid, IsEmpty());
    EXPECT_TRUE(display.isEDIDCut);
}

const std::string appleMac =
    entry(0, "Root", "IORegistryEntry") + entry(1, "disp0@30000000", "AppleARMIODevice") +
    entry(2, "AppleCLCD2", "AppleCLCD2", {"\"DisplayAttributes\" = {\"ProductAttributes\"={}}"}) +
    entry(1, "dcp@31C00000", "AppleARMIODevice") +
    entry(2, "DCPAVServiceProxy", "DCPAVServiceProxy") +
    entry(1, "dispext0@70000000", "AppleARMIODevice") +
    entry(2, "AppleCLCD2", "AppleCLCD2",
          {"\"EDID UUID\" = \"5A4E2527-0000-0000-0E23-0104A53C2278\"",
           "\"DisplayAttributes\" = {\"ProductAttributes\"={\"ManufacturerID\"=\"VRN\","
           "\"YearOfManufacture\"=2025,\"SerialNumber\"=7,\"ProductName\"=\"VORN K2725QX\","
           "\"LegacyManufacturerID\"=23118,\"ProductID\"=10021,\"WeekOfManufacture\"=14}}"}) +
    entry(1, "dcpext@71C00000", "AppleARMIODevice") +
    entry(2, "DCPAVServiceProxy", "DCPAVServiceProxy") +
    entry(1, "dispext1@78000000", "AppleARMIODevice") +
    entry(2, "AppleCLCD2", "AppleCLCD2", {"\"external\" = Yes"}) +
    entry(1, "sgx@6400000", "AppleARMIODevice") +
    entry(2, "AGXAcceleratorG13G", "AGXAcceleratorG13G", {"\"model\" = \"Apple M1\""});

TEST(RecordedDisplays, OfAnAppleSiliconMacAreTheFramebuffersInUse) {
    const RecordedRegistry registry(appleMac);
    EXPECT_TRUE(isAppleSilicon(registry));
    const auto displays = recordedDisplays(registry);
    ASSERT_THAT(displays, SizeIs(2));
    EXPECT_TRUE(displays[0].builtIn);
    EXPECT_FALSE(displays[1].builtIn);
    EXPECT_EQ(displays[1].name, "VORN K2725QX");
    EXPECT_EQ(displays[1].vendor, 23118U);
    EXPECT_EQ(displays[1].serial, 7U);
    EXPECT_EQ(displays[1].week, 14U);
    EXPECT_EQ(recordedChipset(registry, displays), "Apple M1");
}

TEST(RecordedDisplays, OfAnAppleSiliconMacHaveTheProxiesOfTheirCoprocessor) {
    const auto displays = recordedDisplays(RecordedRegistry(appleMac));
    EXPECT_THAT(displays.at(0).proxies, ElementsAre(4));
    EXPECT_THAT(displays.at(1).proxies, ElementsAre(8));
}

TEST(RecordedDisplays, WithoutCoprocessorsHaveNoProxies) {
    const RecordedRegistry registry(
        entry(0, "AppleCLCD2", "AppleCLCD2", {"\"EDID UUID\" = \"x\""}) +
        entry(0, "DCPAVServiceProxy", "DCPAVServiceProxy"));
    EXPECT_THAT(recordedDisplays(registry).at(0).proxies, IsEmpty());
}

TEST(RecordedDisplays, AreNotMoreThanAnyMacHas) {
    std::string text;
    for (int display = 0; display < 65; ++display) {
        text += entry(0, "AppleCLCD2", "AppleCLCD2", {"\"EDID UUID\" = \"x\""});
    }
    EXPECT_THROW(recordedDisplays(RecordedRegistry(text)), DumpError);
}

}  // namespace recorded_displays_test
