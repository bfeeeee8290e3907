#pragma once

#include <cstdint>

#include "plugin/Platform/Exported.h"

/// Copies `length` bytes through a temporary buffer, so that the areas may overlap. If the length
/// is 0, a pointer is null or the buffer can't be allocated, copies nothing and says so in the
/// system log.
EXPORTED void customMemcpy(std::uint8_t* destination, const std::uint8_t* source,
                           std::uint64_t length);
