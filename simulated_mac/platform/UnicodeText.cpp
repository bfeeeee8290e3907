#include "simulated_mac/platform/UnicodeText.h"

#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include <algorithm>

namespace simulated_mac {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr char toleratedByte = '\xA9';
constexpr std::string_view replacement = "\xEF\xBF\xBD";  // U+FFFD
constexpr char16_t capitalSigma = u'Σ';
constexpr char16_t sigma = u'σ';
constexpr char16_t finalSigma = u'ς';

/// Not icu::Locale::getRoot(), which makes twenty others as well.
const icu::Locale& rootLocale() {
    static const icu::Locale root("");
    return root;
}

std::u16string fromICU(const icu::UnicodeString& text) {
    return {text.getBuffer(), static_cast<std::size_t>(text.length())};
}

icu::UnicodeString toICU(std::u16string_view text) {
    return {text.data(), static_cast<int32_t>(text.size())};
}

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// How many bytes a character has that begins with this one.
std::size_t lengthAfter(char lead) {
    const auto byte = static_cast<unsigned char>(lead);
    return byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

/// Whether the continuation byte at this place can belong to a character that begins before it.
bool belongsToCharacter(std::string_view bytes, std::size_t at) {
    std::size_t lead = at;
    while (lead > 0 && isContinuation(bytes[lead])) --lead;
    return !isContinuation(bytes[lead]) && lengthAfter(bytes[lead]) > at - lead;
}

/// The bytes with U+FFFD for each that the platform reads so.
std::string withReplacements(std::string_view bytes) {
    std::string replaced;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        const bool isStray = bytes[at] == toleratedByte && !belongsToCharacter(bytes, at);
        replaced += isStray ? replacement : bytes.substr(at, 1);
    }
    return replaced;
}

std::optional<std::u16string> decodeValidUTF8(std::string_view bytes) {
    // UTF-8 never takes fewer bytes than UTF-16 takes units.
    std::u16string text(bytes.size(), u'\0');
    int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8(text.data(), static_cast<int32_t>(text.size()), &length, bytes.data(),
                  static_cast<int32_t>(bytes.size()), &error);
    if (U_FAILURE(error)) return std::nullopt;
    text.resize(static_cast<std::size_t>(length));
    return text;
}

/// Where the first half of a surrogate pair stands that has no other half; the text's size without.
std::size_t firstLoneHalf(std::u16string_view text) {
    const auto isHigh = [](char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; };
    const auto isLow = [](char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; };
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (isLow(text[at])) return at;
        if (!isHigh(text[at])) continue;
        if (at + 1 == text.size() || !isLow(text[at + 1])) return at;
        ++at;
    }
    return text.size();
}

/// Units that UTF-8's characters have in UTF-16.
std::size_t unitsOf(std::string_view bytes) {
    std::size_t units = 0;
    for (const char byte : bytes) {
        if (!isContinuation(byte)) units += lengthAfter(byte) == 4 ? 2u : 1u;
    }
    return units;
}

bool isOneOf(UChar32 character, uint32_t categories) {
    return (categories >> u_charType(character) & 1) != 0;
}

bool isCased(UChar32 character) {
    return isOneOf(character, U_GC_LU_MASK | U_GC_LT_MASK | U_GC_LL_MASK);
}

/// Marks between letters that a word's case takes no notice of.
bool isIgnoredByCase(UChar32 character) {
    constexpr uint32_t categories =
        U_GC_MN_MASK | U_GC_ME_MASK | U_GC_CF_MASK | U_GC_LM_MASK | U_GC_SK_MASK;
    return character == u'\'' || character == u'’' || isOneOf(character, categories);
}

/// Whether the sigma at this place ends a word. Before it nothing but marks may stand between the
/// text's start or a letter and it, behind it no letter beyond marks.
bool endsWord(const icu::UnicodeString& text, int32_t at) {
    if (at == 0) return false;
    int32_t before = at;
    UChar32 character = u'\'';
    while (before > 0 && isIgnoredByCase(character)) {
        before = text.moveIndex32(before, -1);
        character = text.char32At(before);
    }
    if (!isIgnoredByCase(character) && !isCased(character)) return false;
    for (int32_t behind = at + 1; behind < text.length(); behind = text.moveIndex32(behind, 1)) {
        character = text.char32At(behind);
        if (!isIgnoredByCase(character)) return !isCased(character);
    }
    return true;
}

}  // namespace

std::optional<std::u16string> decodeUTF8(std::string_view bytes) {
    if (bytes.starts_with(byteOrderMark)) bytes.remove_prefix(byteOrderMark.size());
    auto text = decodeValidUTF8(bytes);
    if (!text) text = decodeValidUTF8(withReplacements(bytes));
    return text;
}

EncodedText encodeUTF8(std::u16string_view text, std::size_t room) {
    EncodedText encoded{{}, firstLoneHalf(text)};
    toICU(text.substr(0, encoded.units)).toUTF8String(encoded.bytes);
    if (encoded.bytes.size() > room) {
        while (room > 0 && isContinuation(encoded.bytes[room])) --room;
        encoded.bytes.resize(room);
        encoded.units = unitsOf(encoded.bytes);
    }
    return encoded;
}

std::u16string uppercase(const std::u16string& text) {
    return fromICU(toICU(text).toUpper(rootLocale()));
}

std::u16string lowercase(const std::u16string& text) {
    const icu::UnicodeString original = toICU(text);
    std::u16string lower;
    std::size_t done = 0;
    while (done < text.size()) {
        const std::size_t next = std::min(text.find(capitalSigma, done), text.size());
        const auto piece = std::u16string_view(text).substr(done, next - done);
        lower += fromICU(toICU(piece).toLower(rootLocale()));
        if (next < text.size()) {
            lower += endsWord(original, static_cast<int32_t>(next)) ? finalSigma : sigma;
        }
        done = next + 1;
    }
    return lower;
}

bool isWhitespace(char16_t unit) {
    return unit == u'\t' || unit == u'\u200B' || u_charType(unit) == U_SPACE_SEPARATOR;
}

}  // namespace simulated_mac
