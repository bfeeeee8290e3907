#include "simulated_mac/description/ReadFile.h"

#include <array>
#include <cerrno>
#include <fstream>
#include <system_error>

namespace simulated_mac {

std::string readFile(const std::filesystem::path& path, std::size_t maxBytes) {
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) throw UnreadableFile("is a directory");
    errno = 0;
    std::ifstream stream(path, std::ios::binary);
    if (!stream) throw UnreadableFile("can't be read: " + std::generic_category().message(errno));
    std::string contents;
    std::array<char, 65536> chunk;
    while (stream.read(chunk.data(), chunk.size()) || stream.gcount() > 0) {
        contents.append(chunk.data(), static_cast<std::size_t>(stream.gcount()));
        if (contents.size() > maxBytes) throw UnreadableFile("is too long");
    }
    if (stream.bad()) {
        throw UnreadableFile("can't be read: " + std::generic_category().message(errno));
    }
    return contents;
}

}  // namespace simulated_mac
