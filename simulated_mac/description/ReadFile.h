#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>

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

/// Told what a file is, such as "a pipe", when nothing comes out of it for a moment.
using WaitNotice = std::function<void(std::string_view kind)>;

/// The file's bytes. Throws UnreadableFile: a TooLongFile if there are more than `maxBytes`.
std::string readFile(const std::filesystem::path& path,
                     std::size_t maxBytes = std::numeric_limits<std::size_t>::max(),
                     const WaitNotice& onWait = {});

/// The rest of standard input, likewise.
std::string readStandardInput(std::size_t maxBytes, const WaitNotice& onWait = {});

}  // namespace simulated_mac
