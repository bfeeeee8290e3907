#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Hex digits in a line of a text.
namespace displaycheck {

/// Whether a character is a hex digit of either case.
bool isHexDigit(char character);

/// Hex digits with nothing but punctuation between them.
struct HexPiece {
    std::string digits;        ///< lower case
    bool hasPrefixes = false;  ///< "0x00" or "\x00"
    std::size_t begin = 0;     ///< its characters in the line
    std::size_t end = 0;
};

struct HexLine {
    std::vector<HexPiece> pieces;
    bool hasWords = false;  ///< anything but hex digits and punctuation
    bool closes = false;    ///< ends with a closing brace or angle bracket
};

/// Splits a line of hex as programmers and tools write it; C comments don't count. Digits that
/// don't make whole bytes are a word, unless the line has nothing else.
HexLine hexLineOf(std::string_view line);

/// A line of a hex dump: an address, bytes, and perhaps the same bytes as characters.
struct DumpLine {
    std::uint64_t address = 0;
    std::string_view writtenAddress;
    std::string digits;     ///< lower case, two a byte
    bool hasColon = false;  ///< behind the address
};

/// Reads a line as `xxd` prints it ("00000010: 00ff ..  ."), or `hexdump -C` and `od -t x1`
/// ("00000010  00 ff .. |.|"). Nothing if it is none.
std::optional<DumpLine> dumpLineOf(std::string_view line);

/// The value of a dump's address: od's seven digits are octal, all others hex. Nothing if it is
/// none.
std::optional<std::uint64_t> addressOf(std::string_view digits);

}  // namespace displaycheck
