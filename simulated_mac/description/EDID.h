#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "simulated_mac/description/MacDescription.h"

/// The 128-byte base block of VESA E-EDID 1.4: how it is built, and what a Mac reads off it.
namespace simulated_mac {

/// Builds a valid base block without extensions. Throws std::invalid_argument when a field can't
/// stand in an EDID: a manufacturer that isn't three letters A to Z, a year outside 1990 to 2245,
/// a text of more than 13 bytes or with anything but printable ASCII, more than four descriptors.
Bytes makeEDID(const EDIDFields& fields);

/// What a Mac derives from an EDID's bytes, whatever state they are in.
struct EDIDIdentity {
    std::uint16_t vendorNumber = 0;  ///< manufacturer word, bytes 8 and 9, big-endian
    std::uint16_t productCode = 0;   ///< bytes 10 and 11, little-endian
    std::uint32_t serialNumber = 0;  ///< bytes 12 to 15, little-endian; 0 says that there is none
    std::uint8_t week = 0;           ///< week of manufacture, byte 16; 255: `year` is a model year
    std::uint16_t year = 1990;       ///< 1990 plus byte 17
    std::uint8_t widthCm = 0;        ///< image size in cm, bytes 21 and 22
    std::uint8_t heightCm = 0;
    std::string manufacturer;               ///< the word's three five-bit letters
    std::optional<std::string> name;        ///< first monitor-name descriptor (tag 0xFC)
    std::optional<std::string> serialText;  ///< first serial-number descriptor (tag 0xFF)
    std::string uuid;                       ///< EDID UUID, 8-4-4-4-12 upper-case hex digits
};

/// Reads the identity off an EDID. Bytes that a short EDID lacks read as zero; extension blocks,
/// header and checksum don't matter. Texts end at their line feed, lose trailing blanks and all
/// that isn't printable ASCII, and are missing when nothing is left of them.
EDIDIdentity identifyEDID(const Bytes& edid);

/// Vendor ("unkn") and product that a Mac gives a display which has no EDID.
inline constexpr std::uint32_t vendorWithoutEDID = 0x756E6B6E;
inline constexpr std::uint32_t productWithoutEDID = 0x717;

}  // namespace simulated_mac
