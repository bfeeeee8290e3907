#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "plugin/Platform/Exported.h"
#include "plugin/Utilities/RunCommand.h"

/// Fetches EDIDs as hexadecimal text and formats the identities in them.
///
/// An identity block is a copy of EDID bytes 8 to 15 (VESA E-EDID 1.4, section 3.4): manufacturer
/// word (big-endian), product code (little-endian), serial number (little-endian).
class StringUtil {
  public:
    RunCommand runCmd;

    /// One hex text for each EDID that the system's own tools print, in their order: the I/O
    /// registry's on Intel Macs, the firmware's on Apple silicon. Empty if they print none.
    std::vector<std::string> getEDIDString(bool appleSilicon) const;

    /// The texts between angle brackets in such a tool's output. A closing bracket ends a text even
    /// if none was opened; the rest after the last one is dropped.
    std::vector<std::string> EDIDTextsIn(const std::string& output) const;

    /// Bytes of a hex text, two characters per byte. Nothing is rejected: a pair that is not a hex
    /// number reads as 0, an odd last digit as a byte of its own.
    std::vector<std::uint8_t> dataFromHexString(const std::string& text) const;

    /// The same bytes, as many as `data` has room for; beyond the text's end it stays as it is.
    void readHexString(const std::string& text, std::span<std::uint8_t> data) const;

    /// Three PnP letters of the 2 manufacturer bytes; a letter of value 0 reads "@".
    std::string parseManufacturerID(const std::uint8_t* bytes) const;
    /// Letters and product code of an identity block, such as "KQX1234".
    std::string ParseManufacturer(const std::uint8_t* block) const;
    /// Letters, high byte of the product code and serial number of an identity block, such as
    /// "KQX12.12345678".
    std::string ParseModelInfo(const std::uint8_t* block) const;
};

/// Made when the pane is first entered; never destroyed.
EXPORTED StringUtil* strUtil;
