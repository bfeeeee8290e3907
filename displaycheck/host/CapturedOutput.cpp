#include "displaycheck/host/CapturedOutput.h"

#include <fcntl.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/mman.h>
#endif

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace displaycheck {

namespace {

[[noreturn]] void fail() {
    throw std::system_error(errno, std::generic_category(), "can't capture the standard output");
}

/// A file without a name; -1 on failure.
int makeFile() {
#ifdef __linux__
    return memfd_create("standard output", MFD_CLOEXEC);
#else
    std::FILE* const file = std::tmpfile();
    if (file == nullptr) return -1;
    const int descriptor = fcntl(fileno(file), F_DUPFD_CLOEXEC, 0);
    std::fclose(file);
    return descriptor;
#endif
}

}  // namespace

CapturedOutput::CapturedOutput() {
    std::fflush(stdout);
    file_ = makeFile();
    if (file_ == -1) fail();
    original_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    if (original_ == -1 || dup2(file_, STDOUT_FILENO) == -1) fail();
}

CapturedOutput::~CapturedOutput() {
    std::fflush(stdout);
    dup2(original_, STDOUT_FILENO);
    close(original_);
    close(file_);
}

std::string CapturedOutput::text() const {
    std::fflush(stdout);
    std::string all;
    std::array<char, 65536> piece;
    for (;;) {
        const ssize_t count =
            pread(file_, piece.data(), piece.size(), static_cast<off_t>(all.size()));
        if (count <= 0) return all;
        all.append(piece.data(), static_cast<std::size_t>(count));
    }
}

}  // namespace displaycheck
