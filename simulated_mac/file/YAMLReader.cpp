#include "simulated_mac/file/YAMLReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <locale>
#include <map>
#include <numeric>
#include <optional>
#include <sstream>
#include <system_error>
#include <utility>

#include "simulated_mac/description/ReadFile.h"
#include "simulated_mac/file/MistypedNumber.h"
#include "simulated_mac/file/NearestWord.h"

namespace simulated_mac {
namespace {

constexpr std::size_t mostFileBytes = 64U << 20;

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isBlank(char character) {
    return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}

std::optional<std::uint8_t> hexDigit(char character) {
    if (isDigit(character)) return static_cast<std::uint8_t>(character - '0');
    const char lower = static_cast<char>(character | 0x20);
    if (lower >= 'a' && lower <= 'f') return static_cast<std::uint8_t>(lower - 'a' + 10);
    return std::nullopt;
}

bool areDigits(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

std::string_view withoutSign(std::string_view text) {
    const bool isSigned = text.starts_with('-') || text.starts_with('+');
    return isSigned ? text.substr(1) : text;
}

bool isHexInteger(std::string_view text) {
    return text.size() > 2 && text.starts_with("0x") &&
           std::all_of(text.begin() + 2, text.end(),
                       [](char character) { return hexDigit(character).has_value(); });
}

/// Whether YAML 1.2's core schema takes an unquoted scalar for an integer.
bool isInteger(std::string_view text) {
    const bool isOctal = text.size() > 2 && text.starts_with("0o") && areDigits(text.substr(2));
    return areDigits(withoutSign(text)) || isHexInteger(text) || isOctal;
}

/// Whether YAML 1.2's core schema takes an unquoted scalar for a floating-point number.
bool isFloat(std::string_view text) {
    const std::string_view magnitude = withoutSign(text);
    for (const std::string_view special : {".inf", ".Inf", ".INF", ".nan", ".NaN", ".NAN"}) {
        if (magnitude == special) return true;
    }
    const std::size_t exponent = magnitude.find_first_of("eE");
    const std::string_view mantissa = magnitude.substr(0, exponent);
    const bool hasGoodExponent = exponent == std::string_view::npos ||
                                 areDigits(withoutSign(magnitude.substr(exponent + 1)));
    const auto dots = std::count(mantissa.begin(), mantissa.end(), '.');
    const auto digits = std::count_if(mantissa.begin(), mantissa.end(), isDigit);
    return hasGoodExponent && dots <= 1 && digits > 0 &&
           static_cast<std::size_t>(dots + digits) == mantissa.size();
}

bool isBoolean(std::string_view text) {
    for (const std::string_view word : {"true", "True", "TRUE", "false", "False", "FALSE"}) {
        if (text == word) return true;
    }
    return false;
}

bool isText(const YAMLNode& node) {
    return node.kind == YAMLNode::Kind::scalar &&
           (node.quoted || (!isInteger(node.text) && !isFloat(node.text) && !isBoolean(node.text)));
}

bool isPlain(const YAMLNode& node) {
    return node.kind == YAMLNode::Kind::scalar && !node.quoted;
}

std::string shortened(const std::string& number) {
    constexpr std::size_t longestNumber = 40;
    return number.size() <= longestNumber ? number : number.substr(0, longestNumber) + "...";
}

/// " (did you mean KEY: VALUE?)" for a text in which the colon or the blank behind a known key is
/// missing; empty otherwise.
std::string missingColon(const YAMLNode& node, const std::vector<std::string>& known) {
    const std::size_t end = node.text.find_first_of(": ");
    const std::size_t rest = node.text.find_first_not_of(": ", end);
    const std::string word = node.text.substr(0, end);
    if (node.kind != YAMLNode::Kind::scalar || end == std::string::npos ||
        rest == std::string::npos || std::find(known.begin(), known.end(), word) == known.end()) {
        return "";
    }
    return fmt::format(" (did you mean {}: {}?)", word, node.text.substr(rest));
}

constexpr const char* withoutQuotes = " (without quotes)";

std::string booleanSuggestion(const YAMLNode& node) {
    if (node.quoted && (node.text == "true" || node.text == "false")) return withoutQuotes;
    const auto isOneOf = [&node](std::initializer_list<std::string_view> words) {
        return std::find(words.begin(), words.end(), node.text) != words.end();
    };
    if (isOneOf({"yes", "Yes", "YES", "on", "On", "ON", "1"})) return " (did you mean true?)";
    if (isOneOf({"no", "No", "NO", "off", "Off", "OFF", "0"})) return " (did you mean false?)";
    return suggestion(node.text, {"true", "false"});
}

bool isAmong(const YAMLNode& node, const std::vector<std::string>& words) {
    return node.kind == YAMLNode::Kind::scalar &&
           std::find(words.begin(), words.end(), node.text) != words.end();
}

/// The value found, for a message.
std::string describe(const YAMLNode& node) {
    switch (node.kind) {
        case YAMLNode::Kind::null:
            return node.text.empty() ? "no value" : node.text;
        case YAMLNode::Kind::list:
            return "a list";
        case YAMLNode::Kind::mapping:
            return "a mapping";
        case YAMLNode::Kind::scalar:
            break;
    }
    if (isText(node)) return "the text " + inQuotes(node.text);
    return (isBoolean(node.text) ? "the boolean " : "the number ") + shortened(node.text);
}

/// In the usual notation of such a limit: 0xFFFF, but 255.
std::string limitText(std::uint64_t limit) {
    const bool isAllOnes = limit > 0xFF && (limit & (limit + 1)) == 0;
    return isAllOnes ? fmt::format("0x{:X}", limit) : std::to_string(limit);
}

}  // namespace

YAMLReader::YAMLReader(const YAMLDocument& document, std::filesystem::path folder)
    : document_(document), folder_(std::move(folder)), fileBytesLeft_(mostFileBytes) {}

void YAMLReader::fail(const YAMLNode& node, const std::string& message) const {
    throw YAMLMistake(node.offset, message);
}

void YAMLReader::report(const YAMLNode& node, const std::string& message) {
    keep(YAMLMistake(node.offset, message));
}

void YAMLReader::keep(const YAMLMistake& mistake) {
    if (mistakes_.size() < mostMistakes) mistakes_.push_back(mistake);
}

std::vector<YAMLMistake> YAMLReader::mistakes() const {
    return inOrder(mistakes_);
}

void YAMLReader::failFound(const YAMLNode& node, const std::string& expected,
                           const std::vector<std::string>& words) const {
    const bool isScalar = node.kind == YAMLNode::Kind::scalar;
    fail(node, fmt::format("found {}; expected {}{}", describe(node), expected,
                           isScalar ? suggestion(node.text, words) : ""));
}

void YAMLReader::failOutOfRange(const YAMLNode& node, const std::string& expected) const {
    fail(node, fmt::format("{} is out of range; expected {}", shortened(node.text), expected));
}

YAMLReader::Type YAMLReader::typeOf(const YAMLNode& node) {
    switch (node.kind) {
        case YAMLNode::Kind::null:
            return Type::null;
        case YAMLNode::Kind::list:
            return Type::list;
        case YAMLNode::Kind::mapping:
            return Type::mapping;
        case YAMLNode::Kind::scalar:
            break;
    }
    if (isText(node)) return Type::text;
    return isBoolean(node.text) ? Type::boolean : Type::number;
}

bool YAMLReader::isWord(const YAMLNode& node, std::string_view word) {
    return node.kind == YAMLNode::Kind::scalar && node.text == word;
}

std::string YAMLReader::text(const YAMLNode& node) const {
    if (isText(node)) return node.text;
    if (isPlain(node)) {
        failFound(node, fmt::format("text (quote it: {})", inQuotes(node.text)));
    }
    failFound(node, "text");
}

bool YAMLReader::boolean(const YAMLNode& node) const {
    if (isPlain(node) && (node.text == "true" || node.text == "false")) return node.text == "true";
    const bool isScalar = node.kind == YAMLNode::Kind::scalar;
    failFound(node, std::string("true or false") + (isScalar ? booleanSuggestion(node) : ""));
}

std::uint64_t YAMLReader::magnitude(const YAMLNode& node, const std::string& expected) const {
    if (!isPlain(node) || !isInteger(node.text)) {
        const bool needsNoQuotes = node.quoted && isInteger(node.text);
        failFound(node, expected + (needsNoQuotes  ? withoutQuotes
                                    : isText(node) ? numberSuggestion(node.text)
                                                   : ""));
    }
    std::string_view digits = withoutSign(node.text);
    const bool isHex = isHexInteger(digits);
    if (node.text.starts_with('+') || (!isHex && digits.size() > 1 && digits.front() == '0')) {
        failFound(
            node,
            expected + ", in decimal without leading zeros or in hexadecimal with a leading 0x");
    }
    if (isHex) digits.remove_prefix(2);
    std::uint64_t value = 0;
    const auto parsed =
        std::from_chars(digits.data(), digits.data() + digits.size(), value, isHex ? 16 : 10);
    if (parsed.ec != std::errc()) failOutOfRange(node, expected);
    return value;
}

std::uint64_t YAMLReader::number(const YAMLNode& node, std::uint64_t min, std::uint64_t max) const {
    const std::string expected = fmt::format("a whole number from {} to {}", min, limitText(max));
    const std::uint64_t value = magnitude(node, expected);
    const bool isNegative = node.text.starts_with('-') && value != 0;
    if (isNegative || value < min || value > max) failOutOfRange(node, expected);
    return value;
}

std::int64_t YAMLReader::signedNumber(const YAMLNode& node) const {
    using Limits = std::numeric_limits<std::int64_t>;
    const std::string expected =
        fmt::format("a whole number from {} to {}", Limits::min(), Limits::max());
    const bool isNegative = node.text.starts_with('-');
    const std::uint64_t value = magnitude(node, expected);
    if (value > static_cast<std::uint64_t>(Limits::max()) + (isNegative ? 1 : 0)) {
        failOutOfRange(node, expected);
    }
    return static_cast<std::int64_t>(isNegative ? 0 - value : value);
}

double YAMLReader::decimal(const YAMLNode& node, const std::string& expected) const {
    const std::string_view text = withoutSign(node.text);
    const std::size_t dot = text.find('.');
    const std::string_view whole = text.substr(0, dot);
    const bool hasGoodFraction = dot == std::string_view::npos || areDigits(text.substr(dot + 1));
    const bool hasLeadingZero = whole.size() > 1 && whole.starts_with('0');
    if (!isPlain(node) || node.text.starts_with('+') || !areDigits(whole) || hasLeadingZero ||
        !hasGoodFraction) {
        failFound(node, expected);
    }
    double value = 0;
    // Not every standard library has std::from_chars for it.
    std::istringstream stream{std::string(text)};
    stream.imbue(std::locale::classic());
    stream >> value;
    if (stream.fail()) failOutOfRange(node, expected);
    return node.text.starts_with('-') ? -value : value;
}

double YAMLReader::seconds(const YAMLNode& node, double max) const {
    const std::string expected = fmt::format("seconds as a decimal number from 0 to {:.0f}", max);
    const double value = decimal(node, expected);
    if (value < 0 || value > max) failOutOfRange(node, expected);
    return value;
}

double YAMLReader::realNumber(const YAMLNode& node) const {
    return decimal(node, "a decimal number");
}

/// Position in the document of the scalar's `index`-th byte. A scalar over several lines has lost
/// its line breaks, so both texts are compared character by character, ignoring blanks.
std::size_t YAMLReader::offsetInScalar(const YAMLNode& node, std::size_t index) const {
    const std::string_view source = document_.text();
    const auto skipBlanks = [source](std::size_t& at) {
        while (at < source.size() && isBlank(source[at])) ++at;
    };
    std::size_t at = node.offset;
    const char opening = node.quoted && at < source.size() ? source[at] : ' ';
    if (opening == '|' || opening == '>') {
        at = source.find('\n', at);
    } else if (opening == '"' || opening == '\'') {
        ++at;
    }
    for (std::size_t i = 0; i <= index; ++i) {
        if (isBlank(node.text[i])) continue;
        skipBlanks(at);
        if (at >= source.size() || source[at] != node.text[i]) {
            return node.offset;  // an escape sequence stands there
        }
        if (i < index) ++at;
    }
    return at;
}

Bytes YAMLReader::hexBytes(const YAMLNode& node) const {
    if (node.kind != YAMLNode::Kind::scalar) failFound(node, "bytes as hex digits");
    const std::string& text = node.text;
    const auto digitAt = [&](std::size_t index) {
        const std::optional<std::uint8_t> digit = hexDigit(text[index]);
        if (!digit) {
            std::size_t end = index + 1;
            while (end < text.size() && (text[end] & 0xC0) == 0x80) ++end;
            throw YAMLMistake(offsetInScalar(node, index),
                              fmt::format("{} is not a hex digit; expected 0 to 9 or A to F",
                                          inQuotes(text.substr(index, end - index))));
        }
        return *digit;
    };
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isBlank(text[i])) continue;
        const unsigned high = digitAt(i);
        if (i + 1 == text.size() || isBlank(text[i + 1])) {
            throw YAMLMistake(offsetInScalar(node, i),
                              fmt::format("unpaired hex digit {}; expected two digits per byte",
                                          inQuotes(text.substr(i, 1))));
        }
        ++i;
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | digitAt(i)));
    }
    return bytes;
}

std::size_t YAMLReader::word(const YAMLNode& node, const std::vector<std::string>& words,
                             const std::string& expected) const {
    const auto found = std::find(words.begin(), words.end(), node.text);
    if (node.kind == YAMLNode::Kind::scalar && found != words.end()) {
        return static_cast<std::size_t>(found - words.begin());
    }
    failFound(node, expected, words);
}

std::string YAMLReader::fileContents(const YAMLNode& node) {
    const std::string name = text(node);
    const std::filesystem::path path = folder_ / name;
    std::error_code ignored;
    try {
        // Opening a pipe would block until a process writes to it.
        if (std::filesystem::is_fifo(path, ignored)) throw UnreadableFile("is a pipe");
        std::string contents = readFile(path, fileBytesLeft_);
        fileBytesLeft_ -= contents.size();
        return contents;
    } catch (const UnreadableFile& error) {
        fail(node, fmt::format(
                       "file {} {}; expected a readable file, named relative to this file's folder",
                       inQuotes(name), error.what()));
    }
}

const std::vector<YAMLNode>& YAMLReader::list(const YAMLNode& node) const {
    if (node.kind != YAMLNode::Kind::list) failFound(node, "a list");
    return node.items;
}

const std::vector<YAMLEntry>& YAMLReader::mapping(const YAMLNode& node) const {
    if (node.kind != YAMLNode::Kind::mapping) failFound(node, "a mapping");
    return node.entries;
}

std::vector<NamedEntry> YAMLReader::mapping(const YAMLNode& node,
                                            const std::vector<std::string>& known) {
    if (node.kind != YAMLNode::Kind::mapping) {
        failFound(node, "a mapping with any of the keys " + alternatives(known) +
                            missingColon(node, known));
    }
    std::map<std::string, const YAMLNode*> seen;
    std::vector<NamedEntry> named;
    for (const YAMLEntry& entry : node.entries) {
        if (!isAmong(entry.key, known)) continue;
        const auto [earlier, isNew] = seen.emplace(entry.key.text, &entry.key);
        if (isNew) {
            named.push_back({entry.key.text, &entry});
        } else {
            attempt([&, &first = *earlier->second] { failDuplicate(entry.key, first); });
        }
    }
    for (const YAMLEntry& entry : node.entries) {
        const YAMLNode& key = entry.key;
        if (isAmong(key, known)) continue;
        attempt([&] {
            if (key.kind != YAMLNode::Kind::scalar) {
                failFound(key, "the key " + alternatives(known));
            }
            const auto meant = nearestWord(key.text, known);
            if (meant && seen.emplace(*meant, &key).second) named.push_back({*meant, &entry});
            const std::string likely = missingColon(key, known);
            fail(key, fmt::format("unknown key {}; expected {}{}", inQuotes(key.text),
                                  alternatives(known),
                                  likely.empty() ? suggestion(key.text, known) : likely));
        });
    }
    return named;
}

void YAMLReader::failDuplicate(const YAMLNode& key, const YAMLNode& earlier) const {
    const std::size_t line = positionIn(document_.text(), earlier.offset).line;
    fail(key, fmt::format("duplicate key {}; expected it only once (first on line {})",
                          inQuotes(key.text), line));
}

}  // namespace simulated_mac
