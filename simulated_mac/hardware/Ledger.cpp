#include "simulated_mac/hardware/Ledger.h"

#include <algorithm>

namespace simulated_mac {

std::string_view nameOf(Reference kind) {
    switch (kind) {
        case Reference::allocation:
            return "CFAllocator memory";
        case Reference::string:
            return "CFString";
        case Reference::data:
            return "CFData";
        case Reference::number:
            return "CFNumber";
        case Reference::dictionary:
            return "CFDictionary";
        case Reference::otherObject:
            return "CFType";
        case Reference::avService:
            return "IOAVService";
        case Reference::registryEntry:
            return "io_registry_entry_t";
        case Reference::iterator:
            return "io_iterator_t";
        case Reference::i2cConnection:
            return "IOI2CConnect";
        case Reference::notificationPort:
            return "IONotificationPort";
        case Reference::machPort:
            return "mach_port_t";
        case Reference::dispatchQueue:
            return "dispatch_queue_t";
        case Reference::dispatchSemaphore:
            return "dispatch_semaphore_t";
    }
    return "unknown";
}

void Ledger::handedOut(Reference kind, std::string_view call) {
    const std::lock_guard lock(mutex_);
    auto& held = held_[static_cast<std::size_t>(kind)];
    const auto known = std::find_if(held.begin(), held.end(),
                                    [call](const Held& entry) { return entry.call == call; });
    if (known != held.end()) {
        ++known->count;
    } else {
        held.push_back({call, 1});
    }
}

void Ledger::givenBack(Reference kind, std::string_view call) {
    const std::lock_guard lock(mutex_);
    auto& held = held_[static_cast<std::size_t>(kind)];
    const auto known = std::find_if(held.begin(), held.end(),
                                    [call](const Held& entry) { return entry.call == call; });
    // References from an earlier Mac are not in this one's ledger.
    if (known != held.end() && known->count > 0) --known->count;
}

std::map<std::string, std::int64_t> Ledger::held() const {
    std::map<std::string, std::int64_t> counts;
    const std::lock_guard lock(mutex_);
    for (std::size_t kind = 0; kind < held_.size(); ++kind) {
        auto& count = counts[std::string(nameOf(static_cast<Reference>(kind)))];
        for (const Held& held : held_[kind]) count += held.count;
    }
    return counts;
}

std::map<std::pair<std::string, std::string>, std::int64_t> Ledger::heldByCall() const {
    std::map<std::pair<std::string, std::string>, std::int64_t> counts;
    const std::lock_guard lock(mutex_);
    for (std::size_t kind = 0; kind < held_.size(); ++kind) {
        for (const Held& held : held_[kind]) {
            if (held.count == 0) continue;
            const std::string name(nameOf(static_cast<Reference>(kind)));
            counts[{name, std::string(held.call)}] += held.count;
        }
    }
    return counts;
}

}  // namespace simulated_mac
