#pragma once

#include <string>

#include "simulated_mac/description/MacDescription.h"

namespace simulated_mac {

class YAMLReader;
struct YAMLNode;

/// Reads the mapping that a Mac file is, by the keys in MacFileKeys.h. The result counts only if
/// the reader has no mistakes then.
MacDescription readMac(YAMLReader& reader, const YAMLNode& node);

/// JSON Schema (draft-07) of a Mac file, for editors: indented, with a line break at the end.
std::string macFileSchema();

}  // namespace simulated_mac
