#pragma once

#include <string>
#include <vector>

#include "displaycheck/dumps/ImportedMac.h"

namespace displaycheck {

/// Reads dumps of one Mac, whatever they are and in any order: what each file holds is seen by its
/// contents. Throws DumpError, with the file's name in front.
MacRecord readMacRecord(const std::vector<std::string>& files);

}  // namespace displaycheck
