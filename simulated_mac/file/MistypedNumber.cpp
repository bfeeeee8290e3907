#include "simulated_mac/file/MistypedNumber.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "simulated_mac/file/MessageText.h"

namespace simulated_mac {
namespace {

bool isDecimalDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isHexDigit(char character) {
    const char lower = static_cast<char>(character | 0x20);
    return isDecimalDigit(character) || (lower >= 'a' && lower <= 'f');
}

/// Without what people put between digits.
std::string joined(std::string_view text) {
    std::string digits;
    for (const char character : text) {
        if (character != '_' && character != '\'' && character != ' ' && character != ',') {
            digits += character;
        }
    }
    return digits;
}

/// The digits behind one of the signs for hexadecimal, or before one; otherwise all.
std::string_view withoutSigns(std::string_view text) {
    constexpr auto signs =
        std::to_array<std::string_view>({"0x", "0X", "Ox", "OX", "ox", "x", "X", "\\x", "$"});
    for (const std::string_view sign : signs) {
        if (!text.starts_with(sign)) continue;
        text.remove_prefix(sign.size());
        break;
    }
    if (text.ends_with('h') || text.ends_with('H')) text.remove_suffix(1);
    return text;
}

}  // namespace

std::string numberSuggestion(std::string_view text) {
    constexpr std::size_t longest = 24;
    const std::string whole = joined(text);
    if (whole.empty() || whole.size() > longest) return "";
    if (std::all_of(whole.begin(), whole.end(), isDecimalDigit)) {
        return fmt::format(" (did you mean {}?)", whole);
    }
    std::string digits(withoutSigns(whole));
    if (digits.empty()) return "";
    const bool isMarked = digits.size() != whole.size();
    if (isMarked || isDecimalDigit(digits.front()))
        std::replace(digits.begin(), digits.end(), 'O', '0');
    const auto stranger = std::find_if_not(digits.begin(), digits.end(), isHexDigit);
    if (stranger == digits.end()) {
        return fmt::format(" (did you mean 0x{}?)", digits);
    }
    if (whole.starts_with("0x") || whole.starts_with("0X")) {
        const auto at = static_cast<std::size_t>(stranger - digits.begin());
        const std::string_view character =
            std::string_view(digits).substr(at, characterAt(digits, at).bytes);
        return fmt::format(" ({} is not a hex digit)", inQuotes(character));
    }
    return "";
}

}  // namespace simulated_mac
