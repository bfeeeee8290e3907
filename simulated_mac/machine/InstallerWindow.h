#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace simulated_mac {

/// What the user of the installer sees of the pane, and what the user's clicks do. The stand-in of
/// the installer's window where there is none.
struct InstallerWindow {
    struct Label {
        std::string name;             ///< of the outlet
        std::string text;             ///< UTF-8
        std::optional<CFRange> link;  ///< system blue and underlined once; UTF-16 units
        int clickRecognizers = 0;
    };

    Label title{"lb_title", "", {}, 0};
    Label warnings{"lb_warnings", "", {}, 0};
    /// Then the labels are gone for the pane, and stay as the user saw them last.
    bool viewReleased = false;
    bool nextEnabled = true;
    std::vector<std::string> openedAddresses;
};

}  // namespace simulated_mac
