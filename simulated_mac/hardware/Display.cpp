#include "simulated_mac/hardware/Display.h"

#include <fmt/format.h>

#include <map>

#include "simulated_mac/description/EDID.h"

namespace simulated_mac {

namespace {

// Display IDs as the window system assigns them: large and far apart.
constexpr std::uint32_t firstDisplayID = 0x042801C0;
constexpr std::uint32_t displayIDStep = 0x40;

std::string defaultName(const ScreenDescription& screen) {
    if (screen.builtIn) return "Built-in Retina Display";
    const auto name = identifyEDID(screen.monitor.edid).name;
    return name.value_or("Unknown Display");
}

}  // namespace

Display::Display(ScreenDescription what) : screen(std::move(what)), monitor(screen.monitor) {}

Bytes listedEDID(const ScreenDescription& screen) {
    return screen.listedEDIDEmpty ? Bytes() : screen.monitor.edid;
}

std::vector<std::unique_ptr<Display>> makeDisplays(const std::vector<ScreenDescription>& screens) {
    std::map<std::string, int> twins;
    for (const ScreenDescription& screen : screens) ++twins[defaultName(screen)];

    std::vector<std::unique_ptr<Display>> displays;
    std::map<std::string, int> named;
    for (std::size_t index = 0; index < screens.size(); ++index) {
        const ScreenDescription& screen = screens[index];
        const bool hasEDID = !screen.monitor.edid.empty();
        const EDIDIdentity identity = identifyEDID(screen.monitor.edid);
        std::string name = defaultName(screen);
        if (twins[name] > 1) name += fmt::format(" ({})", ++named[name]);

        auto display = std::make_unique<Display>(screen);
        display->displayID = screen.displayID.value_or(
            firstDisplayID + displayIDStep * static_cast<std::uint32_t>(index));
        display->vendorNumber =
            screen.vendorNumber.value_or(hasEDID ? identity.vendorNumber : vendorWithoutEDID);
        display->modelNumber =
            screen.modelNumber.value_or(hasEDID ? identity.productCode : productWithoutEDID);
        display->serialNumber = screen.serialNumber.value_or(identity.serialNumber);
        display->localizedName = screen.name.value_or(name);
        displays.push_back(std::move(display));
    }
    return displays;
}

}  // namespace simulated_mac
