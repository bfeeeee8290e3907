#pragma once

#include <string>

#include "simulated_mac/description/Assumption.h"

namespace displaycheck {

struct WindowOptions {
    std::string file;
    std::string language;    ///< one of the pane's; empty for the locale's
    std::string screenshot;  ///< PNG file to write before exiting; empty for none
    simulated_mac::Assumption assume = simulated_mac::Assumption::answers;  ///< of unknown monitors
    bool dark = false;  ///< the Mac's dark appearance
    double speed = 1;   ///< seconds of the Mac's clock per second of real time
};

/// `displaycheck window`: replaces this process with the program that shows the window. If that
/// fails, returns the exit status.
int showWindow(const WindowOptions& options);

}  // namespace displaycheck
