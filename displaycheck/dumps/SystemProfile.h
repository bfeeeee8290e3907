#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace displaycheck {

/// A display as `system_profiler` lists it. What the report doesn't give stays empty: as text it
/// gives hardly any numbers.
struct ProfiledDisplay {
    std::string name;
    bool builtIn = false;
    std::optional<std::uint32_t> displayID;
    std::optional<std::uint32_t> vendor;
    std::optional<std::uint32_t> product;
    std::optional<std::uint32_t> serial;  ///< the EDID's number, not the text on the case
    std::optional<int> week;
    std::optional<int> year;
};

struct SystemProfile {
    std::optional<std::string> model;   ///< such as "Macmini8,1"
    std::vector<std::string> chipsets;  ///< such as "Intel UHD Graphics 630", one for each GPU
    /// Without connectors that have no display, and displays that are not in use.
    std::vector<ProfiledDisplay> displays;
};

/// What `system_profiler SPDisplaysDataType` printed, alone or with other sections, as text in
/// English, as property list (-xml, and what System Information saves) or as JSON (-json). Nothing
/// for contents that are no such report. Throws DumpError for one that is damaged or too large.
std::optional<SystemProfile> readSystemProfile(std::string_view contents);

}  // namespace displaycheck
