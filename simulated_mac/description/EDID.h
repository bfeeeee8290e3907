#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "simulated_mac/description/MacDescription.h"

/// The 128-byte base block of VESA E-EDID 1.4: building one, and the data that a Mac reads from it.
namespace simulated_mac {

/// Bytes of a block, base or extension.
inline constexpr std::size_t edidBlockSize = 128;

/// A base block and 255 extensions, the most that can be announced, in bytes.
inline constexpr std::size_t maxEDIDSize = 256 * edidBlockSize;

/// The first bytes of every EDID.
inline constexpr std::array<std::uint8_t, 8> edidHeader = {0x00, 0xFF, 0xFF, 0xFF,
                                                           0xFF, 0xFF, 0xFF, 0x00};

/// The block's last byte as it has to be: all 128 bytes add up to a multiple of 256. `block` has
/// 127 bytes at least; those behind don't count.
std::uint8_t edidChecksum(std::span<const std::uint8_t> block);

/// How many blocks an EDID has by its byte 126: the base block and the extensions. 1 if there is no
/// such byte.
std::size_t announcedBlocks(std::span<const std::uint8_t> edid);

/// Builds a valid base block without extensions. Throws std::invalid_argument if a field doesn't
/// fit an EDID: a manufacturer that isn't three letters A to Z, a year outside 1990 to 2245, a text
/// of more than 13 bytes or with anything but printable ASCII, more than four descriptors.
Bytes makeEDID(const EDIDFields& fields);

/// The data that a Mac derives from an EDID's bytes, valid or not.
struct EDIDIdentity {
    std::uint16_t vendorNumber = 0;  ///< manufacturer word, bytes 8 and 9, big-endian
    std::uint16_t productCode = 0;   ///< bytes 10 and 11, little-endian
    std::uint32_t serialNumber = 0;  ///< bytes 12 to 15, little-endian; 0 means none
    std::uint8_t week = 0;           ///< week of manufacture, byte 16; 255: `year` is a model year
    std::uint16_t year = 1990;       ///< 1990 plus byte 17
    std::uint8_t widthCm = 0;        ///< image size in cm, bytes 21 and 22
    std::uint8_t heightCm = 0;
    std::string manufacturer;               ///< the word's three five-bit letters
    std::optional<std::string> name;        ///< first monitor-name descriptor (tag 0xFC)
    std::optional<std::string> serialText;  ///< first serial-number descriptor (tag 0xFF)
    std::string uuid;                       ///< EDID UUID, 8-4-4-4-12 upper-case hex digits
};

/// Reads the identity from an EDID. Missing bytes of a short EDID read as zero; extension blocks,
/// header and checksum are ignored. Texts end at their line feed, lose trailing blanks and
/// everything but printable ASCII, and count as missing if nothing is left.
EDIDIdentity identifyEDID(const Bytes& edid);

/// Vendor ("unkn") and product of a display without an EDID.
inline constexpr std::uint32_t vendorWithoutEDID = 0x756E6B6E;
inline constexpr std::uint32_t productWithoutEDID = 0x717;

}  // namespace simulated_mac
