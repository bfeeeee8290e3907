#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Cocoa {

/// One entry of the window system's screen list.
struct Screen {
    bool deviceIsScreen = false;     ///< its device description holds "NSDeviceIsScreen"
    std::uint32_t screenNumber = 0;  ///< "NSScreenNumber": its CGDirectDisplayID, 0 when absent
    std::string localizedName;       ///< UTF-8
};

/// The window system's screens, in its order (NSScreen's list).
std::vector<Screen> screens();

}  // namespace Cocoa
