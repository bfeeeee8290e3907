#pragma once

#include <string>

namespace Cocoa {

/// Writes one entry to the system log (NSLog).
void log(const std::string& message);

}  // namespace Cocoa
