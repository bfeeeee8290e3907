#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace simulated_mac {

/// Bytes as upper-case hex digits, two each, with `between` between them.
std::string hexText(std::span<const std::uint8_t> bytes, std::string_view between = "");

/// The same in lower case, as macOS prints data.
std::string lowerHexText(std::span<const std::uint8_t> bytes);

}  // namespace simulated_mac
