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

/// The value as `ioreg` prints it on one line; "" for a missing one.
std::string printRecordedValue(const PropertyValue& value);

}  // namespace simulated_mac
