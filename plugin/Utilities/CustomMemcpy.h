#pragma once

#include <cstdint>

#include "plugin/Platform/Exported.h"

/// Copies `length` bytes through a temporary buffer, so that the areas may overlap. A length of 0,
/// a null pointer and a buffer that can't be had are refused: the system log says so and nothing
/// is copied.
EXPORTED void customMemcpy(std::uint8_t* destination, const std::uint8_t* source,
                           std::uint64_t length);
