#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "plugin/MyInstallerPane.h"
#include "plugin/WhiteList.h"

namespace displaycheck {

/// The models whose name a display's name nearly is.
struct NearMiss {
    std::vector<std::string> models;  ///< by bare name; several only if all are equally near
    /// The edit distance; 0 if the model's name stands in the display's as it is, and something
    /// around it, or the case, prevents the match.
    std::size_t differences = 0;
    std::string obstacle;  ///< `the trailing " (1)" prevents the match`; empty with differences
    /// Whether the name ends in the number by which the system tells monitors of one name apart,
    /// and that prevents the match.
    bool twinSuffix = false;
};

/// How the pane classifies a display's name, and how it nearly would. All of it is asked of the
/// pane itself, about this name and about changed ones.
struct ModelFacts {
    std::string name;

    bool listed = false;  ///< WhiteList::availableDisplay
    /// The part of the name that is looked up in the model list, in capitals: of a listed name, the
    /// list's entry. Not found out for names longer than any display has.
    std::optional<std::string> compared;
    std::optional<NearMiss> nearlyListed;

    bool specialChip = false;  ///< WhiteList::isRTKChipDisplay
    std::optional<NearMiss> nearlySpecialChip;

    std::string regularName;  ///< regularMonitorName
    bool recent = false;      ///< MyInstallerPane::isYear25orAbove of the regular name
    /// The digits of the regular name that are read as the model year.
    std::optional<std::string> yearDigits;
    /// A word of the regular name that has a year, too, and alone has the other answer.
    std::optional<std::string> otherwiseAlone;
};

ModelFacts modelFacts(const WhiteList& list, const vorn::MyInstallerPane& pane,
                      const std::string& name);

}  // namespace displaycheck
