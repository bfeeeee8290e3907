#include "FramebufferBuses.h"

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

std::shared_ptr<RegistryEntry> interfaceOfBus(const Display& display, std::size_t bus) {
    std::size_t index = 0;
    for (const auto& child : display.framebuffer->children) {
        if (child->isA("IOFramebufferI2CInterface") && index++ == bus) return child;
    }
    return nullptr;
}

std::optional<Bus> busOfInterface(io_service_t handle) {
    const Mac& mac = *Mac::current();
    const auto entry = mac.registry.entryOf(handle);
    if (entry == nullptr) return std::nullopt;
    for (const auto& display : mac.displays()) {
        if (display->framebuffer == nullptr) continue;
        for (std::size_t bus = 0; bus < display->buses.size(); ++bus) {
            if (interfaceOfBus(*display, bus) == entry) return Bus{display.get(), bus};
        }
    }
    return std::nullopt;
}

}  // namespace simulated_mac
