#pragma once

#include <string>

namespace displaycheck {

struct WindowOptions {
    std::string file;
    std::string language;    ///< such as "de" or "pt-BR"; empty for the user's own
    std::string screenshot;  ///< PNG file to write instead of staying open; empty for none
    double speed = 1;        ///< how many of the Mac's seconds pass in one of the wall clock
};

/// `displaycheck window`: becomes the program that shows the window. Returns only when it can't,
/// with the exit status.
int showWindow(const WindowOptions& options);

}  // namespace displaycheck
