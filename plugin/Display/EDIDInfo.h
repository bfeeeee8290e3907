#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// The identity that one EDID gives its monitor.
struct EDIDInfo {
    std::uint32_t serialNumber = 0;          ///< EDID bytes 12 to 15
    std::optional<std::string> modelInfo;    ///< model-info head, bare model name, service tag
    std::optional<std::string> modelName;    ///< monitor-name descriptor, upper case, brand "Vorn "
    std::optional<std::string> serviceTag;   ///< serial-number descriptor before the name
    std::optional<std::string> plugNplayID;  ///< three PnP letters and four hex digits of product
};
