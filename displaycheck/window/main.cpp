#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/window/WindowHost.h"

// The program behind `displaycheck window`, which starts it. This part is C++ alone: the runtime
// that GNUstep uses here catches no exceptions of C++ in Objective-C++.

int main(int argc, char* argv[]) {
    if (argc != 5) {
        std::fputs("displaycheck-window: this is started by displaycheck window\n", stderr);
        return displaycheck::badInput;
    }
    int status = displaycheck::unfinished;
    try {
        status = displaycheck::showWindow(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "displaycheck: %s\n", error.what());
    }
    std::fflush(nullptr);
    // Threads of the Mac may still wait for their turn.
    std::_Exit(status);
}
