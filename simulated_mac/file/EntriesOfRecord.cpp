#include "simulated_mac/file/EntriesOfRecord.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include "simulated_mac/description/RecordedRegistry.h"

namespace simulated_mac {
namespace {

/// The value of a key that the mapping has.
const YAMLNode& valueOf(const YAMLNode& mapping, std::string_view key) {
    const auto found =
        std::find_if(mapping.entries.begin(), mapping.entries.end(),
                     [key](const auto& entry) { return YAMLReader::isWord(entry.key, key); });
    if (found == mapping.entries.end()) throw std::logic_error("a key that was read is missing");
    return found->value;
}

/// Hands out the recorded entries in the order of the screens, as the Mac does.
class EntryUses {
  public:
    EntryUses(YAMLReader& reader, const RecordedRegistry& registry)
        : reader_(reader), registry_(registry) {}

    /// Nothing, with a report, where no entry is left. `screen` counts from 0.
    std::optional<std::size_t> take(const YAMLNode& node, const std::string& reference,
                                    std::size_t screen) {
        const auto entries = registry_.find(reference);
        for (const std::size_t entry : entries) {
            if (screenOf_.emplace(entry, screen).second) return entry;
        }
        if (!entries.empty()) {
            reader_.report(node, fmt::format("screen {} already has the recorded entry \"{}\"; "
                                             "expected another one",
                                             screenOf_.at(entries.back()) + 1, reference));
        }
        return std::nullopt;
    }

  private:
    YAMLReader& reader_;
    const RecordedRegistry& registry_;
    std::map<std::size_t, std::size_t> screenOf_;  ///< by entry
};

/// As the Mac takes it.
bool isFramebuffer(const RecordedRegistry& registry, std::size_t entry) {
    return registry.isFramebuffer(entry) || registry.entries()[entry].className == "IOFramebuffer";
}

}  // namespace

void requireDistinctEntries(YAMLReader& reader, const YAMLNode& root, const MacDescription& mac) {
    if (mac.registry == nullptr) return;
    EntryUses uses(reader, *mac.registry);
    const YAMLNode& screens = valueOf(root, "screens");
    for (std::size_t at = 0; at < mac.screens.size(); ++at) {
        const YAMLNode& screen = screens.items[at];
        const FramebufferDescription& framebuffer = mac.screens[at].framebuffer;
        if (mac.chip == Chip::intel && framebuffer.entry) {
            const YAMLNode& node = valueOf(valueOf(screen, "framebuffer"), "entry");
            const auto entry = uses.take(node, *framebuffer.entry, at);
            if (entry && !isFramebuffer(*mac.registry, *entry)) {
                reader.report(
                    node,
                    fmt::format("the recorded entry \"{}\" is not a framebuffer but of class "
                                "{}; expected a framebuffer",
                                *framebuffer.entry, mac.registry->entries()[*entry].className));
            }
        }
        const DisplayServiceDescription& service = mac.screens[at].displayService;
        if (mac.chip == Chip::apple && service.entry) {
            const YAMLNode& node = valueOf(screen, "display_service");
            uses.take(valueOf(node, "entry"), *service.entry, at);
            for (std::size_t proxy = 0; proxy < service.proxies.size(); ++proxy) {
                const auto& entry = service.proxies[proxy].entry;
                if (!entry) continue;
                uses.take(valueOf(valueOf(node, "proxies").items[proxy], "entry"), *entry, at);
            }
        }
    }
}

}  // namespace simulated_mac
