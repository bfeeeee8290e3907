#include <CoreGraphics/CoreGraphics.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "plugin/Platform/CoreDisplay.h"
#include "plugin/Platform/IOAVService.h"
#include "tests/support/AppleMac.h"
#include "tests/support/PaneOnMac.h"

extern "C" {
#include <IOKit/IOKitLib.h>
#include <IOKit/graphics/IOGraphicsLib.h>
#include <IOKit/i2c/IOI2CInterface.h>
}

// Monitors that are unplugged while the Mac runs, display services that leave the registry, and
// EDIDs that are data of length 0.

namespace simulated_mac {
namespace departures_test {

using namespace std::chrono_literals;
using testing::Contains;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint32_t unknownNumber = 0xFFFFFFFF;

std::vector<std::string> timelineOf(const Mac& mac) {
    std::vector<std::string> texts;
    for (const auto& entry : mac.journal.timeline()) texts.push_back(entry.what);
    return texts;
}

MacDescription intelMacWith(const ScreenDescription& screen) {
    MacDescription mac;
    mac.screens = {test::builtInPanel(), screen};
    return mac;
}

ScreenDescription unpluggedAt(double seconds) {
    auto screen = test::answeringMonitor("VORN K2424HX", 0x4000);
    screen.disappearsAt = seconds;
    return screen;
}

/// The first service that can be opened.
IOAVServiceRef openService(const Mac& mac) {
    for (const auto& proxy : mac.displays().back()->proxies) {
        const io_service_t handle = Mac::current()->registry.handOut(proxy, "test");
        const auto service = IOAVServiceCreateWithService(kCFAllocatorDefault, handle);
        IOObjectRelease(handle);
        if (service != nullptr) return service;
    }
    return nullptr;
}

TEST(AnUnpluggedMonitor, LeavesTheScreenListAndItsIDIsUnknown) {
    Mac mac(intelMacWith(unpluggedAt(3)));
    const std::uint32_t ID = mac.displays()[1]->displayID;
    mac.scheduler.runUntil(2999999us);
    EXPECT_THAT(mac.screens(), SizeIs(2));
    EXPECT_NE(CGDisplayVendorNumber(ID), unknownNumber);
    mac.scheduler.runUntil(3s);
    EXPECT_THAT(mac.screens(), SizeIs(1));
    EXPECT_EQ(CGDisplayVendorNumber(ID), unknownNumber);
    EXPECT_EQ(CGDisplayModelNumber(ID), unknownNumber);
    EXPECT_EQ(CGDisplaySerialNumber(ID), 0u);
    EXPECT_THAT(timelineOf(mac), Contains("screen VORN K2424HX disappears"));
}

TEST(AnUnpluggedMonitor, TakesItsEDIDOutOfTheRegistry) {
    Mac mac(intelMacWith(unpluggedAt(3)));
    const auto connections = [&mac] { return mac.registry.matching({"IODisplayConnect", ""}); };
    EXPECT_THAT(connections(), SizeIs(2));
    EXPECT_THAT(mac.displaysWithListedEDID(), SizeIs(1));
    mac.scheduler.runUntilQuiet();
    EXPECT_THAT(connections(), SizeIs(1));
    EXPECT_THAT(mac.displaysWithListedEDID(), IsEmpty());
}

TEST(AnUnpluggedMonitor, HasNoEDIDThatIsListedAfterwards) {
    auto screen = unpluggedAt(3);
    screen.edidListedAt = 5;
    Mac mac(intelMacWith(screen));
    mac.scheduler.runUntilQuiet();
    EXPECT_THAT(mac.displaysWithListedEDID(), IsEmpty());
    EXPECT_THAT(timelineOf(mac), testing::Not(Contains("the EDID of VORN K2424HX appears")));
}

TEST(AnUnpluggedMonitor, IsNoDeviceOnItsFramebuffersBus) {
    Mac mac(intelMacWith(unpluggedAt(3)));
    const io_service_t interface =
        mac.registry.handOut(mac.displays()[1]->framebuffer->interfaces.at(0), "test");
    IOI2CConnectRef connection = nullptr;
    ASSERT_EQ(IOI2CInterfaceOpen(interface, 0, &connection), kIOReturnSuccess);
    const auto send = [connection] {
        std::array<std::uint8_t, 5> bytes = {0x51, 0x82, 0x01, 0xF1, 0x4D};
        IOI2CRequest request{};
        request.sendTransactionType = kIOI2CSimpleTransactionType;
        request.sendAddress = 0x6E;
        request.sendBuffer = reinterpret_cast<vm_address_t>(bytes.data());
        request.sendBytes = bytes.size();
        EXPECT_EQ(IOI2CSendRequest(connection, 0, &request), kIOReturnSuccess);
        return request.result;
    };
    EXPECT_EQ(send(), kIOReturnSuccess);
    mac.scheduler.runUntilQuiet();
    EXPECT_EQ(send(), kIOReturnNoDevice);
    EXPECT_THAT(mac.displays()[1]->monitor.exchanges(), SizeIs(1));
}

TEST(AnUnpluggedMonitor, TakesItsDisplayServiceWithIt) {
    Mac mac(test::appleMacWith({test::builtInPanel(), unpluggedAt(3)}));
    const std::uint32_t ID = mac.displays()[1]->displayID;
    const auto framebuffers = [&mac] { return mac.registry.matching({"IOMobileFramebuffer", ""}); };
    const auto before = framebuffers().size();
    mac.scheduler.runUntilQuiet();
    EXPECT_EQ(framebuffers().size(), before - 1);
    EXPECT_EQ(CoreDisplay_DisplayCreateInfoDictionary(ID), nullptr);
    EXPECT_THAT(timelineOf(mac), Contains("the display service of VORN K2424HX disappears"));
}

TEST(AnUnpluggedMonitor, GetsNoDisplayServiceAfterwards) {
    auto screen = unpluggedAt(3);
    screen.displayService.appearsAt = 5;
    Mac mac(test::appleMacWith({test::builtInPanel(), screen}));
    mac.scheduler.runUntilQuiet();
    EXPECT_THAT(mac.displays()[1]->proxies, IsEmpty());
}

TEST(ADisplayServiceThatLeft, AnswersWithNoDevice) {
    auto screen = test::answeringMonitor("VORN K2424HX", 0x4000);
    screen.displayService.disappearsAt = 3;
    Mac mac(test::appleMacWith({test::builtInPanel(), screen}));
    const auto service = openService(mac);
    ASSERT_NE(service, nullptr);
    std::array<std::uint8_t, 4> request = {0x82, 0x01, 0xF1, 0x4D};
    EXPECT_EQ(IOAVServiceWriteI2C(service, 0x37, 0x51, request.data(), request.size()),
              kIOReturnSuccess);
    mac.scheduler.runUntilQuiet();
    EXPECT_EQ(IOAVServiceWriteI2C(service, 0x37, 0x51, request.data(), request.size()),
              kIOReturnNoDevice);
    std::array<std::uint8_t, 12> reply{};
    EXPECT_EQ(IOAVServiceReadI2C(service, 0x37, 0, reply.data(), reply.size()), kIOReturnNoDevice);
    CFDataRef edid = nullptr;
    EXPECT_EQ(IOAVServiceCopyEDID(service, &edid), kIOReturnNoDevice);
    EXPECT_EQ(edid, nullptr);
    EXPECT_EQ(openService(mac), nullptr);
    // The screen stays.
    EXPECT_THAT(mac.screens(), SizeIs(2));
    EXPECT_NE(CGDisplayVendorNumber(mac.displays()[1]->displayID), unknownNumber);
}

TEST(AnEmptyEDID, IsDataOfLengthZeroInTheRegistry) {
    auto screen = test::monitorNamed("VORN K2424HX");
    screen.listedEDIDEmpty = true;
    const Mac mac(intelMacWith(screen));
    std::vector<Bytes> listed;
    for (const auto& node : mac.registry.matching({"IODisplay", ""})) {
        const CFPointer edid = node->get("IODisplayEDID");
        if (edid != nullptr) listed.push_back(std::get<Bytes>(edid->value));
    }
    EXPECT_THAT(listed, testing::ElementsAre(Bytes()));
}

TEST(AnEmptyEDID, IsDataOfLengthZeroFromAnAVService) {
    auto screen = test::monitorNamed("VORN K2424HX");
    screen.displayService.proxies[0].edidEmpty = true;
    const Mac mac(test::appleMacWith({test::builtInPanel(), screen}));
    CFDataRef edid = nullptr;
    EXPECT_EQ(IOAVServiceCopyEDID(openService(mac), &edid), kIOReturnSuccess);
    ASSERT_NE(edid, nullptr);
    EXPECT_EQ(CFDataGetLength(edid), 0);
}

}  // namespace departures_test
}  // namespace simulated_mac
