#pragma once

#include <optional>
#include <string_view>

#include "simulated_mac/description/MacDescription.h"

namespace displaycheck {

/// The contents of a property list, XML or binary; nothing for what doesn't begin as one. Numbers
/// are 64-bit patterns, dates texts such as "2024-03-01T12:00:00Z". Throws DumpError for one that
/// is damaged, nested deeper than 1,000 levels or needs more than half a gigabyte of memory.
std::optional<simulated_mac::PropertyValue> readPropertyList(std::string_view contents);

/// The dictionary's value under a key; null where it has none or the value is no dictionary.
const simulated_mac::PropertyValue* find(const simulated_mac::PropertyValue& dictionary,
                                         std::string_view key);

}  // namespace displaycheck
