#pragma once

#include <cstddef>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>

namespace simulated_mac {

/// Why a file can't be read: "is a directory", "can't be read: No such file or directory".
class UnreadableFile : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class TooLongFile : public UnreadableFile {
  public:
    TooLongFile() : UnreadableFile("is too long") {}
};

/// The file's bytes. Throws UnreadableFile: a TooLongFile if there are more than `maxBytes`.
std::string readFile(const std::filesystem::path& path,
                     std::size_t maxBytes = std::numeric_limits<std::size_t>::max());

/// The rest of standard input, likewise.
std::string readStandardInput(std::size_t maxBytes);

}  // namespace simulated_mac
