#include "displaycheck/host/WholeFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

namespace displaycheck {

namespace {

[[noreturn]] void failedToWrite(const std::filesystem::path& path) {
    throw std::system_error(errno, std::generic_category(), "can't write " + path.string());
}

bool writeAll(int file, std::string_view contents) {
    while (!contents.empty()) {
        const ssize_t count = write(file, contents.data(), contents.size());
        if (count == -1 && errno == EINTR) continue;
        if (count == -1) return false;
        contents.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace

void writeWholeFile(const std::filesystem::path& path, std::string_view contents) {
    // Something that is no file, such as a terminal, can't be replaced by one.
    std::error_code ignored;
    const bool replaces =
        !std::filesystem::exists(path, ignored) || std::filesystem::is_regular_file(path, ignored);
    const std::filesystem::path written =
        replaces ? path.string() + "." + std::to_string(getpid()) + ".part" : path.string();
    const int file = open(written.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file == -1) failedToWrite(path);
    const bool good = writeAll(file, contents);
    if (close(file) == 0 && good &&
        (!replaces || std::rename(written.c_str(), path.c_str()) == 0)) {
        return;
    }
    const int error = errno;
    if (replaces) unlink(written.c_str());
    errno = error;
    failedToWrite(path);
}

}  // namespace displaycheck
