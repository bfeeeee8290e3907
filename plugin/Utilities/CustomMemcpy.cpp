#include "plugin/Utilities/CustomMemcpy.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstring>
#include <limits>

#include "plugin/Cocoa/SystemLog.h"
#include "plugin/Platform/Text.h"

using namespace vorn;

void customMemcpy(std::uint8_t* destination, const std::uint8_t* source, std::uint64_t length) {
    if (length == 0) {
        Cocoa::log(formatText("Error: Invalid input length. Must be between %zu and %zu.",
                              std::size_t{1}, static_cast<std::size_t>(length)));
        return;
    }
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<CFIndex>::max());
    void* const buffer = length <= largest ? CFAllocatorAllocate(kCFAllocatorDefault,
                                                                 static_cast<CFIndex>(length), 0)
                                           : nullptr;
    if (buffer == nullptr) {
        Cocoa::log("Error: Memory allocation failed.");
        return;
    }
    if (source == nullptr || destination == nullptr) {
        Cocoa::log("Error: Source or destination is NULL.");
    } else {
        std::memcpy(buffer, source, length);
        std::memcpy(destination, buffer, length);
    }
    CFAllocatorDeallocate(kCFAllocatorDefault, buffer);
}
