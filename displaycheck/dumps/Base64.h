#pragma once

#include <optional>
#include <string_view>

#include "simulated_mac/description/MacDescription.h"

namespace displaycheck {

/// Whether a character is one of base64's 64 (RFC 4648, section 4); padding is none.
bool isBase64(char character);

/// The bytes of a base64 text. Blanks and line ends in it don't count, padding ends it and may be
/// missing. Nothing if there is anything else in it.
std::optional<simulated_mac::Bytes> bytesOfBase64(std::string_view text);

}  // namespace displaycheck
