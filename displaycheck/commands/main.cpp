#include <fcntl.h>
#include <unistd.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <system_error>

#include "displaycheck/commands/CommandLine.h"
#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/report/Terminal.h"

namespace {

using namespace displaycheck;

/// Keeps files that the program opens from becoming a standard stream that it was started
/// without. Such a stream stays unusable.
void keepStandardStreamsApart() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) != -1) continue;
        // The lowest descriptor that is free is this one.
        open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

void arrangeMemory() {
#ifdef __GLIBC__
    // One pool for all threads: of the Mac's threads only one runs at a time, and a pool for each
    // takes time to set up.
    mallopt(M_ARENA_MAX, 1);
    // What is larger, such as a recorded registry, goes back to the system as soon as it is freed.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
#endif
}

int outputFailed(int error, int status) {
    printMessages(std::string("displaycheck: can't write the output: ") + std::strerror(error));
    return status == done ? unfinished : status;
}

/// The program's exit status, once all of its output is written.
int finishOutput(int status) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    return outputFailed(errno, status);
}

}  // namespace

int main(int argc, char** argv) {
    keepStandardStreamsApart();
    arrangeMemory();
    try {
        return finishOutput(CommandLine().run(argc, argv));
    } catch (const std::system_error& error) {
        if (std::ferror(stdout) != 0) return outputFailed(error.code().value(), done);
        printMessages(std::string("displaycheck: ") + error.what());
        return unfinished;
    } catch (const std::exception& error) {
        printMessages(std::string("displaycheck: ") + error.what());
        return unfinished;
    }
}
