#include "displaycheck/report/DisplayText.h"

#include <fmt/format.h>

#include <algorithm>

#include "displaycheck/report/ModelText.h"
#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/Platform/Text.h"
#include "plugin/ProductData.h"
#include "simulated_mac/description/HexText.h"

using namespace vorn;

namespace displaycheck {

namespace {

constexpr std::size_t indent = 4;
constexpr std::size_t labelColumns = 12;

std::string quoted(const std::optional<std::string>& text) {
    return text ? "\"" + *text + "\"" : "nothing";
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) all += (all.empty() ? "" : "; ") + text;
    return all;
}

std::string identity(const EDIDInfo& info) {
    std::string text = fmt::format("name {}, PnP ID {}, serial number {}", quoted(info.modelName),
                                   info.plugNplayID.value_or("none"), info.serialNumber);
    if (info.serviceTag) text += ", service tag " + quoted(info.serviceTag);
    return text;
}

std::string makersLetters() {
    return uppercaseText(std::string(ProductData::manufacturerID));
}

/// The three letters in front of a PnP ID's product code.
std::string lettersOf(const std::string& plugNplayID) {
    return plugNplayID.substr(0, 3);
}

/// The display whose monitor answered in this display's place; nothing if its own did, or none.
std::optional<std::uint32_t> answeredInItsPlace(const DisplayFacts& display) {
    const auto& reading = display.why.reading;
    if (!reading || !reading->tries.back().good) return std::nullopt;
    const std::uint32_t reached = reading->tries.back().reached;
    return reached == display.record->screenNumber ? std::nullopt : std::optional(reached);
}

/// Why the name is neither listed nor recent.
std::string refusalOfName(const ModelFacts& model) {
    if (model.nearlyListed && model.nearlyListed->twinSuffix) {
        return "the number behind its name keeps it off the model list, and it is not of a recent "
               "model year";
    }
    return "not on the model list, and not of a recent model year";
}

/// Why a recent model's answer over DDC/CI does not count.
std::string refusalOfAnswer(const DisplayFacts& display) {
    const Explanation& why = display.why;
    const std::string rule = "a recent model has to answer over DDC/CI, and ";
    if (!why.reading) return rule + "this one could not be asked";
    if (why.reading->status != DDCCtl::success) return rule + "this one did not";
    if (why.codeWithoutAnswer) return rule + "the Mac file gives it no answer";
    if (const auto other = answeredInItsPlace(display)) {
        return fmt::format("{}only display {}'s monitor did, and not as a supported one", rule,
                           *other);
    }
    return "it answers over DDC/CI, but not as a supported monitor does";
}

/// Why the display isn't supported, by the first step that failed.
std::string refusal(const DisplayFacts& display) {
    const Explanation& why = display.why;
    if (!why.model.listed && !why.model.recent) return refusalOfName(why.model);
    if (!display.record->EDIDString) return "no EDID could be paired with it";
    if (why.fromMaker == false) {
        return fmt::format("its EDID is another maker's: {}, not {}",
                           lettersOf(display.record->plugNplayID.value_or("")), makersLetters());
    }
    return why.model.recent ? refusalOfAnswer(display) : "";
}

std::string confirmation(const DisplayFacts& display) {
    if (const auto other = answeredInItsPlace(display)) {
        return fmt::format("an answer over DDC/CI confirms it, but that of display {}'s monitor",
                           *other);
    }
    return display.why.answerAssumed ? "its assumed answer over DDC/CI confirms it"
                                     : "its answer over DDC/CI confirms it";
}

std::string lackOfConfirmation(const Explanation& why) {
    if (!why.reading) return "it was not asked over DDC/CI";
    if (why.codeWithoutAnswer) return "the Mac file gives it no answer over DDC/CI";
    return "DDC/CI did not confirm it";
}

std::string heading(const DisplayFacts& display, std::size_t columns, const Palette& palette) {
    const auto bold = [&palette](std::string_view text) { return palette.bold(text); };
    const displayInfo& record = *display.record;
    const bool supported = isSupportedState(record.displayState);
    const bool refused = record.displayState == displayInfo::notSupported;
    const std::string mark = supported ? palette.green("✓")
                             : refused ? palette.yellow("✗")
                                       : palette.dim("–");
    const std::string name = printable(record.name.value_or("(no name)"));
    const std::string numbers = fmt::format("display ID {}, displayState {}", record.screenNumber,
                                            record.displayState.load());
    const bool fits = indent + displayWidth(name) + 2 + numbers.size() <= columns;
    std::string text = fmt::format("  {} ", mark);
    // The first line begins with the mark in place of blanks.
    text += paragraph(name, columns, indent, 0, bold).substr(indent);
    if (fits) text.pop_back();
    text += (fits ? "  " : std::string(indent, ' ')) + palette.dim(numbers) + "\n";
    return text + paragraph(verdictText(display), columns, indent, 0, [&](std::string_view words) {
               return supported ? palette.green(words)
                      : refused ? palette.yellow(words)
                                : std::string(words);
           });
}

std::string pairing(const DisplayFacts& display) {
    const Explanation& why = display.why;
    const displayInfo& record = *display.record;
    if (why.paired) return "paired: " + identity(*why.paired);
    if (record.EDIDString) return "paired, but too short to say anything";
    const std::string screen = fmt::format("the screen is {} with serial number {}",
                                           quoted(record.name), record.serialNumber);
    if (!why.unpaired) return "none paired, and the monitor has none that could be: " + screen;
    if (why.unpairedFits) {
        return "none paired: the monitor's own fits, but the pane did not have it when it paired "
               "(" +
               identity(*why.unpaired) + ")";
    }
    return "none paired: " + screen + ", but the monitor's EDID says " + identity(*why.unpaired);
}

std::string maker(const DisplayFacts& display) {
    const auto& ID = display.record->plugNplayID;
    if (!ID) return "not known without an EDID; expected " + makersLetters();
    if (display.why.fromMaker == true) return fmt::format("yes: {} in {}", makersLetters(), *ID);
    return fmt::format("{}: {} in {}; expected {}", display.why.fromMaker ? "no" : "not asked for",
                       lettersOf(*ID), *ID, makersLetters());
}

/// Whether a reply says that the monitor has no such VCP code (VESA DDC/CI 1.1, result code).
bool saysUnsupported(const simulated_mac::Bytes& reply) {
    return reply.size() > 3 && reply[3] == 0x01;
}

std::string whyNotAsked(const DisplayFacts& display) {
    const displayInfo& record = *display.record;
    if (!record.plugNplayID) return ": no EDID was paired with it";
    if (display.why.fromMaker == false) return ": the EDID is another maker's";
    return DDC->UseArm64 && record.arm64avService == nullptr ? ": the display has no AV service"
                                                             : "";
}

std::string statusText(std::int32_t status) {
    const char* const meaning = status == DDCCtl::noValue    ? ", no value"
                                : status == DDCCtl::badReply ? ", bad reply"
                                                             : "";
    return fmt::format("status {}{}", status, meaning);
}

std::string answer(const DisplayFacts& display) {
    const auto& reading = display.why.reading;
    if (!reading) return "not asked" + whyNotAsked(display);
    const std::size_t tries = reading->tries.size();
    const std::string after = fmt::format("after {} {} ({})", tries, tries == 1 ? "try" : "tries",
                                          statusText(reading->status));
    if (!reading->value) return "no answer that counts " + after;
    const std::string value = fmt::format("value 0x{:04X} {}", *reading->value, after);
    if (display.why.codeWithoutAnswer) {
        return fmt::format(
            "no evidence: the Mac file has no `vcp` for 0x{:02X}, which counts as unsupported; {}",
            *display.why.codeWithoutAnswer, value);
    }
    if (reading->status != DDCCtl::success) return value + ", which stands for \"nothing read\"";
    return display.record->displayState == displayInfo::supportedAndAnswering
               ? value + ", which confirms a supported monitor"
           : saysUnsupported(reading->tries.back().reply)
               ? value + ": the monitor says that it has no such VCP code"
               : value + ", without the bit that confirms a supported monitor";
}

/// The outcome of one try to read from the display.
std::string outcome(const Try& attempt, const DisplayFacts& display) {
    std::string text;
    for (const std::string& obstacle : attempt.obstacles) text += obstacle + "; ";
    text += attempt.request.empty() ? "nothing reached the monitor"
                                    : "sent " + simulated_mac::hexText(attempt.request, " ");
    if (!attempt.request.empty() && attempt.reached != display.record->screenNumber) {
        text += fmt::format(" to the monitor of display {}", attempt.reached);
    }
    if (!attempt.reply.empty()) {
        text += ", came back " + simulated_mac::hexText(attempt.reply, " ");
    } else if (!attempt.request.empty()) {
        text += ", nothing came back";
    }
    if (!attempt.faults.empty()) text += ": bad reply, " + joined(attempt.faults);
    if (attempt.good) text += ": good reply";
    if (attempt.good && display.why.codeWithoutAnswer) text += ", made up, as there is no `vcp`";
    if (!attempt.transaction.empty()) text += "; " + attempt.transaction;
    return text;
}

/// The tries of a read; consecutive ones with the same outcome are combined.
std::string tries(const DisplayFacts& display, std::size_t columns) {
    std::string text;
    const auto& all = display.why.reading->tries;
    for (std::size_t first = 0; first < all.size();) {
        const std::string what = outcome(all[first], display);
        std::size_t last = first;
        while (last + 1 < all.size() && outcome(all[last + 1], display) == what) ++last;
        const bool one = last == first;
        const std::string label = one ? fmt::format("  try {}", first + 1)
                                      : fmt::format("  try {}-{}", first + 1, last + 1);
        const std::string when =
            one ? "at " + secondsText(all[first].at)
                : fmt::format("at {} to {}", secondsText(all[first].at), secondsText(all[last].at));
        text += labelled(label, fmt::format("{}: {}", when, what), columns);
        first = last + 1;
    }
    return text;
}

std::string pieces(const MatchedPieces& matched) {
    const auto names = namesOf(matched);
    return names.empty() ? "" : fmt::format(" ({})", fmt::join(names, ", "));
}

std::string fate(const ServiceCandidate& candidate) {
    using enum ServiceCandidate::Fate;
    const std::string opened =
        candidate.opened ? "" : "; but no AV service could be opened for its proxy";
    switch (candidate.fate) {
        case used:
            return "handed out first" + opened;
        case handedOut:
            return "handed out too, but only the first counts" + opened;
        case refused:
            return "refused: the display and the service were taken";
        case noMatch:
            return "never handed out";
        case notExternal:
            break;
    }
    return candidate.location ? "not external: its location is " + quoted(candidate.location)
                              : "not known to be external: it has no location";
}

std::string judgement(const ServiceCandidate& candidate) {
    if (candidate.fate == ServiceCandidate::Fate::notExternal) return fate(candidate);
    return fmt::format("{} of {} points{}: {}", candidate.matched.score(),
                       MatchedPieces::highestScore, pieces(candidate.matched), fate(candidate));
}

/// Which AV service the display has.
std::string service(const DisplayFacts& display) {
    const ServicePairing& pairing = *display.why.services;
    const auto& all = pairing.candidates;
    const auto used = std::find_if(all.begin(), all.end(), [](const ServiceCandidate& candidate) {
        return candidate.fate == ServiceCandidate::Fate::used;
    });
    if (!pairing.asInRun) {
        return (pairing.reached ? fmt::format("the one of display {}'s monitor", *pairing.reached)
                                : std::string("none")) +
               " when the pane looked; asked again, the registry says otherwise";
    }
    if (used == all.end()) {
        return all.empty() ? "none: the registry has no proxy of one" : "none: no proxy matches";
    }
    if (!pairing.reached) return "none: it could not be opened";
    const std::string which = fmt::format("that behind framebuffer {}", used->framebuffer);
    return *pairing.reached == display.record->screenNumber
               ? which
               : fmt::format("{}: it reaches display {}'s monitor", which, *pairing.reached);
}

/// The display services, compared with the display.
std::string services(const ServicePairing& pairing, std::size_t columns) {
    std::string text;
    for (const ServiceCandidate& candidate : pairing.candidates) {
        const std::string label = candidate.framebuffer == 0
                                      ? "  no buffer"
                                      : fmt::format("  buffer {}", candidate.framebuffer);
        text += labelled(label, judgement(candidate), columns);
    }
    return text;
}

/// A built-in panel matches a monitor's service only by accident.
bool takesServices(const Explanation& why) {
    const auto matches = [](const ServiceCandidate& candidate) {
        return candidate.fate != ServiceCandidate::Fate::notExternal &&
               candidate.fate != ServiceCandidate::Fate::noMatch;
    };
    return why.services &&
           std::any_of(why.services->candidates.begin(), why.services->candidates.end(), matches);
}

std::string modelList(const ModelFacts& model) {
    const bool isTwin = model.nearlyListed && model.nearlyListed->twinSuffix;
    return modelListText(model) +
           (isTwin ? " (the system puts it behind the names of monitors of one name)" : "");
}

std::string missingCleanRequest(const NearMiss& near) {
    return fmt::format(
        "no clean request was sent after a bad reply: {} needs one, but {} with its name",
        fmt::join(near.models, ", "), near.obstacle);
}

constexpr auto serviceQuestion = "AV service";
constexpr auto answerQuestion = "DDC/CI";

}  // namespace

std::string verdictText(const DisplayFacts& display) {
    switch (display.record->displayState) {
        case displayInfo::supportedAndAnswering:
            return "supported: " + confirmation(display);
        case displayInfo::supportedByList:
            return "supported: by the model list alone; " + lackOfConfirmation(display.why);
        case displayInfo::notSupported: {
            const std::string reason = refusal(display);
            return reason.empty() ? "not supported" : "not supported: " + reason;
        }
        default:
            if (display.why.builtIn) return "the built-in panel: not judged";
            return display.record->name.value_or("").find("Build-in") != std::string::npos
                       ? "not judged: the pane takes its name for the built-in panel's"
                       : "not judged";
    }
}

std::vector<Reason> reasonsOf(const DisplayFacts& display) {
    const Explanation& why = display.why;
    std::vector<Reason> reasons;
    if (why.builtIn) {
        if (takesServices(why)) reasons.push_back({serviceQuestion, service(display)});
        return reasons;
    }
    reasons.push_back({"model list", modelList(why.model)});
    reasons.push_back({"model year", (why.model.recent ? "recent: " : "not recent: ") +
                                         modelYearText(why.model)});
    if (why.services) reasons.push_back({serviceQuestion, service(display)});
    // The name alone decides on these.
    if (!why.model.listed && !why.model.recent) return reasons;
    reasons.push_back({"EDID", pairing(display)});
    reasons.push_back({"maker", maker(display)});
    reasons.push_back({answerQuestion, (why.answerAssumed ? "assumed: " : "") + answer(display)});
    if (why.lacksCleanRequest) {
        reasons.push_back({"chip", missingCleanRequest(*why.model.nearlySpecialChip)});
    }
    return reasons;
}

std::string labelled(std::string_view label, std::string_view text, std::size_t columns) {
    const std::size_t before = indent + labelColumns;
    std::string all;
    for (const auto& line : wrapText(printable(text), columns - before, {}, Palette(false))) {
        all += std::string(indent, ' ') + padded(all.empty() ? label : "", labelColumns) +
               line.text + "\n";
    }
    return all;
}

std::string displayText(const DisplayFacts& display, std::size_t columns, const Palette& palette) {
    const Explanation& why = display.why;
    std::string text = heading(display, columns, palette);
    for (const Reason& reason : reasonsOf(display)) {
        text += labelled(reason.question, reason.answer, columns);
        if (reason.question == serviceQuestion) text += services(*why.services, columns);
        if (reason.question == answerQuestion && why.reading) {
            text += tries(display, columns);
        }
    }
    return text;
}

}  // namespace displaycheck
