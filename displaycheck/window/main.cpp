#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/window/WindowHost.h"

// The program that `displaycheck window` starts. This file is plain C++ because GNUstep's runtime
// can't catch C++ exceptions in Objective-C++.

int main(int argc, char* argv[]) {
    if (argc != 7) {
        std::fputs("displaycheck-window: not to be run directly; use displaycheck window\n",
                   stderr);
        return displaycheck::badInput;
    }
    // What the pane prints appears as it happens, in a pipe too.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    int status = displaycheck::unfinished;
    try {
        status = displaycheck::showWindow(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "displaycheck: %s\n", error.what());
    }
    std::fflush(nullptr);
    // The Mac's threads may still be waiting for their turn.
    std::_Exit(status);
}
