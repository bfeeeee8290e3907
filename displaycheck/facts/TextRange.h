#pragma once

#include <cstddef>

namespace displaycheck {

/// Part of a text, in UTF-16 units.
struct TextRange {
    std::size_t start = 0;
    std::size_t length = 0;
};

}  // namespace displaycheck
