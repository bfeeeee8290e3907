#include "simulated_mac/file/MessageText.h"

#include <fmt/format.h>
#include <unicode/uchar.h>

namespace simulated_mac {

bool Character::isInvisible() const {
    const auto point = static_cast<UChar32>(value);
    return value > 0x7F && (u_isUWhiteSpace(point) || u_charType(point) == U_FORMAT_CHAR);
}

Character characterAt(std::string_view text, std::size_t offset) {
    if (offset >= text.size()) return {};
    const auto byteAt = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned first = byteAt(offset);
    const unsigned mask = first < 0x80 ? 0x7F : first < 0xE0 ? 0x1F : first < 0xF0 ? 0x0F : 0x07;
    Character character = {first & mask, 1};
    for (std::size_t at = offset + 1; at < text.size() && (byteAt(at) & 0xC0) == 0x80; ++at) {
        character = {character.value << 6 | (byteAt(at) & 0x3F), character.bytes + 1};
    }
    return character;
}

std::string inQuotes(std::string_view text) {
    constexpr std::size_t longestText = 60;
    std::string result = "\"";
    std::size_t at = 0;
    while (at < text.size() && at < longestText) {
        const Character character = characterAt(text, at);
        const char32_t value = character.value;
        if (value == '\n') {
            result += "\\n";
        } else if (value < 0x20 || value == 0x7F) {
            result += fmt::format("\\x{:02X}", static_cast<unsigned>(value));
        } else if (character.isInvisible()) {
            result += fmt::format("\\u{:04X}", static_cast<unsigned>(value));
        } else {
            if (value == '"' || value == '\\') result += '\\';
            result += text.substr(at, character.bytes);
        }
        at += character.bytes;
    }
    return result + (at < text.size() ? "...\"" : "\"");
}

std::string alternatives(const std::vector<std::string>& words) {
    std::string result;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (i > 0) result += i + 1 == words.size() ? " or " : ", ";
        result += words[i];
    }
    return result;
}

}  // namespace simulated_mac
