#pragma once

#include <string_view>

namespace simulated_mac {

/// Ends the process where the platform's function would crash: `call` was given an argument that it
/// does not survive. A host may take the text first (Mac::Options::onCrash).
[[noreturn]] void crash(std::string_view call, std::string_view why);

/// Ends the process if an argument is NULL for which the platform's function accepts no NULL.
void requireNotNull(const void* argument, std::string_view call, std::string_view parameter);

}  // namespace simulated_mac
