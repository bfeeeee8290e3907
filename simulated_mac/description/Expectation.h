#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace simulated_mac {

/// What the pane is expected to find out about a display; what is not set may be anything.
struct DisplayExpectation {
    std::optional<std::int64_t> state;  ///< displayState: -1, 0, 1 or 3
    std::optional<bool> supported;
    std::optional<bool> paired;  ///< with an EDID
};

/// When Continue is expected to be enabled for the first time.
struct ContinueExpectation {
    /// Seconds after the pane was first entered; not set: never.
    std::optional<double> after;
};

/// What a run is expected to show; what is not set may be anything.
struct Expectation {
    std::optional<bool> warning;
    std::optional<ContinueExpectation> continues;
    std::optional<std::vector<DisplayExpectation>> displays;  ///< in the order of the pane's list
    std::optional<std::uint32_t> cameras;                     ///< how many the pane has seen
};

/// The expectation of a Mac file, in which a Mac with unknown monitors can have more for each of
/// the two things to assume of them.
struct MacExpectation : Expectation {
    std::optional<Expectation> ifAnswers;
    std::optional<Expectation> ifSilent;
};

}  // namespace simulated_mac
