#include "simulated_mac/tools/RegistryPropertyList.h"

#include "simulated_mac/hardware/CFValue.h"
#include "simulated_mac/tools/PropertyListText.h"

namespace simulated_mac {

namespace {

using Entry = Registry::Entry;

CFPointer makeNumber(std::uint64_t value) {
    return makeCF(static_cast<std::int64_t>(value));
}

CFPointer archived(const RegistryQuery& query, const RegistryEntry& entry, std::size_t level) {
    CFObject::Dictionary dictionary;
    if (query.showsProperties(entry)) dictionary = entry.properties.all();
    dictionary.emplace_back("IORegistryEntryName", makeCFText(entry.name));
    if (!entry.location.empty()) {
        dictionary.emplace_back("IORegistryEntryLocation", makeCFText(entry.location));
    }
    dictionary.emplace_back("IORegistryEntryID", makeNumber(entry.id));
    dictionary.emplace_back("IOObjectClass", makeCFText(entry.classes.front()));
    dictionary.emplace_back("IOObjectRetainCount", makeNumber(8));
    if (entry.isA("IOService")) {
        // Registered, matched, first published, first matched.
        dictionary.emplace_back("IOServiceState", makeNumber(0x1E));
        dictionary.emplace_back("IOServiceBusyState", makeNumber(0));
        dictionary.emplace_back("IOServiceBusyTime", makeNumber(0));
    }
    CFObject::Array children;
    for (const Entry& child : query.childrenOf(entry, level)) {
        children.push_back(archived(query, *child, level + 1));
    }
    if (!children.empty()) {
        dictionary.emplace_back("IORegistryEntryChildren", makeCF(std::move(children)));
    }
    return makeCF(std::move(dictionary));
}

}  // namespace

std::string registryPropertyList(const Registry& registry, const RegistryQuery& query) {
    CFObject::Array roots;
    registry.inspect([&] {
        for (const Entry& root : query.roots(registry.root())) {
            roots.push_back(archived(query, *root, 1));
        }
    });
    if (!query.subtrees) return xmlPropertyList(*roots.front());
    return roots.empty() ? "" : xmlPropertyList(CFObject(std::move(roots)));
}

}  // namespace simulated_mac
