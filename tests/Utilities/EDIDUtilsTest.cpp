#include "plugin/Utilities/EDIDUtils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "tests/support/PaneOnMac.h"

namespace edid_utils_test {

using simulated_mac::Bytes;
using test::EDIDFields;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Kind = EDIDFields::Descriptor;

constexpr std::size_t firstSlot = 54;
constexpr std::size_t slotSize = 18;
constexpr std::uint8_t nameTag = 0xFC;
constexpr std::uint8_t serialTag = 0xFF;

/// An EDID of manufacturer KQX, product code 0x1234, serial number 0x12345678.
Bytes makeEDID(const std::optional<std::string>& name, const std::optional<std::string>& serialText,
               const std::vector<Kind>& descriptors = {Kind::timing, Kind::serial, Kind::name,
                                                       Kind::range}) {
    EDIDFields fields;
    fields.manufacturer = "KQX";
    fields.product = 0x1234;
    fields.serial = 0x12345678;
    fields.name = name;
    fields.serialText = serialText;
    fields.descriptors = descriptors;
    return simulated_mac::makeEDID(fields);
}

/// Puts a descriptor with these 13 bytes of text into a slot, 0 to 3.
void setDescriptor(Bytes& edid, std::size_t slot, std::uint8_t tag, std::string_view text) {
    ASSERT_EQ(text.size(), 13u);
    const auto at = edid.begin() + static_cast<std::ptrdiff_t>(firstSlot + slot * slotSize);
    std::fill(at, at + slotSize, std::uint8_t{0});
    *(at + 3) = tag;
    std::copy(text.begin(), text.end(), at + 5);
}

class EDIDDecoding : public ::testing::Test {
  protected:
    EDIDDecoding() { test::makeProcessWideObjects(); }

    EDIDInfo decode(const std::string& hexText) const {
        return edidUtils->generateEDIDInfo(hexText);
    }
    EDIDInfo decode(const Bytes& edid) const { return decode(test::hexText(edid)); }

    const test::Mac mac{test::macWith({})};
};

TEST_F(EDIDDecoding, ReadsSerialNumberNameServiceTagAndIdentities) {
    const EDIDInfo info = decode(makeEDID("VORN K2790Z", "7XYZ123"));
    EXPECT_EQ(info.serialNumber, 0x12345678u);
    EXPECT_EQ(info.modelName, "Vorn K2790Z");
    EXPECT_EQ(info.serviceTag, "7XYZ123");
    EXPECT_EQ(info.modelInfo, "KQX12.12345678.K2790Z.7XYZ123");
    EXPECT_EQ(info.plugNplayID, "KQX1234");
}

TEST_F(EDIDDecoding, LogsNothingAndKeepsNoReference) {
    decode(makeEDID("VORN K2790Z", "7XYZ123"));
    EXPECT_THAT(mac.journal.systemLog(), IsEmpty());
    // The one queue is the DDC controller's.
    const std::map<std::pair<std::string, std::string>, std::int64_t> controllers = {
        {{"dispatch_queue_t", "dispatch_queue_create"}, 1}};
    EXPECT_EQ(mac.ledger.heldByCall(), controllers);
}

TEST_F(EDIDDecoding, ASerialDescriptorAfterTheNameIsNotRead) {
    const EDIDInfo info = decode(makeEDID("VORN K2790Z", "7XYZ123", {Kind::name, Kind::serial}));
    EXPECT_EQ(info.modelName, "Vorn K2790Z");
    EXPECT_EQ(info.serviceTag, std::nullopt);
    EXPECT_EQ(info.modelInfo, "KQX12.12345678.K2790Z.(null)");
}

TEST_F(EDIDDecoding, TheFirstOfTwoNamesWinsAndTheSecondEndsTheScan) {
    Bytes edid = makeEDID("VORN K2790Z", std::nullopt, {Kind::name});
    setDescriptor(edid, 1, nameTag, "VORN K2422H\n ");
    setDescriptor(edid, 2, serialTag, "7XYZ123\n     ");
    const EDIDInfo info = decode(edid);
    EXPECT_EQ(info.modelName, "Vorn K2790Z");
    EXPECT_EQ(info.serviceTag, std::nullopt);
}

TEST_F(EDIDDecoding, ANameThatStartsWithALineFeedIsEmptyAndCountsAsSet) {
    Bytes edid = makeEDID(std::nullopt, std::nullopt, {});
    setDescriptor(edid, 0, nameTag, "\nVORN K2790Z ");
    setDescriptor(edid, 1, serialTag, "7XYZ123\n     ");
    setDescriptor(edid, 2, nameTag, "VORN K2422H\n ");
    const EDIDInfo info = decode(edid);
    EXPECT_EQ(info.modelName, "");
    EXPECT_EQ(info.serviceTag, std::nullopt);
    EXPECT_EQ(info.modelInfo, "KQX12.12345678..(null)");
}

TEST_F(EDIDDecoding, ANameInMixedCaseIsUpperCasedButForTheBrand) {
    const EDIDInfo info = decode(makeEDID("vorn k2790z", "7XYZ123"));
    EXPECT_EQ(info.modelName, "Vorn K2790Z");
    EXPECT_EQ(info.modelInfo, "KQX12.12345678.K2790Z.7XYZ123");
}

TEST_F(EDIDDecoding, DescriptorsOfOtherKindsSetNothing) {
    const EDIDInfo info = decode(makeEDID(std::nullopt, std::nullopt,
                                          {Kind::timing, Kind::range, Kind::timing, Kind::range}));
    EXPECT_EQ(info.modelName, std::nullopt);
    EXPECT_EQ(info.serviceTag, std::nullopt);
    EXPECT_EQ(info.modelInfo, "KQX12.12345678.(null).(null)");
    EXPECT_EQ(info.plugNplayID, "KQX1234");
}

TEST_F(EDIDDecoding, AllFourSlotsAreLookedAt) {
    const EDIDInfo info = decode(makeEDID("VORN K2790Z", std::nullopt,
                                          {Kind::timing, Kind::range, Kind::timing, Kind::name}));
    EXPECT_EQ(info.modelName, "Vorn K2790Z");
}

TEST_F(EDIDDecoding, ALaterSerialDescriptorBeforeTheNameReplacesAnEarlierOne) {
    Bytes edid = makeEDID(std::nullopt, std::nullopt, {});
    setDescriptor(edid, 0, serialTag, "FIRST\n       ");
    setDescriptor(edid, 1, serialTag, "SECOND\n      ");
    setDescriptor(edid, 2, nameTag, "VORN K2790Z\n ");
    EXPECT_EQ(decode(edid).serviceTag, "SECOND");
}

TEST_F(EDIDDecoding, WithoutANameTheLastSerialDescriptorIsTheServiceTag) {
    Bytes edid = makeEDID(std::nullopt, std::nullopt, {});
    setDescriptor(edid, 0, serialTag, "FIRST\n       ");
    setDescriptor(edid, 3, serialTag, "SECOND\n      ");
    const EDIDInfo info = decode(edid);
    EXPECT_EQ(info.serviceTag, "SECOND");
    EXPECT_EQ(info.modelInfo, "KQX12.12345678.(null).SECOND");
}

TEST_F(EDIDDecoding, TheServiceTagKeepsItsCaseAndBlanks) {
    Bytes edid = makeEDID(std::nullopt, std::nullopt, {});
    setDescriptor(edid, 0, serialTag, "vorn 7xyz \n  ");
    EXPECT_EQ(decode(edid).serviceTag, "vorn 7xyz ");
}

TEST_F(EDIDDecoding, ANameOfThirteenCharactersNeedsNoLineFeed) {
    EXPECT_EQ(decode(makeEDID("VORN K2724DTX", std::nullopt)).modelName, "Vorn K2724DTX");
}

TEST_F(EDIDDecoding, BlanksBeforeTheLineFeedStay) {
    Bytes edid = makeEDID(std::nullopt, std::nullopt, {});
    setDescriptor(edid, 0, nameTag, "K2790Z   \n   ");
    const EDIDInfo info = decode(edid);
    EXPECT_EQ(info.modelName, "K2790Z   ");
    EXPECT_EQ(info.modelInfo, "KQX12.12345678.K2790Z   .(null)");
}

TEST_F(EDIDDecoding, EveryBrandWordWithABlankIsRespelledAndLeftOutOfTheModelInfo) {
    const EDIDInfo info = decode(makeEDID("Vorn VORN A1", std::nullopt));
    EXPECT_EQ(info.modelName, "Vorn Vorn A1");
    EXPECT_EQ(info.modelInfo, "KQX12.12345678.A1.(null)");
}

TEST_F(EDIDDecoding, ABrandWordWithoutABlankStaysAsItIs) {
    const EDIDInfo info = decode(makeEDID("vornK2790Z", std::nullopt));
    EXPECT_EQ(info.modelName, "VORNK2790Z");
    EXPECT_EQ(info.modelInfo, "KQX12.12345678.VORNK2790Z.(null)");
}

TEST_F(EDIDDecoding, AByteBeyondASCIIReadsAsTheReplacementCharacter) {
    Bytes edid = makeEDID(std::nullopt, std::nullopt, {});
    setDescriptor(edid, 0, serialTag, "7\xE9Z\n         ");
    setDescriptor(edid, 1, nameTag, "k\xFF\n          ");
    const EDIDInfo info = decode(edid);
    EXPECT_EQ(info.serviceTag, "7\xEF\xBF\xBDZ");
    EXPECT_EQ(info.modelName, "K\xEF\xBF\xBD");
}

TEST_F(EDIDDecoding, AZeroByteInATextStaysACharacter) {
    Bytes edid = makeEDID(std::nullopt, std::nullopt, {});
    setDescriptor(edid, 0, nameTag, std::string_view("k27\0z\n       ", 13));
    EXPECT_EQ(decode(edid).modelName, std::string("K27\0Z", 5));
}

TEST_F(EDIDDecoding, NeitherHeaderNorChecksumIsChecked) {
    Bytes edid = makeEDID("VORN K2790Z", "7XYZ123");
    std::fill(edid.begin(), edid.begin() + 8, std::uint8_t{0xAA});
    edid[127] ^= 0xFF;
    EXPECT_EQ(decode(edid).modelInfo, "KQX12.12345678.K2790Z.7XYZ123");
}

TEST_F(EDIDDecoding, LowerCaseHexReadsTheSame) {
    std::string text = test::hexText(makeEDID("VORN K2790Z", "7XYZ123"));
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    EXPECT_EQ(decode(text).modelInfo, "KQX12.12345678.K2790Z.7XYZ123");
}

TEST_F(EDIDDecoding, ExtensionBlocksAfterTheBaseBlockChangeNothing) {
    Bytes edid = makeEDID("VORN K2790Z", "7XYZ123");
    edid.resize(384, 0xFC);
    EXPECT_EQ(decode(edid).modelInfo, "KQX12.12345678.K2790Z.7XYZ123");
}

TEST_F(EDIDDecoding, ASerialNumberUsesAllThirtyTwoBits) {
    Bytes edid = makeEDID("VORN K2790Z", std::nullopt);
    std::fill(edid.begin() + 12, edid.begin() + 16, std::uint8_t{0xFF});
    EXPECT_EQ(decode(edid).serialNumber, 0xFFFFFFFFu);
}

TEST_F(EDIDDecoding, ATextUnderThirtyTwoCharactersIsOutOfRange) {
    EXPECT_THROW(decode(""), std::out_of_range);
    EXPECT_THROW(decode("00"), std::out_of_range);
    EXPECT_THROW(decode(std::string(31, '0')), std::out_of_range);
    EXPECT_NO_THROW(decode(std::string(32, '0')));
}

TEST_F(EDIDDecoding, ATextThatIsTooShortSaysHowShort) {
    try {
        decode("00FF");
        FAIL() << "was decoded";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(),
                     "an EDID text of 4 characters is too short to hold a serial number (at least "
                     "32 are needed)");
    }
}

TEST_F(EDIDDecoding, CharactersAreCountedAndNotBytes) {
    std::string text;
    for (int i = 0; i < 31; ++i) text += "\xC3\xA9";
    EXPECT_THROW(decode(text), std::out_of_range);
    EXPECT_NO_THROW(decode(text + "0"));
}

TEST_F(EDIDDecoding, ATextThatIsNotUTF8IsOutOfRange) {
    EXPECT_THROW(decode(std::string(64, '0') + "\xFF"), std::out_of_range);
}

TEST_F(EDIDDecoding, AnEDIDOfSixteenBytesHasAnIdentityOnly) {
    Bytes edid = makeEDID("VORN K2790Z", "7XYZ123");
    edid.resize(16);
    const EDIDInfo info = decode(edid);
    EXPECT_EQ(info.serialNumber, 0x12345678u);
    EXPECT_EQ(info.modelName, std::nullopt);
    EXPECT_EQ(info.serviceTag, std::nullopt);
    EXPECT_EQ(info.modelInfo, "KQX12.12345678.(null).(null)");
    EXPECT_EQ(info.plugNplayID, "KQX1234");
}

TEST_F(EDIDDecoding, BytesBeyondTheEndOfAShortEDIDReadAsZero) {
    Bytes edid = makeEDID("VORN K2790Z", std::nullopt, {Kind::name});
    edid.resize(firstSlot + 5 + 7);  // ends within the name
    const EDIDInfo info = decode(edid);
    EXPECT_EQ(info.modelName, std::string("Vorn K2\0\0\0\0\0\0", 13));
}

TEST_F(EDIDDecoding, AnOddLastDigitIsReadAsAByte) {
    Bytes edid = makeEDID("VORN K2790Z", std::nullopt, {Kind::name});
    edid.resize(firstSlot + 3);
    // The name's tag has lost its second digit: 0x0F is no known kind.
    EXPECT_EQ(decode(test::hexText(edid) + "F").modelName, std::nullopt);
}

TEST_F(EDIDDecoding, GarbageReadsAsZeros) {
    const EDIDInfo info = decode(std::string(256, 'Z'));
    EXPECT_EQ(info.serialNumber, 0u);
    EXPECT_EQ(info.modelName, std::nullopt);
    EXPECT_EQ(info.serviceTag, std::nullopt);
    EXPECT_EQ(info.modelInfo, "@@@00.00000000.(null).(null)");
    EXPECT_EQ(info.plugNplayID, "@@@0000");
}

TEST_F(EDIDDecoding, TextBeyondASCIIReadsAsZeros) {
    std::string text;
    for (int i = 0; i < 64; ++i) text += "\xF0\x9F\x98\x80";
    const EDIDInfo info = decode(text);
    EXPECT_EQ(info.serialNumber, 0u);
    EXPECT_EQ(info.plugNplayID, "@@@0000");
}

TEST_F(EDIDDecoding, TheSerialNumberIsReadFromTheTextAndNotFromTheBytes) {
    // Byte 13 reads as 0 from "G6", but the number's text ends at its G.
    std::string text = test::hexText(makeEDID("VORN K2790Z", std::nullopt));
    ASSERT_EQ(text.substr(24, 8), "78563412");
    text[26] = 'G';
    const EDIDInfo info = decode(text);
    EXPECT_EQ(info.serialNumber, 0x1234u);
    EXPECT_EQ(info.modelInfo, "KQX12.12340078.K2790Z.(null)");
}

TEST(EDIDDecodingWithoutMemory, LosesTheDescriptorsAndSaysSo) {
    auto description = test::macWith({});
    description.faults = {{"CFAllocatorAllocate", 1, false, {}}};
    const test::Mac mac(description);
    test::makeProcessWideObjects();
    const EDIDInfo info =
        edidUtils->generateEDIDInfo(test::hexText(makeEDID("VORN K2790Z", "7XYZ123")));
    EXPECT_EQ(info.serialNumber, 0x12345678u);
    EXPECT_EQ(info.modelName, std::nullopt);
    EXPECT_EQ(info.serviceTag, std::nullopt);
    EXPECT_EQ(info.modelInfo, "KQX12.12345678.(null).(null)");
    EXPECT_EQ(info.plugNplayID, "KQX1234");
    EXPECT_THAT(mac.journal.systemLog(), ElementsAre("Error: Memory allocation failed."));
}

}  // namespace edid_utils_test
