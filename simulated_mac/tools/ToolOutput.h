#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace simulated_mac {

/// Takes what a system tool prints, piece by piece.
using Print = std::function<void(std::string_view)>;

/// A system tool's standard output and exit status.
struct ToolOutput {
    std::string text;
    int status = 0;
};

}  // namespace simulated_mac
