#include <CoreGraphics/CoreGraphics.h>
#include <IOKit/IOKitLib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/tests/hardware/AppleMac.h"

// Displays in the registry of an Apple-silicon Mac, through the platform's functions.

namespace simulated_mac {
namespace apple_hardware_test {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Key;
using testing::Not;
using testing::Pair;
using testing::SizeIs;

constexpr auto framebufferName = "AppleCLCD2";
constexpr auto proxyName = "DCPAVServiceProxy";

/// All entries below the registry's root, in the order of the walk.
std::vector<io_registry_entry_t> walk() {
    io_iterator_t iterator = IO_OBJECT_NULL;
    EXPECT_EQ(
        IORegistryEntryCreateIterator(IORegistryGetRootEntry(kIOMasterPortDefault), kIOServicePlane,
                                      kIORegistryIterateRecursively, &iterator),
        kIOReturnSuccess);
    std::vector<io_registry_entry_t> entries;
    while (const auto entry = IOIteratorNext(iterator)) entries.push_back(entry);
    return entries;
}

/// Nothing where the name can't be read.
std::optional<std::string> nameOf(io_registry_entry_t entry) {
    io_name_t name;
    if (IORegistryEntryGetName(entry, name) != kIOReturnSuccess) return std::nullopt;
    return name;
}

std::map<std::string, std::string> propertiesOf(io_registry_entry_t entry) {
    CFMutableDictionaryRef properties = nullptr;
    EXPECT_EQ(IORegistryEntryCreateCFProperties(entry, &properties, kCFAllocatorDefault, 0),
              kIOReturnSuccess);
    return entriesOf(properties);
}

CFTypeRef property(io_registry_entry_t entry, CFStringRef key) {
    return IORegistryEntryCreateCFProperty(entry, key, kCFAllocatorDefault, 0);
}

std::string uuidOf(io_registry_entry_t framebuffer) {
    return shown(property(framebuffer, CFSTR("EDID UUID")));
}

CFDictionaryRef productAttributesOf(io_registry_entry_t framebuffer) {
    const auto attributes =
        static_cast<CFDictionaryRef>(property(framebuffer, CFSTR("DisplayAttributes")));
    return static_cast<CFDictionaryRef>(
        CFDictionaryGetValue(attributes, CFSTR("ProductAttributes")));
}

std::string locationOf(io_registry_entry_t proxy) {
    return shown(property(proxy, CFSTR("Location")));
}

io_service_t onlyEntryNamed(const char* name) {
    const auto entries = entriesNamed(name);
    EXPECT_THAT(entries, SizeIs(1));
    return entries.empty() ? IO_OBJECT_NULL : entries.front();
}

io_registry_entry_t parentOf(io_registry_entry_t entry) {
    io_registry_entry_t parent = IO_OBJECT_NULL;
    IORegistryEntryGetParentEntry(entry, kIOServicePlane, &parent);
    return parent;
}

bool isBelow(io_registry_entry_t entry, io_registry_entry_t ancestor) {
    for (auto parent = parentOf(entry); parent != IO_OBJECT_NULL; parent = parentOf(parent)) {
        if (parent == ancestor) return true;
    }
    return false;
}

/// Framebuffers by their product names and proxies by their locations, in the order of the walk.
std::vector<std::string> displayEntries() {
    std::vector<std::string> entries;
    for (const auto entry : walk()) {
        const auto name = nameOf(entry);
        if (name == framebufferName) {
            const auto product =
                CFDictionaryGetValue(productAttributesOf(entry), CFSTR("ProductName"));
            entries.push_back("framebuffer " + shown(product));
        } else if (name == proxyName) {
            entries.push_back("proxy " + locationOf(entry));
        }
    }
    return entries;
}

ProxyDescription proxyAt(PropertyValue location) {
    ProxyDescription proxy;
    proxy.location = std::move(location);
    return proxy;
}

// Entries

TEST(AppleHardware, EveryScreenHasAFramebufferAndAProxyInTheOrderOfTheScreens) {
    const Mac mac(appleMac({builtInPanel(), screenNamed("VORN one"), screenNamed("VORN two")}));
    EXPECT_THAT(displayEntries(), ElementsAre("framebuffer \"Color LCD\"", "proxy \"Embedded\"",
                                              "framebuffer \"VORN one\"", "proxy \"External\"",
                                              "framebuffer \"VORN two\"", "proxy \"External\""));
}

/// The ancestors' names with their locations, from below arm-io on.
std::string placeOf(const Registry::Entry& entry) {
    std::string place = entry->name;
    for (auto parent = entry->parent.lock(); parent->name != "arm-io";
         parent = parent->parent.lock()) {
        place.insert(
            0, parent->name + (parent->location.empty() ? "" : "@" + parent->location) + " > ");
    }
    return place;
}

TEST(AppleHardware, FramebuffersStandInNodesAndProxiesInCoprocessorsOfTheirOwn) {
    const Mac mac(appleMac({builtInPanel(), screenNamed("VORN one"), screenNamed("VORN two")}));
    std::vector<std::string> places;
    for (const auto& entry : mac.registry.walk(mac.registry.root())) {
        if (entry->name == framebufferName || entry->name == proxyName) {
            places.push_back(placeOf(entry));
        }
    }
    EXPECT_THAT(places, ElementsAre("disp0@30000000 > AppleCLCD2",
                                    "dcp@31C00000 > iop-dcp-nub > RTBuddyV2 > "
                                    "AppleDCPAgileDPDisplay > DCPAVServiceProxy",
                                    "dispext0@70000000 > AppleCLCD2",
                                    "dcpext@71C00000 > iop-dcpext-nub > RTBuddyV2 > DCPDPService > "
                                    "DCPAVServiceProxy",
                                    "dispext1@78000000 > AppleCLCD2",
                                    "dcpext1@79C00000 > iop-dcpext1-nub > RTBuddyV2 > "
                                    "DCPDPService > DCPAVServiceProxy"));
}

TEST(AppleHardware, ACoprocessorHasOtherProxiesOfTheSameLocation) {
    const Mac mac(appleMac({builtInPanel(), deskScreen()}));
    for (const char* const name :
         {"DCPAVDeviceProxy", "DCPDPServiceProxy", "DCPAVVideoInterfaceProxy"}) {
        const auto proxies = entriesNamed(name);
        ASSERT_THAT(proxies, SizeIs(2)) << name;
        EXPECT_EQ(locationOf(proxies[0]), "\"Embedded\"");
        EXPECT_EQ(locationOf(proxies[1]), "\"External\"");
        EXPECT_TRUE(mac.registry.entryOf(proxies[1])
                        ->parent.lock()
                        ->isA("AFKMailboxSharedMemoryEndpointInterface"));
    }
}

TEST(AppleHardware, SomeHundredEntriesLieBetweenAFramebufferAndItsProxy) {
    auto description = appleMac({builtInPanel(), deskScreen()});
    description.otherRegistryEntries.reset();
    const Mac mac(description);
    const auto entries = walk();
    for (const std::size_t display : {0U, 1U}) {
        const auto framebuffer =
            std::find(entries.begin(), entries.end(), entriesNamed(framebufferName).at(display));
        const auto proxy =
            std::find(framebuffer, entries.end(), entriesNamed(proxyName).at(display));
        EXPECT_GT(proxy - framebuffer, 300);
    }
}

TEST(AppleHardware, AFramebuffersEntryMayHaveAnotherName) {
    auto other = deskScreen();
    other.displayService.entryName = "IOMobileFramebufferShim";
    const Mac mac(appleMac({builtInPanel(), other}));
    EXPECT_EQ(uuidOf(onlyEntryNamed("IOMobileFramebufferShim")),
              "\"5A4E2327-0000-0000-0E21-0104B5472878\"");
    EXPECT_THAT(entriesNamed(framebufferName), SizeIs(1)) << "the panel's";
}

TEST(AppleHardware, FramebuffersAndProxiesAreFoundByTheirClass) {
    auto other = deskScreen();
    other.displayService.entryName = "IOMobileFramebufferShim";
    const Mac mac(appleMac({other}));
    for (const char* const name :
         {"IOMobileFramebuffer", "IOMobileFramebufferShim", "DCPAVServiceProxy"}) {
        EXPECT_NE(IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching(name)),
                  IO_OBJECT_NULL)
            << name;
    }
}

TEST(AppleHardware, AScreenMayHaveNoDisplayService) {
    auto without = deskScreen();
    without.displayService.present = false;
    const Mac mac(appleMac({builtInPanel(), without}));
    EXPECT_THAT(displayEntries(), ElementsAre("framebuffer \"Color LCD\"", "proxy \"Embedded\""));
    EXPECT_THAT(mac.screens(), SizeIs(2)) << "the window system knows the screen all the same";
}

TEST(AppleHardware, NoneOfItIsInAnIntelMac) {
    auto description = appleMac({builtInPanel(), deskScreen()});
    description.chip = Chip::intel;
    description.screens[1].displayService.appearsAt = 1;
    description.strayProxies = {ProxyDescription{}};
    Mac mac(description);
    mac.scheduler.runUntilQuiet();
    EXPECT_THAT(displayEntries(), IsEmpty());
    EXPECT_THAT(mac.journal.timeline(), IsEmpty());
    EXPECT_EQ(
        IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching("IOMobileFramebuffer")),
        IO_OBJECT_NULL);
}

TEST(AppleHardware, HasNoneOfAnIntelMacsFramebuffers) {
    auto screen = deskScreen();
    screen.displayID = 7;
    const Mac mac(appleMac({screen}));
    EXPECT_EQ(IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching("IOFramebuffer")),
              IO_OBJECT_NULL);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    EXPECT_EQ(CGDisplayIOServicePort(7), IO_OBJECT_NULL);
#pragma GCC diagnostic pop
}

TEST(AppleHardware, ThePlatformExpertNamesTheModelAsDataThatAZeroEnds) {
    auto description = appleMac({});
    description.model = "VB1,2";
    const Mac mac(description);
    const auto expert = IOServiceGetMatchingService(kIOMasterPortDefault,
                                                    IOServiceMatching("IOPlatformExpertDevice"));
    EXPECT_EQ(shown(property(expert, CFSTR("model"))), "<5642312c3200>");
}

// What a framebuffer publishes of its monitor

TEST(AppleHardware, AFramebufferNamesItsMonitorByTheEDID) {
    const Mac mac(appleMac({deskScreen()}));
    EXPECT_THAT(
        entriesOf(productAttributesOf(onlyEntryNamed(framebufferName))),
        ElementsAre(Pair("AlphanumericSerialNumber", "\"7XYZ123\""),
                    Pair("LegacyManufacturerID", "23118"),                          // 0x5A4E
                    Pair("ManufacturerID", "\"VRN\""), Pair("ProductID", "10019"),  // 0x2723
                    Pair("ProductName", "\"VORN K2723QX\""),
                    Pair("SerialNumber", "305419896"),  // 0x12345678
                    Pair("WeekOfManufacture", "14"), Pair("YearOfManufacture", "2023")));
}

TEST(AppleHardware, AFramebufferHasAnIdentityAndATransport) {
    const Mac mac(appleMac({deskScreen()}));
    EXPECT_THAT(propertiesOf(onlyEntryNamed(framebufferName)),
                ElementsAre(Key("DisplayAttributes"),
                            Pair("EDID UUID", "\"5A4E2327-0000-0000-0E21-0104B5472878\""),
                            Pair("Transport", "{\"Upstream\"=\"DP\",\"Downstream\"=\"DP\"}"),
                            Pair("external", "a boolean")));
}

TEST(AppleHardware, TextsThatAnEDIDLacksAreMissing) {
    auto fields = deskMonitor();
    fields.name.reset();
    fields.serialText.reset();
    fields.serial = 0;
    const Mac mac(appleMac({screenWith(makeEDID(fields))}));
    EXPECT_THAT(
        entriesOf(productAttributesOf(onlyEntryNamed(framebufferName))),
        ElementsAre(Key("LegacyManufacturerID"), Key("ManufacturerID"), Key("ProductID"),
                    Pair("SerialNumber", "0"), Key("WeekOfManufacture"), Key("YearOfManufacture")));
}

TEST(AppleHardware, NumbersAreUnsignedAsInTheEDID) {
    auto fields = deskMonitor();
    fields.product = 0xFFFF;
    fields.serial = 0xFFFFFFFF;
    fields.week = 255;
    fields.year = 2245;
    const Mac mac(appleMac({screenWith(makeEDID(fields))}));
    EXPECT_THAT(
        entriesOf(productAttributesOf(onlyEntryNamed(framebufferName))),
        IsSupersetOf({Pair("ProductID", "65535"), Pair("SerialNumber", "4294967295"),
                      Pair("WeekOfManufacture", "255"), Pair("YearOfManufacture", "2245")}));
}

TEST(AppleHardware, AMonitorWithoutAnEDIDHasNoIdentity) {
    const Mac mac(appleMac({screenWith({})}));
    EXPECT_THAT(propertiesOf(onlyEntryNamed(framebufferName)),
                ElementsAre(Pair("DisplayAttributes", "{\"ProductAttributes\"={}}"),
                            Pair("Transport", "{\"Upstream\"=\"DP\",\"Downstream\"=\"DP\"}"),
                            Pair("external", "a boolean")));
}

TEST(AppleHardware, TheBuiltInPanelHasNeitherUUIDNorTransport) {
    const Mac mac(appleMac({builtInPanel()}));
    EXPECT_THAT(propertiesOf(onlyEntryNamed(framebufferName)),
                ElementsAre(Key("DisplayAttributes")));
}

// The EDID UUID

class UUIDOfAnEDID : public testing::TestWithParam<std::pair<Bytes, std::string>> {};

TEST_P(UUIDOfAnEDID, IsMadeFromItsBytes) {
    const auto& [edid, uuid] = GetParam();
    const Mac mac(appleMac({screenWith(edid)}));
    EXPECT_EQ(uuidOf(onlyEntryNamed(framebufferName)), "\"" + uuid + "\"");
}

INSTANTIATE_TEST_SUITE_P(ThatIs, UUIDOfAnEDID,
                         testing::Values(
                             // of a usual monitor, with the serial number 0xDDCCBBAA
                             std::pair(Bytes{0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00,
                                             0x5A, 0x63, 0x39, 0xD8, 0xAA, 0xBB, 0xCC, 0xDD,
                                             0x0E, 0x1F, 0x01, 0x04, 0xB5, 0x3C, 0x22, 0x78},
                                       "5A6339D8-0000-0000-0E1F-0104B53C2278"),
                             // without a header; each byte that counts is different
                             std::pair(Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01,
                                             0x23, 0x45, 0x67, 0xFF, 0xFF, 0xFF, 0xFF, 0x89, 0xAB,
                                             0xCD, 0xEF, 0xFE, 0xDC, 0xBA, 0x98, 0xFF},
                                       "01234567-0000-0000-89AB-CDEFFEDCBA98"),
                             // cut short in the week and year of manufacture
                             std::pair(Bytes{0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x5A,
                                             0x63, 0x39, 0xD8, 0xAA, 0xBB, 0xCC, 0xDD, 0x0E},
                                       "5A6339D8-0000-0000-0E00-000000000000"),
                             std::pair(Bytes{0x00}, "00000000-0000-0000-0000-000000000000")));

TEST(AppleHardware, TwinsHaveTheSameUUIDWhateverTheirSerialNumbers) {
    auto twin = deskMonitor();
    twin.serial = 1;
    const Mac mac(appleMac({deskScreen(), screenWith(makeEDID(twin))}));
    const auto framebuffers = entriesNamed(framebufferName);
    ASSERT_THAT(framebuffers, SizeIs(2));
    EXPECT_EQ(uuidOf(framebuffers[0]), uuidOf(framebuffers[1]));
}

// Properties that the description changes

TEST(AppleHardware, APropertyOfAFramebufferCanBeChangedAddedAndTakenOut) {
    auto screen = deskScreen();
    screen.displayService.properties = {{"EDID UUID", text("odd")},
                                        {"Transport", missing()},
                                        {"Further", number(-1)},
                                        {"Never", missing()}};
    const Mac mac(appleMac({screen}));
    EXPECT_THAT(propertiesOf(onlyEntryNamed(framebufferName)),
                ElementsAre(Key("DisplayAttributes"), Pair("EDID UUID", "\"odd\""),
                            Pair("Further", "-1"), Key("external")));
}

TEST(AppleHardware, APropertyOfAFramebufferMayHaveAnotherType) {
    auto screen = deskScreen();
    screen.displayService.properties = {{"EDID UUID", PropertyValue{Bytes{0x5A, 0x4E}}},
                                        {"DisplayAttributes", number(7)},
                                        {"Transport", text("DP")}};
    const Mac mac(appleMac({screen}));
    EXPECT_THAT(propertiesOf(onlyEntryNamed(framebufferName)),
                ElementsAre(Pair("DisplayAttributes", "7"), Pair("EDID UUID", "<5a4e>"),
                            Pair("Transport", "\"DP\""), Key("external")));
}

TEST(AppleHardware, ATransportMayLeadElsewhere) {
    auto screen = deskScreen();
    screen.displayService.properties = {
        {"Transport",
         PropertyValue{PropertyMap{{"Downstream", text("HDMI")}, {"Upstream", missing()}}}}};
    const Mac mac(appleMac({screen}));
    EXPECT_EQ(shown(property(onlyEntryNamed(framebufferName), CFSTR("Transport"))),
              "{\"Downstream\"=\"HDMI\"}");
}

TEST(AppleHardware, AProductAttributeCanBeChangedAddedAndTakenOut) {
    auto screen = deskScreen();
    screen.displayService.productAttributes = {{"ProductName", text("VORN other")},
                                               {"SerialNumber", text("9")},
                                               {"AlphanumericSerialNumber", missing()},
                                               {"Further", number(4)}};
    const Mac mac(appleMac({screen}));
    EXPECT_THAT(entriesOf(productAttributesOf(onlyEntryNamed(framebufferName))),
                ElementsAre(Pair("Further", "4"), Pair("LegacyManufacturerID", "23118"),
                            Pair("ManufacturerID", "\"VRN\""), Pair("ProductID", "10019"),
                            Pair("ProductName", "\"VORN other\""), Pair("SerialNumber", "\"9\""),
                            Pair("WeekOfManufacture", "14"), Pair("YearOfManufacture", "2023")));
}

TEST(AppleHardware, AMonitorWithoutAnEDIDCanBeGivenAnIdentity) {
    auto screen = screenWith({});
    screen.displayService.properties = {{"EDID UUID", text("odd")}};
    screen.displayService.productAttributes = {{"ProductName", text("VORN given")}};
    const Mac mac(appleMac({screen}));
    const auto framebuffer = onlyEntryNamed(framebufferName);
    EXPECT_EQ(uuidOf(framebuffer), "\"odd\"");
    EXPECT_EQ(shown(productAttributesOf(framebuffer)), "{\"ProductName\"=\"VORN given\"}");
}

// Names that can't be read

TEST(AppleHardware, TheNameOfAFramebufferMayBeUnreadable) {
    auto screen = deskScreen();
    screen.displayService.nameReadable = false;
    const Mac mac(appleMac({screen}));
    const auto framebuffer =
        IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching("IOMobileFramebuffer"));
    EXPECT_EQ(nameOf(framebuffer), std::nullopt);
    EXPECT_THAT(propertiesOf(framebuffer), Contains(Key("EDID UUID"))) << "its properties are";
    EXPECT_EQ(nameOf(onlyEntryNamed(proxyName)), proxyName) << "the proxy's name is";
}

TEST(AppleHardware, TheNameOfAProxyMayBeUnreadable) {
    auto screen = deskScreen();
    screen.displayService.proxies = {ProxyDescription{}, ProxyDescription{}};
    screen.displayService.proxies[1].nameReadable = false;
    auto description = appleMac({screen});
    description.strayProxies = {ProxyDescription{}};
    description.strayProxies[0].nameReadable = false;
    const Mac mac(description);
    io_iterator_t proxies = IO_OBJECT_NULL;
    IOServiceGetMatchingServices(kIOMasterPortDefault, IOServiceMatching(proxyName), &proxies);
    EXPECT_EQ(nameOf(IOIteratorNext(proxies)), std::nullopt) << "the stray one";
    EXPECT_EQ(nameOf(IOIteratorNext(proxies)), proxyName);
    EXPECT_EQ(nameOf(IOIteratorNext(proxies)), std::nullopt);
    EXPECT_EQ(nameOf(onlyEntryNamed(framebufferName)), framebufferName);
}

// Proxies

TEST(AppleHardware, AProxyPublishesItsLocationAndUnit) {
    const Mac mac(appleMac({deskScreen()}));
    EXPECT_THAT(propertiesOf(onlyEntryNamed(proxyName)),
                ElementsAre(Pair("IOAVServiceUserInterfaceSupported", "a boolean"),
                            Pair("Location", "\"External\""), Pair("Unit", "0")));
}

TEST(AppleHardware, AScreenMayHaveSeveralProxiesAnywhere) {
    auto screen = deskScreen();
    screen.displayService.proxies = {proxyAt(text("External-1")), proxyAt(number(7)),
                                     proxyAt(missing()), ProxyDescription{}};
    const Mac mac(appleMac({screen}));
    EXPECT_THAT(displayEntries(),
                ElementsAre("framebuffer \"VORN K2723QX\"", "proxy \"External-1\"", "proxy 7",
                            "proxy missing", "proxy \"External\""));
    for (const auto proxy : entriesNamed(proxyName)) {
        EXPECT_FALSE(isBelow(proxy, onlyEntryNamed(framebufferName)));
    }
}

TEST(AppleHardware, AScreenMayHaveNoProxy) {
    auto screen = deskScreen();
    screen.displayService.proxies.clear();
    const Mac mac(appleMac({screen}));
    EXPECT_THAT(displayEntries(), ElementsAre("framebuffer \"VORN K2723QX\""));
}

TEST(AppleHardware, AProxyOfTheBuiltInPanelMayBeElsewhere) {
    auto panel = builtInPanel();
    panel.displayService.proxies = {proxyAt(text("External"))};
    const Mac mac(appleMac({panel}));
    EXPECT_EQ(locationOf(onlyEntryNamed(proxyName)), "\"External\"");
}

TEST(AppleHardware, StrayProxiesComeBeforeEveryFramebufferAndBelowNone) {
    auto description = appleMac({builtInPanel(), deskScreen()});
    description.strayProxies = {ProxyDescription{}, proxyAt(text("Odd")), proxyAt(missing())};
    const Mac mac(description);
    EXPECT_THAT(displayEntries(),
                ElementsAre("proxy \"External\"", "proxy \"Odd\"", "proxy missing",
                            "framebuffer \"Color LCD\"", "proxy \"Embedded\"",
                            "framebuffer \"VORN K2723QX\"", "proxy \"External\""));
    const auto proxies = entriesNamed(proxyName);
    for (const auto framebuffer : entriesNamed(framebufferName)) {
        for (std::size_t stray = 0; stray < 3; ++stray) {
            EXPECT_FALSE(isBelow(proxies.at(stray), framebuffer));
        }
    }
}

// Order

TEST(AppleHardware, APositionPutsAFramebufferAndItsProxiesElsewhereInTheWalk) {
    auto description = appleMac({builtInPanel(), screenNamed("VORN one"), screenNamed("VORN two")});
    description.screens[0].displayService.position = 2;
    description.screens[1].displayService.position = 1;
    description.screens[2].displayService.position = 0;
    const Mac mac(description);
    EXPECT_THAT(displayEntries(), ElementsAre("framebuffer \"VORN two\"", "proxy \"External\"",
                                              "framebuffer \"VORN one\"", "proxy \"External\"",
                                              "framebuffer \"Color LCD\"", "proxy \"Embedded\""));
}

TEST(AppleHardware, APositionIsTakenWhateverTheOrderOfTheOtherScreens) {
    auto description = appleMac({builtInPanel(), screenNamed("VORN one"), screenNamed("VORN two")});
    description.screens[2].displayService.position = 0;
    const Mac mac(description);
    EXPECT_THAT(displayEntries(), ElementsAre("framebuffer \"VORN two\"", "proxy \"External\"",
                                              "framebuffer \"Color LCD\"", "proxy \"Embedded\"",
                                              "framebuffer \"VORN one\"", "proxy \"External\""));
}

TEST(AppleHardware, APositionBeyondTheLastIsTheLast) {
    auto description = appleMac({builtInPanel(), deskScreen()});
    description.screens[0].displayService.position = 1000;
    const Mac mac(description);
    EXPECT_THAT(displayEntries(), ElementsAre("framebuffer \"VORN K2723QX\"", "proxy \"External\"",
                                              "framebuffer \"Color LCD\"", "proxy \"Embedded\""));
}

TEST(AppleHardware, APositionDoesNotMoveTheScreenInTheScreenList) {
    auto description = appleMac({screenNamed("VORN one"), screenNamed("VORN two")});
    description.screens[0].displayService.position = 1;
    description.screens[1].displayService.position = 0;
    const Mac mac(description);
    ASSERT_THAT(mac.screens(), SizeIs(2));
    EXPECT_EQ(mac.screens()[0]->localizedName, "VORN one");
    EXPECT_EQ(mac.screens()[1]->localizedName, "VORN two");
}

// Entries of no interest

TEST(AppleHardware, EveryEntryIsAService) {
    auto description = appleMac({builtInPanel(), deskScreen()});
    description.strayProxies = {ProxyDescription{}};
    const Mac mac(description);
    EXPECT_THAT(mac.registry.matching({"IOService", ""}), SizeIs(walk().size()));
}

TEST(AppleHardware, NoTwoDevicesHaveTheSamePath) {
    auto description = appleMac({});
    description.otherRegistryEntries = 200;
    const Mac mac(description);
    std::set<std::string> paths;
    const auto devices = mac.registry.matching({"", "device"});
    for (const auto& device : devices) paths.insert(mac.registry.pathOf(device));
    EXPECT_THAT(paths, SizeIs(devices.size()));
}

std::size_t sizeOfWalk(std::optional<std::uint32_t> otherEntries) {
    auto description = appleMac({builtInPanel(), deskScreen()});
    description.otherRegistryEntries = otherEntries;
    const Mac mac(description);
    return walk().size();
}

TEST(AppleHardware, TheRegistryHasAsManyOtherEntriesAsAreAskedFor) {
    const std::size_t bare = sizeOfWalk(0);
    for (const std::uint32_t others : {1u, 2u, 16u, 17u, 33u, 1000u}) {
        EXPECT_EQ(sizeOfWalk(others), bare + others);
    }
}

TEST(AppleHardware, TheRegistryUsuallyHasThreeThousandOtherEntries) {
    EXPECT_EQ(sizeOfWalk(std::nullopt), sizeOfWalk(0) + 3000);
}

TEST(AppleHardware, OtherEntriesStandBeforeAndAfterTheDisplays) {
    const auto entriesAroundDisplays = [](std::uint32_t others) {
        auto description = appleMac({deskScreen()});
        description.otherRegistryEntries = others;
        const Mac mac(description);
        const auto entries = walk();
        const auto first =
            std::find(entries.begin(), entries.end(), onlyEntryNamed(framebufferName));
        const auto last = std::find(first, entries.end(), onlyEntryNamed(proxyName));
        return std::pair(first - entries.begin(), entries.end() - last);
    };
    const auto [before, after] = entriesAroundDisplays(0);
    const auto [moreBefore, moreAfter] = entriesAroundDisplays(40);
    EXPECT_GT(moreBefore, before);
    EXPECT_GT(moreAfter, after);
}

TEST(AppleHardware, OtherEntriesAreNeitherFramebuffersNorProxies) {
    auto description = appleMac({deskScreen()});
    description.otherRegistryEntries = 1000;
    const Mac mac(description);
    EXPECT_THAT(displayEntries(),
                ElementsAre("framebuffer \"VORN K2723QX\"", "proxy \"External\""));
}

// Display services that appear later

ScreenDescription lateScreen(const std::string& name, double appearsAt) {
    auto screen = screenNamed(name);
    screen.displayService.appearsAt = appearsAt;
    return screen;
}

/// The display entries that a walk at each of the times finds.
std::map<Time, std::vector<std::string>> displayEntriesAt(Mac& mac,
                                                          const std::vector<Time>& times) {
    std::map<Time, std::vector<std::string>> found;
    for (const Time time : times) {
        mac.scheduler.onMainAt(time, [&found, time] { found[time] = displayEntries(); });
    }
    mac.scheduler.runUntilQuiet();
    return found;
}

TEST(AppleHardware, ALateDisplayServiceAppearsOnTheVirtualClock) {
    Mac mac(appleMac({builtInPanel(), lateScreen("VORN late", 4)}));
    auto found = displayEntriesAt(mac, {0s, 3999999us, 4s});
    EXPECT_THAT(found[0s], ElementsAre("framebuffer \"Color LCD\"", "proxy \"Embedded\""));
    EXPECT_EQ(found[3999999us], found[0s]);
    EXPECT_THAT(found[4s], ElementsAre("framebuffer \"Color LCD\"", "proxy \"Embedded\"",
                                       "framebuffer \"VORN late\"", "proxy \"External\""));
}

TEST(AppleHardware, ALateDisplayServiceIsAsCompleteAsAnyOther) {
    auto late = lateScreen("VORN K2723QX", 4);
    late.displayService.properties = {{"Further", number(1)}};
    late.displayService.proxies = {proxyAt(text("one")), proxyAt(text("two"))};
    Mac mac(appleMac({late}));
    mac.scheduler.runUntilQuiet();
    const auto framebuffer = onlyEntryNamed(framebufferName);
    EXPECT_EQ(uuidOf(framebuffer), "\"5A4E2327-0000-0000-0E21-0104B5472878\"");
    EXPECT_EQ(shown(property(framebuffer, CFSTR("Further"))), "1");
    EXPECT_THAT(displayEntries(),
                ElementsAre("framebuffer \"VORN K2723QX\"", "proxy \"one\"", "proxy \"two\""));
}

TEST(AppleHardware, LateDisplayServicesComeAfterTheOthersInTheOrderOfTheirAppearance) {
    Mac mac(appleMac({lateScreen("VORN last", 5), lateScreen("VORN late", 0.5), deskScreen()}));
    auto found = displayEntriesAt(mac, {0s, 500ms, 5s});
    EXPECT_THAT(found[0s], ElementsAre("framebuffer \"VORN K2723QX\"", "proxy \"External\""));
    EXPECT_THAT(found[500ms], ElementsAre("framebuffer \"VORN K2723QX\"", "proxy \"External\"",
                                          "framebuffer \"VORN late\"", "proxy \"External\""));
    EXPECT_THAT(found[5s], ElementsAre("framebuffer \"VORN K2723QX\"", "proxy \"External\"",
                                       "framebuffer \"VORN late\"", "proxy \"External\"",
                                       "framebuffer \"VORN last\"", "proxy \"External\""));
}

TEST(AppleHardware, AnIteratorThatWasMadeBeforeDoesNotSeeALateDisplayService) {
    Mac mac(appleMac({lateScreen("VORN late", 4)}));
    io_iterator_t before = IO_OBJECT_NULL;
    IOServiceGetMatchingServices(kIOMasterPortDefault, IOServiceNameMatching(proxyName), &before);
    mac.scheduler.runUntilQuiet();
    EXPECT_EQ(IOIteratorNext(before), IO_OBJECT_NULL);
    EXPECT_THAT(entriesNamed(proxyName), SizeIs(1));
}

TEST(AppleHardware, TheTimelineShowsALateDisplayServiceAndNoOther) {
    auto never = lateScreen("VORN never", 2);
    never.displayService.present = false;
    Mac mac(appleMac({builtInPanel(), never, lateScreen("VORN late", 4)}));
    mac.scheduler.runUntilQuiet();
    const auto timeline = mac.journal.timeline();
    ASSERT_THAT(timeline, SizeIs(1));
    EXPECT_EQ(timeline[0].time, Time(4s));
    EXPECT_EQ(timeline[0].source, "mac");
    EXPECT_EQ(timeline[0].what, "the display service of VORN late appears");
    EXPECT_THAT(displayEntries(), Not(Contains("framebuffer \"VORN never\"")));
}

}  // namespace apple_hardware_test
}  // namespace simulated_mac
