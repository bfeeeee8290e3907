#include "displaycheck/commands/CompareCommand.h"

#include <fmt/format.h>

#include <cstdio>

#include "displaycheck/commands/DumpFiles.h"
#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/commands/MacFiles.h"
#include "displaycheck/dumps/DumpError.h"
#include "displaycheck/dumps/RegistryComparison.h"
#include "displaycheck/dumps/SystemProfile.h"
#include "displaycheck/host/AssumedMac.h"
#include "displaycheck/report/Terminal.h"
#include "displaycheck/report/TerminalText.h"
#include "simulated_mac/machine/Mac.h"

namespace displaycheck {

namespace {

using simulated_mac::RecordedRegistry;

/// What the Mac's tools print when it is switched on.
struct MacShown {
    std::string registry;
    std::string profile;
};

MacShown shownBy(const MacFile& file) {
    // What a monitor would answer is in no dump.
    simulated_mac::Mac mac(assumedMac(file.description, simulated_mac::Assumption::silent));
    return {mac.runTool({"ioreg", "-l"}).text,
            mac.runTool({"system_profiler", "SPDisplaysDataType", "-json"}).text};
}

std::vector<std::string> namesIn(const SystemProfile& profile) {
    std::vector<std::string> names;
    for (const ProfiledDisplay& display : profile.displays) names.push_back(display.name);
    return names;
}

void compareProfiles(const SystemProfile& mac, const SystemProfile& dump,
                     std::vector<std::string>& found) {
    const auto compare = [&found](const char* what, const std::vector<std::string>& here,
                                  const std::vector<std::string>& there) {
        if (here == there) return;
        found.push_back(fmt::format("system_profiler: {} {}, in the dump {}", what,
                                    fmt::join(here, ", "), fmt::join(there, ", ")));
    };
    if (!dump.chipsets.empty()) compare("chipset", mac.chipsets, {dump.chipsets.front()});
    compare("displays", namesIn(mac), namesIn(dump));
}

}  // namespace

int compareWithDumps(const std::string& macFile, const std::vector<std::string>& dumps) {
    const MacFile file = readMacFile(macFile);
    if (file.error) {
        printMessages(*file.error);
        return badInput;
    }
    std::vector<std::string> found;
    std::size_t compared = 0;
    try {
        const MacRecord record = readMacRecord(dumps);
        if (record.registry == nullptr) {
            throw DumpError("no registry found in the dumps; expected the output of ioreg -l");
        }
        const MacShown shown = shownBy(file);
        const auto recorded = entriesThatThePaneReads(*record.registry);
        found = differences(entriesThatThePaneReads(RecordedRegistry(shown.registry)), recorded);
        compared = recorded.size();
        const auto profile = readSystemProfile(shown.profile);
        if (record.profile && profile) compareProfiles(*profile, *record.profile, found);
    } catch (const DumpError& error) {
        printMessages("displaycheck: " + printable(error.what()));
        return badInput;
    } catch (const simulated_mac::RecordedRegistryError& error) {
        printMessages(printable(macFile) +
                      ": its ioreg prints no registry: " + printable(error.what()));
        return badInput;
    }
    const Terminal terminal;
    if (found.empty()) {
        terminal.print(wholeWords(
            fmt::format("{}: shows what the dump shows, in all {} entries that the pane reads",
                        macFile, compared),
            terminal.columns, 0, 4));
        return done;
    }
    std::string text = wholeWords(fmt::format("{}: differs from the dump in {} {}", macFile,
                                              found.size(), found.size() == 1 ? "place" : "places"),
                                  terminal.columns, 0, 4);
    for (const std::string& line : found) text += wholeWords(line, terminal.columns, 2, 2);
    terminal.print(text);
    return unfinished;
}

}  // namespace displaycheck
