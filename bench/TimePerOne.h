#pragma once

#include <benchmark/benchmark.h>

namespace bench {

/// The time of one thing where an iteration takes so many of them.
inline benchmark::Counter timePerOne(std::size_t count) {
    return {static_cast<double>(count),
            benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert};
}

}  // namespace bench
