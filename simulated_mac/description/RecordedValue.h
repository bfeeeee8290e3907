#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "simulated_mac/description/MacDescription.h"

namespace simulated_mac {

/// The value that `ioreg` printed as this text; nothing where the text is cut or no value at all.
/// Numbers are 64-bit patterns in decimal or hexadecimal, data hex digits or quoted texts. A text
/// inside a list or dictionary ends at a quote with a separator behind it: `ioreg` escapes nothing.
std::optional<PropertyValue> parseRecordedValue(std::string_view text);

/// The value as `ioreg` prints it on one line; an empty text for a missing one. Data that consists
/// of printable texts is printed as these. In hexadecimal, as `ioreg -x`, numbers are 0x2a for 42,
/// and no data is printed as texts.
std::string printRecordedValue(const PropertyValue& value, bool hexadecimal = false);

}  // namespace simulated_mac
