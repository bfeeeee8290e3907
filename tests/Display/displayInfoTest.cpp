#include "plugin/Display/displayInfo.h"

#include <gtest/gtest.h>

#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/Display/EDIDInfo.h"
#include "simulated_mac/platform/CFReferences.h"
#include "tests/support/Detection.h"
#include "tests/support/PaneOnMac.h"

namespace display_info_test {

using simulated_mac::CFObject;

std::shared_ptr<displayInfo> displayNamed(const std::string& name, std::uint32_t serialNumber) {
    const auto display = std::make_shared<displayInfo>();
    display->name = name;
    display->serialNumber = serialNumber;
    return display;
}

std::shared_ptr<displayInfo> usbEntry(const std::string& name, std::uint32_t serialNumber,
                                      std::int32_t index) {
    const auto entry = displayNamed(name, serialNumber);
    entry->USBIdx = index;
    return entry;
}

/// A reference of an AV service, as the platform hands it out.
const void* avService(std::uint64_t id) {
    return simulated_mac::handOut(simulated_mac::makeCF(CFObject::Opaque{"IOAVService", id}),
                                  "IOAVServiceCreateWithService");
}

class USBMapping : public ::testing::Test {
  protected:
    USBMapping() { test::makeProcessWideObjects(); }

    test::PaneOnMac onMac{test::macWith({})};
    std::shared_ptr<displayInfo> display = displayNamed("VORN K2790Z", 0x12345678);
};

TEST(DisplayRecord, AFreshOneIsNotJudgedAndHasNoUSBIndex) {
    const displayInfo display;
    EXPECT_EQ(display.displayState, -1);
    EXPECT_EQ(display.USBIdx, -1);
}

TEST(DisplayRecord, KnowsItsNameInTheFormsThatQuestionsNeed) {
    const test::Mac mac(test::macWith({}));
    const auto display = displayNamed("Vorn k2790z (2)", 0);
    EXPECT_EQ(display->forms().upperCase, "VORN K2790Z (2)");
    EXPECT_EQ(display->forms().bareModel, "K2790Z");
    display->name = "Vorn K2791Z";
    EXPECT_EQ(display->forms().bareModel, "K2791Z");
    display->name.reset();
    EXPECT_EQ(display->forms().upperCase, "");
}

TEST(DisplayRecord, HasItsNameNormalisedOnceInARun) {
    auto monitor = test::monitorNamed("VORN K2725QX");
    monitor.name = "VORN K2725QX\uFF082\uFF09";
    const test::Detection run(test::macWith({test::builtInPanel(), monitor}));
    EXPECT_EQ(run.display(1).plugNplayID.value_or("").substr(0, 3), "VRN");
    EXPECT_THAT(run.calls("CFStringUppercase"), ::testing::SizeIs(1));
}

TEST(DisplayRecord, OfSeveralIsPairedWithEDIDsThatAreDecodedOnce) {
    const test::Detection run(
        test::macWith({test::builtInPanel(), test::monitorNamed("VORN K2725QX"),
                       test::monitorNamed("VORN K2726QX")}));
    EXPECT_NE(run.display(1).EDIDString, std::nullopt);
    EXPECT_NE(run.display(2).EDIDString, std::nullopt);
    const auto sizes = run.argumentsOf("CFAllocatorAllocate");
    // Each decoding copies a base block.
    EXPECT_EQ(std::count(sizes.begin(), sizes.end(), "size 128"), 2);
}

TEST(DisplayRecord, AFreshOneIsNotPassedThroughUSB) {
    const displayInfo display;
    EXPECT_FALSE(display.isUSBPassthrough);
    EXPECT_EQ(display.USBIdx, -1);
}

TEST(DisplayRecord, AFreshOneKnowsNothingOfItsMonitor) {
    const displayInfo display;
    EXPECT_EQ(display.idx, 0);
    EXPECT_EQ(display.screenNumber, 0u);
    EXPECT_EQ(display.name, std::nullopt);
    EXPECT_EQ(display.modelInfo, std::nullopt);
    EXPECT_EQ(display.plugNplayID, std::nullopt);
    EXPECT_EQ(display.serialNumber, 0u);
    EXPECT_FALSE(display.isConnected);
    EXPECT_FALSE(display.isDDCCIConnected);
    EXPECT_EQ(display.serviceTag, std::nullopt);
    EXPECT_EQ(display.EDIDString, std::nullopt);
    EXPECT_EQ(display.arm64avService, nullptr);
}

TEST(DisplayRecord, TheVerdictsHaveTheirFixedNumbers) {
    EXPECT_EQ(displayInfo::notJudged, -1);
    EXPECT_EQ(displayInfo::supportedAndAnswering, 0);
    EXPECT_EQ(displayInfo::supportedByList, 1);
    EXPECT_EQ(displayInfo::notSupported, 3);
}

TEST(DisplayRecord, ReplacingTheAVServiceReleasesNeitherTheOldNorTheNewOne) {
    const test::Mac mac(test::macWith({}));
    const std::map<std::pair<std::string, std::string>, std::int64_t> both = {
        {{"IOAVService", "IOAVServiceCreateWithService"}, 2}};
    {
        displayInfo display;
        display.arm64avService = avService(1);
        display.arm64avService = avService(2);
        EXPECT_EQ(mac.ledger.heldByCall(), both);
    }
    EXPECT_EQ(mac.ledger.heldByCall(), both);
}

TEST(EDIDRecord, AFreshOneIsEmpty) {
    const EDIDInfo info;
    EXPECT_EQ(info.serialNumber, 0u);
    EXPECT_EQ(info.modelInfo, std::nullopt);
    EXPECT_EQ(info.modelName, std::nullopt);
    EXPECT_EQ(info.serviceTag, std::nullopt);
    EXPECT_EQ(info.plugNplayID, std::nullopt);
}

TEST_F(USBMapping, AMatchedUSBEntryGivesItsIndexAndSetsTheFlag) {
    DDC->usbAllDisplays = {usbEntry("K2790Z", 0x12345678, 2)};
    onMac.pane.mappingUSBDisplays({display});
    EXPECT_EQ(display->USBIdx, 2);
    EXPECT_TRUE(display->isUSBPassthrough);
}

TEST_F(USBMapping, IndexZeroSetsTheFlagToo) {
    DDC->usbAllDisplays = {usbEntry("K2790Z", 0x12345678, 0)};
    onMac.pane.mappingUSBDisplays({display});
    EXPECT_EQ(display->USBIdx, 0);
    EXPECT_TRUE(display->isUSBPassthrough);
}

TEST_F(USBMapping, ANegativeIndexClearsTheFlag) {
    display->isUSBPassthrough = true;
    DDC->usbAllDisplays = {usbEntry("K2790Z", 0x12345678, -5)};
    onMac.pane.mappingUSBDisplays({display});
    EXPECT_EQ(display->USBIdx, -5);
    EXPECT_FALSE(display->isUSBPassthrough);
}

TEST_F(USBMapping, WithoutAUSBListNothingChanges) {
    onMac.pane.mappingUSBDisplays({display});
    EXPECT_EQ(display->USBIdx, -1);
    EXPECT_FALSE(display->isUSBPassthrough);
}

TEST_F(USBMapping, AnEntryOfAnotherMonitorChangesNothing) {
    DDC->usbAllDisplays = {usbEntry("K2790Z", 0x12345679, 2), usbEntry("K2725QX", 0x12345678, 3),
                           usbEntry("k2790z", 0x12345678, 4), usbEntry("", 0x12345678, 5)};
    onMac.pane.mappingUSBDisplays({display});
    EXPECT_EQ(display->USBIdx, -1);
    EXPECT_FALSE(display->isUSBPassthrough);
}

TEST_F(USBMapping, ADisplayWithoutANameFitsNoEntryOfAnyName) {
    display->name.reset();
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        DDC->usbAllDisplays = {usbEntry(std::string(1, letter), 0x12345678, 2)};
        onMac.pane.mappingUSBDisplays({display});
        EXPECT_EQ(display->USBIdx, -1) << letter;
    }
}

TEST_F(USBMapping, AnEntryWithoutANameFitsNoDisplayOfAnyName) {
    const auto entry = usbEntry("", 0x12345678, 2);
    entry->name.reset();
    display->name = "abcdefghijklmnopqrstuvwxyz";
    DDC->usbAllDisplays = {entry};
    onMac.pane.mappingUSBDisplays({display});
    EXPECT_EQ(display->USBIdx, -1);
}

}  // namespace display_info_test
