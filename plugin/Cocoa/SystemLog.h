#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>

namespace Cocoa {

/// Writes one entry to the system log (NSLog).
void log(const std::string& message);
/// The same with a dictionary's own description as the message ("%@").
void log(CFDictionaryRef dictionary);
/// Logs that something failed, and why. Allocates no C++ memory, because memory may be what ran
/// out.
void logFailure(const char* what, const char* why) noexcept;

}  // namespace Cocoa
