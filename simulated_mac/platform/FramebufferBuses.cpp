#include "simulated_mac/platform/FramebufferBuses.h"

namespace simulated_mac {

const Framebuffer* framebufferOf(io_service_t handle) {
    const Mac& mac = *Mac::current();
    const auto entry = mac.registry.entryOf(handle);
    if (entry == nullptr) return nullptr;
    for (const auto& framebuffer : mac.framebuffers()) {
        if (framebuffer->entry == entry) return framebuffer.get();
    }
    return nullptr;
}

std::optional<Bus> busOfInterface(io_service_t handle) {
    const Mac& mac = *Mac::current();
    const auto entry = mac.registry.entryOf(handle);
    if (entry == nullptr) return std::nullopt;
    for (const auto& framebuffer : mac.framebuffers()) {
        for (std::size_t bus = 0; bus < framebuffer->interfaces.size(); ++bus) {
            if (framebuffer->interfaces[bus] == entry) return Bus{framebuffer.get(), bus};
        }
    }
    return std::nullopt;
}

}  // namespace simulated_mac
