#pragma once

#include <string>
#include <vector>

#include "simulated_mac/tools/RegistryQuery.h"

namespace simulated_mac {

/// What `ioreg` prints for a query as text: a tree of entries with rails on their left.
std::string registryText(const Registry& registry, const RegistryQuery& query);

/// An entry's line without its rails:
/// `GFX0@2  <class IOPCIDevice, id 0x100000104, registered, matched, active, busy 0 (0 ms),
/// retain 8>`.
std::string headerLine(const RegistryEntry& entry);
/// A line for each property, such as `"model" = <"Macmini8,1">`. In hexadecimal, numbers are
/// 0x2A for 42, and no data is printed as texts.
std::vector<std::string> propertyLines(const RegistryEntry& entry, bool hexadecimal);

}  // namespace simulated_mac
