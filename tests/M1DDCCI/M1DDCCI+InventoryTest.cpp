#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <optional>
#include <set>

#include "plugin/M1DDCCI/M1DDCCI.h"
#include "plugin/Platform/IOObject.h"
#include "simulated_mac/machine/CallText.h"
#include "simulated_mac/platform/CFDescription.h"
#include "simulated_mac/platform/CFReferences.h"
#include "tests/support/PaneOnMac.h"

using namespace vorn;

using namespace std::chrono_literals;

namespace m1_ddcci_inventory_test {

using simulated_mac::Bytes;
using simulated_mac::CFObject;
using simulated_mac::FaultDescription;
using simulated_mac::PropertyMap;
using simulated_mac::PropertyValue;
using test::Mac;
using test::ScreenDescription;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Key;
using ::testing::Not;
using ::testing::Pair;
using ::testing::SizeIs;
using ::testing::Values;

using HeldByCall = std::map<std::pair<std::string, std::string>, std::int64_t>;
/// The inventory's fields of one display, and of all displays by serial number.
using Fields = std::map<std::string, std::string>;
using Inventory = std::map<std::string, Fields>;

PropertyValue text(const std::string& value) {
    return {value};
}
PropertyValue number(std::int64_t value) {
    return {value};
}
/// Takes a property out.
const PropertyValue missing;

ScreenDescription monitor(const std::string& name, const std::string& serial) {
    simulated_mac::EDIDFields fields;
    fields.name = name;
    fields.serialText = serial;
    ScreenDescription screen;
    screen.monitor.edid = simulated_mac::makeEDID(fields);
    return screen;
}

ScreenDescription monitor() {
    return monitor("VORN K2790Z", "7XYZ123");
}

ScreenDescription monitorWithProperty(const std::string& key, const PropertyValue& value) {
    auto screen = monitor();
    screen.displayService.properties = {{key, value}};
    return screen;
}

ScreenDescription monitorWithAttribute(const std::string& key, const PropertyValue& value) {
    auto screen = monitor();
    screen.displayService.productAttributes = {{key, value}};
    return screen;
}

ScreenDescription monitorOfEntry(const std::string& entryName) {
    auto screen = monitor();
    screen.displayService.entryName = entryName;
    return screen;
}

std::string uuidOf(const ScreenDescription& screen) {
    return simulated_mac::identifyEDID(screen.monitor.edid).uuid;
}

/// A value as a test writes it: numbers bare, texts in quotes.
std::string shown(const CFObject& object) {
    if (std::holds_alternative<CFObject::String>(object.value)) {
        return '"' + simulated_mac::textOf(&object) + '"';
    }
    return simulated_mac::descriptionOf(&object);
}

Fields fieldsOf(const CFObject& display) {
    Fields fields;
    for (const auto& [key, value] : std::get<CFObject::Dictionary>(display.value)) {
        fields[key] = shown(*value);
    }
    return fields;
}

std::set<std::string> keysOf(const Fields& fields) {
    std::set<std::string> keys;
    for (const auto& [key, value] : fields) keys.insert(key);
    return keys;
}

/// The keys of a whole display's fields but for these.
std::set<std::string> allKeysBut(const std::set<std::string>& absent) {
    std::set<std::string> keys = {"service",     "serialNumber",   "upstream", "downstream",
                                  "productName", "manufacturerID", "edid"};
    for (const auto& key : absent) EXPECT_EQ(keys.erase(key), 1u) << key;
    return keys;
}

Inventory inventory() {
    Inventory all;
    const auto* const object = simulated_mac::objectOf(matchedM1Device);
    for (const auto& [serial, display] : std::get<CFObject::Dictionary>(object->value)) {
        all[serial] = fieldsOf(*display);
    }
    return all;
}

std::vector<std::string> serialNumbers() {
    std::vector<std::string> all;
    for (const auto& [serial, fields] : inventory()) all.push_back(serial);
    return all;
}

class M1DDCCIInventory : public ::testing::Test {
  protected:
    ~M1DDCCIInventory() override { discard(); }
    void TearDown() override { EXPECT_THAT(mac->journal.misuses(), IsEmpty()); }

    void switchOn(std::vector<ScreenDescription> screens,
                  std::vector<FaultDescription> faults = {}) {
        discard();
        auto description = test::appleMacWith(std::move(screens));
        description.otherRegistryEntries = 2;
        description.faults = std::move(faults);
        mac.emplace(std::move(description));
    }
    /// Takes the inventory of a Mac with one display and gives its fields.
    Fields take(ScreenDescription screen) {
        switchOn({std::move(screen)});
        take();
        const auto all = inventory();
        EXPECT_THAT(all, SizeIs(1));
        return all.empty() ? Fields() : all.begin()->second;
    }
    void take() { M1DDCCI().initM1AVServiceDic(); }

    /// An entry below another, as an open client's.
    std::shared_ptr<simulated_mac::RegistryEntry> addBelow(
        const std::shared_ptr<simulated_mac::RegistryEntry>& entry) {
        simulated_mac::RegistryEntry client;
        client.name = "IOMobileFramebufferUserClient";
        client.classes = {client.name, "IOService"};
        return mac->registry.add(entry, std::move(client));
    }

    /// Drops what the process would keep.
    void discard() {
        if (matchedM1Device != nullptr) CFRelease(matchedM1Device);
        matchedM1Device = nullptr;
    }

    /// The framebuffer entry of the n-th display, from 0, in the registry's order.
    std::shared_ptr<simulated_mac::RegistryEntry> framebuffer(std::size_t nth = 0) const {
        return mac->registry.matching({.className = "", .name = "AppleCLCD2"}).at(nth);
    }
    /// Its handle, as the inventory writes it.
    std::string handle(std::size_t nth = 0) const {
        return std::to_string(framebuffer(nth)->handle);
    }

    std::optional<Mac> mac;
};

// What is listed

TEST_F(M1DDCCIInventory, IsNotThereBeforeItIsTaken) {
    switchOn({monitor()});
    EXPECT_EQ(matchedM1Device, nullptr);
}

TEST_F(M1DDCCIInventory, HasSevenFieldsOfADisplayUnderItsSerialNumber) {
    switchOn({monitor()});
    take();
    const Inventory expected = {{"7XYZ123",
                                 {{"service", handle()},
                                  {"serialNumber", "\"7XYZ123\""},
                                  {"upstream", "\"DP\""},
                                  {"downstream", "\"DP\""},
                                  {"productName", "\"VORN K2790Z\""},
                                  {"manufacturerID", "\"VRN\""},
                                  {"edid", '"' + uuidOf(monitor()) + '"'}}}};
    EXPECT_EQ(inventory(), expected);
}

TEST_F(M1DDCCIInventory, NamesTheHandleUnderWhichItReadTheEntry) {
    switchOn({monitor()});
    mac->trace.keepOnly({"IORegistryEntryCreateCFProperty"});
    take();
    const auto expected =
        fmt::format("{:#x} (AppleCLCD2), key \"Transport\"", framebuffer()->handle);
    EXPECT_THAT(mac->trace.calls(),
                Contains(testing::ResultOf(simulated_mac::argumentsText, expected)));
    EXPECT_EQ(inventory().at("7XYZ123").at("service"), handle());
}

TEST_F(M1DDCCIInventory, HasEveryDisplayWithItsOwnFields) {
    switchOn({monitor("VORN K2790Z", "FIRST"), monitor("VORN K2422H", "SECOND")});
    take();
    const auto all = inventory();
    EXPECT_THAT(all, SizeIs(2));
    EXPECT_EQ(all.at("FIRST").at("productName"), "\"VORN K2790Z\"");
    EXPECT_EQ(all.at("FIRST").at("service"), handle(0));
    EXPECT_EQ(all.at("SECOND").at("productName"), "\"VORN K2422H\"");
    EXPECT_EQ(all.at("SECOND").at("service"), handle(1));
}

TEST_F(M1DDCCIInventory, HasTheLaterOneInTheRegistryOfTwoDisplaysWithOneSerialNumber) {
    auto first = monitor("VORN K2790Z", "SAME");
    first.displayService.position = 2;
    auto second = monitor("VORN K2422H", "SAME");
    second.displayService.position = 1;
    switchOn({first, second});
    take();
    const auto all = inventory();
    EXPECT_THAT(all, ElementsAre(Key("SAME")));
    EXPECT_EQ(all.at("SAME").at("productName"), "\"VORN K2790Z\"");
    EXPECT_EQ(all.at("SAME").at("service"), handle(1));
}

TEST_F(M1DDCCIInventory, HasABuiltInPanelWithoutTheEndsOfItsTransport) {
    auto panel = monitor("Panel", "BUILTIN");
    panel.builtIn = true;
    panel.displayService.properties = {{"EDID UUID", text("PANEL")}};
    const auto fields = take(panel);
    EXPECT_EQ(keysOf(fields), allKeysBut({"upstream", "downstream"}));
    EXPECT_EQ(fields.at("productName"), "\"Panel\"");
}

TEST_F(M1DDCCIInventory, KeepsTextsBeyondASCII) {
    switchOn({monitorWithAttribute("AlphanumericSerialNumber", text("S\xC3\xA9rie 1"))});
    take();
    EXPECT_THAT(serialNumbers(), ElementsAre("S\xC3\xA9rie 1"));
}

TEST_F(M1DDCCIInventory, IsEmptyWithoutDisplays) {
    switchOn({});
    take();
    EXPECT_THAT(inventory(), IsEmpty());
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre("{\n}"));
}

TEST_F(M1DDCCIInventory, HasADisplayThatAppearedInTheMeantime) {
    auto late = monitor("VORN K2422H", "LATE");
    late.displayService.appearsAt = 7;
    switchOn({monitor(), late});
    take();
    EXPECT_THAT(serialNumbers(), ElementsAre("7XYZ123"));
    mac->scheduler.runUntilQuiet();
    take();
    EXPECT_THAT(serialNumbers(), ElementsAre("7XYZ123", "LATE"));
}

// How the registry is walked

TEST_F(M1DDCCIInventory, WalksTheServicePlaneRecursivelyFromTheRoot) {
    switchOn({monitor()});
    mac->trace.keepOnly({"IORegistryEntryCreateIterator"});
    take();
    ASSERT_THAT(mac->trace.calls(), SizeIs(1));
    EXPECT_EQ(
        argumentsText(mac->trace.calls()[0]),
        fmt::format("{:#x} (Root), plane IOService, options 0x1", mac->registry.root()->handle));
}

TEST_F(M1DDCCIInventory, SearchesFramebuffersRecursivelyForTheirIdentity) {
    switchOn({monitor()});
    mac->trace.keepOnly({"IORegistryEntrySearchCFProperty"});
    take();
    const auto search = [this](const char* key) {
        return fmt::format("{:#x} (AppleCLCD2), plane IOService, key \"{}\", options 0x1",
                           framebuffer()->handle, key);
    };
    std::vector<std::string> searches;
    for (const auto& call : mac->trace.calls()) searches.push_back(argumentsText(call));
    EXPECT_THAT(searches, ElementsAre(search("EDID UUID"), search("DisplayAttributes")));
}

TEST_F(M1DDCCIInventory, ReadsNothingMoreOfAnEntryThatNamesNoMonitor) {
    const PropertyValue empty{PropertyMap{}};
    switchOn({monitorWithProperty("EDID UUID", missing),
              monitorWithProperty("DisplayAttributes", missing),
              monitorWithProperty("DisplayAttributes", empty)});
    mac->trace.keepOnly({"IORegistryEntryCreateCFProperty"});
    take();
    EXPECT_THAT(mac->trace.calls(), IsEmpty());
}

TEST_F(M1DDCCIInventory, LooksAtTheNameOfEveryEntry) {
    switchOn({monitor()});
    mac->trace.countUses();
    take();
    const auto entries = mac->registry.walk(mac->registry.root()).size();
    EXPECT_EQ(mac->trace.uses().at("IORegistryEntryGetName"), entries - 1) << "all but the root";
}

TEST_F(M1DDCCIInventory, TakesNoTimeAndNoTransfers) {
    switchOn({monitor()});
    mac->trace.countUses();
    take();
    EXPECT_EQ(mac->scheduler.now(), test::Time(0));
    EXPECT_THAT(mac->displays()[0]->monitor.exchanges(), IsEmpty());
    EXPECT_THAT(mac->trace.uses(), Not(Contains(Key("IOAVServiceCreateWithService"))));
}

// What is not listed

class M1DDCCIInventoryEntryName : public M1DDCCIInventory,
                                  public testing::WithParamInterface<const char*> {};

TEST_P(M1DDCCIInventoryEntryName, OtherThanThatOfFramebuffersIsNotListed) {
    switchOn({monitorOfEntry(GetParam()), monitor("VORN K2422H", "LISTED")});
    take();
    EXPECT_THAT(serialNumbers(), ElementsAre("LISTED"));
}

INSTANTIATE_TEST_SUITE_P(Of, M1DDCCIInventoryEntryName,
                         Values("IOMobileFramebufferShim", "AppleCLCD", "AppleCLCD22",
                                "AppleCLCD2 ", "appleclcd2"));

class M1DDCCIInventoryOmission : public M1DDCCIInventory {
  protected:
    /// Takes the inventory of this display and of another one that is listed.
    void takeWith(ScreenDescription screen) {
        switchOn({std::move(screen), monitor("VORN K2422H", "LISTED")});
        take();
    }
    void TearDown() override {
        EXPECT_THAT(serialNumbers(), ElementsAre("LISTED"));
        M1DDCCIInventory::TearDown();
    }
};

TEST_F(M1DDCCIInventoryOmission, OfADisplayWithoutAnAlphanumericSerialNumber) {
    takeWith(monitorWithAttribute("AlphanumericSerialNumber", missing));
}

TEST_F(M1DDCCIInventoryOmission, OfADisplayWhoseSerialNumberIsANumber) {
    takeWith(monitorWithAttribute("AlphanumericSerialNumber", number(7)));
}

TEST_F(M1DDCCIInventoryOmission, OfADisplayWithoutAnEDIDUUID) {
    takeWith(monitorWithProperty("EDID UUID", missing));
}

TEST_F(M1DDCCIInventoryOmission, OfADisplayWithoutDisplayAttributes) {
    takeWith(monitorWithProperty("DisplayAttributes", missing));
}

TEST_F(M1DDCCIInventoryOmission, OfADisplayWhoseDisplayAttributesAreAText) {
    takeWith(monitorWithProperty("DisplayAttributes", text("ProductAttributes")));
}

TEST_F(M1DDCCIInventoryOmission, OfADisplayWithoutProductAttributes) {
    takeWith(monitorWithProperty("DisplayAttributes", {PropertyMap{{"Other", text("text")}}}));
}

TEST_F(M1DDCCIInventoryOmission, OfADisplayWhoseProductAttributesAreAText) {
    takeWith(monitorWithProperty("DisplayAttributes",
                                 {PropertyMap{{"ProductAttributes", text("VORN K2790Z")}}}));
}

TEST_F(M1DDCCIInventoryOmission, OfADisplayWithoutAnEDID) {
    takeWith(test::builtInPanel());
}

TEST_F(M1DDCCIInventoryOmission, OfADisplayWithoutAFramebufferEntry) {
    auto screen = monitor();
    screen.displayService.present = false;
    takeWith(screen);
}

TEST_F(M1DDCCIInventoryOmission, OfAnEntryWhoseNameCannotBeRead) {
    auto screen = monitor();
    screen.displayService.nameReadable = false;
    takeWith(screen);
}

TEST_F(M1DDCCIInventoryOmission, OfAnEntryWhosePropertiesCannotBeRead) {
    switchOn({monitor(), monitor("VORN K2422H", "LISTED")});
    framebuffer(0)->readable = false;
    take();
}

TEST_F(M1DDCCIInventoryOmission, OfADisplayWhoseIdentityStandsBelowItsFramebufferOnly) {
    switchOn({monitorWithProperty("DisplayAttributes", missing), monitor("VORN K2422H", "LISTED")});
    const auto attributes = framebuffer(1)->get("DisplayAttributes");
    addBelow(framebuffer(0))->set("DisplayAttributes", attributes);
    take();
}

// Fields that a display lacks, and values of other types

TEST_F(M1DDCCIInventory, LeavesAMissingProductNameOut) {
    const auto fields = take(monitorWithAttribute("ProductName", missing));
    EXPECT_EQ(keysOf(fields), allKeysBut({"productName"}));
}

TEST_F(M1DDCCIInventory, LeavesAProductNameOutThatIsANumber) {
    const auto fields = take(monitorWithAttribute("ProductName", number(2790)));
    EXPECT_EQ(keysOf(fields), allKeysBut({"productName"}));
}

TEST_F(M1DDCCIInventory, LeavesAMissingManufacturerOut) {
    const auto fields = take(monitorWithAttribute("ManufacturerID", missing));
    EXPECT_EQ(keysOf(fields), allKeysBut({"manufacturerID"}));
}

TEST_F(M1DDCCIInventory, LeavesTheEndsOfATransportOutThatIsAText) {
    const auto fields = take(monitorWithProperty("Transport", text("DP")));
    EXPECT_EQ(keysOf(fields), allKeysBut({"upstream", "downstream"}));
}

TEST_F(M1DDCCIInventory, TellsTheTwoEndsOfATransportApart) {
    const auto fields = take(monitorWithProperty(
        "Transport", {PropertyMap{{"Upstream", text("DP")}, {"Downstream", text("HDMI")}}}));
    EXPECT_THAT(fields, Contains(Pair("upstream", "\"DP\"")));
    EXPECT_THAT(fields, Contains(Pair("downstream", "\"HDMI\"")));
}

TEST_F(M1DDCCIInventory, HasOneEndOfATransportThatLacksTheOther) {
    const auto fields =
        take(monitorWithProperty("Transport", {PropertyMap{{"Downstream", text("HDMI")}}}));
    EXPECT_EQ(keysOf(fields), allKeysBut({"upstream"}));
    EXPECT_THAT(fields, Contains(Pair("downstream", "\"HDMI\"")));
}

TEST_F(M1DDCCIInventory, TakesTheEndsOfATransportAsTheyAre) {
    const auto fields = take(monitorWithProperty(
        "Transport", {PropertyMap{{"Upstream", number(1)}, {"Downstream", {Bytes{0x0A}}}}}));
    EXPECT_THAT(fields, Contains(Pair("upstream", "1")));
    EXPECT_THAT(fields, Contains(Pair("downstream", "{length = 1, bytes = 0x0a}")));
}

TEST_F(M1DDCCIInventory, TakesAManufacturerAsItIs) {
    const auto fields = take(monitorWithAttribute("ManufacturerID", number(0x5A4E)));
    EXPECT_THAT(fields, Contains(Pair("manufacturerID", "23118")));
}

TEST_F(M1DDCCIInventory, TakesAnEDIDUUIDAsItIs) {
    const auto fields = take(monitorWithProperty("EDID UUID", {Bytes{0xAB, 0xCD}}));
    EXPECT_THAT(fields, Contains(Pair("edid", "{length = 2, bytes = 0xabcd}")));
}

TEST_F(M1DDCCIInventory, HasNoEDIDUUIDOfADisplayWhereItStandsBelowTheFramebufferOnly) {
    switchOn({monitorWithProperty("EDID UUID", missing)});
    addBelow(framebuffer())->set("EDID UUID", simulated_mac::makeCFText("BELOW"));
    take();
    EXPECT_EQ(keysOf(inventory().at("7XYZ123")), allKeysBut({"edid"}));
}

// The log

TEST_F(M1DDCCIInventory, IsLoggedAsOneEntry) {
    switchOn({monitor()});
    take();
    EXPECT_THAT(mac->journal.systemLog(),
                ElementsAre(fmt::format("{{\n"
                                        "    7XYZ123 =     {{\n"
                                        "        downstream = DP;\n"
                                        "        edid = \"{}\";\n"
                                        "        manufacturerID = VRN;\n"
                                        "        productName = \"VORN K2790Z\";\n"
                                        "        serialNumber = 7XYZ123;\n"
                                        "        service = {};\n"
                                        "        upstream = DP;\n"
                                        "    }};\n"
                                        "}}",
                                        uuidOf(monitor()), handle())));
}

TEST_F(M1DDCCIInventory, IsLoggedEachTimeItIsTaken) {
    switchOn({monitor()});
    take();
    take();
    ASSERT_THAT(mac->journal.systemLog(), SizeIs(2));
    EXPECT_EQ(mac->journal.systemLog()[0], mac->journal.systemLog()[1]);
}

// Taking it again, and what is held

TEST_F(M1DDCCIInventory, HoldsItsDictionaryAndNothingElse) {
    switchOn({monitor("VORN K2790Z", "FIRST"), monitor("VORN K2422H", "SECOND")});
    take();
    const HeldByCall own = {{{"CFDictionary", "CFDictionaryCreateMutable"}, 1}};
    EXPECT_EQ(mac->ledger.heldByCall(), own);
}

TEST_F(M1DDCCIInventory, HoldsNoMoreWhenItIsTakenAgain) {
    switchOn({monitor(), monitorWithAttribute("AlphanumericSerialNumber", missing)});
    take();
    const auto once = mac->ledger.heldByCall();
    take();
    take();
    EXPECT_EQ(mac->ledger.heldByCall(), once);
}

TEST_F(M1DDCCIInventory, IsTheSameWhenItIsTakenAgain) {
    switchOn({monitor("VORN K2790Z", "FIRST"), monitor("VORN K2422H", "SECOND")});
    take();
    const auto once = inventory();
    take();
    EXPECT_EQ(inventory(), once);
}

TEST_F(M1DDCCIInventory, ForgetsADisplayThatIsGone) {
    switchOn({monitor("VORN K2790Z", "GOES"), monitor("VORN K2422H", "STAYS")});
    take();
    EXPECT_THAT(serialNumbers(), ElementsAre("GOES", "STAYS"));
    mac->registry.remove(framebuffer(0));
    take();
    EXPECT_THAT(serialNumbers(), ElementsAre("STAYS"));
}

TEST_F(M1DDCCIInventory, KeepsTheFieldsOfADisplayThatIsGoneUntilItIsTakenAgain) {
    switchOn({monitor()});
    take();
    const auto before = inventory();
    mac->registry.remove(framebuffer());
    EXPECT_EQ(inventory(), before);
}

// Its two other operations

TEST_F(M1DDCCIInventory, TakesOneMoreEntryIn) {
    switchOn({monitor()});
    take();
    mac->registry.setProperty(
        framebuffer(), "DisplayAttributes",
        simulated_mac::makeCF(PropertyValue{PropertyMap{
            {"ProductAttributes", {PropertyMap{{"AlphanumericSerialNumber", text("NEW")}}}}}}));
    const IOObject entry(mac->registry.handOut(framebuffer(), "IOIteratorNext"));
    M1DDCCI().setDisplayInfoWithService(entry.get());
    EXPECT_THAT(serialNumbers(), ElementsAre("7XYZ123", "NEW"));
    EXPECT_THAT(mac->journal.systemLog(), SizeIs(1)) << "only the whole inventory is logged";
}

TEST_F(M1DDCCIInventory, TakesNoEntryInThatIsNone) {
    switchOn({monitor()});
    take();
    M1DDCCI().setDisplayInfoWithService(IO_OBJECT_NULL);
    EXPECT_THAT(serialNumbers(), ElementsAre("7XYZ123"));
}

TEST_F(M1DDCCIInventory, ThatWasNeverTakenTakesNoEntryIn) {
    switchOn({monitor()});
    {
        const IOObject entry(mac->registry.handOut(framebuffer(), "IOIteratorNext"));
        M1DDCCI().setDisplayInfoWithService(entry.get());
    }
    EXPECT_EQ(matchedM1Device, nullptr);
    EXPECT_THAT(mac->ledger.heldByCall(), IsEmpty());
}

class M1DDCCIProperty : public M1DDCCIInventory {
  protected:
    void SetUp() override { switchOn({monitor()}); }

    CFRef<CFTypeRef> read(const std::string& name) {
        const IOObject entry(mac->registry.handOut(framebuffer(), "IOIteratorNext"));
        return M1DDCCI().getIORegistryPropertyWithService(entry.get(), name);
    }
};

TEST_F(M1DDCCIProperty, IsACopyThatTheCallerOwns) {
    {
        const auto value = read("EDID UUID");
        ASSERT_TRUE(value);
        EXPECT_EQ(simulated_mac::textOf(value.get()), uuidOf(monitor()));
        const HeldByCall own = {{{"CFString", "IORegistryEntryCreateCFProperty"}, 1}};
        EXPECT_EQ(mac->ledger.heldByCall(), own);
    }
    EXPECT_THAT(mac->ledger.heldByCall(), IsEmpty());
}

TEST_F(M1DDCCIProperty, OfAnyTypeIsRead) {
    mac->registry.setProperty(framebuffer(), "number", simulated_mac::makeCF(std::int64_t{-2}));
    mac->registry.setProperty(framebuffer(), "caf\xC3\xA9", simulated_mac::makeCF(Bytes{1, 2}));
    EXPECT_EQ(simulated_mac::descriptionOf(read("number").get()), "\"-2\"");
    EXPECT_EQ(simulated_mac::descriptionOf(read("caf\xC3\xA9").get()),
              "{length = 2, bytes = 0x0102}");
}

TEST_F(M1DDCCIProperty, ThatIsMissingIsEmpty) {
    EXPECT_FALSE(read("Missing"));
    EXPECT_FALSE(read(""));
}

TEST_F(M1DDCCIProperty, BelowTheEntryIsNotItsOwn) {
    addBelow(framebuffer())->set("Location", simulated_mac::makeCFText("External"));
    EXPECT_FALSE(read("Location"));
}

TEST_F(M1DDCCIProperty, WhoseNameIsNotUTF8IsEmpty) {
    mac->trace.keepOnly({"IORegistryEntryCreateCFProperty"});
    EXPECT_FALSE(read("EDID\xFFUUID"));
    EXPECT_THAT(mac->trace.calls(), IsEmpty()) << "the platform takes no NULL for a name";
    EXPECT_THAT(mac->ledger.heldByCall(), IsEmpty());
}

TEST_F(M1DDCCIProperty, OfNoEntryIsEmpty) {
    EXPECT_FALSE(M1DDCCI().getIORegistryPropertyWithService(IO_OBJECT_NULL, "EDID UUID"));
    EXPECT_THAT(mac->ledger.heldByCall(), IsEmpty());
}

// Platform calls that fail

TEST_F(M1DDCCIInventory, WhoseWalkCannotBeginIsEmptyAndNotLogged) {
    for (const char* const call : {"IORegistryGetRootEntry", "IORegistryEntryCreateIterator"}) {
        switchOn({monitor()}, {{call, 1, false, {}}});
        take();
        ASSERT_NE(matchedM1Device, nullptr) << call;
        EXPECT_THAT(inventory(), IsEmpty()) << call;
        EXPECT_THAT(mac->journal.systemLog(), IsEmpty()) << call;
    }
}

TEST_F(M1DDCCIInventory, WhoseSecondWalkCannotBeginIsEmptyThen) {
    switchOn({monitor()}, {{"IORegistryEntryCreateIterator", 2, false, {}}});
    take();
    EXPECT_THAT(inventory(), SizeIs(1));
    take();
    EXPECT_THAT(inventory(), IsEmpty());
    EXPECT_THAT(mac->journal.systemLog(), SizeIs(1));
    const HeldByCall own = {{{"CFDictionary", "CFDictionaryCreateMutable"}, 1}};
    EXPECT_EQ(mac->ledger.heldByCall(), own);
}

TEST_F(M1DDCCIInventory, ThatCannotBeMadeIsNotThereAndReleasesTheOneBefore) {
    // The first dictionary is the inventory, the second its display, the third the next inventory.
    switchOn({monitor()}, {{"CFDictionaryCreateMutable", 3, false, {}}});
    take();
    EXPECT_THAT(inventory(), SizeIs(1));
    take();
    EXPECT_EQ(matchedM1Device, nullptr);
    EXPECT_THAT(mac->ledger.heldByCall(), IsEmpty());
    EXPECT_THAT(mac->journal.systemLog(), SizeIs(1));
}

TEST_F(M1DDCCIInventory, WhoseHandleCannotBeWrittenHasTheOtherFields) {
    switchOn({monitor()}, {{"CFNumberCreate", 1, false, {}}});
    take();
    EXPECT_EQ(keysOf(inventory().at("7XYZ123")), allKeysBut({"service"}));
}

TEST_F(M1DDCCIInventory, WhoseWalkEndsEarlyHasWhatCameBeforeAndIsLogged) {
    switchOn({monitor("VORN K2790Z", "FIRST"), monitor("VORN K2422H", "SECOND")});
    mac->trace.countUses();
    take();
    const auto steps = mac->trace.uses().at("IOIteratorNext");

    std::set<std::vector<std::string>> seen;
    for (std::uint64_t step = 1; step <= steps; ++step) {
        switchOn({monitor("VORN K2790Z", "FIRST"), monitor("VORN K2422H", "SECOND")},
                 {{"IOIteratorNext", step, false, {}}});
        take();
        seen.insert(serialNumbers());
        EXPECT_THAT(mac->journal.systemLog(), SizeIs(1)) << step;
    }
    EXPECT_THAT(seen, ElementsAre(IsEmpty(), ElementsAre("FIRST"), ElementsAre("FIRST", "SECOND")));
}

/// Two displays of which the inventory has both. Every platform call that taking it makes fails
/// once, in its turn.
class M1DDCCIInventoryWithFaults : public M1DDCCIInventory {
  protected:
    static std::vector<ScreenDescription> displays() {
        return {monitor("VORN K2790Z", "FIRST"), monitor("VORN K2422H", "SECOND")};
    }

    void SetUp() override {
        switchOn(displays());
        mac->trace.countUses();
        take();
        whole = inventory();
        uses = mac->trace.uses();
        ASSERT_THAT(whole, SizeIs(2));
    }

    /// Calls `check` on a Mac on which the n-th use of a call failed while the inventory was taken,
    /// for every call and use.
    template <class Check>
    void forEachFault(bool andLater, Check check) {
        for (const auto& [call, count] : uses) {
            for (std::uint64_t nth = 1; nth <= count; ++nth) {
                SCOPED_TRACE(fmt::format("use {} of {}", nth, call));
                switchOn(displays(), {{call, nth, andLater, {}}});
                take();
                EXPECT_GE(mac->trace.uses().at(call), nth);
                EXPECT_THAT(mac->journal.misuses(), IsEmpty());
                check(call);
            }
        }
    }

    /// The inventory has nothing that the complete one lacks.
    void expectPartOfTheWhole() const {
        if (matchedM1Device == nullptr) return;
        for (const auto& [serial, fields] : inventory()) {
            ASSERT_THAT(whole, Contains(Key(serial)));
            for (const auto& field : fields) EXPECT_THAT(whole.at(serial), Contains(field));
        }
    }

    Inventory whole;
    std::map<std::string, std::uint64_t, std::less<>> uses;
};

TEST_F(M1DDCCIInventoryWithFaults, MakesTheseCalls) {
    for (const char* const call :
         {"CFDictionaryCreateMutable", "IORegistryGetRootEntry", "IORegistryEntryCreateIterator",
          "IOIteratorNext", "IORegistryEntryGetName", "IORegistryEntrySearchCFProperty",
          "CFDictionaryGetValue", "CFStringCreateWithBytes", "IORegistryEntryCreateCFProperty",
          "CFNumberCreate", "CFDictionarySetValue", "CFRelease", "IOObjectRelease", "NSLog"}) {
        EXPECT_THAT(uses, Contains(Key(call)));
    }
}

TEST_F(M1DDCCIInventoryWithFaults, SaysNothingThatIsWrong) {
    forEachFault(false, [&](const std::string&) { expectPartOfTheWhole(); });
}

TEST_F(M1DDCCIInventoryWithFaults, SaysNothingThatIsWrongWhenTheCallFailsEverAfter) {
    forEachFault(true, [&](const std::string&) { expectPartOfTheWhole(); });
}

TEST_F(M1DDCCIInventoryWithFaults, HoldsNothingButItsDictionary) {
    forEachFault(false, [&](const std::string& call) {
        // A release that failed released nothing.
        if (call == "IOObjectRelease") return;
        HeldByCall own;
        if (matchedM1Device != nullptr) own[{"CFDictionary", "CFDictionaryCreateMutable"}] = 1;
        EXPECT_EQ(mac->ledger.heldByCall(), own);
    });
}

TEST_F(M1DDCCIInventoryWithFaults, IsWholeWhenItIsTakenAgain) {
    forEachFault(false, [&](const std::string&) {
        take();
        EXPECT_EQ(inventory(), whole);
    });
}

}  // namespace m1_ddcci_inventory_test
