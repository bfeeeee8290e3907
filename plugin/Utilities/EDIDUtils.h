#pragma once

#include <string>

#include "plugin/Display/EDIDInfo.h"
#include "plugin/Platform/Exported.h"

/// Decodes EDIDs (VESA E-EDID 1.4, base block). Uses the process-wide `strUtil` and `DDC`.
class EDIDUtils {
  public:
    /// The identity in an EDID given as hex text, two digits per byte. Neither header, checksum nor
    /// length is checked, and bytes beyond the end of the text read as zero; a text under 32
    /// characters, too short to hold a serial number, throws std::out_of_range.
    EDIDInfo generateEDIDInfo(const std::string& hexText) const;
};

/// Made when the pane is first entered; never destroyed.
EXPORTED EDIDUtils* edidUtils;
