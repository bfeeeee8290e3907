#pragma once

#include <string>
#include <vector>

/// EDIDs to decode, as hex texts.
namespace bench {

/// Those in the file that EDID_CORPUS names: tab-separated lines under a header line, the hex
/// digits in the last column. Without it, 100 of the maker's with names and serial
/// numbers of many lengths. Throws std::runtime_error for a file without EDIDs.
std::vector<std::string> corpusOfEDIDs();

/// Where they come from: "in FILE", or "made here".
std::string originOfEDIDs();

/// A monitor's EDID with `extensions` more blocks of 128 bytes after its base block.
std::string madeEDID(int number, int extensions);

}  // namespace bench
