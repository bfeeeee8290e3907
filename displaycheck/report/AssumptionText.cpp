#include "displaycheck/report/AssumptionText.h"

#include <fmt/format.h>

#include <string_view>

namespace displaycheck {

namespace {

using simulated_mac::Assumption;

std::string_view textOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::warns:
            return "the pane warns";
        case Verdict::doesNotWarn:
            return "the pane does not warn";
        case Verdict::noRun:
            return "no detection run finishes";
        case Verdict::failed:
            break;
    }
    return "the run fails";
}

}  // namespace

std::string condition(Assumption assumption, std::size_t unknownMonitors) {
    const bool one = unknownMonitors == 1;
    if (assumption == Assumption::answers) {
        return one ? "If it answers over DDC/CI" : "If they answer over DDC/CI";
    }
    return one ? "If it stays silent" : "If they stay silent";
}

std::string eitherWay(std::size_t unknownMonitors) {
    return unknownMonitors == 1 ? "Whether it answers over DDC/CI or not"
                                : "Whether they answer over DDC/CI or not";
}

std::string singleVerdict(Assumption assumption, Verdict verdict, std::size_t unknownMonitors) {
    return fmt::format("{}, {}.", condition(assumption, unknownMonitors), textOf(verdict));
}

std::string bothVerdicts(Verdict ifItAnswers, Verdict ifItIsSilent, std::size_t unknownMonitors) {
    if (ifItAnswers == ifItIsSilent) {
        return fmt::format("{}, {}.", eitherWay(unknownMonitors), textOf(ifItAnswers));
    }
    std::string silent = condition(Assumption::silent, unknownMonitors);
    silent.front() = 'i';  // in the middle of the sentence
    return fmt::format("{}, {}; {}, {}.", condition(Assumption::answers, unknownMonitors),
                       textOf(ifItAnswers), silent, textOf(ifItIsSilent));
}

}  // namespace displaycheck
