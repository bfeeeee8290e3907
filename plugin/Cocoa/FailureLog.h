#pragma once

namespace Cocoa {

/// Writes to the system log that something failed, and why. Asks for no memory of C++, which may be
/// what is missing.
void logFailure(const char* what, const char* why) noexcept;

}  // namespace Cocoa
