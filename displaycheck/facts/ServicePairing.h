#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/DDCCI/Arm64Utility.h"
#include "plugin/Display/displayInfo.h"
#include "plugin/MyInstallerPane.h"
#include "simulated_mac/machine/Mac.h"

/// How the display services of an Apple-silicon Mac were paired with its screens: the pane's own
/// operations, repeated after the run.
namespace displaycheck {

/// An AV service proxy, compared with one display.
struct ServiceCandidate {
    enum class Fate {
        used,         ///< handed out, and the display's first: it has this service
        handedOut,    ///< handed out after another one, which is used
        refused,      ///< the display and the service were both taken
        noMatch,      ///< score 0, so never handed out
        notExternal,  ///< not scored
    };

    std::int32_t framebuffer = 0;         ///< its ordinal in the registry walk; 0 before the first
    std::optional<std::string> location;  ///< of the proxy
    bool opened = false;                  ///< there is an AV service for it
    MatchedPieces matched;
    Fate fate = Fate::noMatch;
};

/// "used", "handed out", "refused", "no match" or "not external".
std::string_view nameOf(ServiceCandidate::Fate fate);
/// What matched, in words such as "product code".
std::vector<std::string> namesOf(const MatchedPieces& matched);

/// The registry's services for one display.
struct ServicePairing {
    std::vector<ServiceCandidate> candidates;  ///< in walk order
    /// The display whose monitor the display's AV service reaches; nothing without a service.
    std::optional<std::uint32_t> reached;
    /// False if the display has another service (or none) than the candidates now suggest: the
    /// registry changed since the pane looked at it last.
    bool asInRun = true;
};

/// The pairings of all displays, by display ID. Empty if the pane pairs none: on an Intel Mac,
/// and without an external screen. Makes platform calls itself.
std::map<std::uint32_t, ServicePairing> pairServices(const vorn::MyInstallerPane& pane,
                                                     const DisplayList& displays);

}  // namespace displaycheck
