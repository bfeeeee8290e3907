#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/platform/CFReferences.h"

namespace simulated_mac {
namespace core_foundation_test {

using testing::ElementsAre;
using testing::IsEmpty;

class CoreFoundation : public testing::Test {
  protected:
    static CFStringRef make(const std::string& utf8) {
        return CFStringCreateWithBytes(
            kCFAllocatorDefault, reinterpret_cast<const UInt8*>(utf8.data()),
            static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false);
    }
    static std::string upper(const std::string& text) {
        const auto copy = CFStringCreateMutableCopy(kCFAllocatorDefault, 0, make(text));
        CFStringUppercase(copy, nullptr);
        return textOf(copy);
    }
    static std::string lower(const std::string& text) {
        const auto copy = CFStringCreateMutableCopy(kCFAllocatorDefault, 0, make(text));
        CFStringLowercase(copy, nullptr);
        return textOf(copy);
    }
    static CFTypeRef handed(CFObject::Value value) {
        return handOut(makeCF(std::move(value)), "test");
    }
    static CFIndex find(const std::string& part, const std::string& text,
                        CFStringCompareFlags flags = 0) {
        return CFStringFind(make(text), make(part), flags).location;
    }
    std::int64_t held(const std::string& kind) const { return mac_.ledger.held()[kind]; }

    Mac mac_{MacDescription{}};
};

// Case

TEST_F(CoreFoundation, MapsCaseAsUnicodeDoes) {
    EXPECT_EQ(upper("vorn k2422h"), "VORN K2422H");
    EXPECT_EQ(upper("straße"), "STRASSE");
    EXPECT_EQ(upper("ﬁx ÿ ŉ"), "FIX Ÿ ʼN");
    EXPECT_EQ(upper("příliš ωμέγα журнал"), "PŘÍLIŠ ΩΜΈΓΑ ЖУРНАЛ");
    EXPECT_EQ(lower("VORN PŘÍLIŠ ЖУРНАЛ"), "vorn příliš журнал");
    EXPECT_EQ(lower("ΟΔΟΣ"), "οδος");
    EXPECT_EQ(lower("ΣΟΦΟΣ ΟΔΟΣ"), "σοφος οδος");
}

TEST_F(CoreFoundation, LooksBeyondMarksWhereASigmaMayEndAWord) {
    EXPECT_EQ(lower("Σ"), "σ");
    EXPECT_EQ(lower("'Σ"), "'ς");
    EXPECT_EQ(lower("Α.Σ"), "α.σ");
    EXPECT_EQ(lower("Α'Σ"), "α'ς");
    EXPECT_EQ(lower("Α\u0301Σ\u0301"), "α\u0301ς\u0301");
    EXPECT_EQ(lower("ΑΣ'Β"), "ασ'β");
    EXPECT_EQ(lower("ΑΣ.Β"), "ας.β");
    EXPECT_EQ(lower("1Σ"), "1σ");
    EXPECT_EQ(lower("𐐀Σ𐐀 𐐀Σ"), "𐐨σ𐐨 𐐨ς");
}

TEST_F(CoreFoundation, MapsCaseWithoutALocale) {
    EXPECT_EQ(upper("i"), "I");
    EXPECT_EQ(lower("I"), "i");
    EXPECT_EQ(lower("İ"), "i̇");
}

TEST_F(CoreFoundation, MapsTheCaseOfCharactersOfTwoUnits) {
    EXPECT_EQ(upper("𐐨"), "𐐀");
    EXPECT_EQ(lower("𐐀"), "𐐨");
}

TEST_F(CoreFoundation, LeavesTheOriginalOfAMutableCopyAlone) {
    const auto original = make("vorn");
    const auto copy = CFStringCreateMutableCopy(kCFAllocatorDefault, 0, original);
    CFStringUppercase(copy, nullptr);
    EXPECT_EQ(textOf(original), "vorn");
    EXPECT_EQ(textOf(copy), "VORN");
}

// UTF-8 and UTF-16

TEST_F(CoreFoundation, CountsTextInUTF16Units) {
    EXPECT_EQ(CFStringGetLength(make("")), 0);
    EXPECT_EQ(CFStringGetLength(make("abc")), 3);
    EXPECT_EQ(CFStringGetLength(make("äöü")), 3);
    EXPECT_EQ(CFStringGetLength(make("漢字")), 2);
    EXPECT_EQ(CFStringGetLength(make("🎥")), 2);
    EXPECT_EQ(CFStringGetLength(make(std::string("a\0b", 3))), 3);
}

TEST_F(CoreFoundation, GivesTheUnitsOfAText) {
    const auto text = make("a🎥漢");
    std::vector<UniChar> units(4);
    CFStringGetCharacters(text, {0, 4}, units.data());
    EXPECT_THAT(units, ElementsAre(0x61, 0xD83C, 0xDFA5, 0x6F22));
    EXPECT_EQ(CFStringGetCharacterAtIndex(text, 1), 0xD83C);
    EXPECT_EQ(CFStringGetCharacterAtIndex(text, 3), 0x6F22);
    UniChar one = 0;
    CFStringGetCharacters(text, {2, 1}, &one);
    EXPECT_EQ(one, 0xDFA5);
}

TEST_F(CoreFoundation, GivesAPieceOfATextByItsUnits) {
    const auto piece = CFStringCreateWithSubstring(kCFAllocatorDefault, make("a🎥漢"), {1, 2});
    EXPECT_EQ(textOf(piece), "🎥");
}

TEST_F(CoreFoundation, DropsAByteOrderMarkInFront) {
    const std::string marked = "\xEF\xBB\xBF\x61";
    for (const Boolean external : {false, true}) {
        EXPECT_EQ(textOf(CFStringCreateWithBytes(kCFAllocatorDefault,
                                                 reinterpret_cast<const UInt8*>(marked.data()), 4,
                                                 kCFStringEncodingUTF8, external)),
                  "a");
    }
    EXPECT_EQ(textOf(make("a\xEF\xBB\xBF")), "a\uFEFF");
    EXPECT_EQ(textOf(make("\xEF\xBB\xBF" + marked)), "\uFEFFa");
}

TEST_F(CoreFoundation, ReadsAStrayByteA9AsTheReplacementCharacter) {
    EXPECT_EQ(textOf(make("\xA9")), "\uFFFD");
    EXPECT_EQ(textOf(make("\xA9 2026\xA9\xA9")), "\uFFFD 2026\uFFFD\uFFFD");
    EXPECT_EQ(textOf(make("\xC3\xA9\xA9")), "é\uFFFD");
    EXPECT_EQ(textOf(make("\xE2\xA9\xA9")), "\u2A69");
}

TEST_F(CoreFoundation, StopsBeforeHalfACharacterWhateverTheLossByte) {
    const auto half = CFStringCreateWithSubstring(kCFAllocatorDefault, make("a🎥漢"), {0, 2});
    for (const UInt8 loss : {UInt8{0}, UInt8{'*'}}) {
        std::array<UInt8, 8> bytes{};
        CFIndex size = 0;
        EXPECT_EQ(CFStringGetBytes(half, {0, 2}, kCFStringEncodingUTF8, loss, false, bytes.data(),
                                   8, &size),
                  1);
        EXPECT_EQ(size, 1);
        EXPECT_EQ(bytes[1], 0);
    }
    const auto otherHalf = CFStringCreateWithSubstring(kCFAllocatorDefault, make("🎥漢"), {1, 2});
    CFIndex size = -1;
    EXPECT_EQ(
        CFStringGetBytes(otherHalf, {0, 2}, kCFStringEncodingUTF8, '*', false, nullptr, 0, &size),
        0);
    EXPECT_EQ(size, 0);
}

class InvalidUTF8 : public testing::TestWithParam<std::string> {};

TEST_P(InvalidUTF8, MakesNoString) {
    const Mac mac{MacDescription{}};
    const std::string& bytes = GetParam();
    EXPECT_EQ(
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8, false),
        nullptr);
    EXPECT_EQ(mac.ledger.held()["CFString"], 0);
}

INSTANTIATE_TEST_SUITE_P(Of, InvalidUTF8,
                         testing::Values("\xFF", "a\x80", "\xC3", "\xC3(", "\xE6\xBC", "\xC0\x80",
                                         "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                         "good text\xF0\x9F\x8E", "\xE2\xA9", "\xA9\xFF", "\xA8"));

TEST_F(CoreFoundation, WritesATextAsUTF8) {
    const auto text = make("a🎥漢");
    CFIndex needed = 0;
    EXPECT_EQ(
        CFStringGetBytes(text, {0, 4}, kCFStringEncodingUTF8, '?', false, nullptr, 0, &needed), 4);
    EXPECT_EQ(needed, 8);
    std::string bytes(8, '\0');
    CFIndex used = 0;
    CFStringGetBytes(text, {0, 4}, kCFStringEncodingUTF8, '?', false,
                     reinterpret_cast<UInt8*>(bytes.data()), 8, &used);
    EXPECT_EQ(used, 8);
    EXPECT_EQ(bytes, "a🎥漢");
}

TEST_F(CoreFoundation, WritesNoMoreBytesThanThereIsRoomForAndCutsNoCharacter) {
    const auto written = [](const std::string& text, CFIndex room) {
        std::string bytes = "..........";
        CFIndex used = 0;
        const auto string = make(text);
        const CFIndex converted =
            CFStringGetBytes(string, {0, CFStringGetLength(string)}, kCFStringEncodingUTF8, '?',
                             false, reinterpret_cast<UInt8*>(bytes.data()), room, &used);
        EXPECT_EQ(bytes.substr(static_cast<std::size_t>(used)),
                  std::string(bytes.size() - static_cast<std::size_t>(used), '.'));
        return std::to_string(converted) + " " + bytes.substr(0, static_cast<std::size_t>(used));
    };
    EXPECT_EQ(written("abcdef", 4), "4 abcd");
    EXPECT_EQ(written("a🎥漢", 7), "3 a🎥");
    EXPECT_EQ(written("a🎥漢", 4), "1 a");
    EXPECT_EQ(written("漢", 2), "0 ");
    EXPECT_EQ(written("漢", 0), "0 ");
    EXPECT_EQ(written("a🎥漢", 8), "4 a🎥漢");
}

// Finding

TEST_F(CoreFoundation, FindsTheFirstOccurrenceInUnits) {
    EXPECT_EQ(find("here", "🎥 here and here"), 3);
    const CFRange range = CFStringFind(make("a🎥b"), make("🎥"), 0);
    EXPECT_EQ(range.location, 1);
    EXPECT_EQ(range.length, 2);
}

TEST_F(CoreFoundation, FindsNothingWhereThereIsNothing) {
    EXPECT_EQ(find("x", "abc"), kCFNotFound);
    EXPECT_EQ(find("abcd", "abc"), kCFNotFound);
    EXPECT_EQ(find("", "abc"), kCFNotFound);
    EXPECT_EQ(find("a", ""), kCFNotFound);
    EXPECT_EQ(CFStringFind(make("abc"), make("x"), 0).length, 0);
}

TEST_F(CoreFoundation, FindsByCaseUnlessToldOtherwise) {
    EXPECT_EQ(find("/AMD", "IOService:/PCI0/amd"), kCFNotFound);
    EXPECT_EQ(find("/AMD", "IOService:/PCI0/amd", kCFCompareCaseInsensitive), 15);
}

// References

TEST_F(CoreFoundation, CountsReferencesByTheCallThatGaveThem) {
    const auto text = make("text");
    CFRetain(text);
    EXPECT_THAT(
        mac_.ledger.heldByCall(),
        ElementsAre(testing::Pair(testing::Pair("CFString", "CFRetain"), 1),
                    testing::Pair(testing::Pair("CFString", "CFStringCreateWithBytes"), 1)));
    CFRelease(text);
    EXPECT_EQ(textOf(text), "text");
    CFRelease(text);
    EXPECT_EQ(held("CFString"), 0);
    EXPECT_THAT(mac_.journal.misuses(), IsEmpty());
}

TEST_F(CoreFoundation, HandsOutConstantStringsWithoutAReference) {
    const CFStringRef once = CFSTR("constant");
    EXPECT_EQ(textOf(once), "constant");
    EXPECT_EQ(__CFStringMakeConstantString("constant"), once);
    EXPECT_EQ(held("CFString"), 0);
}

TEST_F(CoreFoundation, CountsEachKindOfObject) {
    handed(CFObject::String(u"text"));
    handed(Bytes{1, 2});
    handed(std::int64_t{3});
    handed(CFObject::Dictionary{});
    handed(CFObject::Array{});
    handed(CFObject::Opaque{"IOAVService", 1});
    for (const char* const kind :
         {"CFString", "CFData", "CFNumber", "CFDictionary", "CFType", "IOAVService"}) {
        EXPECT_EQ(held(kind), 1) << kind;
    }
}

// Memory

TEST_F(CoreFoundation, CountsMemory) {
    void* const memory = CFAllocatorAllocate(kCFAllocatorDefault, 16, 0);
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(held("CFAllocator memory"), 1);
    CFAllocatorDeallocate(kCFAllocatorDefault, memory);
    EXPECT_EQ(held("CFAllocator memory"), 0);
}

TEST_F(CoreFoundation, HasNoMemoryOfNoSize) {
    EXPECT_EQ(CFAllocatorAllocate(kCFAllocatorDefault, 0, 0), nullptr);
    EXPECT_EQ(CFAllocatorAllocate(kCFAllocatorDefault, -1, 0), nullptr);
    EXPECT_EQ(held("CFAllocator memory"), 0);
}

// Other objects

TEST_F(CoreFoundation, TellsTypesApart) {
    EXPECT_EQ(CFGetTypeID(make("text")), CFStringGetTypeID());
    EXPECT_EQ(CFGetTypeID(handed(std::int64_t{1})), CFNumberGetTypeID());
    EXPECT_EQ(CFGetTypeID(handed(CFObject::Dictionary{})), CFDictionaryGetTypeID());
    EXPECT_NE(CFStringGetTypeID(), CFNumberGetTypeID());
    EXPECT_NE(CFStringGetTypeID(), CFDictionaryGetTypeID());
    EXPECT_NE(CFNumberGetTypeID(), CFDictionaryGetTypeID());
    EXPECT_NE(CFGetTypeID(handed(true)), CFNumberGetTypeID());
    EXPECT_NE(CFGetTypeID(handed(Bytes{})), CFStringGetTypeID());
}

TEST_F(CoreFoundation, ReadsNumbersInTheWidthAskedFor) {
    const auto number = static_cast<CFNumberRef>(handed(std::int64_t{0x7FFFFFFF}));
    std::int32_t narrow = 0;
    EXPECT_TRUE(CFNumberGetValue(number, kCFNumberSInt32Type, &narrow));
    EXPECT_EQ(narrow, 0x7FFFFFFF);
    std::int64_t wide = 0;
    EXPECT_TRUE(CFNumberGetValue(number, kCFNumberSInt64Type, &wide));
    EXPECT_EQ(wide, 0x7FFFFFFF);
    CFIndex index = 0;
    EXPECT_TRUE(CFNumberGetValue(number, kCFNumberCFIndexType, &index));
    EXPECT_EQ(index, 0x7FFFFFFF);
}

TEST_F(CoreFoundation, SaysWhenANumberLosesInTheWidthAskedFor) {
    const auto number = static_cast<CFNumberRef>(handed(std::int64_t{0x1'8000'0001}));
    std::int32_t narrow = 0;
    EXPECT_FALSE(CFNumberGetValue(number, kCFNumberSInt32Type, &narrow));
    EXPECT_EQ(narrow, std::numeric_limits<std::int32_t>::min() + 1);
}

TEST_F(CoreFoundation, CutsTheFractionOfANumberAndSaysSo) {
    const auto number = static_cast<CFNumberRef>(handed(-596.7));
    std::int64_t value = 0;
    EXPECT_FALSE(CFNumberGetValue(number, kCFNumberSInt64Type, &value));
    EXPECT_EQ(value, -596);
    EXPECT_TRUE(
        CFNumberGetValue(static_cast<CFNumberRef>(handed(600.0)), kCFNumberSInt64Type, &value));
    EXPECT_EQ(value, 600);
    EXPECT_EQ(CFGetTypeID(number), CFNumberGetTypeID());
    EXPECT_EQ(held("CFNumber"), 2);
}

TEST_F(CoreFoundation, MakesNumbersOfBothWidths) {
    const std::int32_t narrow = -5;
    const std::int64_t wide = 0x1'0000'0000;
    std::int64_t value = 0;
    CFNumberGetValue(CFNumberCreate(nullptr, kCFNumberSInt32Type, &narrow), kCFNumberSInt64Type,
                     &value);
    EXPECT_EQ(value, -5);
    CFNumberGetValue(CFNumberCreate(nullptr, kCFNumberSInt64Type, &wide), kCFNumberSInt64Type,
                     &value);
    EXPECT_EQ(value, wide);
    EXPECT_EQ(held("CFNumber"), 2);
}

TEST_F(CoreFoundation, GivesTheBytesOfData) {
    const auto data = static_cast<CFDataRef>(handed(Bytes{1, 2, 3, 4}));
    EXPECT_EQ(CFDataGetLength(data), 4);
    std::vector<UInt8> bytes(2);
    CFDataGetBytes(data, {1, 2}, bytes.data());
    EXPECT_THAT(bytes, ElementsAre(2, 3));
}

TEST_F(CoreFoundation, LendsTheValuesOfADictionary) {
    const auto dictionary = static_cast<CFDictionaryRef>(
        handed(CFObject::Dictionary{{"one", makeCFText("1")}, {"zwölf", makeCFText("12")}}));
    EXPECT_EQ(textOf(CFDictionaryGetValue(dictionary, CFSTR("one"))), "1");
    EXPECT_EQ(textOf(CFDictionaryGetValue(dictionary, make("zwölf"))), "12");
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("One")), nullptr);
    EXPECT_EQ(held("CFString"), 1) << "the key that this test made";
}

TEST_F(CoreFoundation, ADictionaryKeepsWhatIsSetInIt) {
    const auto dictionary = CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                      &kCFTypeDictionaryValueCallBacks);
    const auto value = make("value");
    CFDictionarySetValue(dictionary, CFSTR("key"), value);
    CFRelease(value);
    EXPECT_EQ(textOf(CFDictionaryGetValue(dictionary, CFSTR("key"))), "value");
    CFDictionarySetValue(dictionary, CFSTR("key"), CFSTR("other"));
    EXPECT_EQ(textOf(CFDictionaryGetValue(dictionary, CFSTR("key"))), "other");
    EXPECT_THAT(mac_.journal.misuses(), IsEmpty());
}

TEST_F(CoreFoundation, CountsTabsAndAllOfUnicodesBlanksAsWhiteSpace) {
    const auto blanks = CFCharacterSetGetPredefined(kCFCharacterSetWhitespace);
    for (const UniChar blank : {u' ', u'\t', u'\u00A0', u'\u2003', u'\u200B', u'\u3000'}) {
        EXPECT_TRUE(CFCharacterSetIsCharacterMember(blanks, blank)) << blank;
    }
    for (const UniChar other : {u'\n', u'\r', u'a', u'\0', u'\u200C', u'\u2028'}) {
        EXPECT_FALSE(CFCharacterSetIsCharacterMember(blanks, other)) << other;
    }
}

TEST_F(CoreFoundation, TheRunLoopOfTheMainThreadIsTheMainOne) {
    EXPECT_EQ(CFRunLoopGetCurrent(), CFRunLoopGetMain());
    bool same = true;
    mac_.scheduler.startThread("worker",
                               [&] { same = CFRunLoopGetCurrent() == CFRunLoopGetMain(); });
    mac_.scheduler.runUntilQuiet();
    EXPECT_FALSE(same);
}

}  // namespace core_foundation_test
}  // namespace simulated_mac
