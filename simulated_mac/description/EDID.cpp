#include "simulated_mac/description/EDID.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <stdexcept>
#include <string_view>

#include "simulated_mac/description/HexText.h"

namespace simulated_mac {
namespace {

// Offsets of the base block (VESA E-EDID 1.4, section 3.1).
constexpr std::size_t manufacturerOffset = 8;
constexpr std::size_t productOffset = 10;
constexpr std::size_t serialOffset = 12;
constexpr std::size_t weekOffset = 16;
constexpr std::size_t yearOffset = 17;
constexpr std::size_t versionOffset = 18;
constexpr std::size_t videoInputOffset = 20;
constexpr std::size_t widthOffset = 21;
constexpr std::size_t heightOffset = 22;
constexpr std::size_t gammaOffset = 23;
constexpr std::size_t featuresOffset = 24;
constexpr std::size_t chromaticityOffset = 25;
constexpr std::size_t establishedTimingsOffset = 35;
constexpr std::size_t standardTimingsOffset = 38;
constexpr std::size_t descriptorsOffset = 54;
constexpr std::size_t extensionCountOffset = 126;
constexpr std::size_t checksumOffset = 127;

constexpr std::size_t descriptorSize = 18;
constexpr std::size_t descriptorCount = 4;
constexpr std::size_t descriptorTagOffset = 3;
constexpr std::size_t descriptorTextOffset = 5;
constexpr std::size_t textSize = 13;

constexpr std::uint8_t dummyTag = 0x10;
constexpr std::uint8_t nameTag = 0xFC;
constexpr std::uint8_t rangeTag = 0xFD;
constexpr std::uint8_t serialTag = 0xFF;

constexpr unsigned firstYear = 1990;
constexpr unsigned lastYear = firstYear + 255;

using Descriptor = std::array<std::uint8_t, descriptorSize>;

bool isPrintable(char character) {
    return character >= ' ' && character <= '~';
}

std::uint8_t lowByte(unsigned value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

void requireText(const std::string& text) {
    if (text.size() > textSize || !std::all_of(text.begin(), text.end(), isPrintable)) {
        throw std::invalid_argument("a descriptor's text has at most 13 printable characters");
    }
}

void requireValid(const EDIDFields& fields) {
    const auto isLetter = [](char character) { return character >= 'A' && character <= 'Z'; };
    if (fields.manufacturer.size() != 3 ||
        !std::all_of(fields.manufacturer.begin(), fields.manufacturer.end(), isLetter)) {
        throw std::invalid_argument("an EDID's manufacturer is three letters A to Z");
    }
    if (fields.year < firstYear || fields.year > lastYear) {
        throw std::invalid_argument("an EDID's year is 1990 to 2245");
    }
    if (fields.descriptors.size() > descriptorCount) {
        throw std::invalid_argument("an EDID has four descriptors");
    }
    requireText(fields.name.value_or(""));
    requireText(fields.serialText.value_or(""));
}

unsigned manufacturerWord(const std::string& letters) {
    unsigned word = 0;
    for (const char letter : letters) word = word << 5 | static_cast<unsigned>(letter - 'A' + 1);
    return word;
}

Descriptor dummyDescriptor() {
    return {0, 0, 0, dummyTag};
}

Descriptor textDescriptor(std::uint8_t tag, const std::optional<std::string>& text) {
    if (!text) return dummyDescriptor();
    Descriptor descriptor = {0, 0, 0, tag, 0};
    const auto begin = descriptor.begin() + descriptorTextOffset;
    std::fill(begin, descriptor.end(), std::uint8_t{' '});
    const auto end = std::copy(text->begin(), text->end(), begin);
    if (end != descriptor.end()) *end = '\n';
    return descriptor;
}

/// 48 to 75 Hz, 30 to 140 hz, up to 600 MHz; no timing formula.
Descriptor rangeDescriptor() {
    return {0,        0,    0,    rangeTag, 0,   48,  75,  30,  140,
            600 / 10, 0x01, '\n', ' ',      ' ', ' ', ' ', ' ', ' '};
}

/// 3840 by 2160 pixels at 60 Hz (CTA-861 format 97), on an image of the given size.
Descriptor timingDescriptor(unsigned widthMm, unsigned heightMm) {
    constexpr unsigned pixelClockOffset = 59400;  // in 10 hz
    constexpr unsigned activeXOffset = 3840;
    constexpr unsigned blankXOffset = 560;
    constexpr unsigned activeYOffset = 2160;
    constexpr unsigned blankYOffset = 90;
    constexpr unsigned frontXOffset = 176;
    constexpr unsigned syncXOffset = 88;
    constexpr unsigned frontYOffset = 8;
    constexpr unsigned syncYOffset = 10;
    constexpr unsigned digitalSyncBothPositive = 0x1E;
    return {lowByte(pixelClockOffset),
            lowByte(pixelClockOffset >> 8),
            lowByte(activeXOffset),
            lowByte(blankXOffset),
            lowByte((activeXOffset >> 8) << 4 | blankXOffset >> 8),
            lowByte(activeYOffset),
            lowByte(blankYOffset),
            lowByte((activeYOffset >> 8) << 4 | blankYOffset >> 8),
            lowByte(frontXOffset),
            lowByte(syncXOffset),
            lowByte((frontYOffset & 0xF) << 4 | (syncYOffset & 0xF)),
            lowByte((frontXOffset >> 8) << 6 | (syncXOffset >> 8) << 4 | (frontYOffset >> 4) << 2 |
                    syncYOffset >> 4),
            lowByte(widthMm),
            lowByte(heightMm),
            lowByte((widthMm >> 8) << 4 | heightMm >> 8),
            0,
            0,
            digitalSyncBothPositive};
}

Descriptor makeDescriptor(EDIDFields::Descriptor kind, const EDIDFields& fields) {
    switch (kind) {
        case EDIDFields::Descriptor::serial:
            return textDescriptor(serialTag, fields.serialText);
        case EDIDFields::Descriptor::name:
            return textDescriptor(nameTag, fields.name);
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
    for (std::size_t slot = 0; slot < descriptorCount; ++slot) {
        const std::size_t start = descriptorsOffset + slot * descriptorSize;
        // A pixel clock other than zero makes it a timing, not a descriptor with a tag.
        const bool isTagged = byteAt(edid, start) == 0 && byteAt(edid, start + 1) == 0;
        if (!isTagged || byteAt(edid, start + descriptorTagOffset) != tag) continue;
        std::string text;
        for (std::size_t offset = descriptorTextOffset; offset < descriptorSize; ++offset) {
            const char character = static_cast<char>(byteAt(edid, start + offset));
            if (character == '\n') break;
            if (isPrintable(character)) text += character;
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
    for (std::size_t i = 0; i < 4; ++i) bytes[i] = byteAt(edid, manufacturerOffset + i);
    for (std::size_t i = 0; i < 8; ++i) bytes[8 + i] = byteAt(edid, weekOffset + i);
    std::string uuid = hexText(bytes);
    for (const std::size_t hyphen : {8U, 13U, 18U, 23U}) uuid.insert(hyphen, 1, '-');
    return uuid;
}

}  // namespace

Bytes makeEDID(const EDIDFields& fields) {
    requireValid(fields);
    const unsigned manufacturer = manufacturerWord(fields.manufacturer);
    Bytes block(edidBlockSize, 0);
    std::copy(edidHeader.begin(), edidHeader.end(), block.begin());
    put(block, manufacturerOffset, {lowByte(manufacturer >> 8), lowByte(manufacturer)});
    put(block, productOffset, {lowByte(fields.product), lowByte(fields.product >> 8U)});
    put(block, serialOffset,
        {lowByte(fields.serial), lowByte(fields.serial >> 8), lowByte(fields.serial >> 16),
         lowByte(fields.serial >> 24)});
    put(block, weekOffset, {fields.week});
    put(block, yearOffset, {lowByte(fields.year - firstYear)});
    put(block, versionOffset, {1, 4});
    put(block, videoInputOffset, {0xB5});  // digital, 10 bits a colour, DisplayPort
    put(block, widthOffset, {fields.widthCm});
    put(block, heightOffset, {fields.heightCm});
    put(block, gammaOffset, {0x78});     // 2.2
    put(block, featuresOffset, {0x06});  // sRGB, the preferred timing is the panel's own
    put(block, chromaticityOffset, {0xEE, 0x91, 0xA3, 0x54, 0x4C, 0x99, 0x26, 0x0F, 0x50, 0x54});
    // 640x480, 800x600 and 1024x768, each at 60 Hz.
    put(block, establishedTimingsOffset, {0x21, 0x08, 0x00});
    std::fill_n(block.begin() + standardTimingsOffset, 16, std::uint8_t{0x01});
    for (std::size_t slot = 0; slot < descriptorCount; ++slot) {
        const Descriptor descriptor = slot < fields.descriptors.size()
                                          ? makeDescriptor(fields.descriptors[slot], fields)
                                          : dummyDescriptor();
        std::copy(
            descriptor.begin(), descriptor.end(),
            block.begin() + static_cast<std::ptrdiff_t>(descriptorsOffset + slot * descriptorSize));
    }
    block[checksumOffset] = edidChecksum(block);
    return block;
}

std::uint8_t edidChecksum(std::span<const std::uint8_t> block) {
    const auto summed = block.first(checksumOffset);
    return lowByte(0U - std::accumulate(summed.begin(), summed.end(), 0U));
}

std::size_t announcedBlocks(std::span<const std::uint8_t> edid) {
    return edid.size() > extensionCountOffset ? 1U + edid[extensionCountOffset] : 1U;
}

EDIDIdentity identifyEDID(const Bytes& edid) {
    const auto byte = [&edid](std::size_t offset) -> unsigned { return byteAt(edid, offset); };
    EDIDIdentity identity;
    identity.vendorNumber =
        static_cast<std::uint16_t>(byte(manufacturerOffset) << 8 | byte(manufacturerOffset + 1));
    identity.productCode =
        static_cast<std::uint16_t>(byte(productOffset) | byte(productOffset + 1) << 8);
    identity.serialNumber = byte(serialOffset) | byte(serialOffset + 1) << 8 |
                            byte(serialOffset + 2) << 16 | byte(serialOffset + 3) << 24;
    identity.week = byteAt(edid, weekOffset);
    identity.year = static_cast<std::uint16_t>(firstYear + byte(yearOffset));
    identity.widthCm = byteAt(edid, widthOffset);
    identity.heightCm = byteAt(edid, heightOffset);
    identity.manufacturer = manufacturerLetters(identity.vendorNumber);
    identity.name = descriptorText(edid, nameTag);
    identity.serialText = descriptorText(edid, serialTag);
    identity.uuid = edidUUID(edid);
    return identity;
}

}  // namespace simulated_mac
