#pragma once

#include <string>

namespace simulated_mac {

/// A system tool's standard output and exit status.
struct ToolOutput {
    std::string text;
    int status = 0;
};

}  // namespace simulated_mac
