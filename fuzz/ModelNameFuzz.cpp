#include <cstddef>
#include <cstdint>
#include <string>

#include "plugin/Extension/NSString+normalization.h"
#include "plugin/MyInstallerPane.h"
#include "plugin/WhiteList.h"

// Any name of a display.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const WhiteList whiteList;
    static const vorn::MyInstallerPane pane(nullptr);
    const std::string name(reinterpret_cast<const char*>(data), size);
    whiteList.availableDisplay(name);
    whiteList.isRTKChipDisplay(name);
    pane.isYear25orAbove(regularMonitorName(name));
    pane.isYear25orAbove(name);
    return 0;
}
