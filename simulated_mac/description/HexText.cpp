#include "simulated_mac/description/HexText.h"

#include <fmt/format.h>

namespace simulated_mac {

std::string hexText(std::span<const std::uint8_t> bytes, std::string_view between) {
    return fmt::format("{:02X}", fmt::join(bytes, between));
}

std::string lowerHexText(std::span<const std::uint8_t> bytes) {
    return fmt::format("{:02x}", fmt::join(bytes, ""));
}

}  // namespace simulated_mac
