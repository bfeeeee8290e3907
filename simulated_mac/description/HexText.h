#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace simulated_mac {

/// Bytes as upper-case hex digits, two each, with `between` between them.
std::string hexText(std::span<const std::uint8_t> bytes, std::string_view between = "");

}  // namespace simulated_mac
