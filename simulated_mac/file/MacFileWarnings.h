#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/file/YAMLDocument.h"

/// What a Mac file says without effect.
namespace simulated_mac {

/// Whether what runs on a Mac can make a platform call there.
using MakesCall = std::function<bool(const MacDescription& mac, std::string_view call)>;

/// What has no effect on a Mac that was read from `root` without a mistake, as far as that shows
/// before it runs.
std::vector<YAMLMistake> warningsOf(const YAMLNode& root, const MacDescription& mac,
                                    const MakesCall& makesCall);

}  // namespace simulated_mac
