#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "plugin/DDCCI/Arm64Utility.h"
#include "simulated_mac/machine/CallText.h"
#include "tests/support/AppleMac.h"

namespace arm64_utility_matching_test {

using simulated_mac::Bytes;
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
using ::testing::Pair;
using ::testing::SizeIs;

using OptionalText = std::optional<std::string>;

constexpr auto modelName = "VORN K2790Z";
constexpr std::int32_t monitorSerial = 0x12345678;

// The EDID UUID of the monitors here, and the pieces that are looked for in it.
constexpr auto monitorUUID = "5A4E3412-0000-0000-011F-0104B53C2278";
constexpr std::size_t vendorAt = 0;
constexpr std::size_t productAt = 4;
constexpr std::size_t dateAt = 19;
constexpr std::size_t sizeAt = 30;

constexpr auto longest = std::numeric_limits<std::int64_t>::max();
constexpr auto lowest = std::numeric_limits<std::int64_t>::min();

/// A text of an EDID UUID's length that holds these digits and matches nothing else.
std::string uuidWith(std::size_t position, const std::string& digits) {
    std::string uuid(36, '-');
    return uuid.replace(position, digits.size(), digits);
}

// The score.

/// The parts of a candidate that are compared with a display.
struct Identity {
    OptionalText uuid;
    OptionalText name;
    std::int32_t serial = 0;
    std::int32_t ordinal = 0;
};

Identity withUUID(OptionalText uuid) {
    return {std::move(uuid), {}, 0, 0};
}
Identity withName(OptionalText name) {
    return {{}, std::move(name), 0, 0};
}
Identity withSerial(std::int32_t serial) {
    return {{}, {}, serial, 0};
}
Identity withOrdinal(std::int32_t ordinal) {
    return {{}, {}, 0, ordinal};
}

class MatchScore : public ::testing::Test {
  protected:
    static constexpr std::uint32_t displayID = 5;

    void SetUp() override { displayKnows({}); }
    void TearDown() override {
        EXPECT_THAT(mac->ledger.heldByCall(), IsEmpty());
        EXPECT_THAT(mac->journal.misuses(), IsEmpty());
        EXPECT_THAT(mac->journal.systemLog(), IsEmpty());
    }

    /// Has the information dictionary of the monitor hold these entries in place of its own.
    void displayKnows(PropertyMap overrides) {
        screen.infoDictionary = std::move(overrides);
        switchOn();
    }
    void displayHasNoDictionary() {
        screen.hasInfoDictionary = false;
        switchOn();
    }
    void switchOn() {
        screen.displayID = displayID;
        mac.reset();
        mac.emplace(appleMacWith({screen}));
    }

    std::int32_t score(const Identity& candidate) const {
        return Arm64Utility().ioregMatchScore(displayID, candidate.uuid, candidate.name,
                                              candidate.serial, candidate.ordinal);
    }
    /// The names of the pieces that match.
    std::vector<std::string> matched(const Identity& candidate) const {
        const MatchedPieces pieces = Arm64Utility().matchedPieces(
            displayID, candidate.uuid, candidate.name, candidate.serial, candidate.ordinal);
        EXPECT_EQ(pieces.score(), score(candidate));
        const std::vector<std::pair<std::string, bool>> all = {
            {"vendor", pieces.vendor},
            {"product", pieces.product},
            {"date", pieces.date},
            {"size", pieces.size},
            {"product name", pieces.productName},
            {"serial number", pieces.serialNumber},
            {"location", pieces.location},
        };
        std::vector<std::string> names;
        for (const auto& [name, matches] : all) {
            if (matches) names.push_back(name);
        }
        return names;
    }
    /// Whether a display with these entries looks for these digits at this position.
    bool looksFor(const PropertyMap& overrides, std::size_t position, const std::string& digits) {
        displayKnows(overrides);
        return score(withUUID(uuidWith(position, digits))) == 2;
    }
    bool looksForVendor(std::int64_t vendor, const std::string& digits) {
        return looksFor({{"DisplayVendorID", number(vendor)}}, vendorAt, digits);
    }
    bool looksForProduct(std::int64_t product, const std::string& digits) {
        return looksFor({{"DisplayProductID", number(product)}}, productAt, digits);
    }
    bool looksForWeek(std::int64_t week, const std::string& digits) {
        return looksFor({{"DisplayWeekManufacture", number(week)}}, dateAt, digits + "1F");
    }
    bool looksForYear(std::int64_t year, const std::string& digits) {
        return looksFor({{"DisplayYearManufacture", number(year)}}, dateAt, "01" + digits);
    }
    bool looksForWidth(std::int64_t millimetres, const std::string& digits) {
        return looksFor({{"DisplayHorizontalImageSize", number(millimetres)}}, sizeAt,
                        digits + "22");
    }
    bool looksForHeight(std::int64_t millimetres, const std::string& digits) {
        return looksFor({{"DisplayVerticalImageSize", number(millimetres)}}, sizeAt, "3C" + digits);
    }

    ScreenDescription screen = test::monitorNamed(modelName);
    std::optional<Mac> mac;
};

TEST_F(MatchScore, OfACandidateThatIsTheDisplayInAllIs13) {
    const Identity candidate = {monitorUUID, "Vorn k2790z", monitorSerial, 5};
    EXPECT_EQ(score(candidate), 13);
    EXPECT_THAT(matched(candidate), SizeIs(7));
}

TEST_F(MatchScore, OfACandidateWithoutAnythingIs0) {
    EXPECT_EQ(score({}), 0);
    EXPECT_THAT(matched({}), IsEmpty());
}

TEST_F(MatchScore, OfTheVendorAloneIs2) {
    const auto candidate = withUUID(uuidWith(vendorAt, "5A4E"));
    EXPECT_THAT(matched(candidate), ElementsAre("vendor"));
    EXPECT_EQ(score(candidate), 2);
}

TEST_F(MatchScore, OfTheProductAloneIs2) {
    const auto candidate = withUUID(uuidWith(productAt, "3412"));
    EXPECT_THAT(matched(candidate), ElementsAre("product"));
    EXPECT_EQ(score(candidate), 2);
}

TEST_F(MatchScore, OfTheDateAloneIs2) {
    const auto candidate = withUUID(uuidWith(dateAt, "011F"));
    EXPECT_THAT(matched(candidate), ElementsAre("date"));
    EXPECT_EQ(score(candidate), 2);
}

TEST_F(MatchScore, OfTheSizeAloneIs2) {
    const auto candidate = withUUID(uuidWith(sizeAt, "3C22"));
    EXPECT_THAT(matched(candidate), ElementsAre("size"));
    EXPECT_EQ(score(candidate), 2);
}

TEST_F(MatchScore, OfTheProductNameAloneIs2) {
    EXPECT_THAT(matched(withName(modelName)), ElementsAre("product name"));
    EXPECT_EQ(score(withName(modelName)), 2);
}

TEST_F(MatchScore, OfTheSerialNumberAloneIs2) {
    EXPECT_THAT(matched(withSerial(monitorSerial)), ElementsAre("serial number"));
    EXPECT_EQ(score(withSerial(monitorSerial)), 2);
}

TEST_F(MatchScore, OfAnOrdinalThatEqualsTheDisplayIDIs1) {
    EXPECT_THAT(matched(withOrdinal(5)), ElementsAre("location"));
    EXPECT_EQ(score(withOrdinal(5)), 1);
}

TEST_F(MatchScore, OfAnyOtherOrdinalIs0) {
    for (const std::int32_t ordinal : {0, 1, 4, 6, -5, 0x10005}) {
        EXPECT_EQ(score(withOrdinal(ordinal)), 0) << ordinal;
    }
}

// The EDID UUID.

TEST_F(MatchScore, IgnoresTheRestOfTheUUID) {
    EXPECT_EQ(score(withUUID("5A4E3412xxxxxxxxxxx011Fxxxxxxx3C22xx")), 8);
}

TEST_F(MatchScore, IgnoresWhatFollowsTheUUID) {
    EXPECT_EQ(score(withUUID(std::string(monitorUUID) + "-5A4E3412")), 8);
}

TEST_F(MatchScore, LooksForAPieceAtItsOwnPlaceOnly) {
    EXPECT_EQ(score(withUUID("-" + std::string(monitorUUID))), 0);
    EXPECT_EQ(score(withUUID(uuidWith(productAt, "5A4E"))), 0);
}

TEST_F(MatchScore, DoesNotKnowDigitsInLowerCase) {
    // Vendor and date have letters among their digits, product and this size have none.
    displayKnows({{"DisplayHorizontalImageSize", number(340)}});
    EXPECT_THAT(matched(withUUID("5a4e3412-0000-0000-011f-0104b5222278")),
                ElementsAre("product", "size"));
}

TEST_F(MatchScore, OfAShortUUIDLosesJustThePiecesThatAreNotThere) {
    for (std::size_t length = 0; length <= 36; ++length) {
        const int pieces = (length >= 4 ? 1 : 0) + (length >= 8 ? 1 : 0) + (length >= 23 ? 1 : 0) +
                           (length >= 34 ? 1 : 0);
        EXPECT_EQ(score(withUUID(std::string(monitorUUID).substr(0, length))), 2 * pieces)
            << length << " characters";
    }
}

TEST_F(MatchScore, OfAShortUUIDDoesNotRememberALongerOneBefore) {
    // The longer one lacks its last digits only, so that both take as much memory.
    const std::string whole = monitorUUID;
    EXPECT_EQ(score(withUUID(whole.substr(0, 35))), 8);
    EXPECT_EQ(score(withUUID(whole.substr(0, 29))), 6);
}

TEST_F(MatchScore, WithoutAUUIDStillCountsTheRest) {
    EXPECT_EQ(score({{}, modelName, monitorSerial, 5}), 5);
}

TEST_F(MatchScore, CountsCharactersOfTheUUIDAndNotBytes) {
    EXPECT_EQ(score(withUUID("5A4E3412-ÄÖÜß-0000-011F-0104B53C2278")), 8);
}

TEST_F(MatchScore, OfAUUIDThatIsNoValidTextIs0) {
    EXPECT_EQ(score(withUUID("5A4E3412-\xFF\xFE")), 0);
}

// The pieces' limits.

TEST_F(MatchScore, WritesTheVendorWithFourDigits) {
    EXPECT_TRUE(looksForVendor(0, "0000"));
    EXPECT_TRUE(looksForVendor(5, "0005"));
    EXPECT_TRUE(looksForVendor(0xABCD, "ABCD"));
    EXPECT_FALSE(looksForVendor(0xABCD, "abcd"));
}

TEST_F(MatchScore, LimitsTheVendorTo65535) {
    EXPECT_TRUE(looksForVendor(0xFFFF, "FFFF"));
    EXPECT_TRUE(looksForVendor(0x10000, "FFFF"));
    EXPECT_TRUE(looksForVendor(0x15A4E, "FFFF"));
}

TEST_F(MatchScore, TakesANegativeVendorFor0) {
    EXPECT_TRUE(looksForVendor(-1, "0000"));
}

TEST_F(MatchScore, LimitsAVendorBeyond32Bits) {
    EXPECT_TRUE(looksForVendor(0x1'0000'5A4E, "FFFF"));
    EXPECT_TRUE(looksForVendor(longest, "FFFF"));
    EXPECT_TRUE(looksForVendor(lowest, "0000"));
}

TEST_F(MatchScore, WritesTheProductsLowByteFirst) {
    EXPECT_TRUE(looksForProduct(0xABCD, "CDAB"));
    EXPECT_TRUE(looksForProduct(7, "0700"));
    EXPECT_FALSE(looksForProduct(0xABCD, "ABCD"));
}

TEST_F(MatchScore, LimitsTheProductTo65535) {
    EXPECT_TRUE(looksForProduct(0xFFFE, "FEFF"));
    EXPECT_TRUE(looksForProduct(0xFFFF, "FFFF"));
    EXPECT_TRUE(looksForProduct(0x10000, "FFFF"));
}

TEST_F(MatchScore, TakesANegativeProductFor0) {
    EXPECT_TRUE(looksForProduct(-1, "0000"));
}

TEST_F(MatchScore, LimitsAProductBeyond32Bits) {
    EXPECT_TRUE(looksForProduct(0x1'0000'1234, "FFFF"));
    EXPECT_TRUE(looksForProduct(longest, "FFFF"));
    EXPECT_TRUE(looksForProduct(lowest, "0000"));
}

TEST_F(MatchScore, LimitsTheWeekTo255) {
    EXPECT_TRUE(looksForWeek(0, "00"));
    EXPECT_TRUE(looksForWeek(53, "35"));
    EXPECT_TRUE(looksForWeek(255, "FF"));
    EXPECT_TRUE(looksForWeek(256, "FF"));
}

TEST_F(MatchScore, TakesANegativeWeekFor0) {
    EXPECT_TRUE(looksForWeek(-1, "00"));
}

TEST_F(MatchScore, LimitsAWeekBeyond32Bits) {
    EXPECT_TRUE(looksForWeek(0x1'0000'0001, "FF"));
    EXPECT_TRUE(looksForWeek(longest, "FF"));
    EXPECT_TRUE(looksForWeek(lowest, "00"));
}

TEST_F(MatchScore, CountsYearsFrom1990) {
    EXPECT_TRUE(looksForYear(1990, "00"));
    EXPECT_TRUE(looksForYear(1991, "01"));
    EXPECT_TRUE(looksForYear(2244, "FE"));
}

TEST_F(MatchScore, TakesAYearBefore1990For1990) {
    EXPECT_TRUE(looksForYear(1989, "00"));
    EXPECT_TRUE(looksForYear(0, "00"));
    EXPECT_TRUE(looksForYear(-2021, "00"));
}

TEST_F(MatchScore, TakesAYearAfter2245For2245) {
    EXPECT_TRUE(looksForYear(2245, "FF"));
    EXPECT_TRUE(looksForYear(2246, "FF"));
    EXPECT_TRUE(looksForYear(9999, "FF"));
}

TEST_F(MatchScore, LimitsAYearBeyond32Bits) {
    EXPECT_TRUE(looksForYear(0x1'0000'07E5, "FF"));
    EXPECT_TRUE(looksForYear(longest, "FF"));
    EXPECT_TRUE(looksForYear(lowest, "00"));
}

TEST_F(MatchScore, TakesSizesInWholeCentimetres) {
    EXPECT_TRUE(looksForWidth(9, "00"));
    EXPECT_TRUE(looksForWidth(609, "3C"));
    EXPECT_TRUE(looksForHeight(9, "00"));
    EXPECT_TRUE(looksForHeight(349, "22"));
}

TEST_F(MatchScore, LimitsSizesTo255Centimetres) {
    EXPECT_TRUE(looksForWidth(2549, "FE"));
    EXPECT_TRUE(looksForWidth(2550, "FF"));
    EXPECT_TRUE(looksForWidth(2560, "FF"));
    EXPECT_TRUE(looksForHeight(2549, "FE"));
    EXPECT_TRUE(looksForHeight(2550, "FF"));
    EXPECT_TRUE(looksForHeight(2560, "FF"));
}

TEST_F(MatchScore, TakesNegativeSizesFor0) {
    EXPECT_TRUE(looksForWidth(-600, "00"));
    EXPECT_TRUE(looksForHeight(-340, "00"));
}

TEST_F(MatchScore, LimitsSizesBeyond32Bits) {
    EXPECT_TRUE(looksForWidth(longest, "FF"));
    EXPECT_TRUE(looksForWidth(lowest, "00"));
    EXPECT_TRUE(looksForHeight(longest, "FF"));
    EXPECT_TRUE(looksForHeight(lowest, "00"));
}

TEST_F(MatchScore, TakesNumbersThatTheDisplayDoesNotHaveFor0) {
    EXPECT_TRUE(looksFor({{"DisplayVendorID", missing}}, vendorAt, "0000"));
    EXPECT_TRUE(looksFor({{"DisplayProductID", missing}}, productAt, "0000"));
    EXPECT_TRUE(looksFor({{"DisplayWeekManufacture", missing}}, dateAt, "001F"));
    EXPECT_TRUE(looksFor({{"DisplayYearManufacture", missing}}, dateAt, "0100"));
    EXPECT_TRUE(looksFor({{"DisplayHorizontalImageSize", missing}}, sizeAt, "0022"));
    EXPECT_TRUE(looksFor({{"DisplayVerticalImageSize", missing}}, sizeAt, "3C00"));
}

TEST_F(MatchScore, TakesValuesThatAreNoNumbersFor0) {
    for (const PropertyValue& wrong : test::valuesOfOtherTypesThan(number(0))) {
        SCOPED_TRACE(wrong.value.index());
        EXPECT_TRUE(looksFor({{"DisplayVendorID", wrong}}, vendorAt, "0000"));
        EXPECT_TRUE(looksFor({{"DisplayProductID", wrong}}, productAt, "0000"));
        EXPECT_TRUE(looksFor({{"DisplayWeekManufacture", wrong}}, dateAt, "001F"));
        EXPECT_TRUE(looksFor({{"DisplayYearManufacture", wrong}}, dateAt, "0100"));
        EXPECT_TRUE(looksFor({{"DisplayHorizontalImageSize", wrong}}, sizeAt, "0022"));
        EXPECT_TRUE(looksFor({{"DisplayVerticalImageSize", wrong}}, sizeAt, "3C00"));
    }
}

// The product name.

class NameMatchScore : public MatchScore {
  protected:
    std::int32_t scoreOf(OptionalText candidate, const PropertyValue& displayName) {
        displayKnows({{"DisplayProductName", dictionary({{"en_US", displayName}})}});
        return score(withName(std::move(candidate)));
    }
};

TEST_F(NameMatchScore, IgnoresCapitalisation) {
    EXPECT_EQ(scoreOf("vorn k2790Z", text("VORN K2790z")), 2);
}

TEST_F(NameMatchScore, IgnoresCapitalisationOfAnyLetter) {
    EXPECT_EQ(scoreOf("vorn größe éçž", text("VORN GRÖßE ÉÇŽ")), 2);
    EXPECT_EQ(scoreOf("ДИСПЛЕЙ", text("дисплей")), 2);
}

TEST_F(NameMatchScore, ComparesLowerCaseFormsAndNotSpellings) {
    EXPECT_EQ(scoreOf("VORN GRÖSSE", text("vorn größe")), 0);
}

TEST_F(NameMatchScore, OfAnotherNameIs0) {
    EXPECT_EQ(scoreOf("VORN K2790Z", text("VORN K2790")), 0);
    EXPECT_EQ(scoreOf("VORN K2790Z ", text("VORN K2790Z")), 0);
}

TEST_F(NameMatchScore, OfTheEmptyNameIs0AlsoWhenTheDisplaysIsEmpty) {
    EXPECT_EQ(scoreOf("", text("")), 0);
    EXPECT_EQ(scoreOf("", text(modelName)), 0);
}

TEST_F(NameMatchScore, WithoutANameIs0AlsoWhenTheDisplayHasNone) {
    EXPECT_EQ(scoreOf(std::nullopt, missing), 0);
    EXPECT_EQ(scoreOf(std::nullopt, text("")), 0);
    EXPECT_EQ(scoreOf(std::nullopt, text(modelName)), 0);
}

TEST_F(NameMatchScore, OfADisplayWithoutAnAmericanNameIs0) {
    EXPECT_EQ(scoreOf(modelName, missing), 0);
    displayKnows({{"DisplayProductName", dictionary({{"de_DE", text(modelName)}})}});
    EXPECT_EQ(score(withName(modelName)), 0);
}

TEST_F(NameMatchScore, OfADisplayWithoutNamesIs0) {
    displayKnows({{"DisplayProductName", missing}});
    EXPECT_EQ(score(withName(modelName)), 0);
}

TEST_F(NameMatchScore, OfANameThatIsNoTextIs0) {
    for (const PropertyValue& wrong : test::valuesOfOtherTypesThan(text(""))) {
        EXPECT_EQ(scoreOf("7", wrong), 0) << wrong.value.index();
    }
}

TEST_F(NameMatchScore, OfNamesThatAreNoDictionaryIs0) {
    for (const PropertyValue& wrong : test::valuesOfOtherTypesThan(dictionary({}))) {
        displayKnows({{"DisplayProductName", wrong}});
        EXPECT_EQ(score(withName("7")), 0) << wrong.value.index();
    }
}

// The serial number.

class SerialMatchScore : public MatchScore {
  protected:
    std::int32_t scoreOf(std::int32_t candidate, const PropertyValue& displaySerial) {
        displayKnows({{"DisplaySerialNumber", displaySerial}});
        return score(withSerial(candidate));
    }
};

TEST_F(SerialMatchScore, Of0Is0AlsoWhenTheDisplaysIs0) {
    EXPECT_EQ(scoreOf(0, number(0)), 0);
    EXPECT_EQ(scoreOf(0, missing), 0);
}

TEST_F(SerialMatchScore, OfAnotherNumberIs0) {
    EXPECT_EQ(scoreOf(1, number(2)), 0);
    EXPECT_EQ(scoreOf(1, number(0)), 0);
    EXPECT_EQ(scoreOf(1, number(-1)), 0);
}

TEST_F(SerialMatchScore, OfALargeNumberIs2) {
    EXPECT_EQ(scoreOf(0x7FFFFFFF, number(0x7FFFFFFF)), 2);
}

TEST_F(SerialMatchScore, OfANumberAbove31BitsIs2ThoughTheCandidatesIsNegative) {
    EXPECT_EQ(scoreOf(-0x7FFFFFFF, number(0x80000001)), 2);
    EXPECT_EQ(scoreOf(-1, number(0xFFFFFFFF)), 2);
}

TEST_F(SerialMatchScore, ComparesTheLower32Bits) {
    EXPECT_EQ(scoreOf(5, number(0x1'0000'0005)), 2);
}

TEST_F(SerialMatchScore, OfAValueThatIsNoNumberIs0) {
    for (const PropertyValue& wrong : test::valuesOfOtherTypesThan(number(0))) {
        EXPECT_EQ(scoreOf(7, wrong), 0) << wrong.value.index();
    }
}

// The information dictionary.

TEST_F(MatchScore, WithoutADictionaryLooksForZeros) {
    displayHasNoDictionary();
    EXPECT_EQ(score(withUUID("00000000-0000-0000-0000-000000000000")), 8);
    EXPECT_EQ(score(withUUID(monitorUUID)), 0);
}

TEST_F(MatchScore, WithoutADictionaryKnowsNeitherNameNorSerial) {
    displayHasNoDictionary();
    EXPECT_EQ(score({{}, modelName, monitorSerial, 0}), 0);
}

TEST_F(MatchScore, WithoutADictionaryStillCountsTheLocation) {
    displayHasNoDictionary();
    EXPECT_EQ(score({"00000000-0000-0000-0000-000000000000", modelName, monitorSerial, 5}), 9);
}

TEST_F(MatchScore, OfADisplayThatIsNotThereLooksForZeros) {
    EXPECT_EQ(Arm64Utility().ioregMatchScore(77, "00000000-0000-0000-0000-000000000000", "", 0, 77),
              9);
}

TEST_F(MatchScore, FetchesTheDictionaryOnceAndReleasesIt) {
    mac->trace.countUses();
    (void)score({monitorUUID, modelName, monitorSerial, 5});
    EXPECT_EQ(usesOf(*mac, "CoreDisplay_DisplayCreateInfoDictionary"), 1u);
    EXPECT_THAT(mac->ledger.heldByCall(), IsEmpty());
}

// The model with a rule of its own.

IOregService candidateOf(OptionalText manufacturer, OptionalText product) {
    IOregService candidate;
    candidate.manufacturerID = std::move(manufacturer);
    candidate.productName = std::move(product);
    return candidate;
}

class DiscouragedModel : public ::testing::Test {
  protected:
    void TearDown() override {
        EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
        EXPECT_THAT(mac.journal.misuses(), IsEmpty());
    }

    bool is(OptionalText manufacturer, OptionalText product) const {
        return Arm64Utility().checkIfDiscouraged(
            candidateOf(std::move(manufacturer), std::move(product)));
    }
    /// The verdict on the model itself and on another one.
    std::pair<bool, bool> verdicts() const { return {is("AOC", "28E850"), is("VRN", modelName)}; }

    simulated_mac::Registry::Entry platformExpert() const {
        return mac.registry.matching({"IOPlatformExpertDevice", ""}).at(0);
    }

    Mac mac{appleMacWith({})};
};

TEST_F(DiscouragedModel, IsTheOneOfThatMakerAndName) {
    EXPECT_TRUE(is("AOC", "28E850"));
}

TEST_F(DiscouragedModel, IsNotOneOfAMakerInLowerCase) {
    EXPECT_FALSE(is("aoc", "28E850"));
}

TEST_F(DiscouragedModel, IsNotOneOfANameInLowerCase) {
    EXPECT_FALSE(is("AOC", "28e850"));
}

TEST_F(DiscouragedModel, IsNotOneThatOnlyContainsTheName) {
    EXPECT_FALSE(is("AOC", "28E850 "));
    EXPECT_FALSE(is("AOC", "AOC 28E850"));
    EXPECT_FALSE(is("AOCX", "28E850"));
}

TEST_F(DiscouragedModel, IsNotAnotherOfThatMakerNorThatNameOfAnother) {
    EXPECT_FALSE(is("AOC", modelName));
    EXPECT_FALSE(is("VRN", "28E850"));
}

TEST_F(DiscouragedModel, IsNotOneWithoutMakerOrName) {
    EXPECT_FALSE(is(std::nullopt, "28E850"));
    EXPECT_FALSE(is("AOC", std::nullopt));
    EXPECT_FALSE(is(std::nullopt, std::nullopt));
    EXPECT_FALSE(is("", ""));
}

TEST_F(DiscouragedModel, IsJudgedWhateverTheMacsModelIs) {
    platformExpert()->set("model", simulated_mac::makeCFText("28E850"));
    EXPECT_THAT(verdicts(), Pair(true, false));
}

TEST_F(DiscouragedModel, IsJudgedAlsoOfAMacWithoutAModel) {
    platformExpert()->set("model", nullptr);
    EXPECT_THAT(verdicts(), Pair(true, false));
}

TEST_F(DiscouragedModel, IsJudgedAlsoWhenTheMacsModelIsNoData) {
    for (const PropertyValue& wrong : test::valuesOfOtherTypesThan({Bytes()})) {
        platformExpert()->set("model", makeCF(wrong));
        EXPECT_THAT(verdicts(), Pair(true, false)) << wrong.value.index();
    }
}

TEST_F(DiscouragedModel, IsJudgedAlsoWhenTheMacsModelIsNoText) {
    for (const Bytes& bytes : {Bytes(), Bytes{0xFF, 0xFE, 0x80}}) {
        platformExpert()->set("model", simulated_mac::makeCF(bytes));
        EXPECT_THAT(verdicts(), Pair(true, false));
    }
}

TEST_F(DiscouragedModel, IsJudgedAlsoWithoutAPlatformExpert) {
    platformExpert()->classes = {"IOService"};
    EXPECT_THAT(verdicts(), Pair(true, false));
}

TEST_F(DiscouragedModel, ReadsTheModelOfThePlatformExpert) {
    mac.trace.keepOnly({"IOServiceMatching", "IORegistryEntryCreateCFProperty"});
    EXPECT_FALSE(is("VRN", modelName));
    const auto calls = mac.trace.calls();
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_EQ(argumentsText(calls[0]), "class IOPlatformExpertDevice");
    EXPECT_EQ(calls[1].argument("key"), simulated_mac::Quoted{"model"});
    EXPECT_EQ(calls[1].result, simulated_mac::Pointer{});
}

TEST_F(DiscouragedModel, ReadsNoModelWithoutAPlatformExpert) {
    platformExpert()->classes = {"IOService"};
    mac.trace.keepOnly({"IORegistryEntryCreateCFProperty"});
    EXPECT_FALSE(is("VRN", modelName));
    EXPECT_THAT(mac.trace.calls(), IsEmpty());
}

// The pairing.

/// A pairing as display ID and ordinal.
using DisplayAndOrdinal = std::pair<std::uint32_t, std::int32_t>;

ScreenDescription monitorWithID(std::uint32_t displayID, const std::string& name = modelName) {
    ScreenDescription screen = test::monitorNamed(name);
    screen.displayID = displayID;
    return screen;
}

/// A monitor that shares no piece with the others here.
ScreenDescription strangerWithID(std::uint32_t displayID) {
    simulated_mac::EDIDFields fields;
    fields.manufacturer = "ZYX";
    fields.product = 0x7788;
    fields.serial = 0x99;
    fields.week = 40;
    fields.year = 2019;
    fields.widthCm = 52;
    fields.heightCm = 29;
    fields.name = "VORN A2424";
    ScreenDescription screen;
    screen.monitor.edid = simulated_mac::makeEDID(fields);
    screen.displayID = displayID;
    return screen;
}

/// A monitor without a serial number: its model and date are the same in all of its kind.
ScreenDescription twinWithID(std::uint32_t displayID) {
    simulated_mac::EDIDFields fields;
    fields.product = 0x1234;
    fields.name = modelName;
    ScreenDescription screen;
    screen.monitor.edid = simulated_mac::makeEDID(fields);
    screen.displayID = displayID;
    return screen;
}

ScreenDescription withProxies(ScreenDescription screen, std::vector<ProxyDescription> proxies) {
    screen.displayService.proxies = std::move(proxies);
    return screen;
}

ScreenDescription withoutDisplayService(ScreenDescription screen) {
    screen.displayService.present = false;
    return screen;
}

ScreenDescription withoutDictionary(ScreenDescription screen) {
    screen.hasInfoDictionary = false;
    return screen;
}

class Pairings : public ::testing::Test {
  protected:
    static constexpr std::uint32_t D1 = 101;
    static constexpr std::uint32_t D2 = 102;

    void TearDown() override {
        EXPECT_EQ(test::referencesBesidesAVServices(*mac), 0);
        EXPECT_THAT(mac->journal.misuses(), IsEmpty());
        EXPECT_THAT(mac->journal.systemLog(), IsEmpty());
    }

    void switchOn(MacDescription description) {
        mac.emplace(std::move(description));
        mac->trace.countUses();
        mac->trace.keepAll();
    }
    void switchOn(std::vector<ScreenDescription> screens) {
        switchOn(appleMacWith(std::move(screens)));
    }
    void match(const std::vector<CGDirectDisplayID>& displayIDs) {
        matches = Arm64Utility().getServiceMatches(displayIDs);
    }
    std::vector<DisplayAndOrdinal> pairs() const {
        std::vector<DisplayAndOrdinal> all;
        for (const DisplayService& match : matches) {
            all.emplace_back(match.displayID, match.serviceLocation);
        }
        return all;
    }
    /// The registry ID of the first proxy of the Mac's n-th display.
    std::uint64_t proxyOfDisplay(std::size_t index) const {
        return mac->displays().at(index)->proxies.at(0)->id;
    }
    /// How often the Mac's model was read.
    std::ptrdiff_t readsOfModel() const {
        const auto calls = mac->trace.calls();
        return std::count_if(calls.begin(), calls.end(), [](const auto& call) {
            return call.call == "IORegistryEntryCreateCFProperty" &&
                   call.argument("key") == simulated_mac::Quoted{"model"};
        });
    }

    std::optional<Mac> mac;
    std::vector<DisplayService> matches;
};

TEST_F(Pairings, GiveEachDisplayItsOwnService) {
    switchOn({test::builtInPanel(), monitorWithID(D1), strangerWithID(D2)});
    match({D1, D2});
    EXPECT_THAT(pairs(), ElementsAre(Pair(D1, 2), Pair(D2, 3)));
    EXPECT_EQ(proxyOf(matches.at(0).avService), proxyOfDisplay(1));
    EXPECT_EQ(proxyOf(matches.at(1).avService), proxyOfDisplay(2));
}

TEST_F(Pairings, GiveEachDisplayItsOwnServiceInWhateverOrderTheRegistryIs) {
    auto first = monitorWithID(D1);
    first.displayService.position = 9;
    switchOn({first, strangerWithID(D2)});
    match({D1, D2});
    EXPECT_THAT(pairs(), ElementsAre(Pair(D1, 2), Pair(D2, 1)));
    EXPECT_EQ(proxyOf(matches.at(0).avService), proxyOfDisplay(0));
}

TEST_F(Pairings, StandInDescendingScore) {
    // D1 lacks the serial number and the name; D2, asked about later, matches in all.
    auto poorer = monitorWithID(D1);
    poorer.infoDictionary = {{"DisplaySerialNumber", missing}, {"DisplayProductName", missing}};
    switchOn({poorer, strangerWithID(D2)});
    match({D1, D2});
    EXPECT_THAT(pairs(), ElementsAre(Pair(D2, 2), Pair(D1, 1)));
}

TEST_F(Pairings, OfEqualScoreStandInTheOrderOfTheDisplaysGiven) {
    switchOn({monitorWithID(D1), strangerWithID(D2)});
    match({D2, D1});
    EXPECT_THAT(pairs(), ElementsAre(Pair(D2, 2), Pair(D1, 1)));
}

TEST_F(Pairings, OfTwinsAreTheFirstThreeOfFour) {
    switchOn({test::builtInPanel(), twinWithID(D1), twinWithID(D2)});
    match({D1, D2});
    EXPECT_THAT(pairs(), ElementsAre(Pair(D1, 2), Pair(D1, 3), Pair(D2, 2)));
}

TEST_F(Pairings, OfTwinsBeginForBothDisplaysWithTheServiceOfTheFirst) {
    switchOn({test::builtInPanel(), twinWithID(D1), twinWithID(D2)});
    match({D1, D2});
    ASSERT_THAT(matches, SizeIs(3));
    EXPECT_EQ(proxyOf(matches[0].avService), proxyOfDisplay(1));
    EXPECT_EQ(proxyOf(matches[1].avService), proxyOfDisplay(2));
    EXPECT_EQ(proxyOf(matches[2].avService), proxyOfDisplay(1));
}

TEST_F(Pairings, OfTwinsCarryAReferenceOfEachDisplaysOwn) {
    switchOn({test::builtInPanel(), twinWithID(D1), twinWithID(D2)});
    match({D1, D2});
    ASSERT_THAT(matches, SizeIs(3));
    EXPECT_NE(matches[0].avService, matches[2].avService);
}

TEST_F(Pairings, OfTwinsAreDecidedByAnOrdinalThatEqualsADisplayID) {
    switchOn({test::builtInPanel(), twinWithID(3), twinWithID(2)});
    match({3, 2});
    EXPECT_THAT(pairs(), ElementsAre(Pair(3, 3), Pair(2, 2)));
}

TEST_F(Pairings, OfScore0AreNeverHandedOut) {
    switchOn({withoutDictionary(monitorWithID(D1))});
    match({D1});
    EXPECT_THAT(matches, IsEmpty());
}

TEST_F(Pairings, OfScore1AreHandedOut) {
    switchOn({withoutDictionary(monitorWithID(1))});
    match({1});
    EXPECT_THAT(pairs(), ElementsAre(Pair(1, 1)));
}

TEST_F(Pairings, OfAMacWithoutExternalCandidatesAreNone) {
    switchOn({test::builtInPanel()});
    match({mac->displays()[0]->displayID});
    EXPECT_THAT(matches, IsEmpty());
}

TEST_F(Pairings, GiveOneDisplayFurtherServicesAtLowerScores) {
    switchOn({strangerWithID(D2), monitorWithID(D1), monitorWithID(7, "VORN K2425Y")});
    match({D1});
    EXPECT_THAT(pairs(), ElementsAre(Pair(D1, 2), Pair(D1, 3)));
}

TEST_F(Pairings, GiveOneServiceToAFurtherDisplay) {
    switchOn({monitorWithID(D1), withoutDisplayService(monitorWithID(D2, "VORN K2425Y"))});
    match({D1, D2});
    EXPECT_THAT(pairs(), ElementsAre(Pair(D1, 1), Pair(D2, 1)));
}

TEST_F(Pairings, LetABetterDisplayTakeAServiceFirst) {
    switchOn({monitorWithID(D1), withoutDisplayService(monitorWithID(D2, "VORN K2425Y"))});
    match({D2, D1});
    EXPECT_THAT(pairs(), ElementsAre(Pair(D1, 1), Pair(D2, 1)));
}

TEST_F(Pairings, OfADisplayAndAnOrdinalThatAreTakenAreRefused) {
    // Two proxies of a framebuffer share its ordinal.
    switchOn({withProxies(monitorWithID(D1), {{}, {}})});
    match({D1});
    EXPECT_THAT(pairs(), ElementsAre(Pair(D1, 1)));
    EXPECT_EQ(proxyOf(matches.at(0).avService), proxyOfDisplay(0));
}

TEST_F(Pairings, OfADisplayGivenTwiceAreNotDoubled) {
    switchOn({monitorWithID(D1)});
    match({D1, D1});
    EXPECT_THAT(pairs(), ElementsAre(Pair(D1, 1)));
}

TEST_F(Pairings, OfADisplayThatIsNotThereAreNone) {
    switchOn({monitorWithID(D1)});
    match({77});
    EXPECT_THAT(matches, IsEmpty());
}

TEST_F(Pairings, LeaveTheBuiltInPanelsProxyOut) {
    // It would match: the dictionary of a display without an EDID looks for zeros.
    auto panel = test::builtInPanel();
    panel.displayService.properties = {{"EDID UUID", text("00000000-0000-0000-0000-000000000000")}};
    switchOn({panel});
    match({mac->displays()[0]->displayID});
    EXPECT_THAT(matches, IsEmpty());
    EXPECT_EQ(usesOf(*mac, "CoreDisplay_DisplayCreateInfoDictionary"), 0u);
}

TEST_F(Pairings, LeaveOutAProxyWithoutALocation) {
    switchOn({withProxies(monitorWithID(D1), {proxyAt(missing)})});
    match({D1});
    EXPECT_THAT(matches, IsEmpty());
}

TEST_F(Pairings, LeaveOutAProxyWhoseLocationIsNoText) {
    for (const PropertyValue& wrong : test::valuesOfOtherTypesThan(text(""))) {
        mac.reset();
        switchOn({withProxies(monitorWithID(D1), {proxyAt(wrong)})});
        match({D1});
        EXPECT_THAT(matches, IsEmpty()) << wrong.value.index();
    }
}

TEST_F(Pairings, LeaveOutLocationsOfAnotherSpelling) {
    for (const std::string location : {"external", "EXTERNAL", "Extern al", "Extern", ""}) {
        mac.reset();
        switchOn({withProxies(monitorWithID(D1), {proxyAt(text(location))})});
        match({D1});
        EXPECT_THAT(matches, IsEmpty()) << location;
    }
}

TEST_F(Pairings, ScoreALocationThatContainsExternalThoughItHasNoService) {
    for (const std::string location : {"External-1", "NotExternal", "Port External 2"}) {
        mac.reset();
        switchOn({withProxies(monitorWithID(D1), {proxyAt(text(location))})});
        match({D1});
        EXPECT_THAT(pairs(), ElementsAre(Pair(D1, 1))) << location;
        EXPECT_EQ(matches.at(0).avService, nullptr) << location;
    }
}

TEST_F(Pairings, ScoreALocationThatContainsExternalWithTheServiceItInherits) {
    // It makes no further pairing: its ordinal is that of the proxy before it.
    switchOn({withProxies(monitorWithID(D1), {{}, proxyAt(text("External-1"))})});
    const auto candidates = Arm64Utility().getIoregServicesForMatching();
    ASSERT_THAT(candidates, SizeIs(2));
    EXPECT_EQ(candidates[1].avService, candidates[0].avService);
    match({D1});
    EXPECT_THAT(pairs(), ElementsAre(Pair(D1, 1)));
    EXPECT_EQ(usesOf(*mac, "CoreDisplay_DisplayCreateInfoDictionary"), 2u);
}

TEST_F(Pairings, CarryNoServiceWhereNoneOpened) {
    switchOn({withProxies(monitorWithID(D1), {proxyThatDoesNotOpen()})});
    match({D1});
    EXPECT_THAT(pairs(), ElementsAre(Pair(D1, 1)));
    EXPECT_EQ(matches.at(0).avService, nullptr);
}

TEST_F(Pairings, OfAProxyBeforeAnyFramebufferAreNone) {
    auto description = appleMacWith({withoutDisplayService(monitorWithID(D1))});
    description.strayProxies = {proxyAt(text("External"))};
    switchOn(description);
    match({D1});
    EXPECT_THAT(matches, IsEmpty());
    EXPECT_EQ(usesOf(*mac, "CoreDisplay_DisplayCreateInfoDictionary"), 1u);
}

TEST_F(Pairings, TakeOneWalkForEachDisplay) {
    switchOn({test::builtInPanel(), monitorWithID(D1), strangerWithID(D2)});
    match({D1, D2, 77});
    EXPECT_EQ(usesOf(*mac, "IORegistryEntryCreateIterator"), 3u);
    EXPECT_EQ(usesOf(*mac, "IOAVServiceCreateWithService"), 6u);
}

TEST_F(Pairings, OfNoDisplaysAreNoneAndTakeNoWalk) {
    switchOn({monitorWithID(D1)});
    match({});
    EXPECT_THAT(matches, IsEmpty());
    EXPECT_EQ(usesOf(*mac, "IORegistryEntryCreateIterator"), 0u);
}

TEST_F(Pairings, OfEveryCallHaveReferencesOfTheirOwn) {
    switchOn({monitorWithID(D1)});
    match({D1});
    const auto before = matches;
    match({D1});
    EXPECT_NE(matches.at(0).avService, before.at(0).avService);
    EXPECT_EQ(mac->ledger.heldByCall(), onlyAVServices(2));
}

TEST_F(Pairings, HoldTheAVServicesOfAllWalksAndNothingElse) {
    switchOn({test::builtInPanel(), twinWithID(D1), twinWithID(D2)});
    match({D1, D2});
    EXPECT_EQ(mac->ledger.heldByCall(), onlyAVServices(4));
}

TEST_F(Pairings, StillFormAfterAWalkThatCouldNotStart) {
    auto description = appleMacWith({monitorWithID(D1), strangerWithID(D2)});
    description.faults = {{"IORegistryEntryCreateIterator", 1, false, {}}};
    switchOn(description);
    match({D1, D2});
    EXPECT_THAT(pairs(), ElementsAre(Pair(D2, 2)));
}

TEST_F(Pairings, ReadTheMacsModelOnceForEachExternalCandidate) {
    switchOn({test::builtInPanel(), monitorWithID(D1),
              withProxies(strangerWithID(D2), {proxyThatDoesNotOpen()})});
    match({D1, D2});
    EXPECT_EQ(readsOfModel(), 4);
    EXPECT_EQ(usesOf(*mac, "IOServiceGetMatchingService"), 4u);
}

TEST_F(Pairings, OfCandidatesThatAreNotExternalReadNoModel) {
    switchOn({test::builtInPanel()});
    match({mac->displays()[0]->displayID});
    EXPECT_EQ(readsOfModel(), 0);
}

TEST_F(Pairings, OfOtherModelsAreNotDiscouraged) {
    switchOn({monitorWithID(D1)});
    match({D1});
    EXPECT_FALSE(matches.at(0).discouraged);
}

TEST_F(Pairings, OfTheDiscouragedModelSaySoAndStandWhereTheyWould) {
    auto discouraged = monitorWithID(D1);
    discouraged.displayService.productAttributes = {{"ManufacturerID", text("AOC")},
                                                    {"ProductName", text("28E850")}};
    discouraged.infoDictionary = {{"DisplayProductName", dictionary({{"en_US", text("28E850")}})}};
    switchOn({discouraged, strangerWithID(D2)});
    match({D1, D2});
    EXPECT_THAT(pairs(), ElementsAre(Pair(D1, 1), Pair(D2, 2)));
    EXPECT_TRUE(matches.at(0).discouraged);
    EXPECT_FALSE(matches.at(1).discouraged);
    EXPECT_EQ(proxyOf(matches.at(0).avService), proxyOfDisplay(0));
}

TEST(PairingsWithFaults, HoldNothingButAVServicesWhicheverCallFails) {
    auto description = appleMacWith({monitorWithID(101), strangerWithID(102)});
    description.otherRegistryEntries = 0;
    test::expectThatNoFailureLeaksAReference(description, [] {
        for (const DisplayService& match : Arm64Utility().getServiceMatches({101, 102})) {
            EXPECT_THAT(match.displayID, ::testing::AnyOf(101, 102));
            EXPECT_THAT(match.serviceLocation, ::testing::AnyOf(1, 2));
        }
    });
}

TEST(PairedIdentity, ThatIsTheDisplaysInAllScores13) {
    auto screen = monitorWithID(1);
    screen.displayService.productAttributes = {{"ProductName", text("vorn k2790z")}};
    const Mac mac(appleMacWith({screen}));
    const auto candidates = Arm64Utility().getIoregServicesForMatching();
    ASSERT_THAT(candidates, SizeIs(1));
    const IOregService& candidate = candidates[0];
    EXPECT_EQ(Arm64Utility().ioregMatchScore(1, candidate.edidUUID, candidate.productName,
                                             candidate.serialNumber, candidate.serviceLocation),
              13);
}

TEST(PairedIdentity, WithASerialNumberAbove31BitsScores12) {
    simulated_mac::EDIDFields fields;
    fields.serial = 0xFEDCBA98;
    fields.name = modelName;
    ScreenDescription screen;
    screen.monitor.edid = simulated_mac::makeEDID(fields);
    screen.displayID = 101;
    const Mac mac(appleMacWith({screen}));
    const IOregService candidate = Arm64Utility().getIoregServicesForMatching().at(0);
    EXPECT_LT(candidate.serialNumber, 0);
    EXPECT_EQ(Arm64Utility().ioregMatchScore(101, candidate.edidUUID, candidate.productName,
                                             candidate.serialNumber, candidate.serviceLocation),
              12);
}

// Reading an EDID.

class EDIDOverAVService : public ::testing::Test {
  protected:
    void TearDown() override {
        EXPECT_THAT(mac->ledger.heldByCall(), onlyAVServices(service != nullptr ? 1 : 0));
        EXPECT_THAT(mac->journal.misuses(), IsEmpty());
    }

    /// Has the monitor's service give this EDID, or fail with this result, and reads it.
    void readFrom(ProxyDescription proxy) {
        mac.emplace(appleMacWith({withProxies(test::monitorNamed(modelName), {proxy})}));
        service = Arm64Utility().getIoregServicesForMatching().at(0).avService;
        ASSERT_NE(service, nullptr);
        edid = Arm64Utility().readEDID(service);
    }
    void readBytes(const Bytes& bytes) {
        ProxyDescription proxy;
        proxy.edid = bytes;
        readFrom(proxy);
    }
    void readWithResult(std::int32_t result) {
        ProxyDescription proxy;
        proxy.copyEDIDResult = result;
        readFrom(proxy);
    }

    std::optional<Mac> mac;
    IOAVServiceRef service = nullptr;
    OptionalText edid;
};

/// Bytes that count up from a first one.
Bytes bytesFrom(std::uint8_t first, std::size_t size) {
    Bytes bytes(size);
    for (auto& byte : bytes) byte = first++;
    return bytes;
}

TEST_F(EDIDOverAVService, IsTheMonitorsIn256Characters) {
    readFrom({});
    ASSERT_TRUE(edid.has_value());
    EXPECT_THAT(*edid, SizeIs(256));
    EXPECT_EQ(*edid, test::hexText(mac->displays()[0]->screen.monitor.edid));
    EXPECT_THAT(mac->journal.systemLog(), IsEmpty());
}

TEST_F(EDIDOverAVService, IsWrittenInUpperCase) {
    readBytes(bytesFrom(0x80, 128));
    EXPECT_EQ(edid, test::hexText(bytesFrom(0x80, 128)));
    EXPECT_EQ(edid->substr(244), "FAFBFCFDFEFF");
}

TEST_F(EDIDOverAVService, IsWrittenWithLeadingZeros) {
    readBytes(bytesFrom(0, 128));
    EXPECT_EQ(edid->substr(0, 8), "00010203");
    EXPECT_EQ(edid, test::hexText(bytesFrom(0, 128)));
}

TEST_F(EDIDOverAVService, LeavesExtensionBlocksOut) {
    readBytes(bytesFrom(7, 512));
    EXPECT_EQ(edid, test::hexText(bytesFrom(7, 128)));
}

TEST_F(EDIDOverAVService, IsFilledUpWithZerosWhenItIsShort) {
    readBytes({0xAB, 0xCD});
    EXPECT_EQ(edid, "ABCD" + std::string(252, '0'));
}

TEST_F(EDIDOverAVService, IsFilledUpWithZerosWhenOneByteIsMissing) {
    readBytes(bytesFrom(1, 127));
    EXPECT_EQ(edid, test::hexText(bytesFrom(1, 127)) + "00");
}

TEST_F(EDIDOverAVService, IsTheEmptyTextWhenThereIsNone) {
    readBytes({});
    EXPECT_EQ(edid, "");
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre("No EDID found"));
}

TEST_F(EDIDOverAVService, IsNothingWhenItCannotBeCopied) {
    readWithResult(kIOReturnError);
    EXPECT_EQ(edid, std::nullopt);
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre("Cannot copy EDID"));
}

TEST_F(EDIDOverAVService, IsNothingWhateverTheErrorIs) {
    readWithResult(1);
    EXPECT_EQ(edid, std::nullopt);
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre("Cannot copy EDID"));
}

TEST_F(EDIDOverAVService, IsNothingWithoutAService) {
    mac.emplace(appleMacWith({}));
    mac->trace.countUses();
    EXPECT_EQ(Arm64Utility().readEDID(nullptr), std::nullopt);
    EXPECT_EQ(usesOf(*mac, "IOAVServiceCopyEDID"), 0u);
    EXPECT_THAT(mac->journal.systemLog(), ElementsAre("Cannot copy EDID"));
}

TEST_F(EDIDOverAVService, IsReadAnewEachTime) {
    readFrom({});
    mac->trace.countUses();
    EXPECT_EQ(Arm64Utility().readEDID(service), edid);
    EXPECT_EQ(usesOf(*mac, "IOAVServiceCopyEDID"), 1u);
}

TEST(EDIDOverAVServiceWithFaults, HoldsNothingButTheAVServiceWhicheverCallFails) {
    auto description = appleMacWith({test::monitorNamed(modelName)});
    description.otherRegistryEntries = 0;
    test::expectThatNoFailureLeaksAReference(description, [] {
        for (const auto& candidate : Arm64Utility().getIoregServicesForMatching()) {
            (void)Arm64Utility().readEDID(candidate.avService);
        }
    });
}

}  // namespace arm64_utility_matching_test
