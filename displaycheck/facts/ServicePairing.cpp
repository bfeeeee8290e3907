#include "displaycheck/facts/ServicePairing.h"

#include <algorithm>

#include "plugin/DDCCI/DDCCtl.h"
#include "simulated_mac/platform/AVService.h"

namespace displaycheck {

namespace {

using Fate = ServiceCandidate::Fate;
using Matches = std::vector<DisplayService>;

Matches::const_iterator firstOf(const Matches& matches, std::uint32_t displayID) {
    return std::find_if(matches.begin(), matches.end(), [displayID](const DisplayService& match) {
        return match.displayID == displayID;
    });
}

bool isExternal(const IOregService& service) {
    return service.location && service.location->find("External") != std::string::npos;
}

/// Decides the fates of one display's candidates. A display and a framebuffer are paired once at
/// most: with several proxies below a framebuffer, by the first.
class Fates {
  public:
    Fates(const Matches& matches, std::uint32_t displayID)
        : matches_(matches), displayID_(displayID) {}

    Fate next(const IOregService& service, const MatchedPieces& matched) {
        if (!isExternal(service)) return Fate::notExternal;
        if (matched.score() == 0) return Fate::noMatch;
        const auto match = std::find_if(matches_.begin(), matches_.end(), [&](const auto& given) {
            return given.displayID == displayID_ &&
                   given.serviceLocation == service.serviceLocation;
        });
        const bool firstProxy =
            std::find(seen_.begin(), seen_.end(), service.serviceLocation) == seen_.end();
        seen_.push_back(service.serviceLocation);
        if (match == matches_.end() || !firstProxy) return Fate::refused;
        return match == firstOf(matches_, displayID_) ? Fate::used : Fate::handedOut;
    }

  private:
    const Matches& matches_;
    const std::uint32_t displayID_;
    std::vector<std::int32_t> seen_;
};

std::optional<std::uint32_t> reachedBy(const void* service) {
    const auto* const display = simulated_mac::displayBehind(service);
    if (display == nullptr) return std::nullopt;
    return display->displayID;
}

}  // namespace

std::string_view nameOf(ServiceCandidate::Fate fate) {
    using enum ServiceCandidate::Fate;
    switch (fate) {
        case used:
            return "used";
        case handedOut:
            return "handed out";
        case refused:
            return "refused";
        case noMatch:
            return "no match";
        case notExternal:
            break;
    }
    return "not external";
}

std::vector<std::string> namesOf(const MatchedPieces& matched) {
    std::vector<std::string> names;
    const auto add = [&names](bool is, const char* name) {
        if (is) names.emplace_back(name);
    };
    add(matched.vendor, "vendor");
    add(matched.product, "product code");
    add(matched.date, "date");
    add(matched.size, "size");
    add(matched.productName, "name");
    add(matched.serialNumber, "serial number");
    add(matched.location, "ordinal");
    return names;
}

std::map<std::uint32_t, ServicePairing> pairServices(const vorn::MyInstallerPane& pane,
                                                     const DisplayList& displays) {
    // Without a display, the pane may have failed before it made its controllers.
    if (displays.empty() || !DDC->UseArm64) return {};
    const auto arm64 = arm64Util.get();
    if (arm64 == nullptr || pane.getNSScreenCount() == 0) return {};

    const auto services = arm64->getIoregServicesForMatching();
    const auto matches = arm64->getServiceMatches(pane.getDisplayIDsArr());
    std::map<std::uint32_t, ServicePairing> pairings;
    for (const auto& display : displays) {
        const std::uint32_t displayID = display->screenNumber;
        ServicePairing& pairing = pairings[displayID];
        Fates fates(matches, displayID);
        for (const IOregService& service : services) {
            const auto matched =
                arm64->matchedPieces(displayID, service.edidUUID, service.productName,
                                     service.serialNumber, service.serviceLocation);
            pairing.candidates.push_back({service.serviceLocation, service.location,
                                          service.avService != nullptr, matched,
                                          fates.next(service, matched)});
        }
        const auto first = firstOf(matches, displayID);
        const auto reachedNow =
            first != matches.end() ? reachedBy(first->avService) : std::optional<std::uint32_t>();
        pairing.reached = reachedBy(display->arm64avService);
        pairing.asInRun = pairing.reached == reachedNow;
    }
    return pairings;
}

}  // namespace displaycheck
