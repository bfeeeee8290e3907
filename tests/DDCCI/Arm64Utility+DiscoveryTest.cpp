#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <tuple>

#include "plugin/DDCCI/Arm64Utility.h"
#include "simulated_mac/hardware/HardwareTree.h"
#include "simulated_mac/machine/CallText.h"
#include "tests/support/AppleMac.h"

namespace arm64_utility_discovery_test {

using simulated_mac::makeEntry;
using simulated_mac::Registry;
using test::appleMacWith;
using test::dictionary;
using test::Mac;
using test::MacDescription;
using test::missing;
using test::number;
using test::onlyAVServices;
using test::PropertyMap;
using test::PropertyValue;
using test::proxyAt;
using test::ProxyDescription;
using test::proxyOf;
using test::proxyThatDoesNotOpen;
using test::ScreenDescription;
using test::text;
using test::usesOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using OptionalText = std::optional<std::string>;

constexpr auto modelName = "VORN K2790Z";

/// The EDID UUID of the monitors here.
constexpr auto monitorUUID = "5A4E3412-0000-0000-011F-0104B53C2278";

ScreenDescription monitor() {
    return test::monitorNamed(modelName);
}

ScreenDescription monitorWithProxies(std::vector<ProxyDescription> proxies) {
    ScreenDescription screen = monitor();
    screen.displayService.proxies = std::move(proxies);
    return screen;
}

ScreenDescription monitorOnFramebuffer(const std::string& entryName) {
    ScreenDescription screen = monitor();
    screen.displayService.entryName = entryName;
    return screen;
}

/// All fields of a record, in order.
auto fieldsOf(const IOregService& service) {
    return std::tuple(service.edidUUID, service.manufacturerID, service.productName,
                      service.serialNumber, service.location, service.transportUpstream,
                      service.transportDownstream, service.avService, service.serviceLocation);
}

/// Texts that resemble "External" without being equal to it.
const std::vector<std::string> otherLocations = {"external",   "EXTERNAL", "External ", " External",
                                                 "External-1", "Externa",  "Embedded",  ""};

// The walk.

class DisplayServiceWalk : public ::testing::Test {
  protected:
    void TearDown() override {
        EXPECT_THAT(mac->journal.misuses(), IsEmpty());
        EXPECT_THAT(mac->journal.systemLog(), IsEmpty());
    }

    void walk(MacDescription description) {
        mac.emplace(std::move(description));
        mac->trace.countUses();
        walkAgain();
    }
    void walk(std::vector<ScreenDescription> screens) { walk(appleMacWith(std::move(screens))); }
    void walkAgain() { found = Arm64Utility().getIoregServicesForMatching(); }

    void walkWithFault(const std::string& call, std::uint64_t nth) {
        MacDescription description = appleMacWith({test::builtInPanel(), monitor()});
        description.faults = {{call, nth, false, {}}};
        walk(std::move(description));
    }

    template <class Field>
    std::vector<Field> ofEach(Field IOregService::*field) const {
        std::vector<Field> values;
        for (const IOregService& service : found) values.push_back(service.*field);
        return values;
    }
    std::vector<std::int32_t> ordinals() const { return ofEach(&IOregService::serviceLocation); }
    std::vector<OptionalText> locations() const { return ofEach(&IOregService::location); }
    std::vector<OptionalText> names() const { return ofEach(&IOregService::productName); }

    std::optional<Mac> mac;
    std::vector<IOregService> found;
};

TEST_F(DisplayServiceWalk, WithoutAnExternalDisplayListsTheBuiltInPanelsProxyWithoutAService) {
    walk({test::builtInPanel()});
    EXPECT_THAT(locations(), ElementsAre("Embedded"));
    EXPECT_EQ(found.at(0).avService, nullptr);
    EXPECT_EQ(usesOf(*mac, "IOAVServiceCreateWithService"), 0u);
}

TEST_F(DisplayServiceWalk, GivesTwoExternalDisplaysTheOrdinalsOfTheirFramebuffers) {
    walk({test::builtInPanel(), monitor(), monitor()});
    EXPECT_THAT(ordinals(), ElementsAre(1, 2, 3));
    EXPECT_THAT(locations(), ElementsAre("Embedded", "External", "External"));
}

TEST_F(DisplayServiceWalk, FillsEveryFieldOfAnExternalDisplay) {
    walk({test::builtInPanel(), monitor()});
    const IOregService& service = found.at(1);
    EXPECT_EQ(service.edidUUID, monitorUUID);
    EXPECT_EQ(service.manufacturerID, "VRN");
    EXPECT_EQ(service.productName, modelName);
    EXPECT_EQ(service.serialNumber, 0x12345678);
    EXPECT_EQ(service.location, "External");
    EXPECT_EQ(service.transportUpstream, "DP");
    EXPECT_EQ(service.transportDownstream, "DP");
    EXPECT_EQ(proxyOf(service.avService), mac->displays()[1]->proxies.at(0)->id);
    EXPECT_EQ(service.serviceLocation, 2);
}

TEST_F(DisplayServiceWalk, ListsAnIdentityWithoutPropertiesWhenItsProxyIsReached) {
    walk({test::builtInPanel()});
    IOregService expected;
    expected.location = "Embedded";
    expected.serviceLocation = 1;
    EXPECT_EQ(fieldsOf(found.at(0)), fieldsOf(expected));
}

TEST_F(DisplayServiceWalk, KnowsBothFramebufferClasses) {
    walk({monitorOnFramebuffer("AppleCLCD2"), monitorOnFramebuffer("IOMobileFramebufferShim")});
    EXPECT_THAT(ordinals(), ElementsAre(1, 2));
    EXPECT_THAT(names(), ElementsAre(modelName, modelName));
}

TEST_F(DisplayServiceWalk, DoesNotTakeALowerCaseNameForAFramebuffer) {
    walk({test::builtInPanel(), monitorOnFramebuffer("appleclcd2")});
    EXPECT_THAT(ordinals(), ElementsAre(1, 1));
    EXPECT_THAT(names(), ElementsAre(std::nullopt, std::nullopt));
}

TEST_F(DisplayServiceWalk, CountsFramebuffersThatHaveNoProxy) {
    walk({monitorWithProxies({}), monitor()});
    EXPECT_THAT(ordinals(), ElementsAre(2));
}

TEST_F(DisplayServiceWalk, GoesInTheRegistrysOrder) {
    auto last = test::monitorNamed("VORN K2425Y");
    last.displayService.position = 9;
    walk({last, monitor()});
    EXPECT_THAT(names(), ElementsAre(modelName, "VORN K2425Y"));
    EXPECT_THAT(ordinals(), ElementsAre(1, 2));
}

TEST_F(DisplayServiceWalk, ListsAProxyBeforeAnyFramebufferWithoutIdentity) {
    auto description = appleMacWith({monitor()});
    description.strayProxies = {proxyAt(text("Embedded"))};
    walk(description);
    ASSERT_THAT(found, SizeIs(2));
    IOregService expected;
    expected.location = "Embedded";
    EXPECT_EQ(fieldsOf(found.at(0)), fieldsOf(expected));
    EXPECT_EQ(found.at(1).serviceLocation, 1);
}

TEST_F(DisplayServiceWalk, TriesToOpenAnExternalProxyBeforeAnyFramebuffer) {
    auto description = appleMacWith({});
    description.strayProxies = {proxyAt(text("External"))};
    walk(description);
    EXPECT_THAT(locations(), ElementsAre("External"));
    EXPECT_EQ(usesOf(*mac, "IOAVServiceCreateWithService"), 1u);
}

TEST_F(DisplayServiceWalk, GivesASecondProxyTheIdentityAndOrdinalOfItsFramebuffer) {
    walk({test::builtInPanel(), monitorWithProxies({{}, {}})});
    EXPECT_THAT(ordinals(), ElementsAre(1, 2, 2));
    EXPECT_THAT(names(), ElementsAre(std::nullopt, modelName, modelName));
}

TEST_F(DisplayServiceWalk, OpensEachProxyOfAFramebuffer) {
    walk({monitorWithProxies({{}, {}})});
    const auto& proxies = mac->displays()[0]->proxies;
    EXPECT_EQ(proxyOf(found.at(0).avService), proxies.at(0)->id);
    EXPECT_EQ(proxyOf(found.at(1).avService), proxies.at(1)->id);
}

TEST_F(DisplayServiceWalk, LetsASecondProxyThatIsNotExternalInheritTheService) {
    walk({monitorWithProxies({{}, proxyAt(text("Embedded"))})});
    EXPECT_THAT(locations(), ElementsAre("External", "Embedded"));
    ASSERT_NE(found.at(0).avService, nullptr);
    EXPECT_EQ(found.at(1).avService, found.at(0).avService);
}

TEST_F(DisplayServiceWalk, LetsASecondProxyWithoutALocationInheritLocationAndService) {
    walk({monitorWithProxies({{}, proxyAt(missing)})});
    ASSERT_THAT(found, SizeIs(2));
    EXPECT_EQ(fieldsOf(found.at(1)), fieldsOf(found.at(0)));
    EXPECT_EQ(usesOf(*mac, "IOAVServiceCreateWithService"), 1u);
}

TEST_F(DisplayServiceWalk, LeavesASecondProxyThatDoesNotOpenWithoutAService) {
    walk({monitorWithProxies({{}, proxyThatDoesNotOpen()})});
    EXPECT_NE(found.at(0).avService, nullptr);
    EXPECT_EQ(found.at(1).avService, nullptr);
}

TEST_F(DisplayServiceWalk, LetsNothingPassFromOneFramebufferToTheNext) {
    walk({monitor(), monitorWithProxies({proxyAt(missing)})});
    ASSERT_THAT(found, SizeIs(2));
    EXPECT_NE(found.at(0).avService, nullptr);
    EXPECT_EQ(found.at(1).location, std::nullopt);
    EXPECT_EQ(found.at(1).avService, nullptr);
}

TEST_F(DisplayServiceWalk, ListsAProxyWithoutALocationAfterItsFramebufferWithNone) {
    walk({monitorWithProxies({proxyAt(missing)})});
    EXPECT_THAT(locations(), ElementsAre(std::nullopt));
    EXPECT_EQ(found.at(0).productName, modelName);
    EXPECT_EQ(usesOf(*mac, "IOAVServiceCreateWithService"), 0u);
}

TEST_F(DisplayServiceWalk, ListsAProxyThatDoesNotOpenWithoutAService) {
    walk({monitorWithProxies({proxyThatDoesNotOpen()})});
    EXPECT_THAT(locations(), ElementsAre("External"));
    EXPECT_EQ(found.at(0).avService, nullptr);
    EXPECT_EQ(found.at(0).edidUUID, monitorUUID);
}

TEST_F(DisplayServiceWalk, OfARegistryWithoutDisplaysListsNothing) {
    walk(appleMacWith({}));
    EXPECT_THAT(found, IsEmpty());
}

TEST_F(DisplayServiceWalk, OfAnIntelMacListsNothing) {
    walk(test::macWith({monitor()}));
    EXPECT_THAT(found, IsEmpty());
}

TEST_F(DisplayServiceWalk, IsOneRecursiveIterationOverTheWholeServicePlane) {
    mac.emplace(appleMacWith({test::builtInPanel(), monitor()}));
    mac->trace.keepOnly({"IORegistryGetRootEntry", "IORegistryEntryCreateIterator"});
    walkAgain();
    const auto calls = mac->trace.calls();
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_EQ(calls[0].call, "IORegistryGetRootEntry");
    EXPECT_THAT(argumentsText(calls[1]),
                ::testing::EndsWith("(Root), plane IOService, options 0x1"));
}

TEST_F(DisplayServiceWalk, ListsNothingWhenItsIteratorCannotBeCreated) {
    walkWithFault("IORegistryEntryCreateIterator", 1);
    EXPECT_THAT(found, IsEmpty());
    EXPECT_EQ(usesOf(*mac, "IOIteratorNext"), 0u);
}

TEST_F(DisplayServiceWalk, ListsNothingWhenTheRegistryHasNoRoot) {
    walkWithFault("IORegistryGetRootEntry", 1);
    EXPECT_THAT(found, IsEmpty());
}

TEST_F(DisplayServiceWalk, EndsAtAFramebufferWhoseNameCannotBeRead) {
    auto unreadable = monitor();
    unreadable.displayService.nameReadable = false;
    walk({test::builtInPanel(), monitor(), unreadable, monitor()});
    EXPECT_THAT(ordinals(), ElementsAre(1, 2));
    EXPECT_THAT(names(), ElementsAre(std::nullopt, modelName));
}

TEST_F(DisplayServiceWalk, EndsAtAProxyWhoseNameCannotBeRead) {
    ProxyDescription unreadable;
    unreadable.nameReadable = false;
    walk({monitor(), monitorWithProxies({unreadable}), monitor()});
    EXPECT_THAT(ordinals(), ElementsAre(1));
}

TEST_F(DisplayServiceWalk, EndsAtAnEntryOfNoInterestWhoseNameCannotBeRead) {
    walkWithFault("IORegistryEntryGetName", 1);
    EXPECT_THAT(found, IsEmpty());
    EXPECT_EQ(usesOf(*mac, "IOIteratorNext"), 1u);
}

TEST_F(DisplayServiceWalk, ListsADisplayWhoseServiceCreationFailsWithoutAService) {
    walkWithFault("IOAVServiceCreateWithService", 1);
    EXPECT_THAT(locations(), ElementsAre("Embedded", "External"));
    EXPECT_EQ(found.at(1).avService, nullptr);
}

TEST_F(DisplayServiceWalk, FindsServicesThatAppearedSinceTheLastOne) {
    auto late = monitor();
    late.displayService.appearsAt = 2;
    mac.emplace(appleMacWith({monitor(), late}));
    walkAgain();
    EXPECT_THAT(ordinals(), ElementsAre(1));
    mac->scheduler.runUntilQuiet();
    walkAgain();
    EXPECT_THAT(ordinals(), ElementsAre(1, 2));
}

TEST_F(DisplayServiceWalk, MakesNewReferencesEachTime) {
    walk({monitor()});
    const IOregService before = found.at(0);
    walkAgain();
    EXPECT_NE(found.at(0).avService, before.avService);
    EXPECT_EQ(proxyOf(found.at(0).avService), proxyOf(before.avService));
    EXPECT_EQ(mac->ledger.heldByCall(), onlyAVServices(2));
}

TEST_F(DisplayServiceWalk, HoldsTheAVServicesAndNothingElse) {
    walk({test::builtInPanel(), monitor(), monitorWithProxies({{}, {}, proxyThatDoesNotOpen()})});
    EXPECT_THAT(found, SizeIs(5));
    EXPECT_EQ(mac->ledger.heldByCall(), onlyAVServices(3));
}

TEST_F(DisplayServiceWalk, ThatEndsEarlyHoldsTheAVServicesAndNothingElse) {
    ProxyDescription unreadable;
    unreadable.nameReadable = false;
    walk({monitor(), monitorWithProxies({unreadable})});
    EXPECT_EQ(mac->ledger.heldByCall(), onlyAVServices(1));
}

TEST(DisplayServiceWalkWithFaults, HoldsNothingButAVServicesWhicheverCallFails) {
    auto description = appleMacWith({test::builtInPanel(), monitorWithProxies({{}, {}})});
    description.otherRegistryEntries = 2;
    test::expectThatNoFailureLeaksAReference(
        description, [] { (void)Arm64Utility().getIoregServicesForMatching(); });
}

// The next entry of interest.

class NextEntryOfInterest : public ::testing::Test {
  protected:
    void TearDown() override { EXPECT_THAT(mac.journal.misuses(), IsEmpty()); }

    /// Has the registry hold entries with these names, and an iterator over them.
    void registryHas(const std::vector<std::string>& names) {
        for (const std::string& entryName : names) {
            entries.push_back(
                mac.registry.add(mac.registry.root(), makeEntry(entryName, "", {"IOService"})));
        }
        iterator = mac.registry.handOutIterator(entries, "IORegistryEntryCreateIterator");
    }
    bool next() {
        return Arm64Utility().ioregIterateToNextObjectOfInterest(iterator, &name, &service);
    }
    /// Nothing more is found, and the entry says so.
    bool isAtItsEnd() { return !next() && service == IO_OBJECT_NULL; }
    /// What next() found: which of the entries.
    Registry::Entry entry() const { return mac.registry.entryOf(service); }

    std::map<std::pair<std::string, std::string>, std::int64_t> heldWithEntries(
        std::int64_t count) const {
        std::map<std::pair<std::string, std::string>, std::int64_t> held;
        held[{"io_iterator_t", "IORegistryEntryCreateIterator"}] = 1;
        if (count > 0) held[{"io_registry_entry_t", "IOIteratorNext"}] = count;
        return held;
    }

    Mac mac{test::macWith({})};
    std::vector<Registry::Entry> entries;
    io_iterator_t iterator = IO_OBJECT_NULL;
    std::string name;
    io_service_t service = 0x7777;
};

TEST_F(NextEntryOfInterest, IsAnyOfThreeNames) {
    registryHas({"IOMobileFramebufferShim", "DCPAVServiceProxy", "AppleCLCD2"});
    for (const Registry::Entry& expected : entries) {
        ASSERT_TRUE(next());
        EXPECT_EQ(entry(), expected);
        EXPECT_EQ(name, expected->name);
    }
    EXPECT_TRUE(isAtItsEnd());
}

TEST_F(NextEntryOfInterest, IsFoundAfterOthers) {
    registryHas({"AppleDCPLinkService", "DCPAVDeviceProxy", "AppleCLCD2", "IOService"});
    ASSERT_TRUE(next());
    EXPECT_EQ(entry(), entries.at(2));
    EXPECT_EQ(name, "AppleCLCD2");
    EXPECT_TRUE(isAtItsEnd());
}

TEST_F(NextEntryOfInterest, HasExactlyOneOfTheNames) {
    registryHas({"appleclcd2", "APPLECLCD2", "AppleCLCD", "AppleCLCD22", "AppleCLCD2 ",
                 " AppleCLCD2", "AppleCLCD2,1", "dcpavserviceproxy", "DCPAVServiceProx",
                 "DCPAVServiceProxy2", "IOMobileFramebuffer", "iomobileframebuffershim",
                 "IOMobileFramebufferShimUserClient", ""});
    EXPECT_TRUE(isAtItsEnd());
}

TEST_F(NextEntryOfInterest, IsNotALongNameThatBeginsLikeOne) {
    registryHas({"AppleCLCD2" + std::string(300, 'x'), std::string(127, 'A')});
    EXPECT_TRUE(isAtItsEnd());
}

TEST_F(NextEntryOfInterest, IsNoneAtTheEndOfTheWalk) {
    registryHas({});
    EXPECT_TRUE(isAtItsEnd());
    EXPECT_TRUE(isAtItsEnd());
}

TEST_F(NextEntryOfInterest, IsNoneWithoutAnIterator) {
    EXPECT_TRUE(isAtItsEnd());
}

TEST_F(NextEntryOfInterest, IsNoneWhenItsNameCannotBeRead) {
    registryHas({"AppleCLCD2", "AppleCLCD2"});
    entries.at(0)->nameReadable = false;
    EXPECT_TRUE(isAtItsEnd());
}

TEST_F(NextEntryOfInterest, IsNoneWhenTheNameOfAnotherBeforeItCannotBeRead) {
    registryHas({"IOService", "AppleCLCD2"});
    entries.at(0)->nameReadable = false;
    EXPECT_TRUE(isAtItsEnd());
}

TEST_F(NextEntryOfInterest, IsTheOnlyReferenceThatTheCallerGets) {
    registryHas({"IOService", "IOService", "AppleCLCD2"});
    ASSERT_TRUE(next());
    EXPECT_EQ(mac.ledger.heldByCall(), heldWithEntries(1));
    EXPECT_EQ(IOObjectRelease(service), kIOReturnSuccess);
    EXPECT_TRUE(isAtItsEnd());
    EXPECT_EQ(mac.ledger.heldByCall(), heldWithEntries(0));
}

TEST_F(NextEntryOfInterest, WithoutAReadableNameIsReleased) {
    registryHas({"IOService", "AppleCLCD2"});
    entries.at(1)->nameReadable = false;
    EXPECT_TRUE(isAtItsEnd());
    EXPECT_EQ(mac.ledger.heldByCall(), heldWithEntries(0));
}

// What a framebuffer publishes.

/// Reads the properties of the framebuffer of this Mac's first screen.
IOregService readFramebuffer(Mac& mac) {
    const auto framebuffer = mac.registry.matching({"IOMobileFramebuffer", ""}).at(0);
    const io_service_t service = mac.registry.handOut(framebuffer, "IOIteratorNext");
    auto record = Arm64Utility().getIORegServiceMonitorProperties(service);
    IOObjectRelease(service);
    EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
    EXPECT_THAT(mac.journal.misuses(), IsEmpty());
    return record;
}

IOregService readFramebuffer(const ScreenDescription& screen) {
    Mac mac(appleMacWith({screen}));
    return readFramebuffer(mac);
}

IOregService readFramebufferWithFault(const std::string& call, std::uint64_t nth) {
    auto description = appleMacWith({monitor()});
    description.faults = {{call, nth, false, {}}};
    Mac mac(description);
    return readFramebuffer(mac);
}

ScreenDescription monitorWith(PropertyMap properties) {
    ScreenDescription screen = monitor();
    screen.displayService.properties = std::move(properties);
    return screen;
}

ScreenDescription monitorWithProductAttributes(PropertyMap attributes) {
    ScreenDescription screen = monitor();
    screen.displayService.productAttributes = std::move(attributes);
    return screen;
}

/// What a monitor's framebuffer gives when nothing is wrong.
IOregService wholeRecord() {
    IOregService record;
    record.edidUUID = monitorUUID;
    record.manufacturerID = "VRN";
    record.productName = modelName;
    record.serialNumber = 0x12345678;
    record.transportUpstream = "DP";
    record.transportDownstream = "DP";
    return record;
}

IOregService withoutProduct(IOregService record) {
    record.manufacturerID.reset();
    record.productName.reset();
    record.serialNumber = 0;
    return record;
}

IOregService withoutTransport(IOregService record) {
    record.transportUpstream.reset();
    record.transportDownstream.reset();
    return record;
}

std::int32_t serialNumberRead(std::int64_t published) {
    return readFramebuffer(monitorWithProductAttributes({{"SerialNumber", number(published)}}))
        .serialNumber;
}

TEST(FramebufferProperties, FillTheIdentityAndTheTransport) {
    EXPECT_EQ(fieldsOf(readFramebuffer(monitor())), fieldsOf(wholeRecord()));
}

TEST(FramebufferProperties, KeepUpstreamAndDownstreamApart) {
    const auto record = readFramebuffer(monitorWith(
        {{"Transport", dictionary({{"Upstream", text("DP")}, {"Downstream", text("HDMI")}})}}));
    EXPECT_EQ(record.transportUpstream, "DP");
    EXPECT_EQ(record.transportDownstream, "HDMI");
}

TEST(FramebufferProperties, MayBeTextsOfAnyLanguage) {
    const auto record =
        readFramebuffer(monitorWithProductAttributes({{"ProductName", text("VORN 显示器 Ü27")}}));
    EXPECT_EQ(record.productName, "VORN 显示器 Ü27");
}

TEST(FramebufferProperties, ThatAreEmptyTextsAreNotMissing) {
    auto screen = monitorWith({{"EDID UUID", text("")}});
    screen.displayService.productAttributes = {{"ProductName", text("")},
                                               {"ManufacturerID", text("")}};
    const auto record = readFramebuffer(screen);
    EXPECT_EQ(record.edidUUID, "");
    EXPECT_EQ(record.productName, "");
    EXPECT_EQ(record.manufacturerID, "");
}

TEST(FramebufferProperties, HoldASerialNumberThatIsSigned) {
    EXPECT_EQ(serialNumberRead(0x7FFFFFFF), 0x7FFFFFFF);
    EXPECT_EQ(serialNumberRead(0x80000001), -0x7FFFFFFF);
    EXPECT_EQ(serialNumberRead(0xFFFFFFFF), -1);
    EXPECT_EQ(serialNumberRead(-5), -5);
}

TEST(FramebufferProperties, KeepTheLower32BitsOfALongSerialNumber) {
    EXPECT_EQ(serialNumberRead(0x7'0000'0009), 9);
}

TEST(FramebufferProperties, OfAnEntryWithoutAnyAreAllEmpty) {
    const auto record = readFramebuffer(monitorWith(
        {{"EDID UUID", missing}, {"DisplayAttributes", missing}, {"Transport", missing}}));
    EXPECT_EQ(fieldsOf(record), fieldsOf(IOregService()));
}

TEST(FramebufferProperties, OfAnEntryThatCannotBeReadAreAllEmpty) {
    Mac mac(appleMacWith({monitor()}));
    mac.registry.matching({"IOMobileFramebuffer", ""}).at(0)->readable = false;
    EXPECT_EQ(fieldsOf(readFramebuffer(mac)), fieldsOf(IOregService()));
}

TEST(FramebufferProperties, OfNoEntryAreAllEmpty) {
    const Mac mac(appleMacWith({monitor()}));
    EXPECT_EQ(fieldsOf(Arm64Utility().getIORegServiceMonitorProperties(IO_OBJECT_NULL)),
              fieldsOf(IOregService()));
}

TEST(FramebufferProperties, LackTheUUIDWhenItCannotBeRead) {
    auto expected = wholeRecord();
    expected.edidUUID.reset();
    EXPECT_EQ(fieldsOf(readFramebufferWithFault("IORegistryEntryCreateCFProperty", 1)),
              fieldsOf(expected));
}

TEST(FramebufferProperties, LackTheProductWhenItsAttributesCannotBeRead) {
    EXPECT_EQ(fieldsOf(readFramebufferWithFault("IORegistryEntryCreateCFProperty", 2)),
              fieldsOf(withoutProduct(wholeRecord())));
}

TEST(FramebufferProperties, LackTheTransportWhenItCannotBeRead) {
    EXPECT_EQ(fieldsOf(readFramebufferWithFault("IORegistryEntryCreateCFProperty", 3)),
              fieldsOf(withoutTransport(wholeRecord())));
}

/// One property of a framebuffer: how a monitor gets a value for it, and what is lost without it.
struct Property {
    std::string name;
    PropertyValue right;  ///< a value of its type
    std::function<ScreenDescription(PropertyValue)> monitorWith;
    std::function<void(IOregService&)> lose;
};

void PrintTo(const Property& property, std::ostream* out) {
    *out << property.name;
}

std::function<ScreenDescription(PropertyValue)> withProperty(const std::string& key) {
    return [key](PropertyValue value) { return monitorWith({{key, std::move(value)}}); };
}
std::function<ScreenDescription(PropertyValue)> withProductAttribute(const std::string& key) {
    return [key](PropertyValue value) {
        return monitorWithProductAttributes({{key, std::move(value)}});
    };
}
std::function<ScreenDescription(PropertyValue)> withTransport(const std::string& key,
                                                              const std::string& otherKey) {
    return [key, otherKey](PropertyValue value) {
        return monitorWith(
            {{"Transport", dictionary({{key, std::move(value)}, {otherKey, text("DP")}})}});
    };
}

const std::vector<Property> framebufferProperties = {
    {"EDID UUID", text(""), withProperty("EDID UUID"),
     [](auto& record) { record.edidUUID.reset(); }},
    {"DisplayAttributes", dictionary({}), withProperty("DisplayAttributes"),
     [](auto& record) { record = withoutProduct(record); }},
    {"ProductAttributes", dictionary({}),
     [](PropertyValue value) {
         return monitorWith(
             {{"DisplayAttributes", dictionary({{"ProductAttributes", std::move(value)}})}});
     },
     [](auto& record) { record = withoutProduct(record); }},
    {"ProductName", text(""), withProductAttribute("ProductName"),
     [](auto& record) { record.productName.reset(); }},
    {"ManufacturerID", text(""), withProductAttribute("ManufacturerID"),
     [](auto& record) { record.manufacturerID.reset(); }},
    {"SerialNumber", number(0), withProductAttribute("SerialNumber"),
     [](auto& record) { record.serialNumber = 0; }},
    {"Transport", dictionary({}), withProperty("Transport"),
     [](auto& record) { record = withoutTransport(record); }},
    {"Upstream", text(""), withTransport("Upstream", "Downstream"),
     [](auto& record) { record.transportUpstream.reset(); }},
    {"Downstream", text(""), withTransport("Downstream", "Upstream"),
     [](auto& record) { record.transportDownstream.reset(); }},
};

class FramebufferProperty : public ::testing::TestWithParam<Property> {
  protected:
    void expectLostWith(const PropertyValue& value) {
        auto expected = wholeRecord();
        GetParam().lose(expected);
        EXPECT_EQ(fieldsOf(readFramebuffer(GetParam().monitorWith(value))), fieldsOf(expected));
    }
};

TEST_P(FramebufferProperty, ThatIsMissingLeavesJustItsOwnFieldsEmpty) {
    expectLostWith(missing);
}

TEST_P(FramebufferProperty, OfAnotherTypeCountsAsMissing) {
    for (const PropertyValue& wrong : test::valuesOfOtherTypesThan(GetParam().right)) {
        SCOPED_TRACE(wrong.value.index());
        expectLostWith(wrong);
    }
}

INSTANTIATE_TEST_SUITE_P(Each, FramebufferProperty, ::testing::ValuesIn(framebufferProperties));

// What a proxy adds.

/// A record of which no field is empty.
IOregService recordWith(const std::string& location, IOAVServiceRef service) {
    auto record = wholeRecord();
    record.location = location;
    record.avService = service;
    record.serviceLocation = 3;
    return record;
}

class AVServiceProxy : public ::testing::Test {
  protected:
    void TearDown() override {
        EXPECT_EQ(test::referencesBesidesAVServices(*mac), 0);
        EXPECT_THAT(mac->journal.misuses(), IsEmpty());
    }

    /// Updates the candidate from a proxy of the monitor with this description.
    void meet(ProxyDescription description) {
        mac.emplace(appleMacWith({monitorWithProxies({std::move(description)})}));
        mac->trace.countUses();
        update();
    }
    void update() {
        const io_service_t service = mac->registry.handOut(proxy(), "IOIteratorNext");
        Arm64Utility().setIORegServiceDCPAVServiceProxy(service, &candidate);
        IOObjectRelease(service);
    }
    Registry::Entry proxy() const { return mac->displays()[0]->proxies.at(0); }

    /// Any service but one that a proxy gives.
    const simulated_mac::CFPointer earlierService =
        simulated_mac::makeCF(simulated_mac::CFObject::Opaque{"IOAVService", 1});
    const IOregService before = recordWith("Earlier", earlierService.get());
    IOregService candidate = before;
    std::optional<Mac> mac;
};

TEST_F(AVServiceProxy, ThatIsExternalGivesItsLocationAndItsService) {
    meet(proxyAt(text("External")));
    EXPECT_EQ(candidate.location, "External");
    EXPECT_EQ(proxyOf(candidate.avService), proxy()->id);
    EXPECT_EQ(mac->ledger.heldByCall(), onlyAVServices(1));
}

TEST_F(AVServiceProxy, LeavesAllOtherFields) {
    meet(proxyAt(text("External")));
    candidate.location = before.location;
    candidate.avService = before.avService;
    EXPECT_EQ(fieldsOf(candidate), fieldsOf(before));
}

TEST_F(AVServiceProxy, WithoutALocationChangesNothing) {
    meet(proxyAt(missing));
    EXPECT_EQ(fieldsOf(candidate), fieldsOf(before));
    EXPECT_EQ(usesOf(*mac, "IOAVServiceCreateWithService"), 0u);
}

TEST_F(AVServiceProxy, WithALocationOfAnotherTypeChangesNothing) {
    for (const PropertyValue& wrong : test::valuesOfOtherTypesThan(text(""))) {
        SCOPED_TRACE(wrong.value.index());
        mac.reset();
        meet(proxyAt(wrong));
        EXPECT_EQ(fieldsOf(candidate), fieldsOf(before));
    }
}

TEST_F(AVServiceProxy, WhoseLocationCannotBeReadChangesNothing) {
    auto description = appleMacWith({monitor()});
    description.faults = {{"IORegistryEntryCreateCFProperty", 1, false, {}}};
    mac.emplace(description);
    update();
    EXPECT_EQ(fieldsOf(candidate), fieldsOf(before));
}

TEST_F(AVServiceProxy, WithAnyOtherLocationLeavesTheService) {
    for (const std::string& location : otherLocations) {
        SCOPED_TRACE(location);
        mac.reset();
        meet(proxyAt(text(location)));
        EXPECT_EQ(candidate.location, location);
        EXPECT_EQ(candidate.avService, before.avService);
        EXPECT_EQ(usesOf(*mac, "IOAVServiceCreateWithService"), 0u);
    }
}

TEST_F(AVServiceProxy, ThatDoesNotOpenTakesTheServiceAway) {
    meet(proxyThatDoesNotOpen());
    EXPECT_EQ(candidate.location, "External");
    EXPECT_EQ(candidate.avService, nullptr);
}

}  // namespace arm64_utility_discovery_test
