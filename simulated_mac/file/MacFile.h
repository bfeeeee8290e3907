#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/file/MacFileWarnings.h"

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

/// The text of a Mac file.
struct MacFileText {
    std::string name;  ///< FILE in messages
    std::string contents;
    std::filesystem::path folder;  ///< in which files that it names are looked up
};

struct CheckedMac {
    MacDescription description;
    /// What has no effect: lines as of MacFileError, with "warning: " before what is wrong.
    std::string warnings;
};

/// Reads a Mac file's text and the files that it names. Throws MacFileError.
CheckedMac readMacText(const MacFileText& text, const MakesCall& makesCall);

/// Reads a Mac file and the files that it names. Throws MacFileError.
MacDescription readMacFile(const std::filesystem::path& path);

/// The error of a file that can't be read.
MacFileError unreadableMacFile(const std::string& name, const std::string& why);

}  // namespace simulated_mac
