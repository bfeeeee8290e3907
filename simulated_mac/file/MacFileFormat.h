#pragma once

#include <string>

#include "simulated_mac/description/MacDescription.h"

namespace simulated_mac {

class YAMLReader;
struct YAMLNode;

/// Reads the mapping that a Mac file is, by the keys in MacFileKeys.h.
MacDescription readMac(YAMLReader& reader, const YAMLNode& node);

}  // namespace simulated_mac
