#include <algorithm>
#include <map>
#include <string>
#include <unordered_set>

#include "simulated_mac/description/RecordedRegistry.h"
#include "simulated_mac/hardware/HardwareTree.h"

// The registry of a real Mac, from its record. A record names an entry's class and not what that
// derives from, so the families that the platform's functions ask for are known here.

namespace simulated_mac {

namespace {

using Entry = Registry::Entry;

struct Family {
    std::string_view className;
    std::vector<std::string> ancestors;
};

const std::vector<Family>& families() {
    static const std::vector<Family> known = {
        {"IOUSBDevice", {"IOUSBNub"}},
        {"IOUSBHostDevice", {"IOUSBDevice", "IOUSBNub"}},
        {"AppleUSBDevice", {"IOUSBDevice", "IOUSBNub"}},
        {"IOUSBHubDevice", {"IOUSBDevice", "IOUSBNub"}},
        {"IOUSBRootHubDevice", {"IOUSBHubDevice", "IOUSBDevice", "IOUSBNub"}},
        {"IOFramebufferI2CInterface", {"IOI2CInterface"}},
    };
    return known;
}

std::optional<std::int64_t> numberOf(const std::optional<PropertyValue>& value) {
    const auto* const number = value ? std::get_if<std::int64_t>(&value->value) : nullptr;
    return number != nullptr ? std::optional(*number) : std::nullopt;
}

/// A recorded registry on its way to being a Mac's.
class Builder {
  public:
    Builder(Registry& registry, const MacDescription& description)
        : registry_(registry), record_(*description.registry), description_(description) {}

    HardwareTree build(const std::vector<std::unique_ptr<Display>>& displays) {
        addEntries();
        addFramebuffers();
        HardwareTree tree;
        tree.usbController = usbController();
        tree.displayServices = displayServices();
        for (const auto& display : displays) {
            if (description_.chip == Chip::intel) {
                attachToFramebuffer(*display);
            } else {
                attachToService(*display);
            }
        }
        tree.strayProxies = freeProxies();
        tree.framebuffers = std::move(framebuffers_);
        return tree;
    }

  private:
    void addEntries() {
        const auto& recorded = record_.entries();
        entries_.reserve(recorded.size());
        for (const RecordedEntry& one : recorded) {
            RegistryEntry entry;
            entry.name = one.name;
            entry.location = one.location;
            entry.classes = sharedClassesOf(entries_.size());
            entry.id = one.id.value_or(0);
            entry.properties = EntryProperties(one);
            entry.recorded = &one;
            const bool isRoot = entries_.empty() && one.className == "IORegistryEntry";
            if (isRoot) registry_.replaceRoot(std::move(entry));
            entries_.push_back(isRoot ? registry_.root()
                                      : registry_.add(parentOf(one), std::move(entry)));
        }
    }

    Entry parentOf(const RecordedEntry& entry) const {
        return entry.parent != RecordedEntry::none ? entries_[entry.parent] : registry_.root();
    }

    /// Entries with the same classes share them.
    ClassNames sharedClassesOf(std::size_t index) {
        const auto [known, isNew] = classNames_.try_emplace(classesOf(index));
        if (isNew) known->second = known->first;
        return known->second;
    }

    std::vector<std::string> classesOf(std::size_t index) const {
        const RecordedEntry& entry = record_.entries()[index];
        std::vector<std::string> classes = {std::string(entry.className)};
        const auto derivesFrom = [&classes](const std::vector<std::string>& ancestors) {
            classes.insert(classes.end(), ancestors.begin(), ancestors.end());
        };
        for (const Family& family : families()) {
            if (family.className == entry.className) derivesFrom(family.ancestors);
        }
        if (entry.mentions("\"IOClassNameOverride\" = ")) {
            const auto also = entry.value("IOClassNameOverride");
            const auto* const name = also ? std::get_if<std::string>(&also->value) : nullptr;
            if (name != nullptr) classes.push_back(*name);
        }
        if (entry.isMobileFramebuffer()) classes.emplace_back("IOMobileFramebuffer");
        if (record_.isDisplayNode(index)) classes.emplace_back("IODisplay");
        if (record_.isFramebuffer(index)) derivesFrom({"IOFramebuffer", "IOGraphicsDevice"});
        if (entry.className != "IORegistryEntry") classes.emplace_back("IOService");
        return classes;
    }

    void addFramebuffers() {
        for (const Entry& entry : entries_) {
            if (entry->isA("IOFramebuffer")) framebuffers_.push_back(makeFramebuffer(entry));
        }
    }

    std::unique_ptr<Framebuffer> makeFramebuffer(const Entry& entry) const {
        auto framebuffer = std::make_unique<Framebuffer>();
        framebuffer->entry = entry;
        for (const Entry& interface : interfacesOf(*entry)) {
            BusDescription bus;
            if (interface != nullptr) {
                const auto types = numberOf(interface->recorded->value("IOI2CTransactionTypes"));
                if (types) bus.transactionTypes = static_cast<std::uint32_t>(*types);
            }
            bus.hasInterface = interface != nullptr;
            framebuffer->buses.push_back(bus);
            framebuffer->interfaces.push_back(interface);
        }
        for (const Entry& child : entry->children) {
            if (!child->isA("IODisplayConnect")) continue;
            for (const Entry& display : child->children) {
                if (display->isA("IODisplay")) framebuffer->displayNode = display;
            }
        }
        return framebuffer;
    }

    /// The framebuffer lists its interfaces by their IDs; one that is not in the record is nullptr.
    std::vector<Entry> interfacesOf(const RegistryEntry& framebuffer) const {
        std::vector<Entry> children;
        for (const Entry& child : framebuffer.children) {
            if (child->isA("IOI2CInterface")) children.push_back(child);
        }
        const auto listed = framebuffer.recorded->value("IOFBI2CInterfaceIDs");
        const auto* const ids = listed ? std::get_if<PropertyList>(&listed->value) : nullptr;
        if (ids == nullptr) return children;
        std::vector<Entry> interfaces;
        for (const PropertyValue& id : *ids) {
            const auto found = std::find_if(children.begin(), children.end(), [&](const auto& one) {
                return numberOf(one->recorded->value("IOI2CInterfaceID")) == numberOf(id);
            });
            interfaces.push_back(found != children.end() ? *found : nullptr);
        }
        return interfaces;
    }

    /// The recorded entry of this path or ID that no display has yet.
    Entry find(const std::string& reference) {
        for (const std::size_t index : record_.find(reference)) {
            if (taken_.insert(entries_[index].get()).second) return entries_[index];
        }
        throw RecordedRegistryError("the recorded registry has no further entry " + reference);
    }

    void attachToFramebuffer(Display& display) {
        const FramebufferDescription& description = display.screen.framebuffer;
        if (!description.present) return;
        if (!description.entry) {
            framebuffers_.push_back(
                addFramebuffer(registry_, platform(), graphics(), framebuffers_.size(), &display));
            return;
        }
        const Entry entry = find(*description.entry);
        const auto known =
            std::find_if(framebuffers_.begin(), framebuffers_.end(),
                         [&](const auto& framebuffer) { return framebuffer->entry == entry; });
        if (known == framebuffers_.end()) {
            throw RecordedRegistryError("the recorded entry " + *description.entry +
                                        " is no framebuffer");
        }
        Framebuffer& framebuffer = **known;
        entry->path = description.path;
        framebuffer.display = &display;
        display.framebuffer = &framebuffer;
        if (!description.buses) return;
        const std::vector<BusDescription> recorded = std::move(framebuffer.buses);
        framebuffer.buses = *description.buses;
        framebuffer.interfaces.resize(framebuffer.buses.size());
        for (std::size_t bus = 0; bus < framebuffer.buses.size(); ++bus) {
            BusDescription& described = framebuffer.buses[bus];
            if (!described.transactionTypes && described.hasTransactionTypes &&
                bus < recorded.size()) {
                described.transactionTypes = recorded[bus].transactionTypes;
            }
            if (!described.hasInterface) framebuffer.interfaces[bus] = nullptr;
        }
    }

    void attachToService(Display& display) {
        const DisplayServiceDescription& description = display.screen.displayService;
        if (!description.present) return;
        if (!description.entry) {
            if (description.appearsAt <= 0)
                addDisplayService(registry_, displayServices(), display);
            return;
        }
        const Entry entry = find(*description.entry);
        entry->nameReadable = description.nameReadable;
        setProperties(*entry, description.properties);
        display.service = entry;
        for (const ProxyDescription& proxy : description.proxies) {
            const Entry port = proxy.entry ? find(*proxy.entry) : nullptr;
            display.proxies.push_back(port);
            if (port == nullptr) continue;
            port->nameReadable = proxy.nameReadable;
            if (proxy.location) port->set("Location", makeCF(*proxy.location));
        }
    }

    /// A proxy of which no display is known still opens, and reaches nothing.
    std::vector<StrayProxy> freeProxies() const {
        std::vector<StrayProxy> proxies;
        for (const Entry& entry : entries_) {
            if (entry->classes.front() == "DCPAVServiceProxy" && !taken_.contains(entry.get())) {
                proxies.push_back({entry, {}});
            }
        }
        return proxies;
    }

    /// What a framebuffer beside the recorded ones has: the buses of one Mac take the same types.
    GraphicsDescription graphics() const {
        GraphicsDescription graphics = description_.graphics;
        for (const auto& framebuffer : framebuffers_) {
            if (graphics.transactionTypes || framebuffer->buses.empty()) continue;
            graphics.transactionTypes = framebuffer->buses.front().transactionTypes;
        }
        return graphics;
    }

    Entry platform() const {
        const auto& children = registry_.root()->children;
        return children.empty() ? registry_.root() : children.front();
    }

    /// Where further USB devices come and go.
    Entry usbController() const {
        for (const Entry& entry : entries_) {
            const std::string& name = entry->classes.front();
            if (name.find("XHCI") != std::string::npos || name.find("EHCI") != std::string::npos) {
                return entry;
            }
        }
        return platform();
    }

    /// Where further display services come.
    Entry displayServices() const {
        for (const Entry& entry : entries_) {
            if (!entry->isA("IOMobileFramebuffer")) continue;
            // A record of framebuffers alone has nothing above them.
            const Entry pipe = entry->parent.lock();
            const Entry above = pipe->parent.lock();
            return above != nullptr ? above : pipe;
        }
        return platform();
    }

    Registry& registry_;
    const RecordedRegistry& record_;
    const MacDescription& description_;
    std::vector<Entry> entries_;  ///< one for each recorded
    std::map<std::vector<std::string>, ClassNames> classNames_;
    std::vector<std::unique_ptr<Framebuffer>> framebuffers_;
    std::unordered_set<const RegistryEntry*> taken_;  ///< by displays
};

}  // namespace

HardwareTree buildRecordedTree(Registry& registry, const MacDescription& description,
                               const std::vector<std::unique_ptr<Display>>& displays) {
    return Builder(registry, description).build(displays);
}

}  // namespace simulated_mac
