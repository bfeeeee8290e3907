#include "plugin/Platform/Properties.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "plugin/Platform/IOObject.h"
#include "plugin/Platform/Text.h"
#include "simulated_mac/platform/CFReferences.h"
#include "tests/support/PaneOnMac.h"

using namespace vorn;

namespace properties_test {

using simulated_mac::Bytes;
using simulated_mac::CFObject;
using simulated_mac::makeCF;
using simulated_mac::makeCFText;
using test::Mac;
using ::testing::IsEmpty;

/// An entry of the registry with one property of every type that a driver may publish.
simulated_mac::RegistryEntry entryWithProperties() {
    simulated_mac::RegistryEntry entry;
    entry.name = "Thing";
    entry.classes = {"Thing"};
    entry.set("text", makeCFText("caf\xC3\xA9"));
    entry.set("number", makeCF(std::int64_t{-2}));
    entry.set("fraction", makeCF(-596.7));
    entry.set("wide", makeCF(std::numeric_limits<std::int64_t>::max()));
    entry.set("flag", makeCF(true));
    entry.set("data", makeCF(Bytes{1, 2}));
    entry.set("list", makeCF(CFObject::Array{makeCFText("element")}));
    entry.set("map", makeCF(CFObject::Dictionary{{"inner", makeCFText("found")}}));
    return entry;
}

test::MacDescription macWhereFails(const std::string& call) {
    auto description = test::macWith({});
    if (!call.empty()) description.faults = {{call, 1, false, {}}};
    return description;
}

class Properties : public ::testing::Test {
  protected:
    explicit Properties(const std::string& failingCall = "") : mac(macWhereFails(failingCall)) {}

    /// The entry, with one reference.
    IOObject object() { return IOObject(mac.registry.handOut(added, "IOIteratorNext")); }

    Mac mac;
    const std::shared_ptr<simulated_mac::RegistryEntry> added =
        mac.registry.add(mac.registry.root(), entryWithProperties());
};

class PropertiesThatFail : public Properties {
  protected:
    PropertiesThatFail() : Properties("IORegistryEntryCreateCFProperties") {}
};

class PropertyThatFails : public Properties {
  protected:
    PropertyThatFails() : Properties("IORegistryEntryCreateCFProperty") {}
};

TEST_F(Properties, AreReadByTheirType) {
    const auto all = copyProperties(object().get());
    ASSERT_TRUE(all);
    EXPECT_EQ(textEntry(all.get(), CFSTR("text")), "caf\xC3\xA9");
    EXPECT_EQ(makeText(stringEntry(all.get(), CFSTR("text"))), "caf\xC3\xA9");
    EXPECT_EQ(integerEntry(all.get(), CFSTR("number")), -2);
    EXPECT_EQ(integerEntry(all.get(), CFSTR("wide")), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(textEntry(dictionaryEntry(all.get(), CFSTR("map")), CFSTR("inner")), "found");
}

TEST_F(Properties, OfANumberWithAFractionAreWholeNumbers) {
    const auto all = copyProperties(object().get());
    EXPECT_EQ(integerEntry(all.get(), CFSTR("fraction")), -596);
}

TEST_F(Properties, OfAnotherTypeCountAsAbsent) {
    const auto all = copyProperties(object().get());
    for (const char* key : {"number", "flag", "data", "list", "map", "missing"}) {
        const auto name = makeCFString(key);
        EXPECT_EQ(stringEntry(all.get(), name.get()), nullptr) << key;
        EXPECT_EQ(textEntry(all.get(), name.get()), std::nullopt) << key;
    }
    for (const char* key : {"text", "flag", "data", "list", "map", "missing"}) {
        EXPECT_EQ(integerEntry(all.get(), makeCFString(key).get()), std::nullopt) << key;
    }
    for (const char* key : {"text", "number", "flag", "data", "list", "missing"}) {
        EXPECT_EQ(dictionaryEntry(all.get(), makeCFString(key).get()), nullptr) << key;
    }
}

TEST_F(Properties, OfNoDictionaryAreAbsent) {
    EXPECT_EQ(stringEntry(nullptr, CFSTR("text")), nullptr);
    EXPECT_EQ(dictionaryEntry(nullptr, CFSTR("map")), nullptr);
    EXPECT_EQ(textEntry(nullptr, CFSTR("text")), std::nullopt);
    EXPECT_EQ(integerEntry(nullptr, CFSTR("number")), std::nullopt);
}

TEST_F(Properties, OnlyADictionaryIsTakenForOne) {
    const auto all = copyProperties(object().get());
    EXPECT_EQ(asDictionary(all.get()), all.get());
    EXPECT_EQ(asDictionary(stringEntry(all.get(), CFSTR("text"))), nullptr);
    EXPECT_EQ(asDictionary(nullptr), nullptr);
}

TEST_F(Properties, AreReleasedWithTheirOwner) {
    {
        const auto all = copyProperties(object().get());
        textEntry(all.get(), CFSTR("text"));
        dictionaryEntry(all.get(), CFSTR("map"));
    }
    EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
}

TEST_F(Properties, OfAnEntryThatCannotBeReadAreEmpty) {
    added->readable = false;
    EXPECT_FALSE(copyProperties(object().get()));
    EXPECT_FALSE(copyStringProperty(object().get(), CFSTR("text")));
}

TEST_F(Properties, OfNoEntryAreEmpty) {
    EXPECT_FALSE(copyProperties(IO_OBJECT_NULL));
    EXPECT_FALSE(copyStringProperty(IO_OBJECT_NULL, CFSTR("text")));
    EXPECT_FALSE(copyDictionaryProperty(IO_OBJECT_NULL, CFSTR("map")));
}

TEST_F(Properties, OneAloneIsReadByItsType) {
    EXPECT_EQ(makeText(copyStringProperty(object().get(), CFSTR("text")).get()), "caf\xC3\xA9");
    const auto map = copyDictionaryProperty(object().get(), CFSTR("map"));
    EXPECT_EQ(textEntry(map.get(), CFSTR("inner")), "found");
}

TEST_F(Properties, OneAloneOfAnotherTypeIsAbsentAndReleased) {
    EXPECT_FALSE(copyStringProperty(object().get(), CFSTR("map")));
    EXPECT_FALSE(copyStringProperty(object().get(), CFSTR("number")));
    EXPECT_FALSE(copyDictionaryProperty(object().get(), CFSTR("text")));
    EXPECT_FALSE(copyDictionaryProperty(object().get(), CFSTR("list")));
    EXPECT_FALSE(copyStringProperty(object().get(), CFSTR("missing")));
    EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
}

TEST_F(Properties, OneAloneIsReleasedWithItsOwner) {
    {
        const auto text = copyStringProperty(object().get(), CFSTR("text"));
        const std::map<std::pair<std::string, std::string>, std::int64_t> held = {
            {{"CFString", "IORegistryEntryCreateCFProperty"}, 1}};
        EXPECT_EQ(mac.ledger.heldByCall(), held);
    }
    EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
}

TEST_F(PropertiesThatFail, AreEmptyAndReadAgainLater) {
    EXPECT_FALSE(copyProperties(object().get()));
    EXPECT_TRUE(copyProperties(object().get()));
    EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
}

TEST_F(PropertyThatFails, IsAbsentAndReadAgainLater) {
    EXPECT_FALSE(copyStringProperty(object().get(), CFSTR("text")));
    EXPECT_TRUE(copyStringProperty(object().get(), CFSTR("text")));
    EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
}

}  // namespace properties_test
