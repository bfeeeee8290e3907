#include "simulated_mac/hardware/Ledger.h"

#include <algorithm>
#include <array>

namespace simulated_mac {

namespace {

constexpr std::array kinds = {
    Reference::allocation,
    Reference::string,
    Reference::data,
    Reference::number,
    Reference::dictionary,
    Reference::otherObject,
    Reference::avService,
    Reference::registryEntry,
    Reference::iterator,
    Reference::i2cConnection,
    Reference::notificationPort,
    Reference::machPort,
    Reference::dispatchQueue,
    Reference::dispatchSemaphore,
};

}  // namespace

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
    auto& held = held_[kind];
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
    auto& held = held_[kind];
    const auto known = std::find_if(held.begin(), held.end(),
                                    [call](const Held& entry) { return entry.call == call; });
    // References from an earlier Mac are not in this one's ledger.
    if (known != held.end() && known->count > 0) --known->count;
}

std::map<std::string, std::int64_t> Ledger::held() const {
    std::map<std::string, std::int64_t> counts;
    for (const Reference kind : kinds) counts[std::string(nameOf(kind))] = 0;
    const std::lock_guard lock(mutex_);
    for (const auto& [kind, entries] : held_) {
        for (const Held& entry : entries) counts[std::string(nameOf(kind))] += entry.count;
    }
    return counts;
}

std::map<std::pair<std::string, std::string>, std::int64_t> Ledger::heldByCall() const {
    std::map<std::pair<std::string, std::string>, std::int64_t> counts;
    const std::lock_guard lock(mutex_);
    for (const auto& [kind, entries] : held_) {
        for (const Held& entry : entries) {
            if (entry.count == 0) continue;
            counts[{std::string(nameOf(kind)), std::string(entry.call)}] += entry.count;
        }
    }
    return counts;
}

}  // namespace simulated_mac
