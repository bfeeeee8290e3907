#include "simulated_mac/description/Assumption.h"

#include <algorithm>
#include <utility>

namespace simulated_mac {

namespace {

using Answering = MonitorDescription::Answering;

bool isUnknown(const ScreenDescription& screen) {
    return screen.monitor.answering == Answering::unknown;
}

}  // namespace

std::string_view nameOf(Assumption assumption) {
    return assumption == Assumption::answers ? "answers" : "silent";
}

std::optional<Assumption> assumptionNamed(std::string_view name) {
    for (const Assumption assumption : {Assumption::answers, Assumption::silent}) {
        if (name == nameOf(assumption)) return assumption;
    }
    return std::nullopt;
}

std::size_t countUnknownMonitors(const MacDescription& mac) {
    return static_cast<std::size_t>(
        std::count_if(mac.screens.begin(), mac.screens.end(), isUnknown));
}

MacDescription assume(MacDescription mac, Assumption assumption, const VCPTable& answers) {
    for (ScreenDescription& screen : mac.screens) {
        if (!isUnknown(screen)) continue;
        MonitorDescription assumed;
        assumed.edid = screen.monitor.edid;
        assumed.answering = Answering::assumed;
        if (assumption == Assumption::answers) {
            assumed.vcp = answers;
        } else {
            assumed.answers = {{DDCAnswer::Kind::silent, {}}};
        }
        screen.monitor = std::move(assumed);
    }
    return mac;
}

}  // namespace simulated_mac
