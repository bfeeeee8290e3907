#include "displaycheck/dumps/HexLine.h"

#include <algorithm>
#include <charconv>

namespace displaycheck {
namespace {

constexpr auto nowhere = std::string_view::npos;
constexpr std::string_view hexBlanks = " \t\r";
constexpr std::string_view punctuation = " \t\r,;\"'{}()<>\\";

bool isOneOf(std::string_view characters, char character) {
    return characters.find(character) != nowhere;
}

char lowerCase(char digit) {
    return digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
}

void appendLower(std::string& digits, std::string_view text) {
    for (const char digit : text) digits += lowerCase(digit);
}

bool areHexDigits(std::string_view text) {
    return std::all_of(text.begin(), text.end(), isHexDigit);
}

bool isWordCharacter(char character) {
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') || character == '_' ||
           static_cast<unsigned char>(character) >= 0x80;
}

std::string_view withoutEdges(std::string_view text, std::string_view edges) {
    const std::size_t begin = text.find_first_not_of(edges);
    if (begin == nowhere) return {};
    return text.substr(begin, text.find_last_not_of(edges) - begin + 1);
}

/// Reads a line from left to right.
class LineReader {
  public:
    explicit LineReader(std::string_view line) : line_(line) {}

    HexLine read() {
        while (at_ < line_.size()) {
            const char character = line_[at_];
            if (isWordCharacter(character)) {
                readWord();
            } else if (isOneOf(punctuation, character)) {
                if (character == '}' || character == '>') result_.closes = true;
                ++at_;
            } else if (startsHere("//")) {
                break;
            } else if (startsHere("/*")) {
                const std::size_t end = line_.find("*/", at_ + 2);
                at_ = end == nowhere ? line_.size() : end + 2;
            } else {
                if (!isColonBetweenBytes()) breakOff();
                ++at_;
            }
        }
        return std::move(result_);
    }

  private:
    bool startsHere(std::string_view text) const { return line_.substr(at_).starts_with(text); }

    bool isColonBetweenBytes() const {
        return line_[at_] == ':' && inPiece_ && at_ + 1 < line_.size() &&
               result_.pieces.back().end == at_ && isHexDigit(line_[at_ + 1]);
    }

    void breakOff() {
        result_.hasWords = true;
        result_.closes = false;
        inPiece_ = false;
    }

    void readWord() {
        const std::size_t begin = at_;
        while (at_ < line_.size() && isWordCharacter(line_[at_])) ++at_;
        std::string_view digits = line_.substr(begin, at_ - begin);
        std::size_t prefix = 0;
        if (digits.starts_with("0x") || digits.starts_with("0X")) prefix = 2;
        if (digits.starts_with('x') && begin > 0 && line_[begin - 1] == '\\') prefix = 1;
        digits.remove_prefix(prefix);
        const bool isDigit = prefix != 0 && digits.size() == 1;
        if (digits.empty() || !areHexDigits(digits) || (digits.size() % 2 != 0 && !isDigit)) {
            breakOff();
            return;
        }
        if (!inPiece_) {
            HexPiece piece;
            piece.begin = begin;
            result_.pieces.push_back(piece);
        }
        HexPiece& piece = result_.pieces.back();
        if (isDigit) piece.digits += '0';
        appendLower(piece.digits, digits);
        piece.hasPrefixes = piece.hasPrefixes || prefix != 0;
        piece.end = at_;
        inPiece_ = true;
        result_.closes = false;
    }

    std::string_view line_;
    std::size_t at_ = 0;
    bool inPiece_ = false;
    HexLine result_;
};

/// The bytes behind an address and a colon: groups of whole bytes with single hexBlanks between
/// them. Two hexBlanks come before the characters.
std::string groupsOf(std::string_view rest) {
    rest = rest.substr(0, rest.find("  "));
    std::string digits;
    while (!rest.empty()) {
        const std::string_view group = rest.substr(0, rest.find_first_of(hexBlanks));
        if (group.size() % 2 != 0 || !areHexDigits(group)) return {};
        appendLower(digits, group);
        rest.remove_prefix(std::min(group.size() + 1, rest.size()));
    }
    return digits;
}

/// Single bytes, up to characters between bars or angle brackets.
std::string bytesOf(std::string_view rest) {
    std::string digits;
    while (!rest.empty() && rest[0] != '|' && rest[0] != '>') {
        const std::string_view byte = rest.substr(0, rest.find_first_of(hexBlanks));
        if (byte.size() != 2 || !areHexDigits(byte)) return {};
        appendLower(digits, byte);
        rest.remove_prefix(2);
        rest.remove_prefix(std::min(rest.find_first_not_of(hexBlanks), rest.size()));
    }
    return digits;
}

}  // namespace

bool isHexDigit(char character) {
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'F') ||
           (character >= 'a' && character <= 'f');
}

HexLine hexLineOf(std::string_view line) {
    const std::string_view inside = withoutEdges(line, punctuation);
    if (inside.empty() || !areHexDigits(inside)) return LineReader(line).read();
    HexLine whole;
    HexPiece piece;
    appendLower(piece.digits, inside);
    piece.begin = static_cast<std::size_t>(inside.data() - line.data());
    piece.end = piece.begin + inside.size();
    whole.closes = line.find_first_of("}>", piece.end) != nowhere;
    whole.pieces.push_back(std::move(piece));
    return whole;
}

std::optional<std::uint64_t> addressOf(std::string_view digits) {
    constexpr std::size_t octalDigits = 7;
    std::uint64_t address = 0;
    const auto* const end = digits.data() + digits.size();
    const int base = digits.size() == octalDigits ? 8 : 16;
    const auto parsed = std::from_chars(digits.data(), end, address, base);
    if (parsed.ec != std::errc() || parsed.ptr != end) return std::nullopt;
    return address;
}

std::optional<DumpLine> dumpLineOf(std::string_view line) {
    constexpr std::size_t fewestDigits = 6;
    constexpr std::size_t mostDigits = 12;  // an EDID's header has 16
    line = withoutEdges(line, hexBlanks);
    if (line.starts_with("0x")) line.remove_prefix(2);
    const auto notDigit = std::find_if_not(line.begin(), line.end(), isHexDigit);
    DumpLine dump;
    dump.writtenAddress = line.substr(0, static_cast<std::size_t>(notDigit - line.begin()));
    std::string_view rest = line.substr(dump.writtenAddress.size());
    dump.hasColon = rest.starts_with(": ");
    if (dump.hasColon) rest.remove_prefix(1);
    const std::size_t digits = dump.writtenAddress.size();
    if (digits > mostDigits || digits < (dump.hasColon ? 2 : fewestDigits)) return std::nullopt;
    if (rest.empty() || !isOneOf(hexBlanks, rest[0])) return std::nullopt;
    rest.remove_prefix(std::min(rest.find_first_not_of(hexBlanks), rest.size()));
    const auto address = addressOf(dump.writtenAddress);
    dump.digits = dump.hasColon ? groupsOf(rest) : bytesOf(rest);
    if (!address || dump.digits.empty()) return std::nullopt;
    dump.address = *address;
    return dump;
}

}  // namespace displaycheck
