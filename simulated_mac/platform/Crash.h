#pragma once

#include <string_view>

namespace simulated_mac {

/// Ends the process where the platform's function would: `call` was given what it does not survive.
/// A host may take the text first (Mac::Options::onCrash).
[[noreturn]] void crash(std::string_view call, std::string_view why);

/// Ends the process when a function was given NULL that the platform's takes no NULL for.
void requireNotNull(const void* argument, std::string_view call, std::string_view parameter);

}  // namespace simulated_mac
