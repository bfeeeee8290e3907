#include "simulated_mac/hardware/EntryProperties.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "simulated_mac/description/RecordedRegistry.h"

namespace entry_properties_test {

using namespace simulated_mac;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> keysOf(const EntryProperties& properties) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : properties.all()) keys.push_back(key);
    return keys;
}

std::int64_t numberIn(const CFPointer& value) {
    return value != nullptr ? std::get<std::int64_t>(value->value) : -1;
}

CFPointer number(std::int64_t value) {
    return makeCF(value);
}

TEST(EntryProperties, KeepTheOrderInWhichTheyWereSet) {
    EntryProperties properties;
    for (const char* const key : {"b", "a", "c", "b"}) properties.set(key, number(1));
    EXPECT_THAT(keysOf(properties), ElementsAre("b", "a", "c"));
}

TEST(EntryProperties, SetToNoValueAreTakenOut) {
    EntryProperties properties;
    properties.set("a", number(1));
    properties.set("a", nullptr);
    properties.set("never there", nullptr);
    EXPECT_THAT(keysOf(properties), IsEmpty());
    EXPECT_EQ(properties.get("a"), nullptr);
}

TEST(EntryProperties, ThatAreNotRecordedAreNotAsRecorded) {
    EXPECT_FALSE(EntryProperties().areAsRecorded());
    EXPECT_FALSE(EntryProperties().isAsRecorded("a"));
}

class OfARecordedEntry : public testing::Test {
  protected:
    const RecordedRegistry registry{
        "+-o a  <class A>\n    {\n      \"b\" = 2\n      \"cut\" = <00ff...\n"
        "      \"a\" = 1\n    }\n"};
    EntryProperties properties{registry.entries()[0]};
};

TEST_F(OfARecordedEntry, AreThoseThatCanBeReadInTheirOrder) {
    EXPECT_THAT(keysOf(properties), ElementsAre("b", "a"));
    EXPECT_EQ(numberIn(properties.get("a")), 1);
    EXPECT_EQ(properties.get("cut"), nullptr);
}

TEST_F(OfARecordedEntry, StayAsRecordedUntilOneIsSet) {
    properties.get("a");
    EXPECT_TRUE(properties.areAsRecorded());
    properties.set("a", number(3));
    EXPECT_FALSE(properties.areAsRecorded());
    EXPECT_FALSE(properties.isAsRecorded("a"));
    EXPECT_TRUE(properties.isAsRecorded("b"));
    EXPECT_EQ(numberIn(properties.get("a")), 3);
    EXPECT_EQ(numberIn(properties.get("b")), 2);
}

TEST_F(OfARecordedEntry, AreCopiedWithoutTheRecord) {
    const EntryProperties copy(properties);
    EXPECT_FALSE(copy.areAsRecorded());
    EXPECT_THAT(keysOf(copy), ElementsAre("b", "a"));
}

TEST_F(OfARecordedEntry, AreMovedWithTheRecord) {
    const EntryProperties moved(std::move(properties));
    EXPECT_TRUE(moved.areAsRecorded());
    EXPECT_EQ(numberIn(moved.get("b")), 2);
}

TEST_F(OfARecordedEntry, CanBeAskedForByThreadsAtOnce) {
    std::vector<std::thread> threads;
    std::vector<std::int64_t> numbers(4);
    for (std::int64_t& result : numbers) {
        threads.emplace_back([&] { result = numberIn(properties.get("b")); });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(numbers, testing::Each(2));
}

}  // namespace entry_properties_test
