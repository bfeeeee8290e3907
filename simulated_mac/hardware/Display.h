#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/hardware/Framebuffer.h"
#include "simulated_mac/hardware/Monitor.h"
#include "simulated_mac/hardware/Registry.h"

namespace simulated_mac {

/// A screen of the Mac with its monitor.
struct Display {
    explicit Display(ScreenDescription what);

    const ScreenDescription screen;
    std::uint32_t displayID = 0;
    std::uint32_t vendorNumber = 0;
    std::uint32_t modelNumber = 0;
    std::uint32_t serialNumber = 0;
    std::string localizedName;
    Monitor monitor;
    /// On an Intel Mac; nullptr where none drives the display.
    const Framebuffer* framebuffer = nullptr;
    /// The entries of an Apple-silicon Mac's AV service proxies, as the description lists them;
    /// none for one that a recorded registry lacks.
    std::vector<std::shared_ptr<RegistryEntry>> proxies;
};

/// The displays of the described screens, with the numbers and names that the system gives them.
std::vector<std::unique_ptr<Display>> makeDisplays(const std::vector<ScreenDescription>& screens);

}  // namespace simulated_mac
