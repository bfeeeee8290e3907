#pragma once

#include <string>

namespace simulated_mac {

/// What a system tool prints to standard output, and its exit status.
struct ToolOutput {
    std::string text;
    int status = 0;
};

}  // namespace simulated_mac
