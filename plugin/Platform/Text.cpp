#include "plugin/Platform/Text.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace vorn {

namespace {

using MutableString = CFRef<CFMutableStringRef>;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view replacement = "\xEF\xBF\xBD";  // U+FFFD

CFRef<CFStringRef> decodeUTF8(std::string_view bytes) {
    return CFRef<CFStringRef>(
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8, false));
}

template <class Mapping>
std::string mapCase(const std::string& text, Mapping mapping) {
    const auto string = makeCFString(text);
    if (!string) return text;
    const MutableString copy(CFStringCreateMutableCopy(kCFAllocatorDefault, 0, string.get()));
    if (!copy) return text;
    mapping(copy.get(), nullptr);
    return makeText(copy.get());
}

/// The text with the ASCII letters from `first` on, 26 of them, in their other case.
std::string changeCase(std::string text, char first) {
    constexpr char caseBit = 'a' ^ 'A';
    for (char& letter : text) {
        const bool changes = letter >= first && letter < first + 26;
        letter = static_cast<char>(letter ^ (changes ? caseBit : 0));
    }
    return text;
}

}  // namespace

CFRef<CFStringRef> makeCFString(std::string_view text) {
    if (!text.starts_with(byteOrderMark)) return decodeUTF8(text);
    // The platform drops a mark in front. Here it is a character like any other: another one is put
    // there to be dropped.
    return decodeUTF8(std::string(byteOrderMark).append(text));
}

std::string makeText(CFStringRef string) {
    std::string text;
    const CFIndex length = string != nullptr ? CFStringGetLength(string) : 0;
    for (CFIndex at = 0; at < length;) {
        const CFRange rest{at, length - at};
        CFIndex size = 0;
        const CFIndex converted =
            CFStringGetBytes(string, rest, kCFStringEncodingUTF8, 0, false, nullptr, 0, &size);
        const std::size_t before = text.size();
        text.resize(before + static_cast<std::size_t>(size));
        CFStringGetBytes(string, rest, kCFStringEncodingUTF8, 0, false,
                         reinterpret_cast<UInt8*>(text.data() + before), size, nullptr);
        at += converted;
        if (at == length) break;
        // The conversion stops at half a surrogate pair, which UTF-8 has no bytes for.
        text += replacement;
        ++at;
    }
    return text;
}

bool isASCII(std::string_view text) {
    constexpr std::uint64_t highBits = 0x8080'8080'8080'8080;
    std::uint64_t bits = 0;
    for (std::uint64_t word = 0; text.size() >= sizeof word; text.remove_prefix(sizeof word)) {
        std::memcpy(&word, text.data(), sizeof word);
        bits |= word;
    }
    for (const char character : text) bits |= static_cast<unsigned char>(character);
    return (bits & highBits) == 0;
}

bool isUTF8(std::string_view text) {
    return isASCII(text) || makeCFString(text);
}

std::u16string utf16Units(std::string_view text) {
    if (isASCII(text)) return {text.begin(), text.end()};
    const auto string = makeCFString(text);
    if (!string) return {};
    std::u16string units(static_cast<std::size_t>(CFStringGetLength(string.get())), u'\0');
    CFStringGetCharacters(string.get(), CFRange{0, static_cast<CFIndex>(units.size())},
                          reinterpret_cast<UniChar*>(units.data()));
    return units;
}

std::size_t unitCount(std::string_view text) {
    return isASCII(text) ? text.size() : utf16Units(text).size();
}

std::string textOfUnit(char16_t unit) {
    const auto bits = static_cast<unsigned>(unit);
    std::string text;
    if (bits < 0x80) {
        text += static_cast<char>(bits);
    } else if (bits < 0x800) {
        text += static_cast<char>(0xC0 | (bits >> 6));
        text += static_cast<char>(0x80 | (bits & 0x3F));
    } else {
        text += static_cast<char>(0xE0 | (bits >> 12));
        text += static_cast<char>(0x80 | ((bits >> 6) & 0x3F));
        text += static_cast<char>(0x80 | (bits & 0x3F));
    }
    return text;
}

std::string uppercaseText(std::string text) {
    if (!isASCII(text)) return mapCase(text, CFStringUppercase);
    return changeCase(std::move(text), 'a');
}

std::string lowercaseText(std::string text) {
    if (!isASCII(text)) return mapCase(text, CFStringLowercase);
    return changeCase(std::move(text), 'A');
}

std::string trimWhitespace(std::string text) {
    if (isASCII(text)) {
        text.erase(text.find_last_not_of(" \t") + 1);
        text.erase(0, text.find_first_not_of(" \t"));
        return text;
    }
    const auto string = makeCFString(text);
    if (!string) return text;
    const CFCharacterSetRef blanks = CFCharacterSetGetPredefined(kCFCharacterSetWhitespace);
    const auto isBlank = [&](CFIndex index) {
        return CFCharacterSetIsCharacterMember(
                   blanks, CFStringGetCharacterAtIndex(string.get(), index)) != 0;
    };
    CFIndex begin = 0;
    CFIndex end = CFStringGetLength(string.get());
    while (begin < end && isBlank(begin)) ++begin;
    while (end > begin && isBlank(end - 1)) --end;
    const CFRef<CFStringRef> trimmed(CFStringCreateWithSubstring(kCFAllocatorDefault, string.get(),
                                                                 CFRange{begin, end - begin}));
    return makeText(trimmed.get());
}

std::string replaceAll(std::string text, std::string_view what, std::string_view with) {
    auto at = text.find(what);
    if (at == std::string::npos) return text;
    std::string replaced;
    std::size_t done = 0;
    for (; at != std::string::npos; at = text.find(what, done)) {
        replaced.append(text, done, at - done).append(with);
        done = at + what.size();
    }
    return replaced.append(text, done);
}

std::string textOrNull(const std::optional<std::string>& text) {
    return text.value_or("(null)");
}

void appendHex(std::string& text, std::uint8_t byte) {
    constexpr auto digits = "0123456789ABCDEF";
    text.append({digits[byte >> 4], digits[byte & 0xF]});
}

std::string formatText(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

}  // namespace vorn
