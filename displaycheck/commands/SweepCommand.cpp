#include "displaycheck/commands/SweepCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/commands/MacFiles.h"
#include "displaycheck/commands/Plays.h"
#include "displaycheck/report/Summary.h"
#include "plugin/ProductData.h"

namespace displaycheck {

namespace {

using simulated_mac::Chip;
using simulated_mac::DDCAnswer;
using simulated_mac::MacDescription;
using simulated_mac::MonitorDescription;
using simulated_mac::ScreenDescription;

/// What all external monitors of the Mac send back: each kind for one request, the last one for all
/// that follow.
struct Behaviour {
    std::string_view name;
    std::vector<DDCAnswer::Kind> answers;
};

const std::vector<Behaviour>& behaviours() {
    using Kind = DDCAnswer::Kind;
    static const std::vector<Behaviour> all = {
        {"answers", {Kind::good}},
        {"silent", {Kind::silent}},
        {"bad checksum", {Kind::badChecksum}},
        {"wrong code", {Kind::wrongCode}},
        {"late", {Kind::silent, Kind::silent, Kind::good}},
    };
    return all;
}

std::string_view nameOf(Chip chip) {
    return chip == Chip::intel ? "Intel" : "Apple silicon";
}

MonitorDescription monitorWith(const MonitorDescription& monitor, const Behaviour& behaviour) {
    MonitorDescription changed;
    changed.edid = monitor.edid;
    changed.vcp = {{ProductData::confirmationCode, {.current = ProductData::confirmationBit}}};
    for (const DDCAnswer::Kind kind : behaviour.answers) changed.answers.push_back({kind, {}});
    return changed;
}

Play playOf(const MacFile& file, Chip chip, const Behaviour& behaviour) {
    MacDescription mac = file.description;
    mac.chip = chip;
    mac.expected.reset();
    for (ScreenDescription& screen : mac.screens) {
        if (!screen.builtIn) screen.monitor = monitorWith(screen.monitor, behaviour);
    }
    return {file.path, std::move(mac), std::nullopt,
            fmt::format("{}, {}", nameOf(chip), behaviour.name)};
}

}  // namespace

int sweepMacFile(const std::string& path, const std::optional<std::size_t>& jobs) {
    const MacFile file = readMacFiles({path}).front();
    if (file.error) {
        printMessages(*file.error);
        return badInput;
    }
    const Terminal terminal;
    std::vector<Play> plays;
    std::string note;
    for (const Chip chip : {Chip::intel, Chip::apple}) {
        if (file.description.registry != nullptr && chip != file.description.chip) {
            note = paragraph(
                fmt::format("Its registry is that of a real Mac: it can't have {}.",
                            chip == Chip::intel ? "an Intel chip" : "an Apple-silicon chip"),
                terminal.columns);
            continue;
        }
        for (const Behaviour& behaviour : behaviours()) {
            plays.push_back(playOf(file, chip, behaviour));
        }
    }
    PlayOptions playing;
    playing.jobs = jobsFor(jobs);
    std::vector<RunRecord> runs;
    int status = done;
    playAll(
        plays, playing, terminal,
        [&](const RunRecord& run) {
            status = std::max<int>(status, complain(run));
            runs.push_back(run);
        },
        [](std::size_t) {});
    terminal.print(paragraph(fmt::format("{}: {}", file.path, file.description.title),
                             terminal.columns, 0, 2) +
                   note + "\n" + summary(runs, terminal.columns, terminal.output));
    return status;
}

}  // namespace displaycheck
