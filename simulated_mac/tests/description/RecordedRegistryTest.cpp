#include "simulated_mac/description/RecordedRegistry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulated_mac/description/RecordedValue.h"

namespace recorded_registry_test {

using namespace simulated_mac;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr auto small =
    "+-o Root  <class IORegistryEntry, id 0x100000100, retain 20>\n"
    "  | {\n"
    "  |   \"OS Build Version\" = \"18E226\"\n"
    "  | }\n"
    "  | \n"
    "  +-o VornMac1,1  <class IOPlatformExpertDevice, id 0x100000114, registered, matched, active, "
    "busy 0 (4891 ms), retain 45>\n"
    "    | {\n"
    "    |   \"model\" = <\"VornMac1,1\">\n"
    "    | }\n"
    "    | \n"
    "    +-o GFX0@2,1  <class IOPCIDevice, id 0x100000120, registered, matched, active, busy 0, "
    "retain 9>\n"
    "    | | {\n"
    "    | |   \"note\" = \"first line\n"
    "second line\"\n"
    "    | |   \"empty\" = {}\n"
    "    | | }\n"
    "    | | \n"
    "    | +-o display@home  <class IODisplayConnect, id 0x100000121, retain 6>\n"
    "    |     {\n"
    "    |     }\n"
    "    |     \n"
    "    +-o XHC1@14  <class IOPCIDevice, id 0x100000122, retain 6>\n"
    "        {\n"
    "          \"last\" = 1\n"
    "        }\n"
    "        \n";

std::vector<std::string> namesOf(const RecordedRegistry& registry) {
    std::vector<std::string> names;
    for (const RecordedEntry& entry : registry.entries()) names.emplace_back(entry.name);
    return names;
}

std::string messageOf(const std::string& text) {
    try {
        const RecordedRegistry registry(text);
    } catch (const RecordedRegistryError& error) {
        return error.what();
    }
    return "";
}

TEST(RecordedRegistry, HasEntriesWithNameLocationClassAndID) {
    const RecordedRegistry registry(small);
    ASSERT_THAT(registry.entries(), SizeIs(5));
    const RecordedEntry& chip = registry.entries()[2];
    EXPECT_EQ(chip.name, "GFX0");
    EXPECT_EQ(chip.location, "2,1");
    EXPECT_EQ(chip.className, "IOPCIDevice");
    EXPECT_EQ(chip.id, 0x100000120U);
    EXPECT_EQ(chip.state, "registered, matched, active, busy 0, retain 9");
    EXPECT_EQ(chip.lineNumber, 11U);
}

TEST(RecordedRegistry, TakesNoWordBehindAnAtSignForALocation) {
    EXPECT_EQ(RecordedRegistry(small).entries()[3].name, "display@home");
}

TEST(RecordedRegistry, KnowsEachEntrysParent) {
    const RecordedRegistry registry(small);
    std::vector<std::size_t> parents;
    for (const RecordedEntry& entry : registry.entries()) parents.push_back(entry.parent);
    EXPECT_THAT(parents, ElementsAre(RecordedEntry::none, 0, 1, 2, 1));
}

TEST(RecordedRegistry, HasPropertiesInTheirOrder) {
    const RecordedRegistry registry(small);
    const auto properties = registry.entries()[2].properties();
    ASSERT_THAT(properties, SizeIs(2));
    EXPECT_EQ(properties[1].key, "empty");
}

TEST(RecordedRegistry, KeepsATextThatGoesOnInTheNextLine) {
    const RecordedRegistry registry(small);
    EXPECT_EQ(registry.entries()[2].property("note"), "\"first line\nsecond line\"");
}

TEST(RecordedRegistry, PathsLeaveOutTheRootAndThePlatformExpert) {
    const RecordedRegistry registry(small);
    EXPECT_EQ(registry.pathOf(0), "IOService:/");
    EXPECT_EQ(registry.pathOf(1), "IOService:/");
    EXPECT_EQ(registry.pathOf(3), "IOService:/GFX0@2,1/display@home");
}

TEST(RecordedRegistry, FindsAnEntryByPathAndByID) {
    const RecordedRegistry registry(small);
    EXPECT_THAT(registry.find("IOService:/XHC1@14"), ElementsAre(4));
    EXPECT_THAT(registry.find("0x100000122"), ElementsAre(4));
    EXPECT_THAT(registry.find("IOService:/XHC1"), IsEmpty());
    EXPECT_THAT(registry.find("0x100000122Z"), IsEmpty());
}

TEST(RecordedRegistry, PassesOverTextBeforeAndAfterTheTree) {
    const RecordedRegistry registry("vorn@mac ~ % ioreg -l\n" + std::string(small) +
                                    "\"last\" = 2\nvorn@mac ~ % \n");
    EXPECT_THAT(registry.entries(), SizeIs(5));
    EXPECT_EQ(registry.entries()[4].property("last"), "1");
}

TEST(RecordedRegistry, TakesWindowsLineEnds) {
    std::string text;
    for (const char* at = small; *at != '\0'; ++at)
        text += *at == '\n' ? "\r\n" : std::string(1, *at);
    const RecordedRegistry registry(text);
    EXPECT_EQ(registry.text(), small);
}

TEST(RecordedRegistry, CanHaveSeveralRoots) {
    const RecordedRegistry registry(
        "+-o fb@0  <class VornFramebuffer, id 0x1>\n  | {\n  | }\n  | \n"
        "  +-o display0  <class IODisplayConnect, id 0x2>\n"
        "+-o fb@1  <class VornFramebuffer, id 0x3>\n");
    EXPECT_THAT(namesOf(registry), ElementsAre("fb", "display0", "fb"));
    EXPECT_EQ(registry.entries()[2].parent, RecordedEntry::none);
    EXPECT_EQ(registry.pathOf(1), "IOService:/fb@0/display0");
}

TEST(RecordedRegistry, TakesHeadersWithoutIDOrCutBeforeTheirClass) {
    const RecordedRegistry registry(
        "+-o Root  <class IORegistryEntry, retain count 12>\n"
        "  +-o VeryLongNa\n"
        "    +-o Other  <class Cut\n");
    EXPECT_EQ(registry.entries()[0].id, std::nullopt);
    EXPECT_EQ(registry.entries()[0].state, "retain count 12");
    EXPECT_EQ(registry.entries()[1].name, "VeryLongNa");
    EXPECT_EQ(registry.entries()[1].className, "");
    EXPECT_EQ(registry.entries()[2].className, "Cut");
}

TEST(RecordedRegistry, TellsAClassThatIsCutByTheName) {
    const RecordedRegistry registry(
        "+-o fb@0  <class VornFramebuffer, id 0x1, retain 2>\n"
        "  +-o display0  <class IODisp\n"
        "    +-o AppleDisplay  <cl\n"
        "    +-o AppleBacklightDisplay  <class AppleBacklightDisplay\n");
    EXPECT_EQ(registry.entries()[1].className, "IODisplayConnect");
    EXPECT_EQ(registry.entries()[2].className, "AppleDisplay");
    EXPECT_TRUE(registry.isDisplayNode(2));
    EXPECT_TRUE(registry.isDisplayNode(3));
    EXPECT_EQ(registry.cutEntries(), 3U);
}

TEST(RecordedRegistry, HasNoIDThatIsCut) {
    const RecordedRegistry registry(
        "+-o a  <class A, id 0x1000\n+-o b  <class B, id 0x1001, reg\n");
    EXPECT_EQ(registry.entries()[0].id, std::nullopt);
    EXPECT_EQ(registry.entries()[1].id, 0x1001U);
}

TEST(RecordedRegistry, LeavesNothingButTheRootAndItsPlatformExpertOutOfPaths) {
    const RecordedRegistry registry(
        "+-o Root  <class IORegistryEntry>\n  +-o expert  <class IOPlatformExpertDevice>\n"
        "    +-o inner  <class IORegistryEntry>\n      +-o last@0  <class L>\n"
        "  +-o other  <class O>\n");
    EXPECT_EQ(registry.pathOf(3), "IOService:/inner/last@0");
    EXPECT_THAT(registry.find("IOService:/inner/last@0"), ElementsAre(3));
    EXPECT_THAT(registry.find("IOService:/"), ElementsAre(0, 1));
    EXPECT_THAT(registry.find("/inner/last@0"), IsEmpty());
    EXPECT_THAT(registry.find("IOService:/last@0"), IsEmpty());
    EXPECT_EQ(registry.pathOf(4), "IOService:/other");
}

TEST(RecordedRegistry, PutsMaskedZerosBackIntoDataAndNumbersAlone) {
    const RecordedRegistry registry(
        "+-o Root  <class IORegistryEntry>\n  | {\n"
        "  |   \"data\" = <1**4>\n  |   \"number\" = 4**7\n  |   \"list\" = (1*,<*1>)\n"
        "  |   \"text\" = \"a * b *1*\"\n  | }\n");
    const RecordedEntry& root = registry.entries()[0];
    EXPECT_EQ(root.property("data"), "<1004>");
    EXPECT_EQ(root.property("number"), "4007");
    EXPECT_EQ(root.property("list"), "(10,<01>)");
    EXPECT_EQ(root.property("text"), "\"a * b *1*\"");
    EXPECT_EQ(registry.maskedValues(), 4U);
}

TEST(RecordedRegistry, IsNoneWithoutAnEntry) {
    EXPECT_THAT(messageOf("nothing here\n"), HasSubstr("no entry of a registry found"));
}

TEST(RecordedRegistry, RefusesATreeThatIsTooDeep) {
    std::string text;
    for (std::size_t level = 0; level <= RecordedRegistry::mostLevels; ++level) {
        text += std::string(2 * level, ' ') + "+-o e  <class E>\n";
    }
    EXPECT_EQ(messageOf(text), "line 1001: nested too deeply; expected at most 1000 levels");
}

TEST(RecordedRegistry, RefusesATextThatIsTooLong) {
    EXPECT_EQ(messageOf(std::string(RecordedRegistry::mostBytes + 1, '\n')),
              "the registry is too long; expected at most 64 MiB");
}

TEST(RecordedRegistry, RefusesTooManyEntries) {
    std::string text;
    for (std::size_t entry = 0; entry <= RecordedRegistry::mostEntries; ++entry) text += "+-o e\n";
    EXPECT_EQ(messageOf(text), "line 500001: too many entries; expected at most 500000");
}

class RecordedValues : public testing::TestWithParam<const char*> {};

/// What `ioreg` prints is what it is read from.
TEST_P(RecordedValues, ArePrintedAsTheyStood) {
    const auto value = parseRecordedValue(GetParam());
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(printRecordedValue(*value), GetParam());
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, RecordedValues,
                         testing::Values("Yes", "No", "0", "18446744072860495227", "\"text\"",
                                         "\"a \"quoted\" text\"", "\"\"", "<>", "<00ff>", "<61>",
                                         "<\"ab\",\"c\">", "()", "(1,(2),\"a,b\")", "{}",
                                         "{\"a\"={\"b\"=(Yes)},\"c\"=\"d\"}"));

TEST(RecordedValue, OfHexadecimalNumbersIsTheSame) {
    EXPECT_EQ(printRecordedValue(parseRecordedValue("0x1e8").value()), "488");
}

TEST(RecordedValue, OfDataPrintedAsTextsHasAZeroByteBehindEach) {
    EXPECT_EQ(std::get<Bytes>(parseRecordedValue("<\"ab\",\"c\">")->value),
              Bytes({'a', 'b', 0, 'c', 0}));
}

TEST(RecordedValue, IsPrintedInHexadecimalWithoutTexts) {
    EXPECT_EQ(printRecordedValue(parseRecordedValue("(42,<\"ab\">)").value(), true),
              "(0x2a,<616200>)");
}

class CutValues : public testing::TestWithParam<const char*> {};

TEST_P(CutValues, AreNone) {
    EXPECT_FALSE(parseRecordedValue(GetParam()).has_value());
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, CutValues,
                         testing::Values("", "\"te", "<00f", "<00ff...", "<0", "(1,2",
                                         "{\"a\"=", "{\"a\"=1", "1x", "Maybe", "<\"ab",
                                         "99999999999999999999", "(1)2"));

TEST(RecordedValue, NestedTooDeeplyIsNone) {
    EXPECT_FALSE(parseRecordedValue(std::string(100'000, '(')).has_value());
}

}  // namespace recorded_registry_test
