#include "simulated_mac/tools/DisplaysProfile.h"

#include <fmt/format.h>

#include "simulated_mac/description/EDID.h"
#include "simulated_mac/tools/PropertyListText.h"

namespace simulated_mac {

namespace {

CFPointer makeText(const std::string& value) {
    return makeCFText(withoutControls(value));
}

CFPointer makeHexText(std::uint32_t number) {
    return makeText(fmt::format("{:x}", number));
}

CFPointer screenProfile(const Display& display, bool isMain) {
    const bool builtIn = display.screen.builtIn;
    const Bytes& edid = display.screen.monitor.edid;
    CFObject::Dictionary screen{
        {"_name", makeText(display.localizedName)},
        {"_spdisplays_display-product-id", makeHexText(display.modelNumber)},
        {"_spdisplays_display-serial-number", makeHexText(display.serialNumber)},
        {"_spdisplays_display-vendor-id", makeHexText(display.vendorNumber)},
    };
    if (!edid.empty()) {
        const EDIDIdentity identity = identifyEDID(edid);
        screen.emplace_back("_spdisplays_display-week", makeText(std::to_string(identity.week)));
        screen.emplace_back("_spdisplays_display-year", makeText(std::to_string(identity.year)));
        if (identity.serialText) {
            screen.emplace_back("spdisplays_display-serial-number", makeText(*identity.serialText));
        }
    }
    screen.emplace_back("_spdisplays_displayID", makeHexText(display.displayID));
    screen.emplace_back("spdisplays_connection_type",
                        makeText(builtIn ? "spdisplays_internal" : "spdisplays_displayport"));
    if (isMain) screen.emplace_back("spdisplays_main", makeText("spdisplays_yes"));
    screen.emplace_back("spdisplays_mirror", makeText("spdisplays_off"));
    screen.emplace_back("spdisplays_online", makeText("spdisplays_yes"));
    return makeCF(std::move(screen));
}

}  // namespace

std::string displaysProfileText(const std::string& chipset,
                                const std::vector<const Display*>& screens) {
    std::string profile = fmt::format(
        "Graphics/Displays:\n\n    {0}:\n\n      Chipset Model: {0}\n      Type: GPU\n"
        "      Bus: Built-In\n      Displays:\n",
        chipset);
    for (const Display* display : screens) {
        profile +=
            fmt::format("        {}:\n          Online: Yes\n          Connection Type: {}\n",
                        withoutControls(display->localizedName),
                        display->screen.builtIn ? "Internal" : "DisplayPort");
    }
    return profile + "\n";
}

CFPointer displaysProfile(const std::string& chipset, const std::vector<const Display*>& screens) {
    CFObject::Array displays;
    for (const Display* display : screens) {
        displays.push_back(screenProfile(*display, display == screens.front()));
    }
    CFObject::Dictionary chip{{"_name", makeText(chipset)}};
    if (!displays.empty()) chip.emplace_back("spdisplays_ndrvs", makeCF(std::move(displays)));
    chip.emplace_back("sppci_bus", makeText("spdisplays_builtin"));
    chip.emplace_back("sppci_device_type", makeText("spdisplays_gpu"));
    chip.emplace_back("sppci_model", makeText(chipset));
    return makeCF(CFObject::Array{makeCF(std::move(chip))});
}

CFPointer displaysReport(const CFPointer& chips) {
    return makeCF(CFObject::Array{makeCF(CFObject::Dictionary{
        {"_dataType", makeText("SPDisplaysDataType")},
        {"_items", chips},
        {"_parentDataType", makeText("SPHardwareDataType")},
    })});
}

}  // namespace simulated_mac
