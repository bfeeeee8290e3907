#include <IOKit/IOKitLib.h>
#include <IOKit/graphics/IOGraphicsLib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

extern "C" {
#include <IOKit/i2c/IOI2CInterface.h>
}

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "simulated_mac/description/EDID.h"
#include "simulated_mac/machine/Mac.h"

// The graphics in an Intel Mac's registry.

namespace simulated_mac {
namespace intel_hardware_test {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

Bytes edidWithSerial(std::uint32_t serial) {
    EDIDFields fields;
    fields.product = 0x2424;
    fields.serial = serial;
    fields.name = "VORN K2424HX";
    return makeEDID(fields);
}

ScreenDescription monitorWith(Bytes edid) {
    ScreenDescription screen;
    screen.monitor.edid = std::move(edid);
    return screen;
}

ScreenDescription panel() {
    ScreenDescription screen;
    screen.builtIn = true;
    EDIDFields fields;
    fields.manufacturer = "APP";
    fields.product = 0xA00C;
    screen.monitor.edid = makeEDID(fields);
    return screen;
}

MacDescription macWith(std::vector<ScreenDescription> screens) {
    MacDescription mac;
    mac.screens = std::move(screens);
    return mac;
}

/// The values of a property of all entries of a class; -1 for an entry without it.
std::vector<std::int64_t> numbersOf(const Mac& mac, const char* className, const char* key) {
    std::vector<std::int64_t> numbers;
    for (const auto& entry : mac.registry.matching({className, ""})) {
        const CFPointer value = entry->get(key);
        numbers.push_back(value != nullptr ? std::get<std::int64_t>(value->value) : -1);
    }
    return numbers;
}

std::vector<std::int64_t> numbersIn(const CFPointer& list) {
    std::vector<std::int64_t> numbers;
    for (const CFPointer& one : std::get<CFObject::Array>(list->value)) {
        numbers.push_back(std::get<std::int64_t>(one->value));
    }
    return numbers;
}

std::int64_t numberIn(const PropertyMap& properties, const std::string& key) {
    for (const auto& [known, value] : properties) {
        if (known == key) return std::get<std::int64_t>(value.value);
    }
    return -1;
}

TEST(IntelFramebuffers, AreThreeOfWhichTheFirstDriveTheDisplays) {
    const Mac mac(macWith({panel(), monitorWith(edidWithSerial(1))}));
    ASSERT_THAT(mac.framebuffers(), SizeIs(3));
    EXPECT_EQ(mac.framebuffers()[0]->display, mac.displays()[0].get());
    EXPECT_EQ(mac.framebuffers()[1]->display, mac.displays()[1].get());
    EXPECT_EQ(mac.framebuffers()[2]->display, nullptr);
    EXPECT_THAT(mac.registry.matching({"IODisplayConnect", ""}), SizeIs(2));
    EXPECT_THAT(numbersOf(mac, "IOFramebuffer", "IOFBDependentIndex"), ElementsAre(0, 1, 2));
    EXPECT_THAT(numbersOf(mac, "IOFramebuffer", "IOFBTransform"), ElementsAre(0, 0, 0));
}

TEST(IntelFramebuffers, AreAsManyAsTheDisplaysNeed) {
    auto description = macWith({monitorWith({}), monitorWith({})});
    description.graphics.framebuffers = 1;
    const Mac mac(description);
    EXPECT_THAT(mac.framebuffers(), SizeIs(2));
}

TEST(IntelFramebuffers, AreNumberedWithoutGaps) {
    auto description = macWith({monitorWith({}), monitorWith({})});
    description.screens[0].framebuffer.present = false;
    const Mac mac(description);
    EXPECT_EQ(mac.framebuffers()[0]->display, mac.displays()[1].get());
    EXPECT_THAT(numbersOf(mac, "IOFramebuffer", "IOFBDependentIndex"), ElementsAre(0, 1, 2));
}

TEST(IntelFramebuffers, HaveOneInterfaceEach) {
    const Mac mac(macWith({panel(), monitorWith(edidWithSerial(1))}));
    constexpr auto interfaces = "IOI2CInterface";
    EXPECT_THAT(numbersOf(mac, interfaces, "IOI2CInterfaceID"),
                ElementsAre(0, 0x100000000, 0x200000000));
    EXPECT_THAT(numbersOf(mac, interfaces, "IOI2CTransactionTypes"), ElementsAre(19, 19, 19));
    EXPECT_THAT(numbersOf(mac, interfaces, "IOI2CSupportedCommFlags"), ElementsAre(2, 2, 2));
    EXPECT_THAT(numbersOf(mac, interfaces, "IOI2CBusType"), ElementsAre(1, 1, 1));
}

TEST(IntelFramebuffers, ListTheirInterfaces) {
    auto description = macWith({monitorWith({}), monitorWith({}), monitorWith({})});
    description.screens[0].framebuffer.buses = std::vector<BusDescription>();
    description.screens[1].framebuffer.buses = std::vector<BusDescription>(2);
    const Mac mac(description);
    EXPECT_EQ(mac.framebuffers()[0]->entry->get("IOFBI2CInterfaceIDs"), nullptr);
    EXPECT_EQ(mac.framebuffers()[0]->entry->get("IOFBI2CInterfaceInfo"), nullptr);
    const RegistryEntry& second = *mac.framebuffers()[1]->entry;
    EXPECT_THAT(numbersIn(second.get("IOFBI2CInterfaceIDs")),
                ElementsAre(0x100000000, 0x100000001));
    EXPECT_THAT(std::get<CFObject::Array>(second.get("IOFBI2CInterfaceInfo")->value), SizeIs(2));
}

TEST(IntelFramebuffers, OfIntelGraphicsAloneTellTransactionTypesThemselves) {
    auto description = macWith({monitorWith({})});
    description.graphics.framebuffers = 1;
    {
        const Mac mac(description);
        EXPECT_THAT(numbersOf(mac, "IOFramebuffer", "IOI2CTransactionTypes"), ElementsAre(19));
    }
    description.graphics.driver = "AMDFramebuffer";
    const Mac mac(description);
    EXPECT_THAT(numbersOf(mac, "IOFramebuffer", "IOI2CTransactionTypes"), ElementsAre(-1));
    EXPECT_THAT(numbersOf(mac, "IOI2CInterface", "IOI2CTransactionTypes"), ElementsAre(31));
}

TEST(IntelFramebuffers, HaveTheTransactionTypesOfTheGraphicsUnlessABusHasItsOwn) {
    auto description = macWith({monitorWith({})});
    description.graphics.transactionTypes = 15;
    description.screens[0].framebuffer.buses = std::vector<BusDescription>(3);
    description.screens[0].framebuffer.buses->at(1).transactionTypes = 3;
    description.screens[0].framebuffer.buses->at(2).hasTransactionTypes = false;
    description.graphics.framebuffers = 2;
    const Mac mac(description);
    EXPECT_THAT(numbersOf(mac, "IOI2CInterface", "IOI2CTransactionTypes"),
                ElementsAre(15, 3, -1, 15));
}

TEST(TheBusOfABuiltInPanel, LeadsToNoMonitor) {
    const Mac mac(macWith({panel()}));
    ASSERT_THAT(mac.framebuffers()[0]->buses, SizeIs(1));
    EXPECT_FALSE(mac.framebuffers()[0]->buses[0].leadsToMonitor);
}

TEST(TheNodeOfADisplay, StandsBelowItsConnection) {
    const Mac mac(macWith({panel(), monitorWith(edidWithSerial(7))}));
    const RegistryEntry& ofPanel = *mac.framebuffers()[0]->displayNode;
    const RegistryEntry& ofMonitor = *mac.framebuffers()[1]->displayNode;
    EXPECT_EQ(ofPanel.name, "AppleBacklightDisplay");
    EXPECT_EQ(ofMonitor.name, "AppleDisplay");
    for (const RegistryEntry* node : {&ofPanel, &ofMonitor}) {
        EXPECT_TRUE(node->isA("IODisplay"));
        EXPECT_TRUE(node->parent.lock()->isA("IODisplayConnect"));
    }
    EXPECT_EQ(std::get<Bytes>(ofMonitor.get("IODisplayEDID")->value), edidWithSerial(7));
    EXPECT_EQ(utf8Of(std::get<CFObject::String>(ofMonitor.get("IODisplayPrefsKey")->value)),
              "IOService:/AppleACPIPlatformExpert/PCI0@0/GFX0@2/AppleIntelFramebuffer@1/display0/"
              "AppleDisplay-5a4e-2424");
    EXPECT_EQ(utf8Of(std::get<CFObject::String>(ofPanel.get("IODisplayPrefsKey")->value)),
              "IOService:/AppleACPIPlatformExpert/PCI0@0/GFX0@2/AppleIntelFramebuffer@0/display0/"
              "AppleBacklightDisplay-610-a00c");
    EXPECT_THAT(std::get<Bytes>(ofMonitor.get("IODisplayConnectFlags")->value), SizeIs(4));
}

TEST(TheNodeOfADisplay, HasTheIdentityThatTheDictionaryHas) {
    for (const std::uint32_t serial : {0u, 7u, 0xCD646D7Bu}) {
        const Mac mac(macWith({monitorWith(edidWithSerial(serial))}));
        const PropertyMap dictionary = infoDictionary(*mac.framebuffers()[0]);
        for (const char* key : {"DisplayVendorID", "DisplayProductID", "DisplaySerialNumber"}) {
            EXPECT_THAT(numbersOf(mac, "IODisplay", key), ElementsAre(numberIn(dictionary, key)));
        }
        EXPECT_EQ(numberIn(dictionary, "DisplayVendorID"), 0x5A4E);
        EXPECT_EQ(numberIn(dictionary, "DisplayProductID"), 0x2424);
    }
}

TEST(TheNodeOfADisplay, ExtendsASerialNumberByItsSign) {
    const auto serialInNode = [](std::uint32_t serial) {
        const Mac mac(macWith({monitorWith(edidWithSerial(serial))}));
        return static_cast<std::uint64_t>(
            numbersOf(mac, "IODisplay", "DisplaySerialNumber").front());
    };
    EXPECT_EQ(serialInNode(0), 0u);
    EXPECT_EQ(serialInNode(0x7FFFFFFF), 0x7FFFFFFFu);
    EXPECT_EQ(serialInNode(0xCD646D7B), 18446744072860495227u);
}

TEST(TheNodeOfADisplay, OfAMonitorWithoutAnEDIDIsUnknown) {
    const Mac mac(macWith({monitorWith({})}));
    const RegistryEntry& node = *mac.framebuffers()[0]->displayNode;
    EXPECT_EQ(node.get("IODisplayEDID"), nullptr);
    EXPECT_THAT(numbersOf(mac, "IODisplay", "DisplayVendorID"), ElementsAre(0x756E6B6E));
    EXPECT_THAT(numbersOf(mac, "IODisplay", "DisplayProductID"), ElementsAre(0x717));
}

TEST(AFramebufferWithoutADisplay, HasABusThatReachesNoMonitor) {
    const Mac mac(macWith({}));
    ASSERT_THAT(mac.framebuffers(), SizeIs(3));
    EXPECT_THAT(mac.registry.matching({"IODisplayConnect", ""}), IsEmpty());
    const io_service_t framebuffer =
        IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching("IOFramebuffer"));
    IOItemCount count = 0;
    EXPECT_EQ(IOFBGetI2CInterfaceCount(framebuffer, &count), kIOReturnSuccess);
    EXPECT_EQ(count, 1u);
    const PropertyMap dictionary = infoDictionary(*mac.framebuffers()[0]);
    EXPECT_EQ(numberIn(dictionary, "DisplayVendorID"), 0x756E6B6E);
    EXPECT_EQ(numberIn(dictionary, "DisplayProductID"), 0x717);
}

TEST(IntelHardware, CanHaveI2CInterfacesOfNoFramebufferBeforeAllOthers) {
    MacDescription description = macWith({monitorWith(edidWithSerial(1))});
    description.strayInterfaces = {31, std::nullopt};
    description.graphics.framebuffers = 1;
    const Mac mac(description);
    EXPECT_THAT(numbersOf(mac, "IOFramebufferI2CInterface", "IOI2CTransactionTypes"),
                ElementsAre(31, -1, 19));
    const auto stray = mac.registry.matching({"", "IOFramebufferI2CInterface"}).front();
    EXPECT_FALSE(stray->parent.lock()->isA("IOFramebuffer"));
}

}  // namespace intel_hardware_test
}  // namespace simulated_mac
