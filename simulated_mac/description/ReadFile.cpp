#include "simulated_mac/description/ReadFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace simulated_mac {
namespace {

UnreadableFile unreadable() {
    return UnreadableFile("can't be read: " + std::generic_category().message(errno));
}

std::string readDescriptor(int file, std::size_t maxBytes) {
    std::string contents;
    struct stat status = {};
    if (fstat(file, &status) == 0 && status.st_size > 0) {
        contents.reserve(std::min(static_cast<std::size_t>(status.st_size), maxBytes));
    }
    std::array<char, 65536> chunk;
    while (true) {
        const ssize_t count = read(file, chunk.data(), chunk.size());
        if (count == -1 && errno == EINTR) continue;
        if (count == -1) throw unreadable();
        if (count == 0) return contents;
        contents.append(chunk.data(), static_cast<std::size_t>(count));
        if (contents.size() > maxBytes) throw TooLongFile();
    }
}

class OpenFile {
  public:
    explicit OpenFile(const std::filesystem::path& path)
        : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (descriptor_ == -1) throw unreadable();
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() { close(descriptor_); }

    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

}  // namespace

std::string readFile(const std::filesystem::path& path, std::size_t maxBytes) {
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) throw UnreadableFile("is a directory");
    const OpenFile file(path);
    return readDescriptor(file.descriptor(), maxBytes);
}

std::string readStandardInput(std::size_t maxBytes) {
    return readDescriptor(STDIN_FILENO, maxBytes);
}

}  // namespace simulated_mac
