#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "plugin/DDCCI/Arm64Utility.h"
#include "plugin/M1DDCCI/M1DDCCI.h"
#include "plugin/MyInstallerPane.h"
#include "plugin/Platform/CoreDisplay.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/machine/Mac.h"

// A system without the private interfaces of Apple-silicon displays, which the plug-in imports
// weakly: this program doesn't link them. Each missing function counts as a call that failed.

namespace {

using simulated_mac::Mac;
using simulated_mac::MacDescription;
using testing::ElementsAre;
using testing::SizeIs;

/// A Mac with a monitor of a listed older model, as if it had the interfaces.
MacDescription appleMac() {
    simulated_mac::EDIDFields fields;
    fields.name = "VORN K2422H";
    fields.product = 0x2422;
    MacDescription description;
    description.chip = simulated_mac::Chip::apple;
    description.otherRegistryEntries = 10;
    description.screens.emplace_back().builtIn = true;
    description.screens.emplace_back().monitor.edid = simulated_mac::makeEDID(fields);
    return description;
}

/// Passes for a service: none of these functions looks at it.
int something = 0;
const IOAVServiceRef service = &something;

TEST(MissingInterfaces, AreMissingHere) {
    EXPECT_EQ(&IOAVServiceCreateWithService, nullptr);
    EXPECT_EQ(&IOAVServiceCopyEDID, nullptr);
    EXPECT_EQ(&IOAVServiceReadI2C, nullptr);
    EXPECT_EQ(&IOAVServiceWriteI2C, nullptr);
    EXPECT_EQ(&CoreDisplay_DisplayCreateInfoDictionary, nullptr);
}

TEST(MissingInterfaces, ProxiesAreListedWithoutAService) {
    const Mac mac(appleMac());
    const auto services = Arm64Utility().getIoregServicesForMatching();
    ASSERT_THAT(services, SizeIs(2));
    EXPECT_EQ(services[1].location, "External");
    EXPECT_EQ(services[1].productName, "VORN K2422H");
    EXPECT_EQ(services[1].avService, nullptr);
}

TEST(MissingInterfaces, ADisplayWithoutAnInformationDictionaryMatchesZeros) {
    const Mac mac(appleMac());
    EXPECT_EQ(Arm64Utility().ioregMatchScore(1, "00000000-0000-0000-0000-000000000000", "A", 1, 1),
              9);
}

TEST(MissingInterfaces, AnEDIDCannotBeCopied) {
    const Mac mac(appleMac());
    EXPECT_EQ(Arm64Utility().readEDID(service), std::nullopt);
    EXPECT_THAT(mac.journal.systemLog(), ElementsAre("Cannot copy EDID"));
}

TEST(MissingInterfaces, AReadFailsAtItsFirstWrite) {
    const Mac mac(appleMac());
    std::uint32_t result = 1;
    EXPECT_EQ(M1DDCCI::readDDCCIWithAVService(service, 0xF1, 0, false, &result), -1);
    EXPECT_EQ(result, 65535u);
    EXPECT_EQ(mac.scheduler.now(), simulated_mac::Time(60'000));
    EXPECT_THAT(mac.journal.systemLog(),
                ElementsAre("M1DDCCI isForceRunDDCCI : NO Read VCP : \"0xF1\" , I2C communication "
                            "failure: (iokit/common) unsupported function\n"));
}

TEST(MissingInterfaces, ACleanRequestFails) {
    const Mac mac(appleMac());
    EXPECT_EQ(M1DDCCI::cleanDDCCIWithAVService(service, false), -1);
}

TEST(MissingInterfaces, TheFirmwaresEDIDIdentifiesAMonitorAllTheSame) {
    Mac mac(appleMac());
    vorn::MyInstallerPane pane(&mac.window);
    mac.scheduler.onMainAt(simulated_mac::Time(0), [&pane] { pane.didEnterPane(0); });
    EXPECT_EQ(mac.scheduler.runUntilQuiet(), simulated_mac::Scheduler::Outcome::quiet);
    EXPECT_TRUE(mac.window.nextEnabled);
    EXPECT_EQ(displayInfoArray.get().at(1)->displayState, displayInfo::supportedByList);
    EXPECT_EQ(mac.scheduler.now(), simulated_mac::Time(20'000'000));
}

}  // namespace
