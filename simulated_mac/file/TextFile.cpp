#include "simulated_mac/file/TextFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

#include "simulated_mac/file/YAMLMistake.h"

namespace simulated_mac {
namespace {

using namespace std::string_view_literals;

/// What files begin with that people have beside Mac files, and what to do with them.
struct Kind {
    std::string_view beginning;
    const char* message;
};

constexpr auto importReadsIt = "displaycheck import reads it";

constexpr auto binaryKinds = std::to_array<Kind>({
    {"\xFF\xFE"sv, "the text is UTF-16; expected UTF-8"},
    {"\xFE\xFF"sv, "the text is UTF-16; expected UTF-8"},
    {"\x89PNG\r\n"sv, "this is a PNG picture; expected YAML text"},
    {"\xFF\xD8\xFF"sv, "this is a JPEG picture; expected YAML text"},
    {"%PDF-"sv, "this is a PDF document; expected YAML text"},
    {"PK\x03\x04"sv, "this is a zip archive; expected YAML text"},
    {"\x1F\x8B"sv, "this is compressed with gzip; expected YAML text"},
    {"bplist00"sv, "this is a binary property list; expected YAML text"},
    {"\x00\xFF\xFF\xFF\xFF\xFF\xFF\x00"sv,
     "this is an EDID; expected YAML text, in which \"edid: {file: ...}\" names it"},
});

/// By the first line that is not empty.
constexpr auto textKinds = std::to_array<Kind>({
    {"+-o ", "this looks like ioreg's output"},
    {"<?xml", "this looks like a property list"},
    {"<!DOCTYPE plist", "this looks like a property list"},
    {"<plist", "this looks like a property list"},
    {"Graphics/Displays:", "this looks like system_profiler's output"},
});

/// Length of the UTF-8 sequence at the start of `text`; 0 when there is no valid one
/// (Unicode 15, table 3-7: no overlong forms, no surrogates, nothing above U+10FFFF).
std::size_t characterLength(std::string_view text) {
    const auto byte = [text](std::size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0U;
    };
    const auto continues = [&byte](std::size_t index, unsigned low = 0x80, unsigned high = 0xBF) {
        return byte(index) >= low && byte(index) <= high;
    };
    const unsigned first = byte(0);
    if (first < 0x80) return 1;
    if (first >= 0xC2 && first <= 0xDF) return continues(1) ? 2 : 0;
    if (first >= 0xE0 && first <= 0xEF) {
        const unsigned low = first == 0xE0 ? 0xA0 : 0x80;
        const unsigned high = first == 0xED ? 0x9F : 0xBF;
        return continues(1, low, high) && continues(2) ? 3 : 0;
    }
    if (first >= 0xF0 && first <= 0xF4) {
        const unsigned low = first == 0xF0 ? 0x90 : 0x80;
        const unsigned high = first == 0xF4 ? 0x8F : 0xBF;
        return continues(1, low, high) && continues(2) && continues(3) ? 4 : 0;
    }
    return 0;
}

/// In UTF-16, one byte of two is zero in all that a YAML text can begin with.
bool looksLikeUTF16(std::string_view text) {
    if (text.size() < 4) return false;
    const auto isZero = [text](std::size_t index) { return text[index] == 0; };
    return isZero(0) != isZero(1) && isZero(0) == isZero(2) && isZero(1) == isZero(3);
}

void requirePrintableText(std::string_view text) {
    for (std::size_t offset = 0; offset < text.size();) {
        const std::size_t length = characterLength(text.substr(offset));
        const auto byte = static_cast<unsigned char>(text[offset]);
        if (length == 0) {
            throw YAMLMistake(
                offset, fmt::format("byte 0x{:02X} is not valid UTF-8; expected UTF-8 text", byte));
        }
        const bool isControl = byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
        if (isControl || byte == 0x7F) {
            throw YAMLMistake(
                offset,
                fmt::format("found control character 0x{:02X}; expected printable text", byte));
        }
        offset += length;
    }
}

}  // namespace

void requireYAMLText(std::string_view contents) {
    for (const Kind& kind : binaryKinds) {
        if (contents.starts_with(kind.beginning)) throw YAMLMistake(0, kind.message);
    }
    if (looksLikeUTF16(contents)) throw YAMLMistake(0, "the text is UTF-16; expected UTF-8");
    const std::size_t start = std::min(contents.find_first_not_of(" \t\r\n"), contents.size());
    for (const Kind& kind : textKinds) {
        if (!contents.substr(start).starts_with(kind.beginning)) continue;
        throw YAMLMistake(start,
                          fmt::format("{}; expected a Mac file ({})", kind.message, importReadsIt));
    }
    requirePrintableText(contents);
}

}  // namespace simulated_mac
