#include <cstddef>
#include <cstdint>
#include <string>

#include "plugin/Utilities/StringUtil.h"

// Any output of the tools that list EDIDs.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const StringUtil util;
    for (const std::string& text :
         util.EDIDTextsIn(std::string(reinterpret_cast<const char*>(data), size))) {
        util.dataFromHexString(text);
    }
    return 0;
}
