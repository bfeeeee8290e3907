#include "displaycheck/dumps/PlainText.h"

#include <unicode/unistr.h>

#include <cstdint>

namespace displaycheck {
namespace {

constexpr std::string_view markOfUTF8 = "\xEF\xBB\xBF";
constexpr std::string_view bigEndianMark = "\xFE\xFF";
constexpr std::string_view littleEndianMark = "\xFF\xFE";

std::string fromUTF16(std::string_view bytes, bool bigEndian) {
    const auto unitAt = [&](std::size_t at) {
        const auto first = static_cast<std::uint8_t>(bytes[at]);
        const auto second = static_cast<std::uint8_t>(bytes[at + 1]);
        return static_cast<char16_t>(bigEndian ? first << 8 | second : second << 8 | first);
    };
    std::u16string units;
    units.reserve(bytes.size() / 2);
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) units += unitAt(at);
    std::string text;
    // An alias of the units, not a copy.
    icu::UnicodeString(false, units.data(), static_cast<int32_t>(units.size())).toUTF8String(text);
    return text;
}

}  // namespace

std::string plainText(std::string_view contents) {
    if (contents.starts_with(bigEndianMark)) return fromUTF16(contents.substr(2), true);
    if (contents.starts_with(littleEndianMark)) return fromUTF16(contents.substr(2), false);
    if (contents.starts_with(markOfUTF8)) contents.remove_prefix(markOfUTF8.size());
    return std::string(contents);
}

}  // namespace displaycheck
