#pragma once

#include <chrono>

namespace Cocoa {

/// Blocks the calling thread. Every wait of the plug-in goes through this function.
void sleepThread(std::chrono::microseconds duration);

}  // namespace Cocoa
