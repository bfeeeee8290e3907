#pragma once

#include <string>

#include "simulated_mac/tools/RegistryQuery.h"
#include "simulated_mac/tools/ToolOutput.h"

namespace simulated_mac {

/// Prints what `ioreg` prints for a query as text: a tree of entries with rails on their left.
void printRegistry(const Registry& registry, const RegistryQuery& query, const Print& print);
/// All of that.
std::string registryText(const Registry& registry, const RegistryQuery& query);

/// An entry's line without its rails:
/// `GFX0@2  <class IOPCIDevice, id 0x100000104, registered, matched, active, busy 0 (0 ms),
/// retain 8>`.
std::string headerLine(const RegistryEntry& entry);
}  // namespace simulated_mac
