#include "simulated_mac/tools/SystemTools.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "plugin/Utilities/RunCommand.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/machine/Mac.h"

namespace simulated_mac {
namespace system_tools_test {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;

ScreenDescription monitorNamed(const std::string& name) {
    EDIDFields fields;
    fields.name = name;
    ScreenDescription screen;
    screen.monitor.edid = makeEDID(fields);
    return screen;
}

ScreenDescription builtInPanel() {
    auto screen = monitorNamed("Color LCD");
    screen.builtIn = true;
    return screen;
}

MacDescription macWith(std::vector<ScreenDescription> screens) {
    MacDescription description;
    description.screens = std::move(screens);
    return description;
}

MacDescription appleMacWith(std::vector<ScreenDescription> screens) {
    auto description = macWith(std::move(screens));
    description.chip = Chip::apple;
    return description;
}

std::string hex(const Bytes& bytes) {
    return fmt::format("{:02x}", fmt::join(bytes, ""));
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

/// What a command line prints on the Mac that is switched on.
std::string shell(const std::string& commandLine) {
    return RunCommand().runCommand(commandLine).value_or("no UTF-8");
}

constexpr auto edidLines = "ioreg -l | grep IODisplayEDID";

// EDIDs

TEST(SystemTools, TheRegistryToolPrintsTheEDIDOfEveryDisplayInLowerCaseHex) {
    const auto first = builtInPanel();
    const auto second = monitorNamed("VORN K2725QX");
    const Mac mac(macWith({first, second, ScreenDescription{}}));
    const auto lines = linesOf(shell(edidLines));
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_THAT(lines[0],
                testing::EndsWith("\"IODisplayEDID\" = <" + hex(first.monitor.edid) + ">"));
    EXPECT_THAT(lines[1],
                testing::EndsWith("\"IODisplayEDID\" = <" + hex(second.monitor.edid) + ">"));
    EXPECT_THAT(lines[0], HasSubstr("<00ffffffffffff00"));
}

TEST(SystemTools, TheRegistryToolPrintsAllBlocksOfAnEDID) {
    auto monitor = monitorNamed("VORN K2422H");
    monitor.monitor.edid.resize(384, 0xAB);
    const Mac mac(macWith({monitor}));
    EXPECT_THAT(shell(edidLines), HasSubstr("<" + hex(monitor.monitor.edid) + ">\n"));
}

TEST(SystemTools, TheBuiltInPanelsEDIDIsPrintedUnlessTheMacSaysOtherwise) {
    {
        const Mac mac(macWith({builtInPanel()}));
        EXPECT_THAT(linesOf(shell(edidLines)), SizeIs(1));
    }
    auto unlisted = builtInPanel();
    unlisted.edidListed = false;
    const Mac mac(macWith({unlisted}));
    EXPECT_EQ(shell(edidLines), "");
}

TEST(SystemTools, AMonitorsEDIDMayNotBeListed) {
    auto unlisted = monitorNamed("VORN K2422H");
    unlisted.edidListed = false;
    const Mac mac(macWith({unlisted, ScreenDescription{}}));
    EXPECT_EQ(shell(edidLines), "");
}

TEST(SystemTools, AMonitorsEDIDMayBeListedLater) {
    auto late = monitorNamed("VORN K2422H");
    late.edidListedAt = 2;
    Mac mac(macWith({late}));
    std::vector<std::size_t> listed;
    for (const Time time : {0s, 1s, 2s, 3s}) {
        mac.scheduler.onMainAt(time, [&] { listed.push_back(linesOf(shell(edidLines)).size()); });
    }
    mac.scheduler.runUntilQuiet();
    EXPECT_THAT(listed, ElementsAre(0u, 0u, 1u, 1u));
}

// The tree

TEST(SystemTools, TheRegistryToolPrintsATreeWithAPropertyALine) {
    Mac mac(macWith({}));
    RegistryEntry bus;
    bus.name = "bus";
    bus.location = "1F";
    bus.classes = {"VornBus", "IOService"};
    const auto entry = mac.registry.add(mac.registry.root(), bus);
    for (const auto& [key, value] :
         PropertyMap{{"Text", PropertyValue{std::string("Größe")}},
                     {"Number", PropertyValue{std::int64_t{42}}},
                     {"Negative", PropertyValue{std::int64_t{-1}}},
                     {"Yes", PropertyValue{true}},
                     {"No", PropertyValue{false}},
                     {"Data", PropertyValue{Bytes{0x0A, 0xFF}}},
                     {"NoData", PropertyValue{Bytes{}}},
                     {"List", PropertyValue{PropertyList{PropertyValue{std::string("a")},
                                                         PropertyValue{std::int64_t{1}}}}},
                     {"Dictionary", PropertyValue{PropertyMap{{"a", PropertyValue{true}},
                                                              {"b", PropertyValue{Bytes{1}}}}}}}) {
        mac.registry.setProperty(entry, key, makeCF(value));
    }
    RegistryEntry leaf;
    leaf.name = "leaf";
    leaf.classes = {"VornLeaf"};
    mac.registry.add(entry, leaf);

    const auto lines = linesOf(shell("ioreg -l"));
    ASSERT_FALSE(lines.empty());
    EXPECT_THAT(lines[0], MatchesRegex("\\+-o Root  <class IORegistryEntry, id 0x[0-9a-f]+.*>"));
    const auto at = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.find("+-o bus@1F") != std::string::npos;
    });
    ASSERT_GE(lines.end() - at, 17);
    const std::vector<std::string> part(at, at + 17);
    EXPECT_THAT(part[0], MatchesRegex("  \\+-o bus@1F  <class VornBus, id 0x[0-9a-f]+.*>"));
    EXPECT_THAT(
        std::vector<std::string>(part.begin() + 1, part.begin() + 13),
        ElementsAre("    | {", "    |   \"Text\" = \"Größe\"", "    |   \"Number\" = 42",
                    "    |   \"Negative\" = 18446744073709551615", "    |   \"Yes\" = Yes",
                    "    |   \"No\" = No", "    |   \"Data\" = <0aff>", "    |   \"NoData\" = <>",
                    "    |   \"List\" = (\"a\",1)",
                    "    |   \"Dictionary\" = {\"a\"=Yes,\"b\"=<01>}", "    | }", "    | "));
    EXPECT_THAT(part[13], MatchesRegex("    \\+-o leaf  <class VornLeaf, id 0x[0-9a-f]+.*>"));
    EXPECT_THAT(std::vector<std::string>(part.begin() + 14, part.end()),
                ElementsAre("        {", "        }", "        "));
}

TEST(SystemTools, ABarLeadsFromAnEntryToTheNextOneBesideIt) {
    Mac mac(macWith({}));
    const auto add = [&](const auto& parent, const char* name) {
        RegistryEntry entry;
        entry.name = name;
        entry.classes = {"VornEntry"};
        return mac.registry.add(parent, entry);
    };
    const auto one = add(mac.registry.root(), "one");
    add(one, "below one");
    add(mac.registry.root(), "two");
    std::vector<std::string> starts;
    for (const std::string& line : linesOf(shell("ioreg"))) {
        if (line.find("VornEntry") != std::string::npos) {
            starts.push_back(line.substr(0, line.find("  <")));
        }
    }
    EXPECT_THAT(starts, ElementsAre("  +-o one", "  | +-o below one", "  +-o two"));
}

TEST(SystemTools, TheRegistryToolLeavesThePropertiesOutUnlessAskedForThem) {
    const Mac mac(macWith({monitorNamed("VORN K2422H")}));
    const std::string text = shell("ioreg");
    EXPECT_THAT(text, HasSubstr("+-o "));
    EXPECT_THAT(text, Not(HasSubstr("IODisplayEDID")));
    EXPECT_THAT(text, Not(HasSubstr("{")));
}

TEST(SystemTools, TheRegistryToolPrintsTheRegistryInItsOrder) {
    const Mac mac(macWith({builtInPanel(), monitorNamed("VORN K2422H")}));
    std::vector<std::string> names;
    for (const std::string& line : linesOf(shell("ioreg"))) {
        const std::size_t begin = line.find("+-o ") + 4;
        names.push_back(line.substr(begin, line.find_first_of("@ ", begin) - begin));
    }
    std::vector<std::string> expected;
    for (const auto& entry : mac.registry.walk(mac.registry.root())) {
        expected.push_back(entry->name);
    }
    EXPECT_EQ(names, expected);
}

// The profiler

TEST(SystemTools, TheProfilerNamesTheChipset) {
    const Mac mac(macWith({builtInPanel()}));
    EXPECT_EQ(shell("system_profiler SPDisplaysDataType | grep \"Chipset Model\""),
              "      Chipset Model: Intel UHD Graphics 630\n");
}

TEST(SystemTools, TheProfilerNamesTheChipsetOfTheDescription) {
    auto description = macWith({});
    description.graphics.chipset = "AMD Graphics 53";
    const Mac mac(description);
    EXPECT_THAT(shell("system_profiler SPDisplaysDataType"),
                HasSubstr("\n      Chipset Model: AMD Graphics 53\n"));
}

TEST(SystemTools, TheProfilerNamesAnAppleChipOnAnAppleSiliconMac) {
    const Mac mac(appleMacWith({}));
    EXPECT_THAT(shell("system_profiler SPDisplaysDataType"), HasSubstr("Chipset Model: Apple M"));
}

TEST(SystemTools, TheProfilerNamesTheScreens) {
    const Mac mac(macWith({builtInPanel(), monitorNamed("VORN K2422H")}));
    const std::string text = shell("system_profiler SPDisplaysDataType");
    EXPECT_THAT(text, HasSubstr("        VORN K2422H:\n"));
    EXPECT_THAT(text, HasSubstr("        Built-in Retina Display:\n"));
}

// The firmware's register sets

/// The pipeline that looks for an EDID among the register sets.
constexpr auto firmwareEDIDs =
    "afktool -r all registry | grep -E '\"RegisterSetName\"=\"EDID Block 0\"' | "
    "awk 'BEGIN{RS=\"|\"};{print $3}'";

/// What the pipeline finds between angle brackets.
std::vector<std::string> edidsOfFirmware() {
    std::vector<std::string> edids;
    for (const std::string& line : linesOf(shell(firmwareEDIDs))) {
        if (line.front() == '<' && line.back() == '>') {
            edids.push_back(line.substr(1, line.size() - 2));
        }
    }
    return edids;
}

/// How many EDIDs the pipeline finds at each of the times.
std::vector<std::size_t> edidsOfFirmwareAt(Mac& mac, const std::vector<Time>& times) {
    std::vector<std::size_t> counts;
    for (const Time time : times) {
        mac.scheduler.onMainAt(time, [&] { counts.push_back(edidsOfFirmware().size()); });
    }
    mac.scheduler.runUntilQuiet();
    return counts;
}

TEST(SystemTools, TheFirmwareToolPrintsARegisterSetALineWithItsFieldsBetweenBars) {
    const auto monitor = monitorNamed("VORN K2422H");
    const Mac mac(appleMacWith({monitor}));
    EXPECT_EQ(shell("afktool -r all registry"),
              "\"RegisterSetName\"=\"EDID Block 0\" | \"RegisterSetData\" = <" +
                  hex(monitor.monitor.edid) + "> | \"RegisterSetSize\" = 128\n");
}

TEST(SystemTools, TheFirmwareToolPrintsTheEDIDOfEveryExternalMonitor) {
    const auto first = monitorNamed("VORN K2422H");
    const auto second = monitorNamed("VORN K2725QX");
    const Mac mac(appleMacWith({first, builtInPanel(), second}));
    EXPECT_THAT(edidsOfFirmware(), ElementsAre(hex(first.monitor.edid), hex(second.monitor.edid)));
}

TEST(SystemTools, TheFirmwareToolPrintsTheFirstBlockOfAnEDID) {
    auto monitor = monitorNamed("VORN K2422H");
    const auto base = hex(monitor.monitor.edid);
    monitor.monitor.edid.resize(384, 0xAB);
    const Mac mac(appleMacWith({monitor}));
    EXPECT_THAT(edidsOfFirmware(), ElementsAre(base));
}

TEST(SystemTools, TheFirmwareToolPrintsAShortEDIDAsItIs) {
    ScreenDescription monitor;
    monitor.monitor.edid = {0x00, 0xFF, 0x5A};
    const Mac mac(appleMacWith({monitor}));
    EXPECT_THAT(edidsOfFirmware(), ElementsAre("00ff5a"));
    EXPECT_THAT(shell("afktool -r all registry"), HasSubstr("\"RegisterSetSize\" = 3\n"));
}

TEST(SystemTools, TheFirmwareToolPrintsTheBuiltInPanelsEDIDOnlyWhereTheMacSaysSo) {
    auto listed = builtInPanel();
    listed.edidListed = true;
    const Mac mac(appleMacWith({builtInPanel(), listed}));
    EXPECT_THAT(edidsOfFirmware(), ElementsAre(hex(listed.monitor.edid)));
}

TEST(SystemTools, TheFirmwareToolPrintsNothingOfAMonitorThatIsNotListedOrHasNoEDID) {
    auto unlisted = monitorNamed("VORN K2422H");
    unlisted.edidListed = false;
    auto blank = ScreenDescription{};
    blank.edidListed = true;
    const Mac mac(appleMacWith({unlisted, ScreenDescription{}, blank}));
    EXPECT_EQ(shell("afktool -r all registry"), "");
    EXPECT_EQ(shell(firmwareEDIDs), "");
}

TEST(SystemTools, TheFirmwareToolPrintsTheEDIDWhateverTheDisplayService) {
    auto monitor = monitorNamed("VORN K2422H");
    monitor.displayService.present = false;
    const Mac mac(appleMacWith({monitor}));
    EXPECT_THAT(edidsOfFirmware(), ElementsAre(hex(monitor.monitor.edid)));
}

TEST(SystemTools, TheFirmwareToolMayPrintAnEDIDLater) {
    auto late = monitorNamed("VORN K2422H");
    late.edidListedAt = 2;
    Mac mac(appleMacWith({monitorNamed("VORN K2725QX"), late}));
    EXPECT_THAT(edidsOfFirmwareAt(mac, {0s, 1999999us, 2s, 3s}), ElementsAre(1u, 1u, 2u, 2u));
}

TEST(SystemTools, TheFirmwareToolPrintsTheEDIDOfALateScreenWhenThatAppears) {
    auto late = monitorNamed("VORN K2422H");
    late.appearsAt = 2;
    Mac mac(appleMacWith({late}));
    EXPECT_THAT(edidsOfFirmwareAt(mac, {0s, 1999999us, 2s}), ElementsAre(0u, 0u, 1u));
}

TEST(SystemTools, TheRegistryToolPrintsUUIDsInPlaceOfEDIDsOnAnAppleSiliconMac) {
    const auto monitor = monitorNamed("VORN K2422H");
    const Mac mac(appleMacWith({monitor}));
    EXPECT_EQ(shell(edidLines), "");
    EXPECT_THAT(shell("ioreg -l | grep 'EDID UUID'"),
                testing::EndsWith(" \"EDID UUID\" = \"" + identifyEDID(monitor.monitor.edid).uuid +
                                  "\"\n"));
}

TEST(SystemTools, AnOverrideOfTheFirmwareToolTakesThePlaceOfTheRegisterSetsCallByCall) {
    auto description = appleMacWith({monitorNamed("VORN K2422H")});
    description.tools["afktool"] = {
        {"", 1}, {"\"RegisterSetName\"=\"EDID Block 0\" | \"RegisterSetData\" = <00ff>\n", 0}, {}};
    const Mac mac(description);
    EXPECT_THAT(edidsOfFirmware(), IsEmpty());
    EXPECT_THAT(edidsOfFirmware(), ElementsAre("00ff"));
    EXPECT_THAT(edidsOfFirmware(), ElementsAre(hex(description.screens[0].monitor.edid)));
    EXPECT_EQ(shell("afktool -r all registry > /dev/null; echo $?"), "0\n");
}

TEST(SystemTools, AnOverrideOfTheFirmwareToolMayHoldOtherRegisterSets) {
    auto description = appleMacWith({});
    description.tools["afktool"] = {
        {"\"RegisterSetName\"=\"EDID Block 1\" | \"RegisterSetData\" = <01>\n"
         "\"RegisterSetName\"=\"EDID Block 0\" | \"RegisterSetData\" = <02>\n"
         "\"RegisterSetName\"=\"Clocks\" | \"RegisterSetData\" = <03>\n",
         0}};
    const Mac mac(description);
    EXPECT_THAT(edidsOfFirmware(), ElementsAre("02"));
}

// Other tools and arguments

TEST(SystemTools, AnIntelMacHasNoFirmwareTool) {
    const Mac mac(macWith({monitorNamed("VORN K2422H")}));
    EXPECT_EQ(shell("afktool -r all registry; echo $?"), "127\n");
}

TEST(SystemTools, ArgumentsThatAToolDoesNotKnowEndItWithAnError) {
    const Mac mac(macWith({}));
    for (const char* const arguments : {"-q", "-lq", "l", "--help", "-", "-w", "-wide", "-w -1",
                                        "-d", "-d x", "-c", "-p IOUSB"}) {
        EXPECT_EQ(shell(fmt::format("ioreg {}; echo $?", arguments)), "64\n") << arguments;
    }
    for (const char* const arguments :
         {"", "-xml", "-json", "SPUSBDataType", "SPDisplaysDataType -xml -json",
          "SPDisplaysDataType SPDisplaysDataType"}) {
        EXPECT_EQ(shell(fmt::format("system_profiler {}; echo $?", arguments)), "64\n")
            << arguments;
    }
}

TEST(SystemTools, ArgumentsThatTheFirmwareToolDoesNotKnowEndItWithAnError) {
    const Mac mac(appleMacWith({monitorNamed("VORN K2422H")}));
    for (const char* const arguments : {"", "-r", "-r all", "-l", "-r all registry -l"}) {
        EXPECT_EQ(shell(fmt::format("afktool {}; echo $?", arguments)), "64\n") << arguments;
    }
}

TEST(SystemTools, AToolThatIsNoneOfThemIsNotFound) {
    const Mac mac(macWith({}));
    const auto none = [] { return std::vector<const Display*>(); };
    SystemTools tools(mac.description, mac.registry, none, none);
    std::string text;
    EXPECT_EQ(tools.run({"scutil"}, [&text](std::string_view piece) { text += piece; }), 127);
    EXPECT_EQ(text, "");
}

// Overrides

TEST(SystemTools, AnOverrideTakesThePlaceOfTheRealOutputCallByCall) {
    auto description = macWith({monitorNamed("VORN K2422H")});
    description.tools["ioreg"] = {{"first\n", 0}, {"", 3}, {"last <00>\n", 0}};
    const Mac mac(description);
    EXPECT_EQ(shell("ioreg -l; echo $?"), "first\n0\n");
    EXPECT_EQ(shell("ioreg -l; echo $?"), "3\n");
    EXPECT_EQ(shell("ioreg -l; echo $?"), "last <00>\n0\n");
    EXPECT_EQ(shell("ioreg -l; echo $?"), "last <00>\n0\n") << "the last one holds";
}

TEST(SystemTools, AnOverrideWithoutTextPrintsTheRealState) {
    auto description = macWith({monitorNamed("VORN K2422H")});
    description.tools["ioreg"] = {{std::nullopt, 1}};
    const Mac mac(description);
    EXPECT_THAT(linesOf(shell(edidLines)), SizeIs(1));
    EXPECT_THAT(shell("ioreg -l > /dev/null; echo $?"), "1\n");
}

TEST(SystemTools, AnOverrideOfOneToolLeavesTheOthersAlone) {
    auto description = macWith({});
    description.tools["ioreg"] = {{"nothing\n", 0}};
    const Mac mac(description);
    EXPECT_THAT(shell("system_profiler SPDisplaysDataType"), HasSubstr("Chipset Model"));
}

TEST(SystemTools, AnOverrideMayHoldAnyBytes) {
    auto description = macWith({});
    const std::string bytes("a\0b\xFF\n\n", 6);
    description.tools["ioreg"] = {{bytes, 0}};
    const Mac mac(description);
    EXPECT_EQ(shell("ioreg | od -An -tx1 | tr -d ' \\n'"), "610062ff0a0a");
}

TEST(SystemTools, ALongOutputArrivesWhole) {
    auto description = macWith({});
    description.tools["ioreg"] = {{std::string(3'000'000, 'x'), 0}};
    const Mac mac(description);
    EXPECT_EQ(shell("ioreg").size(), 3'000'000u);
}

TEST(SystemTools, AToolWhoseReaderIsGoneDoesNotEndTheMac) {
    auto description = macWith({});
    description.tools["ioreg"] = {{std::string(3'000'000, 'x'), 0}};
    const Mac mac(description);
    EXPECT_EQ(shell("ioreg | head -c 1"), "x");
    EXPECT_THAT(shell("system_profiler SPDisplaysDataType"), HasSubstr("Chipset Model"));
}

TEST(SystemTools, EveryUseOfAToolStandsInTheTimeline) {
    auto description = macWith({});
    description.tools["ioreg"] = {{"12345", 0}, {"", 2}};
    const Mac mac(description);
    shell("ioreg -l");
    shell("ioreg -l");
    std::vector<std::string> notes;
    for (const auto& entry : mac.journal.timeline()) {
        EXPECT_EQ(entry.source, "mac");
        notes.push_back(entry.what);
    }
    EXPECT_THAT(notes, ElementsAre("ioreg -l prints 5 bytes",
                                   "ioreg -l prints 0 bytes and ends with status 2"));
}

TEST(SystemTools, AreNotThereWithoutAMac) {
    EXPECT_EQ(shell("ioreg -l 2> /dev/null"), "");
}

}  // namespace system_tools_test
}  // namespace simulated_mac
