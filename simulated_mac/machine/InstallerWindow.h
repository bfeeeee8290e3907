#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace simulated_mac {

/// The pane as the user of the installer sees it, and the effects of clicks. Replaces the
/// installer's window where there is none.
struct InstallerWindow {
    struct Label {
        std::string name;             ///< of the outlet
        std::string text;             ///< UTF-8
        std::optional<CFRange> link;  ///< system blue and underlined once; UTF-16 units
        int clickRecognizers = 0;
    };

    Label title{"lb_title", "", {}, 0};
    Label warnings{"lb_warnings", "", {}, 0};
    /// After this the pane has no labels, and they stay as the user last saw them.
    bool viewReleased = false;
    bool nextEnabled = true;
    std::vector<std::string> openedAddresses;
};

}  // namespace simulated_mac
