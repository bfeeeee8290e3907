#pragma once

#include <chrono>

namespace simulated_mac {

/// Time since the Mac was switched on.
using Time = std::chrono::microseconds;

}  // namespace simulated_mac
