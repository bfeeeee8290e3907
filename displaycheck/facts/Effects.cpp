#include "displaycheck/facts/Effects.h"

#include <fmt/format.h>

#include <optional>

namespace displaycheck {

namespace {

using simulated_mac::EventDescription;
using UseCounts = std::map<std::string, std::uint64_t, std::less<>>;

/// `IOI2CSendRequest was called 2 times, not 5 times`; nothing for a use that there was.
std::optional<std::string> missingUse(const UseCounts& counts, const std::string& call,
                                      std::uint64_t nth) {
    const auto found = counts.find(call);
    const std::uint64_t count = found != counts.end() ? found->second : 0;
    if (count >= nth) return std::nullopt;
    if (count == 0) return call + " was never called";
    return fmt::format("{} was called {}, not {} times", call,
                       count == 1 ? "once" : fmt::format("{} times", count), nth);
}

std::string vainText(const EventDescription& event) {
    if (event.detach) return fmt::format("no USB device was at 0x{:08X} then", *event.detach);
    return "nothing took the click";
}

}  // namespace

std::string_view nameOf(WithoutEffect::Kind kind) {
    return kind == WithoutEffect::Kind::fault ? "fault" : "event";
}

std::string textOf(const WithoutEffect& one) {
    return fmt::format("{} {} {}", nameOf(one.kind), one.number, one.why);
}

std::vector<WithoutEffect> withoutEffect(const simulated_mac::Mac& mac) {
    using Kind = WithoutEffect::Kind;
    const UseCounts counts = mac.trace.uses();
    std::vector<WithoutEffect> found;
    const auto& faults = mac.description.faults;
    for (std::size_t at = 0; at < faults.size(); ++at) {
        if (const auto why = missingUse(counts, faults[at].call, faults[at].nth)) {
            found.push_back({Kind::fault, at + 1, "never struck: " + *why});
        }
    }
    const auto inVain = mac.eventsInVain();
    const auto& events = mac.description.events;
    for (std::size_t at = 0; at < events.size(); ++at) {
        const EventDescription& event = events[at];
        if (inVain.contains(at)) {
            found.push_back({Kind::event, at + 1, "had no effect: " + vainText(event)});
        } else if (event.atCall) {
            if (const auto why = missingUse(counts, event.atCall->call, event.atCall->nth)) {
                found.push_back({Kind::event, at + 1, "never happened: " + *why});
            }
        }
    }
    return found;
}

}  // namespace displaycheck
