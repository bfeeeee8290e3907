#include "torture/Torture.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <utility>

#include "displaycheck/host/CapturedOutput.h"
#include "displaycheck/host/ChildProcess.h"
#include "displaycheck/host/PaneHost.h"
#include "simulated_mac/machine/Mac.h"

namespace torture {

namespace {

using nlohmann::json;
using simulated_mac::FaultDescription;
using simulated_mac::Hex;
using simulated_mac::Mac;
using simulated_mac::MacDescription;
using simulated_mac::NamedValue;
using simulated_mac::Pointer;
using simulated_mac::Scheduler;
using simulated_mac::TracedCall;

// A run takes milliseconds of the wall clock; one that takes this long hangs.
constexpr auto limit = std::chrono::seconds(60);
constexpr std::uint32_t fewEntries = 12;

/// Calls of the USB watcher's set-up. If one fails, it ends the run: Continue is never enabled.
const std::set<std::string> greysContinue = {"IOMasterPort", "IOServiceMatching"};

/// Calls that give a reference back: if one fails, the reference stays.
const std::set<std::string> givesBack = {
    "CFRelease",        "IOObjectRelease",      "IOI2CInterfaceClose", "CFAllocatorDeallocate",
    "dispatch_release", "mach_port_deallocate",
};

/// What is kept on purpose, by the call that handed it out and an argument of it: up to everything
/// that it hands out, ...
const std::map<std::string, std::optional<NamedValue>> keptAll = {
    {"IOAVServiceCreateWithService", {}},  // in the display records, or dropped
    // One for each question of reply types.
    {"IOServiceGetMatchingServices", NamedValue("name", "IOFramebufferI2CInterface")},
    {"dispatch_semaphore_create", {}},  // the lock of each display
};

/// ... or at most one for each time that the pane was entered.
const std::set<std::string> keptOnce = {
    "IOServiceMatching",  // the watcher's state, with the next two
    "IONotificationPortCreate", "IOServiceAddMatchingNotification",
    "dispatch_queue_create",  // the controller's
    "CFAllocatorAllocate",    // the table of the displays' locks
};

bool succeeded(const TracedCall& call) {
    return !call.failed && (call.result == Pointer{} || call.result == Hex{0});
}

bool isAbout(const TracedCall& call, const std::optional<NamedValue>& asked) {
    return !asked || call.argument(asked->name) == asked->value;
}

/// How much each of the calls handed out that may be kept.
std::map<std::string, std::int64_t> handedOutBy(const Mac& mac) {
    std::map<std::string, std::int64_t> counts;
    for (const TracedCall& call : mac.trace.calls()) {
        if (succeeded(call) && isAbout(call, keptAll.at(call.call))) ++counts[call.call];
    }
    return counts;
}

/// References that are held at the end of a run and should not be, or the other way round.
std::vector<std::string> strayReferences(const Mac& mac, std::int64_t entries) {
    std::vector<std::string> problems;
    const auto uses = mac.trace.uses();
    const auto handedOut = handedOutBy(mac);
    const auto countOf = [](const auto& counts, const std::string& call) -> std::int64_t {
        const auto known = counts.find(call);
        return known != counts.end() ? static_cast<std::int64_t>(known->second) : 0;
    };
    const bool releaseFails =
        std::any_of(mac.description.faults.begin(), mac.description.faults.end(),
                    [](const FaultDescription& fault) { return givesBack.contains(fault.call); });
    for (const auto& [key, held] : mac.ledger.heldByCall()) {
        const auto& [kind, call] = key;
        // The watcher's published devices are the cameras' handles.
        const bool isDevice = kind == "io_registry_entry_t" && call == "IOIteratorNext";
        const std::int64_t most =
            keptAll.contains(call)    ? countOf(handedOut, call)
            : keptOnce.contains(call) ? entries
            : isDevice
                ? static_cast<std::int64_t>(mac.registry.matching({"IOUSBDevice", ""}).size() +
                                            mac.description.events.size()) *
                      entries
                : 0;
        if (held > most && !releaseFails) {
            problems.push_back(fmt::format("holds {} {} of {}, not {}", held, kind, call, most));
        }
        if (kind == "IOAVService" && held < most) {
            problems.push_back(fmt::format("gave {} {} back", most - held, kind));
        }
    }
    return problems;
}

std::vector<std::string> problemsOf(const Mac& mac, Scheduler::Outcome outcome) {
    std::vector<std::string> problems = mac.journal.misuses();
    if (outcome == Scheduler::Outcome::stuck) problems.emplace_back("got stuck");
    if (outcome == Scheduler::Outcome::outOfTime) problems.emplace_back("does not end");

    std::int64_t entries = 1;
    for (const auto& event : mac.description.events) {
        if (event.user == simulated_mac::EventDescription::User::entersPane) ++entries;
    }
    const bool mayStayGreyed =
        std::any_of(mac.description.faults.begin(), mac.description.faults.end(),
                    [](const FaultDescription& fault) { return leavesContinueGreyed(fault.call); });
    if (!mac.window.nextEnabled && !mayStayGreyed) problems.emplace_back("leaves Continue greyed");
    for (std::string& problem : strayReferences(mac, entries))
        problems.push_back(std::move(problem));
    return problems;
}

json runHere(const MacDescription& description, const displaycheck::ChildEnd& end) {
    Mac::Options options;
    options.onCrash = [&end](const std::string& why) { end.fail("crashed: " + why); };
    Mac mac(description, options);
    mac.trace.countUses();
    std::set<std::string, std::less<>> kept;
    for (const auto& [call, asked] : keptAll) kept.insert(call);
    mac.trace.keepOnly(std::move(kept));
    const displaycheck::CapturedOutput output;
    displaycheck::PaneHost host(mac);
    const auto outcome = host.run();
    const auto uses = mac.trace.uses();
    return {{"problems", problemsOf(mac, outcome)}, {"uses", Uses(uses.begin(), uses.end())}};
}

}  // namespace

RunResult runOn(const MacDescription& description) {
    const auto result = displaycheck::runInChild(
        [&](const displaycheck::ChildEnd& end) {
            const std::string text = runHere(description, end).dump();
            end.finish(text, 0);
        },
        limit);
    if (result.failure) return {{}, {*result.failure}};
    const json report = json::parse(result.output);
    return {report["uses"].get<Uses>(), report["problems"].get<std::vector<std::string>>()};
}

MacDescription trimmed(MacDescription description) {
    if (description.chip == simulated_mac::Chip::apple) {
        description.otherRegistryEntries = fewEntries;
    }
    return description;
}

FaultDescription failureOf(const std::string& call, std::uint64_t nth, bool andLater) {
    return {.call = call, .nth = nth, .andLater = andLater, .result = {}};
}

std::string textOf(const FaultDescription& failure) {
    return fmt::format("{}, use {}{}", failure.call, failure.nth,
                       failure.andLater ? " and all later ones" : "");
}

bool leavesContinueGreyed(const std::string& call) {
    return greysContinue.contains(call);
}

}  // namespace torture
