#include "simulated_mac/hardware/Registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "simulated_mac/hardware/Ledger.h"
#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/platform/CFReferences.h"

namespace simulated_mac {
namespace registry_test {

using Entry = Registry::Entry;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

RegistryEntry describe(const std::string& name, std::vector<std::string> classes = {"IOService"}) {
    RegistryEntry entry;
    entry.name = name;
    entry.classes = std::move(classes);
    return entry;
}

std::vector<std::string> namesOf(const std::vector<Entry>& entries) {
    std::vector<std::string> names;
    for (const Entry& entry : entries) names.push_back(entry->name);
    return names;
}

/// A tree: Root with a (a1 with deep, a2) and b (b1).
class RegistryTest : public testing::Test {
  protected:
    RegistryTest() {
        a_ = registry_.add(registry_.root(), describe("a"));
        b_ = registry_.add(registry_.root(), describe("b", {"Driver", "Base", "IOService"}));
        a1_ = registry_.add(a_, describe("a1", {"Base", "IOService"}));
        registry_.add(b_, describe("b1"));
        registry_.add(a_, describe("a2"));
        deep_ = registry_.add(a1_, describe("deep", {"Driver", "Base", "IOService"}));
    }

    std::int64_t entriesHeld() const { return ledger_.held()["io_registry_entry_t"]; }
    std::int64_t iteratorsHeld() const { return ledger_.held()["io_iterator_t"]; }
    std::vector<std::string> rest(io_iterator_t iterator) {
        std::vector<std::string> names;
        while (const Entry entry = registry_.next(iterator)) names.push_back(entry->name);
        return names;
    }

    Ledger ledger_;
    Registry registry_{ledger_};
    Entry a_;
    Entry b_;
    Entry a1_;
    Entry deep_;
};

// The tree

TEST_F(RegistryTest, IsWalkedDepthFirstAParentBeforeItsChildren) {
    EXPECT_THAT(namesOf(registry_.walk(registry_.root())),
                ElementsAre("Root", "a", "a1", "deep", "a2", "b", "b1"));
    EXPECT_THAT(namesOf(registry_.walk(a_)), ElementsAre("a", "a1", "deep", "a2"));
    EXPECT_THAT(namesOf(registry_.walk(deep_)), ElementsAre("deep"));
}

TEST_F(RegistryTest, MatchingAClassTakesItsSubclasses) {
    EXPECT_THAT(namesOf(registry_.matching({"Base", ""})), ElementsAre("a1", "deep", "b"));
    EXPECT_THAT(namesOf(registry_.matching({"Driver", ""})), ElementsAre("deep", "b"));
    EXPECT_THAT(namesOf(registry_.matching({"Bas", ""})), IsEmpty());
}

TEST_F(RegistryTest, MatchingANameComparesTheWholeName) {
    EXPECT_THAT(namesOf(registry_.matching({"", "a1"})), ElementsAre("a1"));
    EXPECT_THAT(namesOf(registry_.matching({"", "A1"})), IsEmpty());
    EXPECT_THAT(namesOf(registry_.matching({"", "Driver"})), IsEmpty());
}

TEST_F(RegistryTest, MatchingClassAndNameAsksForBoth) {
    EXPECT_THAT(namesOf(registry_.matching({"Base", "deep"})), ElementsAre("deep"));
    EXPECT_THAT(namesOf(registry_.matching({"Driver", "a1"})), IsEmpty());
}

TEST_F(RegistryTest, ARemovedEntryIsGoneWithAllBelowIt) {
    registry_.remove(a1_);
    EXPECT_THAT(namesOf(registry_.walk(a_)), ElementsAre("a", "a2"));
    EXPECT_THAT(namesOf(registry_.matching({"", "deep"})), IsEmpty());
}

TEST_F(RegistryTest, APathNamesTheEntriesWithTheirLocations) {
    auto located = describe("c");
    located.location = "1F";
    const Entry c = registry_.add(deep_, std::move(located));
    EXPECT_EQ(registry_.pathOf(registry_.root()), "IOService:/");
    EXPECT_EQ(registry_.pathOf(deep_), "IOService:/a/a1/deep");
    EXPECT_EQ(registry_.pathOf(c), "IOService:/a/a1/deep/c@1F");
}

TEST_F(RegistryTest, APathLeavesThePlatformExpertOut) {
    const Entry expert =
        registry_.add(registry_.root(), describe("VornMac1,1", {"IOPlatformExpertDevice"}));
    EXPECT_EQ(registry_.pathOf(expert), "IOService:/");
    EXPECT_EQ(registry_.pathOf(registry_.add(expert, describe("PCI0"))), "IOService:/PCI0");
}

TEST_F(RegistryTest, AGivenPathHoldsForTheEntryAndWhatIsBelowIt) {
    auto moved = describe("moved");
    moved.path = "IOService:/PCI0/AMDframebuffer";
    const Entry entry = registry_.add(deep_, std::move(moved));
    const Entry child = registry_.add(entry, describe("child"));
    EXPECT_EQ(registry_.pathOf(entry), "IOService:/PCI0/AMDframebuffer");
    EXPECT_EQ(registry_.pathOf(child), "IOService:/PCI0/AMDframebuffer/child");
}

TEST_F(RegistryTest, EveryEntryHasAnIDOfItsOwn) {
    std::map<std::uint64_t, int> ids;
    for (const Entry& entry : registry_.walk(registry_.root())) ++ids[entry->id];
    EXPECT_EQ(ids.size(), 7u);
}

TEST_F(RegistryTest, PropertiesKeepTheirOrderAndCanBeReplacedAndRemoved) {
    const auto number = [](std::int64_t value) { return makeCF(CFObject::Value(value)); };
    registry_.setProperty(a_, "one", number(1));
    registry_.setProperty(a_, "two", number(2));
    registry_.setProperty(a_, "three", number(3));
    registry_.setProperty(a_, "one", number(10));
    registry_.setProperty(a_, "two", nullptr);
    registry_.setProperty(a_, "never", nullptr);
    const auto& properties = a_->properties.all();
    ASSERT_EQ(properties.size(), 2u);
    EXPECT_EQ(properties[0].first, "one");
    EXPECT_EQ(std::get<std::int64_t>(a_->get("one")->value), 10);
    EXPECT_EQ(properties[1].first, "three");
    EXPECT_EQ(a_->get("two"), nullptr);
}

// Handles

TEST_F(RegistryTest, AnEntryComesBackUnderTheSameHandleWithOneMoreReference) {
    const auto first = registry_.handOut(a_, "first");
    EXPECT_NE(first, IO_OBJECT_NULL);
    EXPECT_EQ(registry_.handOut(a_, "second"), first);
    EXPECT_NE(registry_.handOut(b_, "third"), first);
    EXPECT_THAT(ledger_.heldByCall(), ElementsAre(Pair(Pair("io_registry_entry_t", "first"), 1),
                                                  Pair(Pair("io_registry_entry_t", "second"), 1),
                                                  Pair(Pair("io_registry_entry_t", "third"), 1)));
}

TEST_F(RegistryTest, AHandleDiesWithItsLastReference) {
    const auto handle = registry_.handOut(a_, "call");
    registry_.handOut(a_, "call");
    EXPECT_TRUE(registry_.release(handle));
    EXPECT_EQ(registry_.entryOf(handle), a_);
    EXPECT_TRUE(registry_.release(handle));
    EXPECT_EQ(registry_.entryOf(handle), nullptr);
    EXPECT_FALSE(registry_.release(handle));
    EXPECT_FALSE(registry_.retain(handle, "call"));
    EXPECT_EQ(entriesHeld(), 0);
}

TEST_F(RegistryTest, AHandleLivesAgainWhenItsEntryIsHandedOutAgain) {
    const auto handle = registry_.handOut(a_, "call");
    registry_.release(handle);
    EXPECT_EQ(registry_.handOut(a_, "call"), handle);
    EXPECT_EQ(registry_.entryOf(handle), a_);
}

TEST_F(RegistryTest, RetainingAddsAReference) {
    const auto handle = registry_.handOut(a_, "call");
    EXPECT_TRUE(registry_.retain(handle, "retain"));
    EXPECT_EQ(entriesHeld(), 2);
    registry_.release(handle);
    EXPECT_EQ(registry_.entryOf(handle), a_);
    EXPECT_EQ(entriesHeld(), 1);
}

TEST_F(RegistryTest, AnEntryThatTheSystemKeepsHasAHandleWithoutAReference) {
    const auto handle = registry_.handleOf(a_);
    EXPECT_EQ(registry_.entryOf(handle), a_);
    EXPECT_EQ(entriesHeld(), 0);
    EXPECT_FALSE(registry_.release(handle)) << "the caller holds nothing";
    EXPECT_EQ(registry_.handOut(a_, "call"), handle);
    EXPECT_TRUE(registry_.release(handle));
    EXPECT_EQ(registry_.entryOf(handle), a_);
}

TEST_F(RegistryTest, AHandleOutlivesTheRemovalOfItsEntry) {
    const auto handle = registry_.handOut(a1_, "call");
    registry_.remove(a1_);
    EXPECT_EQ(registry_.entryOf(handle), a1_);
    EXPECT_TRUE(registry_.release(handle));
}

TEST_F(RegistryTest, ZeroAndStrangeHandlesStandForNothing) {
    registry_.handOut(a_, "call");
    for (const io_object_t handle : {0u, 1u, 2u, 0x1001u, 0xFFFFFFFFu}) {
        EXPECT_EQ(registry_.entryOf(handle), nullptr);
        EXPECT_EQ(registry_.next(handle), nullptr);
        EXPECT_FALSE(registry_.retain(handle, "call"));
        EXPECT_FALSE(registry_.release(handle));
    }
    EXPECT_EQ(registry_.handOut(nullptr, "call"), IO_OBJECT_NULL);
    EXPECT_EQ(entriesHeld(), 1);
}

// Iterators

TEST_F(RegistryTest, AnIteratorYieldsItsEntriesOnceAndThenNothing) {
    const auto iterator = registry_.handOutIterator({b_, a_}, "call");
    EXPECT_THAT(rest(iterator), ElementsAre("b", "a"));
    EXPECT_THAT(rest(iterator), IsEmpty());
    EXPECT_EQ(registry_.entryOf(iterator), nullptr) << "an iterator is no entry";
}

TEST_F(RegistryTest, IteratorsAreIndependent) {
    const auto one = registry_.handOutIterator({a_, b_}, "call");
    const auto two = registry_.handOutIterator({a_, b_}, "call");
    EXPECT_NE(one, two);
    EXPECT_THAT(rest(one), ElementsAre("a", "b"));
    EXPECT_THAT(rest(two), ElementsAre("a", "b"));
}

TEST_F(RegistryTest, AWalkIsOverWhatStandsBelow) {
    EXPECT_THAT(rest(registry_.handOutWalk(registry_.root(), true, "call")),
                ElementsAre("a", "a1", "deep", "a2", "b", "b1"));
    EXPECT_THAT(rest(registry_.handOutWalk(a_, true, "call")), ElementsAre("a1", "deep", "a2"));
    EXPECT_THAT(rest(registry_.handOutWalk(a_, false, "call")), ElementsAre("a1", "a2"));
    EXPECT_THAT(rest(registry_.handOutWalk(deep_, true, "call")), IsEmpty());
}

TEST_F(RegistryTest, AWalkEndsAsSoonAsAnEntryComes) {
    const auto walk = registry_.handOutWalk(registry_.root(), true, "call");
    EXPECT_EQ(registry_.next(walk)->name, "a");
    registry_.add(deep_, describe("new"));
    EXPECT_EQ(registry_.next(walk), nullptr);
    EXPECT_EQ(registry_.next(walk), nullptr);
}

TEST_F(RegistryTest, AWalkEndsAsSoonAsAnEntryGoes) {
    const auto walk = registry_.handOutWalk(registry_.root(), true, "call");
    EXPECT_EQ(registry_.next(walk)->name, "a");
    registry_.remove(deep_);
    EXPECT_EQ(registry_.next(walk), nullptr);
}

TEST_F(RegistryTest, AWalkThatBeginsAfterAChangeIsWhole) {
    registry_.add(deep_, describe("new"));
    const auto walk = registry_.handOutWalk(a1_, true, "call");
    EXPECT_THAT(rest(walk), ElementsAre("deep", "new"));
}

TEST_F(RegistryTest, AWalkSurvivesAPropertyThatChanges) {
    const auto walk = registry_.handOutWalk(a_, true, "call");
    registry_.setProperty(deep_, "key", makeCFText("value"));
    EXPECT_THAT(rest(walk), ElementsAre("a1", "deep", "a2"));
}

TEST_F(RegistryTest, ASetOfMatchesSurvivesChanges) {
    const auto matches = registry_.handOutIterator(registry_.matching({"Base", ""}), "call");
    registry_.add(a_, describe("new", {"Base", "IOService"}));
    registry_.remove(b_);
    EXPECT_THAT(rest(matches), ElementsAre("a1", "deep", "b"));
}

TEST_F(RegistryTest, AnIteratorDiesWithItsLastReference) {
    const auto iterator = registry_.handOutIterator({a_, b_}, "call");
    EXPECT_TRUE(registry_.retain(iterator, "retain"));
    EXPECT_EQ(iteratorsHeld(), 2);
    EXPECT_TRUE(registry_.release(iterator));
    EXPECT_EQ(registry_.next(iterator), a_);
    EXPECT_TRUE(registry_.release(iterator));
    EXPECT_EQ(registry_.next(iterator), nullptr);
    EXPECT_FALSE(registry_.release(iterator));
    EXPECT_EQ(iteratorsHeld(), 0);
}

// Notifications

class NotificationTest : public RegistryTest {
  protected:
    io_iterator_t watch(const Match& match) {
        return registry_.handOutNotification(
            match, [this](io_iterator_t iterator) { delivered_.push_back(iterator); }, "watch");
    }

    std::vector<io_iterator_t> delivered_;
};

TEST_F(NotificationTest, StartsWithWhatFitsAlready) {
    const auto iterator = watch({"Base", ""});
    EXPECT_THAT(rest(iterator), ElementsAre("a1", "deep", "b"));
    EXPECT_THAT(delivered_, IsEmpty());
}

TEST_F(NotificationTest, IsNotDeliveredBeforeItWasEmptied) {
    const auto iterator = watch({"Base", ""});
    registry_.add(b_, describe("new", {"Base"}));
    EXPECT_THAT(delivered_, IsEmpty());
    EXPECT_THAT(rest(iterator), ElementsAre("a1", "deep", "b", "new")) << "nothing is lost";
}

TEST_F(NotificationTest, IsArmedByEmptyingIt) {
    const auto iterator = watch({"Base", ""});
    rest(iterator);
    registry_.add(b_, describe("new", {"Derived", "Base"}));
    EXPECT_THAT(delivered_, ElementsAre(iterator));
    EXPECT_THAT(rest(iterator), ElementsAre("new"));
}

TEST_F(NotificationTest, IsArmedAnewByEmptyingItAgain) {
    const auto iterator = watch({"Base", ""});
    rest(iterator);
    registry_.add(b_, describe("one", {"Base"}));
    registry_.add(b_, describe("two", {"Base"}));
    EXPECT_THAT(delivered_, ElementsAre(iterator)) << "the second came before the emptying";
    EXPECT_THAT(rest(iterator), ElementsAre("one", "two"));
    registry_.add(b_, describe("three", {"Base"}));
    EXPECT_THAT(delivered_, ElementsAre(iterator, iterator));
    EXPECT_THAT(rest(iterator), ElementsAre("three"));
}

TEST_F(NotificationTest, IsNotDeliveredForWhatDoesNotFit) {
    rest(watch({"Base", ""}));
    registry_.add(b_, describe("new", {"Other"}));
    EXPECT_THAT(delivered_, IsEmpty());
}

TEST_F(NotificationTest, ReachesEveryWatcherInTheOrderOfTheirMaking) {
    const auto first = watch({"Base", ""});
    const auto second = watch({"", "new"});
    rest(second);
    rest(first);
    registry_.add(b_, describe("new", {"Base"}));
    EXPECT_THAT(delivered_, ElementsAre(first, second));
    EXPECT_THAT(rest(first), ElementsAre("new"));
    EXPECT_THAT(rest(second), ElementsAre("new"));
}

TEST_F(NotificationTest, EndsWithItsIterator) {
    const auto iterator = watch({"Base", ""});
    rest(iterator);
    registry_.release(iterator);
    registry_.add(b_, describe("new", {"Base"}));
    EXPECT_THAT(delivered_, IsEmpty());
}

// The platform's functions

class RegistryOfAMac : public testing::Test {
  protected:
    RegistryOfAMac() {
        auto entry = describe("bus", {"IOBus", "IOService"});
        entry.location = "7";
        bus_ = mac_.registry.add(mac_.registry.root(), std::move(entry));
        device_ = mac_.registry.add(bus_, describe("device", {"IODevice", "IOService"}));
        mac_.registry.setProperty(device_, "key", makeCFText("value"));
    }

    io_service_t find(const char* className) {
        return IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching(className));
    }
    std::int64_t held(const std::string& kind) const { return mac_.ledger.held()[kind]; }

    Mac mac_{MacDescription{}};
    Entry bus_;
    Entry device_;
};

TEST_F(RegistryOfAMac, FindsAServiceAndConsumesTheDictionary) {
    const auto service = find("IODevice");
    EXPECT_EQ(mac_.registry.entryOf(service), device_);
    EXPECT_EQ(held("CFDictionary"), 0);
    EXPECT_EQ(held("io_registry_entry_t"), 1);
    EXPECT_EQ(IOObjectRelease(service), kIOReturnSuccess);
    EXPECT_EQ(find("NoSuchClass"), IO_OBJECT_NULL);
    EXPECT_EQ(held("CFDictionary"), 0);
}

TEST_F(RegistryOfAMac, FindsAllServicesOfANameAndConsumesTheDictionary) {
    mac_.registry.add(bus_, describe("device"));
    io_iterator_t iterator = IO_OBJECT_NULL;
    EXPECT_EQ(IOServiceGetMatchingServices(kIOMasterPortDefault, IOServiceNameMatching("device"),
                                           &iterator),
              kIOReturnSuccess);
    EXPECT_EQ(held("CFDictionary"), 0);
    EXPECT_EQ(mac_.registry.entryOf(IOIteratorNext(iterator)), device_);
    EXPECT_NE(IOIteratorNext(iterator), IO_OBJECT_NULL);
    EXPECT_EQ(IOIteratorNext(iterator), IO_OBJECT_NULL);
    EXPECT_EQ(held("io_registry_entry_t"), 2);
}

TEST_F(RegistryOfAMac, IteratesOverWhatStandsBelowAnEntry) {
    const auto root = IORegistryGetRootEntry(kIOMasterPortDefault);
    io_iterator_t iterator = IO_OBJECT_NULL;
    ASSERT_EQ(IORegistryEntryCreateIterator(root, kIOServicePlane, kIORegistryIterateRecursively,
                                            &iterator),
              kIOReturnSuccess);
    const auto expected = mac_.registry.walk(mac_.registry.root());
    for (std::size_t at = 1; at < expected.size(); ++at) {
        EXPECT_EQ(mac_.registry.entryOf(IOIteratorNext(iterator)), expected[at]);
    }
    EXPECT_EQ(IOIteratorNext(iterator), IO_OBJECT_NULL);
}

TEST_F(RegistryOfAMac, IteratesOverTheChildrenAloneUnlessAskedForMore) {
    mac_.registry.add(device_, describe("grandchild"));
    const auto bus = find("IOBus");
    io_iterator_t iterator = IO_OBJECT_NULL;
    ASSERT_EQ(IORegistryEntryCreateIterator(bus, kIOServicePlane, 0, &iterator), kIOReturnSuccess);
    EXPECT_EQ(mac_.registry.entryOf(IOIteratorNext(iterator)), device_);
    EXPECT_EQ(IOIteratorNext(iterator), IO_OBJECT_NULL);
}

TEST_F(RegistryOfAMac, GivesAnEntrysName) {
    io_name_t name;
    EXPECT_EQ(IORegistryEntryGetName(find("IODevice"), name), kIOReturnSuccess);
    EXPECT_STREQ(name, "device");
}

TEST_F(RegistryOfAMac, CutsANameThatHasNoRoom) {
    mac_.registry.add(bus_, describe(std::string(200, 'x'), {"IOLong"}));
    io_name_t name;
    EXPECT_EQ(IORegistryEntryGetName(find("IOLong"), name), kIOReturnSuccess);
    EXPECT_EQ(std::strlen(name), sizeof name - 1);
}

TEST_F(RegistryOfAMac, GivesNoNameWhereItCannotBeRead) {
    device_->nameReadable = false;
    io_name_t name = "untouched";
    EXPECT_NE(IORegistryEntryGetName(find("IODevice"), name), kIOReturnSuccess);
    EXPECT_NE(IORegistryEntryGetName(IO_OBJECT_NULL, name), kIOReturnSuccess);
    EXPECT_STREQ(name, "untouched");
}

TEST_F(RegistryOfAMac, GivesAnEntrysParentWithAReference) {
    const auto device = find("IODevice");
    io_registry_entry_t parent = IO_OBJECT_NULL;
    EXPECT_EQ(IORegistryEntryGetParentEntry(device, kIOServicePlane, &parent), kIOReturnSuccess);
    EXPECT_EQ(mac_.registry.entryOf(parent), bus_);
    EXPECT_EQ(held("io_registry_entry_t"), 2);
}

TEST_F(RegistryOfAMac, GivesNoParentOfTheRootOrWhereTheLookupFails) {
    device_->parentFound = false;
    io_registry_entry_t parent = IO_OBJECT_NULL;
    for (const auto entry : {find("IODevice"), IORegistryGetRootEntry(kIOMasterPortDefault)}) {
        EXPECT_NE(IORegistryEntryGetParentEntry(entry, kIOServicePlane, &parent), kIOReturnSuccess);
    }
    EXPECT_EQ(parent, IO_OBJECT_NULL);
}

TEST_F(RegistryOfAMac, GivesAnEntrysPathAsAStringOfTheCallers) {
    const CFStringRef path = IORegistryEntryCopyPath(find("IODevice"), kIOServicePlane);
    EXPECT_EQ(textOf(path), "IOService:/bus@7/device");
    EXPECT_EQ(held("CFString"), 1);
    CFRelease(path);
    EXPECT_EQ(held("CFString"), 0);
    EXPECT_EQ(IORegistryEntryCopyPath(IO_OBJECT_NULL, kIOServicePlane), nullptr);
}

TEST_F(RegistryOfAMac, GivesACopyOfAnEntrysProperties) {
    CFMutableDictionaryRef properties = nullptr;
    ASSERT_EQ(IORegistryEntryCreateCFProperties(find("IODevice"), &properties, nullptr, 0),
              kIOReturnSuccess);
    mac_.registry.setProperty(device_, "key", makeCFText("changed"));
    EXPECT_EQ(textOf(CFDictionaryGetValue(properties, CFSTR("key"))), "value");
    EXPECT_EQ(held("CFDictionary"), 1);
}

TEST_F(RegistryOfAMac, GivesOnePropertyWithAReference) {
    const auto device = find("IODevice");
    const CFTypeRef value = IORegistryEntryCreateCFProperty(device, CFSTR("key"), nullptr, 0);
    EXPECT_EQ(textOf(value), "value");
    EXPECT_EQ(held("CFString"), 1);
    EXPECT_EQ(IORegistryEntryCreateCFProperty(device, CFSTR("absent"), nullptr, 0), nullptr);
}

TEST_F(RegistryOfAMac, GivesNoPropertiesWhereTheyCannotBeRead) {
    device_->readable = false;
    CFMutableDictionaryRef properties = nullptr;
    const auto device = find("IODevice");
    EXPECT_NE(IORegistryEntryCreateCFProperties(device, &properties, nullptr, 0), kIOReturnSuccess);
    EXPECT_EQ(properties, nullptr);
    EXPECT_EQ(IORegistryEntryCreateCFProperty(device, CFSTR("key"), nullptr, 0), nullptr);
    EXPECT_NE(IORegistryEntryCreateCFProperties(IO_OBJECT_NULL, &properties, nullptr, 0),
              kIOReturnSuccess);
}

TEST_F(RegistryOfAMac, SearchesAPropertyBelowAnEntryWhenAskedTo) {
    const auto bus = find("IOBus");
    EXPECT_EQ(IORegistryEntrySearchCFProperty(bus, kIOServicePlane, CFSTR("key"), nullptr, 0),
              nullptr);
    EXPECT_EQ(textOf(IORegistryEntrySearchCFProperty(bus, kIOServicePlane, CFSTR("key"), nullptr,
                                                     kIORegistryIterateRecursively)),
              "value");
}

TEST_F(RegistryOfAMac, CallsTheReleaseOfAnObjectThatIsNotHeldAMisuse) {
    const auto device = find("IODevice");
    EXPECT_EQ(IOObjectRetain(device), kIOReturnSuccess);
    EXPECT_EQ(IOObjectRelease(device), kIOReturnSuccess);
    EXPECT_EQ(IOObjectRelease(device), kIOReturnSuccess);
    EXPECT_THAT(mac_.journal.misuses(), IsEmpty());
    EXPECT_NE(IOObjectRelease(device), kIOReturnSuccess);
    EXPECT_THAT(mac_.journal.misuses(), ElementsAre(testing::HasSubstr("doesn't hold")));
}

TEST_F(RegistryOfAMac, DeliversANotificationThroughTheMainRunLoop) {
    static std::vector<io_iterator_t> delivered;
    static bool onMain = false;
    const auto port = IONotificationPortCreate(kIOMasterPortDefault);
    CFRunLoopAddSource(CFRunLoopGetMain(), IONotificationPortGetRunLoopSource(port),
                       kCFRunLoopDefaultMode);
    io_iterator_t iterator = IO_OBJECT_NULL;
    ASSERT_EQ(IOServiceAddMatchingNotification(
                  port, kIOPublishNotification, IOServiceMatching("IONew"),
                  [](void* mac, io_iterator_t of) {
                      delivered.push_back(of);
                      onMain = static_cast<Mac*>(mac)->scheduler.onMainThread();
                  },
                  &mac_, &iterator),
              kIOReturnSuccess);
    EXPECT_EQ(held("CFDictionary"), 0);
    EXPECT_EQ(IOIteratorNext(iterator), IO_OBJECT_NULL);
    mac_.scheduler.startThread("somebody",
                               [&] { mac_.registry.add(bus_, describe("new", {"IONew"})); });
    mac_.scheduler.runUntilQuiet();
    EXPECT_THAT(delivered, ElementsAre(iterator));
    EXPECT_TRUE(onMain);
}

TEST_F(RegistryOfAMac, DeliversNothingToARunLoopThatNobodyRuns) {
    static int delivered = 0;
    io_iterator_t iterator = IO_OBJECT_NULL;
    mac_.scheduler.startThread("worker", [&] {
        const auto port = IONotificationPortCreate(kIOMasterPortDefault);
        CFRunLoopAddSource(CFRunLoopGetCurrent(), IONotificationPortGetRunLoopSource(port),
                           kCFRunLoopDefaultMode);
        IOServiceAddMatchingNotification(
            port, kIOPublishNotification, IOServiceMatching("IONew"),
            [](void*, io_iterator_t) { ++delivered; }, nullptr, &iterator);
        IOIteratorNext(iterator);
    });
    mac_.scheduler.runUntilQuiet();
    mac_.registry.add(bus_, describe("new", {"IONew"}));
    mac_.scheduler.runUntilQuiet();
    EXPECT_EQ(delivered, 0);
    EXPECT_NE(IOIteratorNext(iterator), IO_OBJECT_NULL) << "the iterator has it all the same";
}

}  // namespace registry_test
}  // namespace simulated_mac
