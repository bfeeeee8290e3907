#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/Platform/Exported.h"
#include "plugin/ProductData.h"

/// Which monitors are supported, and on which kind of Mac this runs.
class WhiteList {
  public:
    /// The supported models, and those whose display chip needs a clean request before it answers
    /// again; both by bare model name.
    static constexpr const auto& supportedDisplaysNeedsUpdate = ProductData::supportedDisplays;
    static constexpr const auto& rtkChipList = ProductData::specialChipDisplays;

    /// Not used here; a caller may keep display names in it.
    std::vector<std::string> supportedDisplayArr;

    /// Makes the process-wide `runCmd` if there is none yet.
    WhiteList();

    /// Whether this Mac has Apple silicon, by the chipset that system_profiler names. Runs that
    /// tool at every call.
    bool isM1Mac() const;

    /// Whether a display name, in any case, with the brand word and a blank in front or without
    /// them, is a supported model. Nothing else is trimmed. False without a name.
    bool availableDisplay(const std::optional<std::string>& name) const;

    /// The same of a name in upper case.
    bool isListed(std::string_view upperCaseName) const;

    /// Whether the name is exactly that of a model whose display chip needs a clean request before
    /// it answers again. Case must match, and a brand word is not removed.
    bool isRTKChipDisplay(const std::optional<std::string>& name) const;
};

/// Made when the pane is first entered; never destroyed.
EXPORTED WhiteList* whiteList;
