#include "simulated_mac/description/Assumption.h"

#include <algorithm>
#include <utility>

namespace simulated_mac {

namespace {

using Answering = MonitorDescription::Answering;

bool isUnknown(const ScreenDescription& screen) {
    return screen.monitor.answering == Answering::unknown;
}

template <class Value>
void overrideWith(std::optional<Value>& value, const std::optional<Value>& other) {
    if (other) value = other;
}

/// Adds what is expected in this case, which goes before what is expected in any.
void addExpectation(MacExpectation& expected, Assumption assumption) {
    const auto& other = assumption == Assumption::answers ? expected.ifAnswers : expected.ifSilent;
    if (!other) return;
    overrideWith(expected.warning, other->warning);
    overrideWith(expected.continues, other->continues);
    overrideWith(expected.displays, other->displays);
    overrideWith(expected.cameras, other->cameras);
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
    if (mac.expected) addExpectation(*mac.expected, assumption);
    return mac;
}

}  // namespace simulated_mac
