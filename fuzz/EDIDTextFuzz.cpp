#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/Utilities/EDIDUtils.h"
#include "plugin/Utilities/StringUtil.h"

// Any text in place of an EDID's hex digits.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (strUtil == nullptr) strUtil = new StringUtil;
    if (DDC == nullptr) DDC = new DDCCtl;
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        EDIDUtils().generateEDIDInfo(text);
    } catch (const std::out_of_range&) {
        // Too short for an identity.
    }
    return 0;
}
