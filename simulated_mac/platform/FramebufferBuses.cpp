#include "simulated_mac/platform/FramebufferBuses.h"

namespace simulated_mac {

Display* displayOfFramebuffer(io_service_t handle) {
    const Mac& mac = *Mac::current();
    const auto entry = mac.registry.entryOf(handle);
    if (entry == nullptr) return nullptr;
    for (const auto& display : mac.displays()) {
        if (display->framebuffer == entry) return display.get();
    }
    return nullptr;
}

std::optional<Bus> busOfInterface(io_service_t handle) {
    const Mac& mac = *Mac::current();
    const auto entry = mac.registry.entryOf(handle);
    if (entry == nullptr) return std::nullopt;
    for (const auto& display : mac.displays()) {
        for (std::size_t bus = 0; bus < display->interfaces.size(); ++bus) {
            if (display->interfaces[bus] == entry) return Bus{display.get(), bus};
        }
    }
    return std::nullopt;
}

}  // namespace simulated_mac
