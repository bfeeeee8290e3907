#include "simulated_mac/description/ReadFile.h"

#include <fcntl.h>
#include <poll.h>
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

std::string_view kindOfFile(int file) {
    struct stat status = {};
    if (fstat(file, &status) != 0) return "nothing known";
    if (S_ISFIFO(status.st_mode)) return "a pipe";
    if (S_ISSOCK(status.st_mode)) return "a socket";
    return isatty(file) == 1 ? "a terminal" : "a device";
}

void awaitData(int file, const WaitNotice& onWait) {
    constexpr int moment = 1000;  // milliseconds
    pollfd awaited = {file, POLLIN, 0};
    if (onWait && poll(&awaited, 1, moment) == 0) onWait(kindOfFile(file));
    while (poll(&awaited, 1, -1) == -1 && errno == EINTR) {
    }
}

std::string readDescriptor(int file, std::size_t maxBytes, const WaitNotice& onWait) {
    awaitData(file, onWait);
    std::string contents;
    struct stat status = {};
    if (fstat(file, &status) == 0 && status.st_size > 0) {
        contents.reserve(std::min(static_cast<std::size_t>(status.st_size), maxBytes));
    }
    std::array<char, 65536> chunk;
    while (true) {
        const ssize_t count = read(file, chunk.data(), chunk.size());
        if (count == -1 && errno == EINTR) continue;
        if (count == -1 && errno == EAGAIN) {
            awaitData(file, {});
            continue;
        }
        if (count == -1) throw unreadable();
        if (count == 0) return contents;
        contents.append(chunk.data(), static_cast<std::size_t>(count));
        if (contents.size() > maxBytes) throw TooLongFile();
    }
}

class OpenFile {
  public:
    explicit OpenFile(const std::filesystem::path& path)
        // A pipe that nobody has opened for writing would block here.
        : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
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

std::string readFile(const std::filesystem::path& path, std::size_t maxBytes,
                     const WaitNotice& onWait) {
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) throw UnreadableFile("is a directory");
    if (std::filesystem::is_socket(path, ignored)) throw UnreadableFile("is a socket");
    const OpenFile file(path);
    return readDescriptor(file.descriptor(), maxBytes, onWait);
}

std::string readStandardInput(std::size_t maxBytes, const WaitNotice& onWait) {
    return readDescriptor(STDIN_FILENO, maxBytes, onWait);
}

}  // namespace simulated_mac
