#pragma once

#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>

namespace simulated_mac {

class StringsFileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Reads a string table in the format of a Mac bundle: `"key" = "text";` pairs and C comments, in
/// UTF-8. Throws StringsFileError with file and line for anything else.
std::map<std::string, std::string> readStringsFile(const std::filesystem::path& path);

}  // namespace simulated_mac
