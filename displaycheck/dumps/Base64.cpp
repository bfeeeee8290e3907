#include "displaycheck/dumps/Base64.h"

#include <cstdint>

namespace displaycheck {
namespace {

/// -1 for a character that is none of the 64.
int sextetOf(char character) {
    if (character >= 'A' && character <= 'Z') return character - 'A';
    if (character >= 'a' && character <= 'z') return character - 'a' + 26;
    if (character >= '0' && character <= '9') return character - '0' + 52;
    if (character == '+') return 62;
    return character == '/' ? 63 : -1;
}

}  // namespace

bool isBase64(char character) {
    return sextetOf(character) != -1;
}

std::optional<simulated_mac::Bytes> bytesOfBase64(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    simulated_mac::Bytes bytes;
    bytes.reserve(text.size() / 4 * 3);
    unsigned bits = 0;
    int bitCount = 0;
    for (const char character : text) {
        if (blanks.find(character) != std::string_view::npos) continue;
        if (character == '=') break;
        const int value = sextetOf(character);
        if (value == -1) return std::nullopt;
        bits = (bits << 6 | static_cast<unsigned>(value)) & 0xFFFF;
        bitCount += 6;
        if (bitCount < 8) continue;
        bitCount -= 8;
        bytes.push_back(static_cast<std::uint8_t>(bits >> bitCount & 0xFF));
    }
    return bytes;
}

}  // namespace displaycheck
