#pragma once

#include <optional>
#include <string_view>

#include "simulated_mac/description/MacDescription.h"

namespace displaycheck {

/// The contents of a property list, XML or binary; nothing for what doesn't begin as one. Whole
/// numbers are 64-bit patterns; dates and numbers with a fraction are texts, such as
/// "2024-03-01T12:00:00Z" and "1.5". Throws DumpError for one that is damaged, is nested deeper
/// than 1,000 levels, has a dictionary of more than 20,000 keys or needs more than 512 MiB of
/// memory.
std::optional<simulated_mac::PropertyValue> readPropertyList(std::string_view contents);

/// The dictionary's value under a key; null where it has none or the value is no dictionary.
const simulated_mac::PropertyValue* find(const simulated_mac::PropertyValue& dictionary,
                                         std::string_view key);

}  // namespace displaycheck
