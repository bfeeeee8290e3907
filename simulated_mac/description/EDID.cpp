#include "simulated_mac/description/EDID.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <stdexcept>
#include <string_view>

namespace simulated_mac {
namespace {

// Offsets of the base block (VESA E-EDID 1.4, section 3.1).
constexpr std::size_t kManufacturer = 8;
constexpr std::size_t kProduct = 10;
constexpr std::size_t kSerial = 12;
constexpr std::size_t kWeek = 16;
constexpr std::size_t kYear = 17;
constexpr std::size_t kVersion = 18;
constexpr std::size_t kVideoInput = 20;
constexpr std::size_t kWidth = 21;
constexpr std::size_t kHeight = 22;
constexpr std::size_t kGamma = 23;
constexpr std::size_t kFeatures = 24;
constexpr std::size_t kChromaticity = 25;
constexpr std::size_t kEstablishedTimings = 35;
constexpr std::size_t kStandardTimings = 38;
constexpr std::size_t kDescriptors = 54;
constexpr std::size_t kChecksum = 127;
constexpr std::size_t kBlockSize = 128;

constexpr std::size_t kDescriptorSize = 18;
constexpr std::size_t kDescriptorCount = 4;
constexpr std::size_t kDescriptorTag = 3;
constexpr std::size_t kDescriptorText = 5;
constexpr std::size_t kTextSize = 13;

constexpr std::uint8_t kDummyTag = 0x10;
constexpr std::uint8_t kNameTag = 0xFC;
constexpr std::uint8_t kRangeTag = 0xFD;
constexpr std::uint8_t kSerialTag = 0xFF;

constexpr unsigned kFirstYear = 1990;
constexpr unsigned kLastYear = kFirstYear + 255;

using Descriptor = std::array<std::uint8_t, kDescriptorSize>;

bool isPrintable(char character) {
    return character >= ' ' && character <= '~';
}

std::uint8_t lowByte(unsigned value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

void requireText(const std::string& text) {
    if (text.size() > kTextSize || !std::all_of(text.begin(), text.end(), isPrintable)) {
        throw std::invalid_argument("a descriptor's text has at most 13 printable characters");
    }
}

void requireValid(const EDIDFields& fields) {
    const auto isLetter = [](char character) { return character >= 'A' && character <= 'Z'; };
    if (fields.manufacturer.size() != 3 ||
        !std::all_of(fields.manufacturer.begin(), fields.manufacturer.end(), isLetter)) {
        throw std::invalid_argument("an EDID's manufacturer is three letters A to Z");
    }
    if (fields.year < kFirstYear || fields.year > kLastYear) {
        throw std::invalid_argument("an EDID's year is 1990 to 2245");
    }
    if (fields.descriptors.size() > kDescriptorCount) {
        throw std::invalid_argument("an EDID has four descriptors");
    }
    requireText(fields.name.value_or(""));
    requireText(fields.serialText.value_or(""));
}

unsigned manufacturerWord(const std::string& letters) {
    unsigned word = 0;
    for (const char letter : letters) {
        word = word << 5 | static_cast<unsigned>(letter - 'A' + 1);
    }
    return word;
}

Descriptor dummyDescriptor() {
    return {0, 0, 0, kDummyTag};
}

Descriptor textDescriptor(std::uint8_t tag, const std::optional<std::string>& text) {
    if (!text) {
        return dummyDescriptor();
    }
    Descriptor descriptor = {0, 0, 0, tag, 0};
    const auto begin = descriptor.begin() + kDescriptorText;
    std::fill(begin, descriptor.end(), std::uint8_t{' '});
    const auto end = std::copy(text->begin(), text->end(), begin);
    if (end != descriptor.end()) {
        *end = '\n';
    }
    return descriptor;
}

/// 48 to 75 Hz, 30 to 140 kHz, up to 600 MHz; no timing formula.
Descriptor rangeDescriptor() {
    return {0,        0,    0,    kRangeTag, 0,   48,  75,  30,  140,
            600 / 10, 0x01, '\n', ' ',       ' ', ' ', ' ', ' ', ' '};
}

/// 3840 by 2160 pixels at 60 Hz (CTA-861 format 97), on an image of the given size.
Descriptor timingDescriptor(unsigned widthMm, unsigned heightMm) {
    constexpr unsigned kPixelClock = 59400;  // in 10 kHz
    constexpr unsigned kActiveX = 3840;
    constexpr unsigned kBlankX = 560;
    constexpr unsigned kActiveY = 2160;
    constexpr unsigned kBlankY = 90;
    constexpr unsigned kFrontX = 176;
    constexpr unsigned kSyncX = 88;
    constexpr unsigned kFrontY = 8;
    constexpr unsigned kSyncY = 10;
    constexpr unsigned kDigitalSyncBothPositive = 0x1E;
    return {lowByte(kPixelClock),
            lowByte(kPixelClock >> 8),
            lowByte(kActiveX),
            lowByte(kBlankX),
            lowByte((kActiveX >> 8) << 4 | kBlankX >> 8),
            lowByte(kActiveY),
            lowByte(kBlankY),
            lowByte((kActiveY >> 8) << 4 | kBlankY >> 8),
            lowByte(kFrontX),
            lowByte(kSyncX),
            lowByte((kFrontY & 0xF) << 4 | (kSyncY & 0xF)),
            lowByte((kFrontX >> 8) << 6 | (kSyncX >> 8) << 4 | (kFrontY >> 4) << 2 | kSyncY >> 4),
            lowByte(widthMm),
            lowByte(heightMm),
            lowByte((widthMm >> 8) << 4 | heightMm >> 8),
            0,
            0,
            kDigitalSyncBothPositive};
}

Descriptor makeDescriptor(EDIDFields::Descriptor kind, const EDIDFields& fields) {
    switch (kind) {
        case EDIDFields::Descriptor::serial:
            return textDescriptor(kSerialTag, fields.serialText);
        case EDIDFields::Descriptor::name:
            return textDescriptor(kNameTag, fields.name);
        case EDIDFields::Descriptor::range:
            return rangeDescriptor();
        case EDIDFields::Descriptor::timing:
            return timingDescriptor(fields.widthCm * 10U, fields.heightCm * 10U);
    }
    return dummyDescriptor();
}

void put(Bytes& block, std::size_t offset, std::initializer_list<std::uint8_t> bytes) {
    std::copy(bytes.begin(), bytes.end(), block.begin() + static_cast<std::ptrdiff_t>(offset));
}

std::uint8_t byteAt(const Bytes& edid, std::size_t offset) {
    return offset < edid.size() ? edid[offset] : std::uint8_t{0};
}

/// The text of the first descriptor of that kind.
std::optional<std::string> descriptorText(const Bytes& edid, std::uint8_t tag) {
    for (std::size_t slot = 0; slot < kDescriptorCount; ++slot) {
        const std::size_t start = kDescriptors + slot * kDescriptorSize;
        // A pixel clock other than zero makes it a timing, not a descriptor with a tag.
        const bool isTagged = byteAt(edid, start) == 0 && byteAt(edid, start + 1) == 0;
        if (!isTagged || byteAt(edid, start + kDescriptorTag) != tag) {
            continue;
        }
        std::string text;
        for (std::size_t offset = kDescriptorText; offset < kDescriptorSize; ++offset) {
            const char character = static_cast<char>(byteAt(edid, start + offset));
            if (character == '\n') {
                break;
            }
            if (isPrintable(character)) {
                text += character;
            }
        }
        text.erase(text.find_last_not_of(' ') + 1);
        return text.empty() ? std::nullopt : std::optional(text);
    }
    return std::nullopt;
}

std::string manufacturerLetters(std::uint16_t word) {
    const auto letter = [word](int shift) {
        return static_cast<char>('A' - 1 + (word >> shift & 0x1F));
    };
    return {letter(10), letter(5), letter(0)};
}

/// Bytes 8 to 11, a serial number of zeros, 16 and 17, 18 to 23.
std::string edidUUID(const Bytes& edid) {
    std::array<std::uint8_t, 16> bytes = {};
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[i] = byteAt(edid, kManufacturer + i);
    }
    for (std::size_t i = 0; i < 8; ++i) {
        bytes[8 + i] = byteAt(edid, kWeek + i);
    }
    std::string uuid;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            uuid += '-';
        }
        uuid += fmt::format("{:02X}", bytes[i]);
    }
    return uuid;
}

}  // namespace

Bytes makeEDID(const EDIDFields& fields) {
    requireValid(fields);
    const unsigned manufacturer = manufacturerWord(fields.manufacturer);
    Bytes block(kBlockSize, 0);
    put(block, 0, {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00});
    put(block, kManufacturer, {lowByte(manufacturer >> 8), lowByte(manufacturer)});
    put(block, kProduct, {lowByte(fields.product), lowByte(fields.product >> 8U)});
    put(block, kSerial,
        {lowByte(fields.serial), lowByte(fields.serial >> 8), lowByte(fields.serial >> 16),
         lowByte(fields.serial >> 24)});
    put(block, kWeek, {fields.week});
    put(block, kYear, {lowByte(fields.year - kFirstYear)});
    put(block, kVersion, {1, 4});
    put(block, kVideoInput, {0xB5});  // digital, 10 bits a colour, DisplayPort
    put(block, kWidth, {fields.widthCm});
    put(block, kHeight, {fields.heightCm});
    put(block, kGamma, {0x78});     // 2.2
    put(block, kFeatures, {0x06});  // sRGB, the preferred timing is the panel's own
    put(block, kChromaticity, {0xEE, 0x91, 0xA3, 0x54, 0x4C, 0x99, 0x26, 0x0F, 0x50, 0x54});
    // 640x480, 800x600 and 1024x768, each at 60 Hz.
    put(block, kEstablishedTimings, {0x21, 0x08, 0x00});
    std::fill_n(block.begin() + kStandardTimings, 16, std::uint8_t{0x01});
    for (std::size_t slot = 0; slot < kDescriptorCount; ++slot) {
        const Descriptor descriptor = slot < fields.descriptors.size()
                                          ? makeDescriptor(fields.descriptors[slot], fields)
                                          : dummyDescriptor();
        std::copy(
            descriptor.begin(), descriptor.end(),
            block.begin() + static_cast<std::ptrdiff_t>(kDescriptors + slot * kDescriptorSize));
    }
    block[kChecksum] = lowByte(0U - std::accumulate(block.begin(), block.end(), 0U));
    return block;
}

EDIDIdentity identifyEDID(const Bytes& edid) {
    const auto byte = [&edid](std::size_t offset) -> unsigned { return byteAt(edid, offset); };
    EDIDIdentity identity;
    identity.vendorNumber =
        static_cast<std::uint16_t>(byte(kManufacturer) << 8 | byte(kManufacturer + 1));
    identity.productCode = static_cast<std::uint16_t>(byte(kProduct) | byte(kProduct + 1) << 8);
    identity.serialNumber =
        byte(kSerial) | byte(kSerial + 1) << 8 | byte(kSerial + 2) << 16 | byte(kSerial + 3) << 24;
    identity.week = byteAt(edid, kWeek);
    identity.year = static_cast<std::uint16_t>(kFirstYear + byte(kYear));
    identity.widthCm = byteAt(edid, kWidth);
    identity.heightCm = byteAt(edid, kHeight);
    identity.manufacturer = manufacturerLetters(identity.vendorNumber);
    identity.name = descriptorText(edid, kNameTag);
    identity.serialText = descriptorText(edid, kSerialTag);
    identity.uuid = edidUUID(edid);
    return identity;
}

}  // namespace simulated_mac
