#include "plugin/Platform/Text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cwchar>

#include "simulated_mac/machine/CallText.h"
#include "tests/support/PaneOnMac.h"

using namespace vorn;

namespace text_test {

using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class PlatformText : public ::testing::Test {
  protected:
    ~PlatformText() override {
        EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
        EXPECT_THAT(mac.journal.misuses(), IsEmpty());
    }

    const test::Mac mac{test::macWith({})};
};

test::MacDescription macWhereFails(const std::string& call) {
    auto description = test::macWith({});
    description.faults = {{call, 1, true, {}}};
    return description;
}

TEST_F(PlatformText, GoesToAPlatformStringAndBack) {
    for (const std::string text :
         {"", "K2790Z", "\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80", "a\nb\tc"}) {
        EXPECT_EQ(makeText(makeCFString(text).get()), text);
    }
}

TEST_F(PlatformText, KeepsZeroBytes) {
    const std::string text("a\0b", 3);
    EXPECT_EQ(makeText(makeCFString(text).get()), text);
    EXPECT_EQ(utf16Units(text), std::u16string(u"a\0b", 3));
}

TEST_F(PlatformText, BytesThatAreNotUTF8MakeNoString) {
    for (const std::string bytes : {"\xFF", "a\xC3", "\xC0\x80", "\xED\xA0\x80", "\x80"}) {
        EXPECT_FALSE(makeCFString(bytes)) << testing::PrintToString(bytes);
        EXPECT_EQ(utf16Units(bytes), u"");
    }
}

TEST_F(PlatformText, KeepsAByteOrderMark) {
    EXPECT_EQ(utf16Units("\xEF\xBB\xBF\x61"), u"\uFEFFa");
    EXPECT_EQ(uppercaseText("\xEF\xBB\xBFk2422h"), "\xEF\xBB\xBFK2422H");
}

TEST_F(PlatformText, OfAStrayByteA9IsTheReplacementCharacter) {
    EXPECT_EQ(utf16Units("a\xA9\x62"), u"a\uFFFDb");
}

TEST_F(PlatformText, OfHalfACharacterIsTheReplacementCharacterAndTheRestStays) {
    const auto whole = makeCFString("a\xF0\x9F\x98\x80z");
    const auto piece = [&whole](CFIndex location, CFIndex length) {
        const CFRef<CFStringRef> part(CFStringCreateWithSubstring(kCFAllocatorDefault, whole.get(),
                                                                  CFRange{location, length}));
        return makeText(part.get());
    };
    EXPECT_EQ(piece(0, 2), "a\xEF\xBF\xBD");
    EXPECT_EQ(piece(2, 2), "\xEF\xBF\xBDz");
}

TEST_F(PlatformText, OfNoStringIsEmpty) {
    EXPECT_EQ(makeText(nullptr), "");
}

TEST_F(PlatformText, CountsInUTF16Units) {
    EXPECT_EQ(utf16Units("a\xC3\xA9\xF0\x9F\x98\x80"), u"a\u00E9\U0001F600");
}

TEST_F(PlatformText, OneUnitIsOneToThreeBytes) {
    EXPECT_EQ(textOfUnit(u'A'), "A");
    EXPECT_EQ(textOfUnit(u'\x7F'), "\x7F");
    EXPECT_EQ(textOfUnit(u'\x80'), "\xC2\x80");
    EXPECT_EQ(textOfUnit(u'\u07FF'), "\xDF\xBF");
    EXPECT_EQ(textOfUnit(u'\u0800'), "\xE0\xA0\x80");
    EXPECT_EQ(textOfUnit(u'\uFFFD'), "\xEF\xBF\xBD");
    EXPECT_EQ(textOfUnit(u'\0'), std::string(1, '\0'));
}

TEST_F(PlatformText, CaseIsUnicodes) {
    EXPECT_EQ(uppercaseText("stra\xC3\x9F\x65 \xC3\xA9"), "STRASSE \xC3\x89");
    EXPECT_EQ(lowercaseText("\xC3\x89 K2790Z"), "\xC3\xA9 k2790z");
    EXPECT_EQ(uppercaseText("\xEF\xAC\x81"), "FI");  // a ligature
    EXPECT_EQ(lowercaseText(""), "");
}

TEST_F(PlatformText, CaseFollowsNoLanguage) {
    EXPECT_EQ(uppercaseText("i"), "I");
    EXPECT_EQ(lowercaseText("I"), "i");
}

TEST_F(PlatformText, ThatIsNotUTF8KeepsItsCase) {
    EXPECT_EQ(uppercaseText("k\xFF"), "k\xFF");
    EXPECT_EQ(lowercaseText("K\xFF"), "K\xFF");
}

TEST_F(PlatformText, BlanksAndTabsAreTrimmedAtBothEndsOnly) {
    EXPECT_EQ(trimWhitespace(" \t a b \t "), "a b");
    EXPECT_EQ(trimWhitespace("   "), "");
    EXPECT_EQ(trimWhitespace(""), "");
    EXPECT_EQ(trimWhitespace("a"), "a");
}

TEST(PlatformTextOfBlanksAlone, IsTrimmedToTheEmptyPartAfterThem) {
    test::Mac mac(test::macWith({}));
    mac.trace.keepOnly({"CFStringCreateWithSubstring"});
    EXPECT_EQ(trimWhitespace("  \u3000"), "");
    ASSERT_THAT(mac.trace.calls(), SizeIs(1));
    EXPECT_THAT(argumentsText(mac.trace.calls()[0]), EndsWith("location 3, length 0"));
}

/// What the platform makes of a text, by the calls that other text than ASCII takes.
std::string mappedByThePlatform(const std::string& text,
                                void (*mapping)(CFMutableStringRef, CFLocaleRef)) {
    const CFRef<CFMutableStringRef> copy(
        CFStringCreateMutableCopy(kCFAllocatorDefault, 0, makeCFString(text).get()));
    mapping(copy.get(), nullptr);
    return makeText(copy.get());
}

TEST_F(PlatformText, InASCIIIsWhatThePlatformMakesOfIt) {
    const CFCharacterSetRef blanks = CFCharacterSetGetPredefined(kCFCharacterSetWhitespace);
    for (int code = 0; code < 0x80; ++code) {
        const auto character = static_cast<char>(code);
        const std::string text = {'a', character, 'B'};
        EXPECT_EQ(uppercaseText(text), mappedByThePlatform(text, CFStringUppercase));
        EXPECT_EQ(lowercaseText(text), mappedByThePlatform(text, CFStringLowercase));
        EXPECT_EQ(utf16Units(text), (std::u16string{u'a', static_cast<char16_t>(character), u'B'}));
        const std::string alone(1, character);
        EXPECT_EQ(trimWhitespace(alone).empty(),
                  CFCharacterSetIsCharacterMember(blanks, static_cast<UniChar>(character)) != 0);
    }
}

TEST(PlatformTextInASCII, TakesNoCallOfThePlatform) {
    test::Mac mac(test::macWith({}));
    mac.trace.keepAll();
    EXPECT_EQ(trimWhitespace(uppercaseText(" k2790z ") + lowercaseText("A")), "K2790Z a");
    EXPECT_EQ(unitCount("K2790Z"), 6u);
    EXPECT_EQ(utf16Units("K2790Z"), u"K2790Z");
    EXPECT_TRUE(isUTF8("K2790Z"));
    EXPECT_THAT(mac.trace.calls(), IsEmpty());
}

TEST_F(PlatformText, IsASCIIIfNoByteHasTheHighBitWhereverItStands) {
    EXPECT_TRUE(isASCII(""));
    EXPECT_TRUE(isASCII(std::string("\0\x7F", 2)));
    for (std::size_t length = 1; length < 20; ++length) {
        for (std::size_t at = 0; at < length; ++at) {
            std::string text(length, 'a');
            EXPECT_TRUE(isASCII(text));
            text[at] = '\x80';
            EXPECT_FALSE(isASCII(text)) << length << " " << at;
        }
    }
}

TEST_F(PlatformText, IsUTF8WhereThePlatformMakesAStringOfIt) {
    EXPECT_TRUE(isUTF8("\xC3\xA9"));
    EXPECT_TRUE(isUTF8("a\xA9"));
    EXPECT_FALSE(isUTF8("a\xFF"));
    EXPECT_EQ(unitCount("\xC3\xA9\xF0\x9F\x98\x80"), 3u);
    EXPECT_EQ(unitCount("a\xFF"), 0u);
}

TEST_F(PlatformText, TakesABytesTwoHexDigits) {
    std::string text = "x";
    for (const unsigned byte : {0x00u, 0x0Au, 0xF1u, 0xFFu}) {
        appendHex(text, static_cast<std::uint8_t>(byte));
    }
    EXPECT_EQ(text, "x000AF1FF");
}

TEST_F(PlatformText, BlanksBeyondASCIIAreTrimmedToo) {
    // No-break space, em space, ideographic space.
    EXPECT_EQ(trimWhitespace("\xC2\xA0\xE2\x80\x83\x61\xE3\x80\x80"), "a");
}

TEST_F(PlatformText, LineBreaksAreNotTrimmed) {
    EXPECT_EQ(trimWhitespace(" \na\n "), "\na\n");
}

TEST_F(PlatformText, ReplacingGoesOnAfterWhatWasPutIn) {
    EXPECT_EQ(replaceAll("aaa", "a", "aa"), "aaaaaa");
    EXPECT_EQ(replaceAll("a  (", " (", "("), "a (");
    EXPECT_EQ(replaceAll("VORN VORN x", "VORN ", "Vorn "), "Vorn Vorn x");
    EXPECT_EQ(replaceAll("abc", "x", "y"), "abc");
    EXPECT_EQ(replaceAll("", "x", "y"), "");
}

TEST_F(PlatformText, AnAbsentOneIsWrittenAsNull) {
    EXPECT_EQ(textOrNull(std::nullopt), "(null)");
    EXPECT_EQ(textOrNull(""), "");
    EXPECT_EQ(textOrNull("a"), "a");
}

TEST_F(PlatformText, IsFormattedAsByPrintfAtAnyLength) {
    EXPECT_EQ(formatText("%02X.%zu", 0x0A, std::size_t{7}), "0A.7");
    EXPECT_EQ(formatText("%s", std::string(5000, 'x').c_str()), std::string(5000, 'x'));
    EXPECT_EQ(formatText("%s", "a"), "a");
    EXPECT_EQ(formatText("%s", ""), "");
}

TEST_F(PlatformText, ThatCannotBeFormattedIsEmpty) {
    // A wide character that is none in the C locale.
    EXPECT_EQ(formatText("a%lc", std::wint_t{0x20AC}), "");
}

TEST(PlatformTextWithoutMemory, KeepsItsCaseWhenNoStringCanBeMade) {
    const test::Mac mac(macWhereFails("CFStringCreateWithBytes"));
    EXPECT_EQ(uppercaseText("a\u00E9"), "a\u00E9");
    EXPECT_EQ(trimWhitespace(" \u00E9 "), " \u00E9 ");
    EXPECT_EQ(utf16Units("\u00E9"), u"");
}

TEST(PlatformTextWithoutMemory, KeepsItsCaseWhenNoCopyCanBeMade) {
    const test::Mac mac(macWhereFails("CFStringCreateMutableCopy"));
    EXPECT_EQ(uppercaseText("a\u00E9"), "a\u00E9");
    EXPECT_EQ(lowercaseText("A\u00E9"), "A\u00E9");
    EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
}

}  // namespace text_test
