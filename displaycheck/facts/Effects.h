#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "simulated_mac/machine/Mac.h"

namespace displaycheck {

/// A fault or an event of a Mac file that did nothing in a run.
struct WithoutEffect {
    enum class Kind { fault, event };

    Kind kind;
    std::size_t number;  ///< its place in the file's list of its kind, from 1
    std::string why;     ///< for people
};

/// "fault" or "event".
std::string_view nameOf(WithoutEffect::Kind kind);

/// `fault 1 never struck: ...`
std::string textOf(const WithoutEffect& one);

/// The faults that never struck and the events that never happened or found nothing to act on, in
/// the file's order. Call it before the Mac's calls are used for anything but the run.
std::vector<WithoutEffect> withoutEffect(const simulated_mac::Mac& mac);

}  // namespace displaycheck
