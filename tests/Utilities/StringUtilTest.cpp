#include "plugin/Utilities/StringUtil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "simulated_mac/machine/CallText.h"
#include "tests/support/PaneOnMac.h"

namespace string_util_test {

using simulated_mac::Bytes;
using simulated_mac::ToolOverride;
using test::Mac;
using test::MacDescription;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Texts = std::vector<std::string>;

constexpr std::uint8_t identityBlock[] = {0x2E, 0x38, 0x34, 0x12, 0x78, 0x56, 0x34, 0x12};

MacDescription macWhereToolPrints(const std::string& tool, const std::string& output,
                                  int status = 0) {
    MacDescription description;
    description.tools[tool] = {ToolOverride{output, status}};
    return description;
}

/// The texts found in one line of the registry listing, which has to name its property after them.
Texts textsIn(const std::string& line) {
    const Mac mac(macWhereToolPrints("ioreg", line + " IODisplayEDID\n"));
    return StringUtil().getEDIDString(false);
}

Bytes bytesOf(const std::string& hexText) {
    const Mac mac(test::macWith({}));
    return StringUtil().dataFromHexString(hexText);
}

std::string lettersOf(std::uint8_t first, std::uint8_t second) {
    const std::uint8_t bytes[] = {first, second};
    return StringUtil().parseManufacturerID(bytes);
}

std::string lowerHexOf(const Bytes& bytes) {
    std::string text = test::hexText(bytes);
    for (char& c : text) {
        if (c >= 'A' && c <= 'F') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

TEST(EDIDTexts, StandBetweenAngleBrackets) {
    EXPECT_THAT(textsIn("x<0A1b>y<>z"), ElementsAre("0A1b", ""));
}

TEST(EDIDTexts, AClosingBracketBeforeAnyOpeningOneGivesAnEmptyText) {
    EXPECT_THAT(textsIn("ab>cd<01>"), ElementsAre("", "01"));
}

TEST(EDIDTexts, ASecondOpeningBracketDoesNotStartAnew) {
    EXPECT_THAT(textsIn("<ab<cd>"), ElementsAre("abcd"));
}

TEST(EDIDTexts, ASecondClosingBracketGivesAnEmptyText) {
    EXPECT_THAT(textsIn("<ab>cd>"), ElementsAre("ab", ""));
}

TEST(EDIDTexts, TextAfterTheLastClosingBracketIsDropped) {
    EXPECT_THAT(textsIn("<ab>cd<ef"), ElementsAre("ab"));
}

TEST(EDIDTexts, WithoutAnyClosingBracketThereAreNone) {
    EXPECT_THAT(textsIn("<abcd"), IsEmpty());
}

TEST(EDIDTexts, NothingBetweenTheBracketsIsChecked) {
    EXPECT_THAT(textsIn("<no hex, \"IODisplayEDID\" = !>"),
                ElementsAre("no hex, \"IODisplayEDID\" = !"));
}

TEST(EDIDTexts, GoOnFromLineToLine) {
    const Mac mac(macWhereToolPrints("ioreg", "<ab IODisplayEDID\nIODisplayEDID cd>\n"));
    EXPECT_THAT(StringUtil().getEDIDString(false),
                ElementsAre("ab IODisplayEDID\nIODisplayEDID cd"));
}

TEST(EDIDTexts, OnlyTheLowEightBitsOfACharacterAreKept) {
    // U+0141 keeps 0x41, U+00E9 stays; U+1F600 is the units 0xD83D and 0xDE00.
    EXPECT_THAT(textsIn("<\xC5\x81\xC3\xA9>"), ElementsAre("A\xC3\xA9"));
    EXPECT_THAT(textsIn("<\xF0\x9F\x98\x80>"), ElementsAre(std::string("=\0", 2)));
}

TEST(EDIDTexts, ACharacterWhoseLowBitsAreABracketIsNone) {
    // U+013C and U+013E.
    EXPECT_THAT(textsIn("<a\xC4\xBC\xC4\xBE>"), ElementsAre("a<>"));
}

TEST(EDIDTexts, InATextBeyondASCIIHaveTheSameBrackets) {
    EXPECT_THAT(textsIn("\xC3\xA9>cd<0\xC3\xA9<1><><2"), ElementsAre("", "0\xC3\xA9\x31", ""));
}

TEST(EDIDTexts, LinesOfOtherPropertiesAreNotRead) {
    const Mac mac(macWhereToolPrints(
        "ioreg", "\"a\" = <01>\n\"IODisplayEDID\" = <02>\n\"IODisplayPrefs\" = <03>\n"));
    EXPECT_THAT(StringUtil().getEDIDString(false), ElementsAre("02"));
}

TEST(EDIDTexts, AnIntelMacListsItsExternalMonitors) {
    const auto first = test::monitorNamed("VORN K2725QX");
    const auto second = test::monitorNamed("VORN K2422H");
    const Mac mac(test::macWith({test::builtInPanel(), first, second}));
    EXPECT_THAT(StringUtil().getEDIDString(false),
                ElementsAre(lowerHexOf(first.monitor.edid), lowerHexOf(second.monitor.edid)));
}

TEST(EDIDTexts, AMacWithoutMonitorsHasNone) {
    const Mac mac(test::macWith({}));
    EXPECT_THAT(StringUtil().getEDIDString(false), IsEmpty());
}

TEST(EDIDTexts, AppleSiliconTakesTheThirdWordOfEachPieceOfTheFirmwaresListing) {
    const Mac mac(
        macWhereToolPrints("afktool",
                           "one | two <99> three\n"
                           "x | data = <00FFab> end | y z \"RegisterSetName\"=\"EDID Block 0\"\n"
                           "x | data = <77> end | y z \"RegisterSetName\"=\"EDID Block 1\"\n"));
    EXPECT_THAT(StringUtil().getEDIDString(true), ElementsAre("00FFab"));
}

TEST(EDIDTexts, AToolThatPrintsNothingGivesNone) {
    const Mac mac(macWhereToolPrints("ioreg", ""));
    EXPECT_THAT(StringUtil().getEDIDString(false), IsEmpty());
}

TEST(EDIDTexts, AToolThatFailsAfterPrintingStillGivesThem) {
    const Mac mac(macWhereToolPrints("ioreg", "<01> IODisplayEDID\n", 1));
    EXPECT_THAT(StringUtil().getEDIDString(false), ElementsAre("01"));
}

TEST(EDIDTexts, OutputThatIsNoTextGivesNone) {
    EXPECT_THAT(textsIn("<01\xFF>"), IsEmpty());
}

TEST(EDIDTexts, WithoutAShellThereAreNone) {
    auto description = macWhereToolPrints("ioreg", "<01> IODisplayEDID\n");
    description.faults = {{"posix_spawn", 1, false, {}}};
    const Mac mac(description);
    EXPECT_THAT(StringUtil().getEDIDString(false), IsEmpty());
    EXPECT_THAT(StringUtil().getEDIDString(false), ElementsAre("01"));
}

TEST(EDIDTexts, EachFetchRunsOnePipelineAndLogsNothing) {
    Mac mac(test::macWith({}));
    mac.trace.keepOnly({"posix_spawn"});
    StringUtil().getEDIDString(false);
    StringUtil().getEDIDString(true);
    const auto calls = mac.trace.calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(argumentsText(calls[0]), "/bin/sh, \"-c\", \"ioreg -l | grep IODisplayEDID\"");
    EXPECT_EQ(argumentsText(calls[1]),
              "/bin/sh, \"-c\", \"afktool -r all registry | "
              "grep -E '\"RegisterSetName\"=\"EDID Block 0\"' | "
              "awk 'BEGIN{RS=\"|\"};{print $3}'\"");
    EXPECT_THAT(mac.journal.systemLog(), IsEmpty());
}

TEST(HexText, EveryPairOfCharactersReadsAsTheLibraryReadsIt) {
    const Mac mac(test::macWith({}));
    const StringUtil util;
    for (int first = 0; first < 0x80; ++first) {
        for (int second = 0; second < 0x80; ++second) {
            const std::string pair = {static_cast<char>(first), static_cast<char>(second)};
            const auto value = std::strtoul(pair.c_str(), nullptr, 16);
            EXPECT_THAT(util.dataFromHexString(pair),
                        ElementsAre(static_cast<std::uint8_t>(value)));
        }
    }
}

TEST(HexText, FillsWhatThereIsRoomForAndNoMore) {
    const Mac mac(test::macWith({}));
    const StringUtil util;
    Bytes bytes = {9, 9, 9};
    util.readHexString("0102030405", bytes);
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3));
    util.readHexString("0a0", bytes);
    EXPECT_THAT(bytes, ElementsAre(0x0A, 0, 3));
}

TEST(HexText, TwoDigitsAreAByte) {
    EXPECT_THAT(bytesOf("00FF"), ElementsAre(0x00, 0xFF));
    EXPECT_THAT(bytesOf("00ff7f80"), ElementsAre(0x00, 0xFF, 0x7F, 0x80));
}

TEST(HexText, AnOddLastDigitIsAByteOfItsOwn) {
    EXPECT_THAT(bytesOf("ABC"), ElementsAre(0xAB, 0x0C));
    EXPECT_THAT(bytesOf("F"), ElementsAre(0x0F));
}

TEST(HexText, TheEmptyTextHasNoBytes) {
    EXPECT_THAT(bytesOf(""), IsEmpty());
}

TEST(HexText, APairThatIsNoNumberReadsAsZero) {
    EXPECT_THAT(bytesOf("0G01"), ElementsAre(0x00, 0x01));
    EXPECT_THAT(bytesOf("ZZ01"), ElementsAre(0x00, 0x01));
    EXPECT_THAT(bytesOf("0x01"), ElementsAre(0x00, 0x01));
}

TEST(HexText, APairIsReadToItsFirstOtherCharacter) {
    EXPECT_THAT(bytesOf("AG"), ElementsAre(0x0A));
}

TEST(HexText, ALeadingBlankOrSignOfAPairIsReadAsInAnyNumber) {
    EXPECT_THAT(bytesOf(" A\tB+C-1"), ElementsAre(0x0A, 0x0B, 0x0C, 0xFF));
}

TEST(HexText, ABlankInsideShiftsThePairing) {
    EXPECT_THAT(bytesOf("AB CD"), ElementsAre(0xAB, 0x0C, 0x0D));
}

TEST(HexText, AZeroByteEndsItsPairOnly) {
    EXPECT_THAT(bytesOf(std::string("A\0BC", 4)), ElementsAre(0x0A, 0xBC));
}

TEST(HexText, CharactersAreCountedButBytesAreRead) {
    // Two characters, three bytes of UTF-8: one pair is read, which is no number.
    EXPECT_THAT(bytesOf("\xC3\xA9"
                        "1"),
                ElementsAre(0x00));
    // Four characters, five bytes: the pairs are U+00E9 and "12".
    EXPECT_THAT(bytesOf("\xC3\xA9"
                        "123"),
                ElementsAre(0x00, 0x12));
}

TEST(HexText, AWholeEDIDGivesItsBytesBack) {
    const Bytes edid = test::monitorNamed("VORN K2790Z").monitor.edid;
    EXPECT_EQ(bytesOf(test::hexText(edid)), edid);
}

TEST(Manufacturer, LettersAreFiveBitsEachFromTheHighestDown) {
    EXPECT_EQ(lettersOf(0x2E, 0x38), "KQX");
}

TEST(Manufacturer, ZeroLettersReadAsAtSigns) {
    EXPECT_EQ(lettersOf(0x00, 0x00), "@@@");
}

TEST(Manufacturer, TheHighestBitIsNotUsed) {
    EXPECT_EQ(lettersOf(0xAE, 0x38), "KQX");
}

TEST(Manufacturer, LettersGoUpToTheUnderscore) {
    EXPECT_EQ(lettersOf(0x7F, 0xFF), "___");
    EXPECT_EQ(lettersOf(0x04, 0x3A), "AAZ");
}

TEST(Identity, ThePlugAndPlayIDHasLettersAndProductCode) {
    EXPECT_EQ(StringUtil().ParseManufacturer(identityBlock), "KQX1234");
}

TEST(Identity, TheModelInfoHasLettersHighProductByteAndSerialNumber) {
    EXPECT_EQ(StringUtil().ParseModelInfo(identityBlock), "KQX12.12345678");
}

TEST(Identity, DigitsAreUpperCaseAndFilledUpWithZeros) {
    const std::uint8_t block[] = {0x2E, 0x38, 0x0F, 0x0A, 0xEF, 0x0D, 0xBE, 0x00};
    EXPECT_EQ(StringUtil().ParseManufacturer(block), "KQX0A0F");
    EXPECT_EQ(StringUtil().ParseModelInfo(block), "KQX0A.00BE0DEF");
}

TEST(Identity, AnEmptyBlockReadsAsZeros) {
    const std::uint8_t block[8] = {};
    EXPECT_EQ(StringUtil().ParseManufacturer(block), "@@@0000");
    EXPECT_EQ(StringUtil().ParseModelInfo(block), "@@@00.00000000");
}

}  // namespace string_util_test
