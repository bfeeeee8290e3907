#pragma once

#include <string>

#include "simulated_mac/tools/RegistryQuery.h"

namespace simulated_mac {

/// What `ioreg -a` prints for a query: an XML property list of the registry's root or, with -r, of
/// an array of the matching entries, and nothing if there is none. An entry is a dictionary with
/// "IORegistryEntryName", "IOObjectClass" and the like, its properties if the query asks for them,
/// and its children in "IORegistryEntryChildren".
std::string registryPropertyList(const Registry& registry, const RegistryQuery& query);

}  // namespace simulated_mac
