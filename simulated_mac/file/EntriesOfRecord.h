#pragma once

#include "simulated_mac/file/YAMLReader.h"

namespace simulated_mac {

/// Reports recorded entries that more screens or proxies name than there are, and an Intel Mac's
/// framebuffers that are none. `mac` was read from `root`.
void requireDistinctEntries(YAMLReader& reader, const YAMLNode& root, const MacDescription& mac);

}  // namespace simulated_mac
