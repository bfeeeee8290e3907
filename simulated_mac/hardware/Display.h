#pragma once

#include <atomic>
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
    /// The entry of an Apple-silicon Mac's framebuffer, while the registry has it.
    std::shared_ptr<RegistryEntry> service;
    /// The display coprocessor's entry, which the proxies are below; none in a recorded registry.
    std::shared_ptr<RegistryEntry> coprocessor;
    /// The entries of an Apple-silicon Mac's AV service proxies, as the description lists them;
    /// none for one that a recorded registry lacks.
    std::vector<std::shared_ptr<RegistryEntry>> proxies;
    /// Whether the monitor was unplugged: the display is no longer one of the Mac's.
    std::atomic<bool> gone = false;
    /// Whether the framebuffer's entry and the proxies have left the registry.
    std::atomic<bool> serviceGone = false;
};

/// The EDID that the system's tools print of a screen; it may be empty.
Bytes listedEDID(const ScreenDescription& screen);

/// The displays of the described screens, with the numbers and names that the system gives them.
std::vector<std::unique_ptr<Display>> makeDisplays(const std::vector<ScreenDescription>& screens);

}  // namespace simulated_mac
