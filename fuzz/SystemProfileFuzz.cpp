#include <cstddef>
#include <cstdint>
#include <string_view>

#include "displaycheck/dumps/DumpError.h"
#include "displaycheck/dumps/SystemProfile.h"

// Any bytes in place of the report of a Mac's displays.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        displaycheck::readSystemProfile({reinterpret_cast<const char*>(data), size});
    } catch (const displaycheck::DumpError&) {
        // A message is what a bad dump should get.
    }
    return 0;
}
