#include "plugin/Utilities/EDIDUtils.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/Platform/Text.h"
#include "plugin/Utilities/CustomMemcpy.h"
#include "plugin/Utilities/StringUtil.h"

using namespace vorn;

EDIDUtils* edidUtils = nullptr;

namespace {

// Base block (VESA E-EDID 1.4, sections 3.4 and 3.10).
constexpr std::size_t blockSize = 128;
constexpr std::size_t identityOffset = 8;
constexpr std::size_t identitySize = 8;
constexpr std::size_t firstDescriptor = 54;
constexpr std::size_t endOfDescriptors = 126;
constexpr std::size_t descriptorSize = 18;
constexpr std::size_t tagOffset = 3;
constexpr std::size_t textOffset = 5;
constexpr std::uint8_t monitorNameTag = 0xFC;
constexpr std::uint8_t serialNumberTag = 0xFF;

using Block = std::array<std::uint8_t, blockSize>;

/// EDID bytes 15 down to 12, read from the hex text itself.
template <class Units>
std::uint32_t serialNumberIn(const Units& units) {
    if (units.size() < 32) {
        throw std::out_of_range(
            formatText("an EDID text of %zu characters is too short to hold a serial number "
                       "(at least 32 are needed)",
                       units.size()));
    }
    std::array<char, 9> digits{};
    std::size_t count = 0;
    for (const std::size_t position : {30u, 31u, 28u, 29u, 26u, 27u, 24u, 25u}) {
        // The number ends at anything but a digit.
        digits[count++] = units[position] < 0x80 ? static_cast<char>(units[position]) : '?';
    }
    return static_cast<std::uint32_t>(std::strtoull(digits.data(), nullptr, 16));
}

/// The name comes from the first name descriptor, the service tag from a serial-number descriptor
/// before it: one after the name ends the scan unread.
void readDescriptors(const Block& edid, EDIDInfo& info) {
    for (std::size_t slot = firstDescriptor; slot < endOfDescriptors; slot += descriptorSize) {
        const std::uint8_t tag = edid[slot + tagOffset];
        if (tag != monitorNameTag && tag != serialNumberTag) continue;
        if (info.modelName) return;
        std::string text = DDC->EDIDString(&edid[slot + textOffset]);
        if (tag == monitorNameTag) {
            info.modelName = replaceAll(uppercaseText(std::move(text)), "VORN ", "Vorn ");
        } else {
            info.serviceTag = std::move(text);
        }
    }
}

}  // namespace

EDIDInfo EDIDUtils::generateEDIDInfo(const std::string& hexText) const {
    EDIDInfo info;
    info.serialNumber =
        isASCII(hexText) ? serialNumberIn(hexText) : serialNumberIn(utf16Units(hexText));

    Block data{};
    strUtil->readHexString(hexText, data);
    Block edid{};
    customMemcpy(edid.data(), data.data(), edid.size());
    readDescriptors(edid, info);

    std::array<std::uint8_t, identitySize> identity{};
    customMemcpy(identity.data(), &data[identityOffset], identity.size());
    std::optional<std::string> bareName;
    if (info.modelName) bareName = replaceAll(*info.modelName, "Vorn ", "");
    info.modelInfo = strUtil->ParseModelInfo(identity.data());
    info.modelInfo->append(".").append(textOrNull(bareName));
    info.modelInfo->append(".").append(textOrNull(info.serviceTag));
    info.plugNplayID = strUtil->ParseManufacturer(identity.data());
    return info;
}
