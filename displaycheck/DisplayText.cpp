#include "displaycheck/DisplayText.h"

#include <fmt/format.h>

#include "DDCCI/DDCCtl.h"
#include "Platform/Text.h"
#include "ProductData.h"

namespace displaycheck {

namespace {

constexpr std::size_t indent = 4;
constexpr std::size_t labelColumns = 12;

std::string quoted(const std::optional<std::string>& text) {
    return text ? "\"" + *text + "\"" : "nothing";
}

std::string hex(const simulated_mac::Bytes& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) text += fmt::format("{:02X} ", byte);
    if (!text.empty()) text.pop_back();
    return text;
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

/// Why the display isn't supported, by the first step that failed.
std::string refusal(const DisplayFacts& display) {
    const Explanation& why = display.why;
    if (!why.listed && !why.recent) {
        return "not on the model list, and not of a recent model year";
    }
    if (!display.record->EDIDString) return "no EDID could be paired with it";
    if (why.fromMaker == false) return "its EDID is another maker's";
    if (!why.recent) return "";
    if (!why.reading || why.reading->status != DDCCtl::success) {
        return "a recent model has to answer over DDC/CI, and this one did not";
    }
    return "it answers over DDC/CI, but not as a supported monitor does";
}

std::string verdict(const DisplayFacts& display) {
    switch (display.record->displayState) {
        case displayInfo::supportedAndAnswering:
            return "supported: its answer over DDC/CI confirms it";
        case displayInfo::supportedByList:
            return "supported: by the model list alone, DDC/CI did not confirm it";
        case displayInfo::notSupported: {
            const std::string reason = refusal(display);
            return reason.empty() ? "not supported" : "not supported: " + reason;
        }
        default:
            return display.why.builtIn ? "the built-in panel: not judged" : "not judged";
    }
}

std::string heading(const DisplayFacts& display, const Palette& palette) {
    const displayInfo& record = *display.record;
    const bool supported = record.displayState == displayInfo::supportedAndAnswering ||
                           record.displayState == displayInfo::supportedByList;
    const bool refused = record.displayState == displayInfo::notSupported;
    const std::string mark = supported ? palette.green("✓")
                             : refused ? palette.yellow("✗")
                                       : palette.dim("–");
    const std::string words = verdict(display);
    return fmt::format("  {} {}  {}\n    {}\n", mark,
                       palette.bold(printable(record.name.value_or("(no name)"))),
                       palette.dim(fmt::format("display ID {}, displayState {}",
                                               record.screenNumber, record.displayState.load())),
                       supported ? palette.green(words)
                       : refused ? palette.yellow(words)
                                 : words);
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
        return "none paired: the monitor's own fits, but the pane had not got it when it paired (" +
               identity(*why.unpaired) + ")";
    }
    return "none paired: " + screen + ", but the monitor's EDID says " + identity(*why.unpaired);
}

std::string maker(const DisplayFacts& display) {
    const auto& letters = display.record->plugNplayID;
    const std::string makers = uppercaseText(std::string(ProductData::manufacturerID));
    if (!letters) return "no PnP ID without an EDID; the maker's holds " + makers;
    if (!display.why.fromMaker)
        return fmt::format("PnP ID {}; the maker's holds {}", *letters, makers);
    return *display.why.fromMaker ? fmt::format("yes: PnP ID {} holds {}", *letters, makers)
                                  : fmt::format("no: PnP ID {} does not hold {}", *letters, makers);
}

/// Whether a reply says that the monitor has no such VCP code (VESA DDC/CI 1.1, result code).
bool saysUnsupported(const simulated_mac::Bytes& reply) {
    return reply.size() > 3 && reply[3] == 0x01;
}

std::string answer(const DisplayFacts& display) {
    const auto& reading = display.why.reading;
    if (!reading) {
        const bool lacksService = DDC->UseArm64 && display.record->arm64avService == nullptr &&
                                  display.why.fromMaker != false && display.record->plugNplayID;
        return lacksService ? "not asked: the display has no AV service" : "not asked";
    }
    const std::size_t tries = reading->tries.size();
    const std::string count = tries == 1 ? "1 try" : fmt::format("{} tries", tries);
    if (!reading->value) {
        return fmt::format("no answer that counts after {} (status {})", count, reading->status);
    }
    const std::string value =
        fmt::format("value 0x{:04X} after {} (status {})", *reading->value, count, reading->status);
    if (reading->status != DDCCtl::success) return value + ", which stands for \"nothing read\"";
    return display.record->displayState == displayInfo::supportedAndAnswering
               ? value + ", which confirms a supported monitor"
           : saysUnsupported(reading->tries.back().reply)
               ? value + ": the monitor says that it has no such VCP code"
               : value + ", without the bit that confirms a supported monitor";
}

/// What became of one try of a read of the display.
std::string outcome(const Try& attempt, std::uint32_t displayID) {
    std::string text;
    for (const std::string& obstacle : attempt.obstacles) text += obstacle + "; ";
    text +=
        attempt.request.empty() ? "nothing reached the monitor" : "sent " + hex(attempt.request);
    if (!attempt.request.empty() && attempt.reached != displayID) {
        text += fmt::format(" to the monitor of display {}", attempt.reached);
    }
    if (!attempt.reply.empty()) {
        text += ", came back " + hex(attempt.reply);
    } else if (!attempt.request.empty()) {
        text += ", nothing came back";
    }
    if (!attempt.faults.empty()) text += ": bad reply, " + joined(attempt.faults);
    if (attempt.good) text += ": good reply";
    if (!attempt.transaction.empty()) text += "; " + attempt.transaction;
    return text;
}

/// The tries of a read; those in a row with the same outcome stand together.
std::string tries(const Reading& reading, std::uint32_t displayID, std::size_t columns) {
    std::string text;
    const auto& all = reading.tries;
    for (std::size_t first = 0; first < all.size();) {
        const std::string what = outcome(all[first], displayID);
        std::size_t last = first;
        while (last + 1 < all.size() && outcome(all[last + 1], displayID) == what) ++last;
        const bool one = last == first;
        const std::string label = one ? fmt::format("  try {}", first + 1)
                                      : fmt::format("  try {}-{}", first + 1, last + 1);
        const std::string when =
            one ? "at " + secondsText(all[first].at)
                : fmt::format("at {} to {}", secondsText(all[first].at), secondsText(all[last].at));
        text += labelled(label, when + ": " + what, columns);
        first = last + 1;
    }
    return text;
}

std::string reasons(const DisplayFacts& display, std::size_t columns) {
    const Explanation& why = display.why;
    const std::string name = quoted(display.record->name);
    std::string text;
    text += labelled("model list",
                     (why.listed ? "yes: " : "no: ") + name +
                         (why.listed ? " is a supported model" : " is not a supported model"),
                     columns);
    text += labelled(
        "model year",
        (why.recent ? "recent: \"" : "not recent, or none: \"") + why.regularName + "\"", columns);
    // The name alone decides on these.
    if (!why.listed && !why.recent) return text;
    text += labelled("EDID", pairing(display), columns);
    text += labelled("maker", maker(display), columns);
    text += labelled("DDC/CI", answer(display), columns);
    if (why.reading) text += tries(*why.reading, display.record->screenNumber, columns);
    return text;
}

}  // namespace

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
    std::string text = heading(display, palette);
    if (!display.why.builtIn) text += reasons(display, columns);
    return text;
}

}  // namespace displaycheck
