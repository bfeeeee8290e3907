#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace simulated_mac {

struct IOResultName {
    std::string name;
    std::uint32_t value;
};

/// The I/O results that have a name in the platform's headers.
const std::vector<IOResultName>& ioResultNames();

}  // namespace simulated_mac
