#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "displaycheck/dumps/EDIDText.h"
#include "simulated_mac/description/EDID.h"

// Any file in place of one with EDIDs.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view contents(reinterpret_cast<const char*>(data), size);
    std::size_t bytes = 0;
    for (const auto& edid : displaycheck::findEDIDs(contents)) {
        if (edid.bytes.size() < simulated_mac::edidBlockSize) std::abort();
        if (edid.bytes.size() > simulated_mac::maxEDIDSize) std::abort();
        bytes += edid.bytes.size();
    }
    // Repeated lines are the only thing that stands for more bytes than it has characters.
    if (bytes > size + 16 * simulated_mac::maxEDIDSize) std::abort();
    return 0;
}
