#include "plugin/Utilities/StringUtil.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

#include "plugin/Platform/Text.h"

using namespace vorn;

StringUtil* strUtil = nullptr;

namespace {

constexpr auto intelEDIDs = "ioreg -l | grep IODisplayEDID";
constexpr auto appleSiliconEDIDs =
    "afktool -r all registry | grep -E '\"RegisterSetName\"=\"EDID Block 0\"' | "
    "awk 'BEGIN{RS=\"|\"};{print $3}'";

/// A text between brackets, without further opening ones; of each character the low 8 bits.
std::string textOf(std::string_view ASCII) {
    std::string text(ASCII);
    std::erase(text, '<');
    return text;
}
std::string textOf(std::u16string_view units) {
    std::string text;
    for (const char16_t unit : units) {
        if (unit != u'<') text += textOfUnit(unit & 0xFF);
    }
    return text;
}

template <class Unit>
std::vector<std::string> textsBetweenBrackets(std::basic_string_view<Unit> output) {
    std::vector<std::string> texts;
    for (auto end = output.find(Unit('>')); end != output.npos; end = output.find(Unit('>'))) {
        const auto piece = output.substr(0, end);
        texts.push_back(textOf(piece.substr(std::min(piece.find(Unit('<')), piece.size()))));
        output.remove_prefix(end + 1);
    }
    return texts;
}

constexpr std::uint16_t noDigit = 0x1000;

/// The values of the characters that are hex digits, noDigit for all others.
constexpr auto digitValues = [] {
    std::array<std::uint16_t, 256> values{};
    values.fill(noDigit);
    for (std::uint16_t value = 0; value < 16; ++value) {
        values[static_cast<unsigned char>("0123456789ABCDEF"[value])] = value;
        values[static_cast<unsigned char>("0123456789abcdef"[value])] = value;
    }
    return values;
}();

std::uint8_t byteOf(char first, char second) {
    const unsigned value = digitValues[static_cast<unsigned char>(first)] * 16u +
                           digitValues[static_cast<unsigned char>(second)];
    if (value < noDigit) [[likely]]
        return static_cast<std::uint8_t>(value);
    const std::array<char, 3> pair = {first, second, '\0'};
    return static_cast<std::uint8_t>(std::strtoul(pair.data(), nullptr, 16));
}

}  // namespace

std::vector<std::string> StringUtil::getEDIDString(bool appleSilicon) const {
    const auto output = runCmd.runCommand(appleSilicon ? appleSiliconEDIDs : intelEDIDs);
    return EDIDTextsIn(output.value_or(""));
}

std::vector<std::string> StringUtil::EDIDTextsIn(const std::string& output) const {
    if (isASCII(output)) return textsBetweenBrackets(std::string_view(output));
    const std::u16string units = utf16Units(output);
    return textsBetweenBrackets(std::u16string_view(units));
}

std::vector<std::uint8_t> StringUtil::dataFromHexString(const std::string& text) const {
    std::vector<std::uint8_t> data((unitCount(text) + 1) / 2);
    readHexString(text, data);
    return data;
}

void StringUtil::readHexString(const std::string& text, std::span<std::uint8_t> data) const {
    const std::size_t count = std::min((unitCount(text) + 1) / 2, data.size());
    // The text has a byte for each character at least, and a zero behind the last.
    const char* pair = text.c_str();
    for (std::uint8_t& byte : data.first(count)) {
        byte = byteOf(pair[0], pair[1]);
        pair += 2;
    }
}

std::string StringUtil::parseManufacturerID(const std::uint8_t* bytes) const {
    const unsigned word = bytes[0] * 256u + bytes[1];
    const auto letter = [word](unsigned shift) {
        return static_cast<char>(0x40 + ((word >> shift) & 0x1F));
    };
    return {letter(10), letter(5), letter(0)};
}

std::string StringUtil::ParseManufacturer(const std::uint8_t* block) const {
    std::string text = parseManufacturerID(block);
    for (const std::size_t at : {3u, 2u}) appendHex(text, block[at]);
    return text;
}

std::string StringUtil::ParseModelInfo(const std::uint8_t* block) const {
    std::string text = parseManufacturerID(block);
    appendHex(text, block[3]);
    text += '.';
    for (const std::size_t at : {7u, 6u, 5u, 4u}) appendHex(text, block[at]);
    return text;
}
