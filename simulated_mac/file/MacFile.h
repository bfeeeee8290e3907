#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include "simulated_mac/description/MacDescription.h"

/// A Mac file: YAML that describes a Mac (docs/mac-files.md).
namespace simulated_mac {

/// All mistakes of a file. what() has a line for each, in the order of the file:
/// "FILE:LINE:COLUMN: what is wrong; what was expected", with FILE as it was given; lines and
/// characters count from 1. Of more than `mostLines`, a last line gives the number of the others.
class MacFileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;

    static constexpr std::size_t mostLines = 20;
};

/// Reads a Mac file and the files that it names. Throws MacFileError.
MacDescription readMacFile(const std::filesystem::path& path);

}  // namespace simulated_mac
