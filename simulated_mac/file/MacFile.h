#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include "simulated_mac/description/MacDescription.h"

/// A Mac file: YAML that describes a Mac (docs/mac-files.md).
namespace simulated_mac {

/// what() is "FILE:LINE:COLUMN: what is wrong; what was expected", with FILE as it was given; lines
/// and characters count from 1.
class MacFileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Reads a Mac file and the files that it names. Throws MacFileError for the first mistake found.
MacDescription readMacFile(const std::filesystem::path& path);

}  // namespace simulated_mac
