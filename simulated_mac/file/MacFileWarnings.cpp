#include "simulated_mac/file/MacFileWarnings.h"

#include <fmt/format.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "simulated_mac/description/Assumption.h"
#include "simulated_mac/description/RecordedRegistry.h"
#include "simulated_mac/file/YAMLReader.h"

namespace simulated_mac {
namespace {

const YAMLEntry* entryIn(const YAMLNode& mapping, std::string_view key) {
    for (const YAMLEntry& entry : mapping.entries) {
        if (YAMLReader::isWord(entry.key, key)) return &entry;
    }
    return nullptr;
}

/// A list or mapping without anything, for a key that is not there.
const YAMLNode& valueIn(const YAMLNode& mapping, std::string_view key) {
    static const YAMLNode nothing;
    const YAMLEntry* const entry = entryIn(mapping, key);
    return entry != nullptr ? entry->value : nothing;
}

constexpr std::string_view locationKey = "locationID";

std::optional<std::uint32_t> numberIn(const PropertyValue& value) {
    const auto* const number = std::get_if<std::int64_t>(&value.value);
    return number != nullptr ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

std::optional<std::uint32_t> locationOf(const USBDeviceDescription& device) {
    for (const auto& [key, value] : device.properties) {
        if (key == locationKey) return numberIn(value);
    }
    return device.locationID;
}

class Inspection {
  public:
    Inspection(const YAMLNode& root, const MacDescription& mac, const MakesCall& makesCall)
        : root_(root), mac_(mac), makesCall_(makesCall) {}

    std::vector<YAMLMistake> warnings() {
        inspectMac();
        const YAMLNode& screens = valueIn(root_, "screens");
        for (std::size_t i = 0; i < mac_.screens.size(); ++i) {
            inspectScreen(screens.items[i], mac_.screens[i]);
        }
        inspectDisplayIDs(screens);
        if (countUnknownMonitors(mac_) == 0) {
            warnOfKeys(valueIn(root_, "expect"), {"if_answers", "if_silent"},
                       "on a Mac without unknown monitors; expected it with \"vcp: unknown\"");
        }
        const YAMLNode& events = valueIn(root_, "events");
        for (std::size_t i = 0; i < mac_.events.size(); ++i) {
            inspectEvent(events.items[i], mac_.events[i]);
        }
        const YAMLNode& faults = valueIn(root_, "faults");
        for (std::size_t i = 0; i < mac_.faults.size(); ++i) {
            inspectCall(faults.items[i], mac_.faults[i].call, "the fault never strikes");
        }
        return inOrder(std::move(warnings_));
    }

  private:
    bool isIntel() const { return mac_.chip == Chip::intel; }

    void warn(const YAMLNode& node, const std::string& message) {
        warnings_.emplace_back(node.offset, message);
    }

    /// `why` goes on from "has no effect".
    void warnOfKey(const YAMLNode& mapping, std::string_view key, const std::string& why) {
        const YAMLEntry* const entry = entryIn(mapping, key);
        if (entry != nullptr) warn(entry->key, fmt::format("\"{}\" has no effect {}", key, why));
    }

    void warnOfKeys(const YAMLNode& mapping, std::initializer_list<std::string_view> keys,
                    const std::string& why) {
        for (const std::string_view key : keys) warnOfKey(mapping, key, why);
    }

    /// Keys for Macs of the other kind.
    void warnOfOtherKind(const YAMLNode& mapping,
                         std::initializer_list<std::string_view> ofIntelMacs,
                         std::initializer_list<std::string_view> ofAppleSilicon) {
        if (isIntel()) {
            warnOfKeys(mapping, ofAppleSilicon,
                       "on an Intel Mac; expected it with \"chip: apple\"");
        } else {
            warnOfKeys(mapping, ofIntelMacs,
                       "on Apple silicon; expected it without \"chip: apple\"");
        }
    }

    void inspectMac() {
        const YAMLNode& graphics = valueIn(root_, "graphics");
        warnOfOtherKind(root_, {"stray_interfaces"}, {"stray_proxies"});
        warnOfOtherKind(graphics, {"driver", "transaction_types", "framebuffers"}, {});
        if (mac_.registry == nullptr) return;
        const std::string why = "beside \"registry\"; expected only one of them";
        warnOfKeys(root_, {"model", "other_registry_entries"}, why);
        warnOfKey(root_, isIntel() ? "stray_interfaces" : "stray_proxies", why);
        if (isIntel()) warnOfKey(graphics, "framebuffers", why);
    }

    void inspectScreen(const YAMLNode& node, const ScreenDescription& screen) {
        warnOfOtherKind(node, {"framebuffer"}, {"display_service", "info_dictionary"});
        if (!isIntel()) inspectDisplayService(valueIn(node, "display_service"), screen);
        if (screen.edidListed == true && !screen.listedEDIDEmpty && screen.monitor.edid.empty()) {
            warnOfKey(node, "edid_listed",
                      "on a screen whose monitor has no EDID; expected it with an EDID");
        }
    }

    void inspectDisplayService(const YAMLNode& node, const ScreenDescription& screen) {
        const DisplayServiceDescription& service = screen.displayService;
        if (service.entry) {
            warnOfKeys(node, {"entry_name", "position", "product_attributes"},
                       "beside \"entry\"; expected it without a recorded entry");
            return;
        }
        if (mac_.registry != nullptr) {
            warnOfKey(node, "position", "beside \"registry\"; expected only one of them");
        }
        for (const auto& [key, value] : service.properties) {
            if (key != "DisplayAttributes") continue;
            warnOfKey(node, "product_attributes",
                      "beside \"properties\" with DisplayAttributes, which hold them; expected "
                      "only one of the two");
        }
    }

    void inspectDisplayIDs(const YAMLNode& screens) {
        std::map<std::uint32_t, std::size_t> seen;
        for (std::size_t i = 0; i < mac_.screens.size(); ++i) {
            const auto id = mac_.screens[i].displayID;
            if (!id) continue;
            const auto [first, isNew] = seen.emplace(*id, i);
            if (isNew) continue;
            warn(valueIn(screens.items[i], "display_id"),
                 fmt::format("screen {} has the display ID 0x{:X} too, and answers for both; "
                             "expected an ID of its own",
                             first->second + 1, *id));
        }
    }

    /// `use` has the key "call".
    void inspectCall(const YAMLNode& use, const std::string& call, const std::string& effect) {
        if (makesCall_(mac_, call)) return;
        warn(valueIn(use, "call"), fmt::format("nothing calls {} on this Mac, so {}; expected a "
                                               "call that is made",
                                               call, effect));
    }

    void inspectEvent(const YAMLNode& node, const EventDescription& event) {
        if (event.atCall) {
            inspectCall(valueIn(node, "at_call"), event.atCall->call, "the event never happens");
        }
        if (event.detach && !mayBeThere(*event.detach, event)) {
            warn(valueIn(node, "detach"),
                 fmt::format("no USB device is at 0x{:X} then; expected the location_id of one",
                             *event.detach));
        }
        if (event.user == EventDescription::User::clicksWarning && isAfterRelease(event)) {
            warn(valueIn(node, "user"),
                 "the pane's view is released before, so nothing takes the click; expected it "
                 "earlier");
        }
    }

    /// Whether a device can be at this location when the event happens.
    bool mayBeThere(std::uint32_t location, const EventDescription& event) {
        const auto isThere = [location](const USBDeviceDescription& device) {
            return locationOf(device) == location;
        };
        if (std::any_of(mac_.usb.begin(), mac_.usb.end(), isThere)) return true;
        return std::any_of(mac_.events.begin(), mac_.events.end(),
                           [&](const EventDescription& other) {
                               return other.attach && isThere(*other.attach) &&
                                      (!isTimed(other) || !isTimed(event) || other.at <= event.at);
                           }) ||
               recordedLocations().contains(location);
    }

    static bool isTimed(const EventDescription& event) { return !event.atCall; }

    bool isAfterRelease(const EventDescription& click) const {
        return std::any_of(mac_.events.begin(), mac_.events.end(), [&](const auto& other) {
            return other.installer == EventDescription::Installer::releasesView && isTimed(other) &&
                   isTimed(click) && other.at < click.at;
        });
    }

    const std::set<std::uint32_t>& recordedLocations() {
        if (recordedLocations_) return *recordedLocations_;
        recordedLocations_.emplace();
        if (mac_.registry == nullptr) return *recordedLocations_;
        for (const RecordedEntry& entry : mac_.registry->entries()) {
            if (!entry.mentions("\"locationID\" = ")) continue;
            const auto value = entry.value(locationKey);
            const auto location = value ? numberIn(*value) : std::nullopt;
            if (location) recordedLocations_->insert(*location);
        }
        return *recordedLocations_;
    }

    const YAMLNode& root_;
    const MacDescription& mac_;
    const MakesCall& makesCall_;
    std::vector<YAMLMistake> warnings_;
    std::optional<std::set<std::uint32_t>> recordedLocations_;
};

}  // namespace

std::vector<YAMLMistake> warningsOf(const YAMLNode& root, const MacDescription& mac,
                                    const MakesCall& makesCall) {
    return Inspection(root, mac, makesCall).warnings();
}

}  // namespace simulated_mac
