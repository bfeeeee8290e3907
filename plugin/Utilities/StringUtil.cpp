#include "plugin/Utilities/StringUtil.h"

#include <cstdlib>

#include "plugin/Platform/Text.h"

using namespace vorn;

StringUtil* strUtil = nullptr;

namespace {

constexpr auto intelEDIDs = "ioreg -l | grep IODisplayEDID";
constexpr auto appleSiliconEDIDs =
    "afktool -r all registry | grep -E '\"RegisterSetName\"=\"EDID Block 0\"' | "
    "awk 'BEGIN{RS=\"|\"};{print $3}'";

}  // namespace

std::vector<std::string> StringUtil::getEDIDString(bool appleSilicon) const {
    const auto output = runCmd.runCommand(appleSilicon ? appleSiliconEDIDs : intelEDIDs);
    return EDIDTextsIn(output.value_or(""));
}

std::vector<std::string> StringUtil::EDIDTextsIn(const std::string& output) const {
    std::vector<std::string> texts;
    std::string current;
    bool inside = false;
    for (const char16_t unit : utf16Units(output)) {
        if (unit == u'<') {
            inside = true;
        } else if (unit == u'>') {
            texts.push_back(std::move(current));
            current.clear();
            inside = false;
        } else if (inside) {
            current += textOfUnit(unit & 0xFF);
        }
    }
    return texts;
}

std::vector<std::uint8_t> StringUtil::dataFromHexString(const std::string& text) const {
    const std::size_t characters = utf16Units(text).size();
    std::vector<std::uint8_t> data;
    data.reserve(characters / 2 + 1);
    for (std::size_t at = 0; at < characters; at += 2) {
        data.push_back(
            static_cast<std::uint8_t>(std::strtoul(text.substr(at, 2).c_str(), nullptr, 16)));
    }
    return data;
}

std::string StringUtil::parseManufacturerID(const std::uint8_t* bytes) const {
    const unsigned word = bytes[0] * 256u + bytes[1];
    const auto letter = [word](unsigned shift) {
        return static_cast<char>(0x40 + ((word >> shift) & 0x1F));
    };
    return {letter(10), letter(5), letter(0)};
}

std::string StringUtil::ParseManufacturer(const std::uint8_t* block) const {
    return parseManufacturerID(block) + formatText("%02X%02X", block[3], block[2]);
}

std::string StringUtil::ParseModelInfo(const std::uint8_t* block) const {
    return parseManufacturerID(block) +
           formatText("%02X.%02X%02X%02X%02X", block[3], block[7], block[6], block[5], block[4]);
}
