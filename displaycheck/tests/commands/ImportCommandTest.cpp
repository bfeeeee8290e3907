#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "displaycheck/tests/Program.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/HexText.h"
#include "simulated_mac/file/MacFile.h"

// `displaycheck import` on the dumps in tests/dumps: those of an Intel Mac with its panel, one
// monitor, an unused framebuffer and a camera; of an Apple-silicon Mac with panel and monitor; of
// the framebuffers of each alone; of a Mac of 2006.

namespace import_command_test {

using simulated_mac::Chip;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

std::string dumpPath(const std::string& name) {
    return std::string(PROJECT_SOURCE_DIR) + "/tests/dumps/" + name + ".ioreg.txt";
}

std::string dump(const std::string& name) {
    return simulated_mac::readFile(dumpPath(name));
}

/// The text with the first occurrence of a part replaced.
std::string replaced(std::string text, const std::string& part, const std::string& by) {
    const std::size_t at = text.find(part);
    EXPECT_NE(at, std::string::npos) << part;
    return at == std::string::npos ? text : text.replace(at, part.size(), by);
}

/// The EDID of the monitor in the dumps, with another size behind the first block's identity.
simulated_mac::Bytes monitorEDID() {
    simulated_mac::EDIDFields fields;
    fields.manufacturer = "VRN";
    fields.product = 0x2725;
    fields.serial = 0x01020304;
    fields.name = "VORN K2725QX";
    fields.serialText = "7VRN009";
    fields.week = 14;
    fields.year = 2025;
    return simulated_mac::makeEDID(fields);
}

class Import : public testing::Test {
  protected:
    /// Imports into mac.yaml without a run.
    test::Finished import(std::vector<std::string> arguments, const std::string& input = "") {
        arguments.insert(arguments.begin(), {"import", "--no-run", "-o", folder.path("mac.yaml")});
        return test::run(folder, arguments, input);
    }
    /// The same of dumps that are readable, with each note on one line.
    std::string imported(const std::vector<std::string>& arguments) {
        const test::Finished result = import(arguments);
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_THAT(result.errors, IsEmpty());
        return test::unwrapped(result.output, 4);
    }
    simulated_mac::MacDescription mac() const {
        return simulated_mac::readMacFile(folder.path("mac.yaml"));
    }
    /// The reports of runs on the imported Mac.
    std::vector<nlohmann::ordered_json> reports() const {
        const auto result = test::run(folder, {"run", "--json", folder.path("mac.yaml")});
        EXPECT_EQ(result.status, 0) << result.errors;
        return test::jsonLinesOf(result.output);
    }
    /// The files that an import left, beside those of the program's streams.
    std::vector<std::string> written() const {
        std::vector<std::string> names;
        for (const auto& file : std::filesystem::directory_iterator(folder.path(""))) {
            const std::string name = file.path().filename().string();
            if (name.substr(0, 3) != "std") names.push_back(name);
        }
        return names;
    }

    test::Folder folder;
};

TEST_F(Import, WritesAMacFileAndTheRegistryBesideIt) {
    const std::string output = imported({dumpPath("intel")});
    EXPECT_THAT(output, StartsWith("Wrote " + folder.path("mac.yaml") + " and " +
                                   folder.path("mac.registry.txt") + ".\n"));
    const auto description = mac();
    EXPECT_EQ(description.title, "intel");
    EXPECT_EQ(description.chip, Chip::intel);
    EXPECT_EQ(description.graphics.chipset, "Vorn Graphics 630");
    ASSERT_THAT(description.screens, SizeIs(2));
    EXPECT_TRUE(description.screens[0].builtIn);
    EXPECT_FALSE(description.screens[1].builtIn);
    EXPECT_THAT(folder.read("mac.yaml"), HasSubstr("\nregistry: \"mac.registry.txt\"\n"));
}

TEST_F(Import, KeepsTheRegistryAsItWasButForMaskedZeros) {
    imported({dumpPath("intel")});
    std::string expected = dump("intel");
    for (char& c : expected) c = c == '*' ? '0' : c;
    EXPECT_EQ(folder.read("mac.registry.txt"), expected);
}

TEST_F(Import, SaysWhatItTookFromWhereAndWhatStaysUnknown) {
    EXPECT_EQ(
        test::linesOf(imported({dumpPath("intel")})),
        (std::vector<std::string>{
            "Wrote " + folder.path("mac.yaml") + " and " + folder.path("mac.registry.txt") + ".",
            "  Registry: 25 entries from " + dumpPath("intel") + ".",
            "  Asterisks stand for zeros in 2 of its values.",
            "  Screen 1: the built-in panel at IOService:/AppleACPIPlatformExpert/PCI0@0/"
            "AppleACPIPCI/IGPU@2/AppleIntelFramebuffer@0.",
            "  Screen 2: an external monitor at IOService:/AppleACPIPlatformExpert/PCI0@0/"
            "AppleACPIPCI/IGPU@2/AppleIntelFramebuffer@1.",
            "  Unknown: display IDs; those that no option gives are made up.",
            "  Unknown: whether the external monitors answer over DDC/CI.",
            "  Unknown: the order of the screens; the registry's is taken.",
        }));
}

TEST_F(Import, RunsThePaneOnTheMacUnlessToldNotTo) {
    const auto result = test::run(
        folder, {"import", "-o", folder.path("mac.yaml"), dumpPath("intel"), "--answers=silent"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("Continue is enabled"));
    EXPECT_THAT(imported({dumpPath("intel")}), Not(HasSubstr("Continue is enabled")));
}

TEST_F(Import, OfAnIntelMacFindsItsMonitorAndCamera) {
    imported({dumpPath("intel")});
    const auto both = reports();
    ASSERT_THAT(both, SizeIs(2));
    EXPECT_EQ(both[0]["assumed"], "answers");
    for (const auto& report : both) {
        EXPECT_EQ(report["displays"][1]["name"], "VORN K2725QX");
        EXPECT_EQ(report["displays"][1]["serviceTag"], "7VRN001");
        EXPECT_TRUE(report["cameras"].contains("0x14200000"));
    }
    EXPECT_EQ(both[0]["displays"][1]["displayState"], 0);
    EXPECT_EQ(both[1]["displays"][1]["displayState"], 3);
}

TEST_F(Import, OfAnAppleSiliconMacFindsEachDisplaysAVService) {
    EXPECT_THAT(imported({dumpPath("apple-silicon")}),
                HasSubstr("  Screen 2: no EDID is recorded; one is made from its "
                          "ProductAttributes. Unknown: whatever they don't tell.\n"));
    const auto description = mac();
    EXPECT_EQ(description.chip, Chip::apple);
    EXPECT_EQ(description.graphics.chipset, "Apple M1");
    for (const auto& screen : description.screens) {
        ASSERT_THAT(screen.displayService.proxies, SizeIs(1));
        EXPECT_THAT(screen.displayService.proxies[0].entry.value_or(""),
                    HasSubstr(screen.builtIn ? "dcp-nub" : "dcpext-nub"));
    }
    const auto both = reports();
    ASSERT_THAT(both, SizeIs(2));
    EXPECT_EQ(both[0]["displays"][1]["displayState"], 0);
    EXPECT_EQ(both[1]["displays"][1]["displayState"], 3);
    EXPECT_TRUE(both[0]["displays"][1]["arm64avService"]);
}

TEST_F(Import, TakesFramebuffersAloneFromAmongPrompts) {
    imported({dumpPath("intel-framebuffers")});
    EXPECT_THAT(folder.read("mac.registry.txt"), Not(HasSubstr("mac:~ vorn$")));
    EXPECT_THAT(mac().screens, SizeIs(2));
    const auto both = reports();
    ASSERT_THAT(both, SizeIs(2));
    EXPECT_EQ(both[0]["displays"][1]["displayState"], 0);
}

TEST_F(Import, SaysThatFramebuffersAloneHaveNoAVService) {
    EXPECT_THAT(imported({dumpPath("apple-silicon-framebuffers")}),
                HasSubstr("  Screen 2: no AV service is recorded for it.\n"));
    for (const auto& report : reports()) EXPECT_EQ(report["displays"][1]["displayState"], 3);
}

TEST_F(Import, TakesARegistryWithoutIDsAndWithHexadecimalNumbers) {
    imported({dumpPath("intel-2006"), "--answers", "0xF1=0x4000"});
    const auto report = reports().at(0);
    EXPECT_EQ(report["displays"][0]["serviceTag"], "7VRN001");
    EXPECT_EQ(report["displays"][0]["displayState"], 0);
}

// Choices

TEST_F(Import, TakesWhatTheMonitorsAnswer) {
    EXPECT_THAT(imported({dumpPath("intel"), "--answers", "0xF1=0x4000"}),
                Not(HasSubstr("answer over DDC/CI")));
    EXPECT_EQ(reports().at(0)["displays"][1]["displayState"], 0);
    imported({dumpPath("intel"), "--answers", "241=0"});
    EXPECT_EQ(reports().at(0)["displays"][1]["displayState"], 3);
}

TEST_F(Import, TakesThatTheMonitorsAreSilent) {
    EXPECT_THAT(imported({dumpPath("intel"), "--answers", "silent"}),
                Not(HasSubstr("answer over DDC/CI")));
    ASSERT_THAT(reports(), SizeIs(1));
    EXPECT_EQ(reports().at(0)["displays"][1]["displayState"], 3);
}

class ImportOnEither : public Import, public testing::WithParamInterface<const char*> {};

TEST_P(ImportOnEither, PutsAVornMonitorInThePlaceOfTheRecordedOne) {
    EXPECT_THAT(imported({dumpPath(GetParam()), "--with-monitor", "VORN U4025QW", "--answers",
                          "0xF1=0x4000"}),
                HasSubstr("  Screen 2: VORN U4025QW replaces the recorded monitor.\n"));
    const auto display = reports().at(0)["displays"][1];
    EXPECT_EQ(display["name"], "VORN U4025QW");
    EXPECT_EQ(display["plugNplayID"], "VRN2700");
    EXPECT_EQ(display["displayState"], 0);
    // Nothing of the recorded one is left.
    EXPECT_THAT(folder.read("mac.registry.txt"), Not(HasSubstr("564f524e204b3237323551")));
    EXPECT_THAT(folder.read("mac.registry.txt"), Not(HasSubstr("K2725QX")));
}

INSTANTIATE_TEST_SUITE_P(Kind, ImportOnEither, testing::Values("intel", "apple-silicon"),
                         [](const auto& dump) {
                             return dump.param == std::string("intel") ? "Intel" : "AppleSilicon";
                         });

TEST_F(Import, TakesDisplayIDsInTheOrderOfTheScreens) {
    imported({dumpPath("intel"), "--display-ids", "0x042801C0,69734208"});
    EXPECT_EQ(mac().screens[0].displayID, 0x042801C0U);
    EXPECT_EQ(mac().screens[1].displayID, 69734208U);
}

TEST_F(Import, MakesUpTheDisplayIDsThatAreMissing) {
    EXPECT_THAT(imported({dumpPath("intel"), "--display-ids", "1"}),
                HasSubstr("Unknown: display IDs"));
    EXPECT_EQ(mac().screens[1].displayID, std::nullopt);
}

struct Mistake {
    const char* name;
    std::vector<std::string> arguments;
    const char* message;
};

class WrongChoice : public Import, public testing::WithParamInterface<Mistake> {};

TEST_P(WrongChoice, GetsAMessageAndNoFile) {
    auto arguments = GetParam().arguments;
    arguments.push_back(dumpPath("intel"));
    const auto result = import(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, std::string("displaycheck: ") + GetParam().message + "\n");
    EXPECT_THAT(written(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Of, WrongChoice,
    testing::Values(
        Mistake{"Answers",
                {"--answers", "loudly"},
                "--answers loudly: expected CODE=VALUE, such as 0xF1=0x4000, or \"silent\""},
        Mistake{"ACodeOfNineBits",
                {"--answers", "0x1F1=0"},
                "--answers 0x1F1=0: expected CODE=VALUE, such as 0xF1=0x4000, or \"silent\""},
        Mistake{"AValueOfSeventeenBits",
                {"--answers", "0xF1=65536"},
                "--answers 0xF1=65536: expected CODE=VALUE, such as 0xF1=0x4000, or \"silent\""},
        Mistake{"ADisplayID",
                {"--display-ids", "first"},
                "--display-ids first: expected a number of 32 bits, such as 0x042801C0"},
        Mistake{"AMonitorsName",
                {"--with-monitor", "VORN K2725QX PRO"},
                "the monitor's name \"VORN K2725QX PRO\" does not fit an EDID: a descriptor's text "
                "has at most 13 printable characters"}),
    [](const auto& mistake) { return mistake.param.name; });

// Several files

TEST_F(Import, TakesAnEDIDThatTheRegistryLacksFromAFileBesideIt) {
    const auto edid = monitorEDID();
    folder.write("registry.txt",
                 std::regex_replace(dump("intel"), std::regex("\"IODisplayEDID\" = <00ff[^>]*>"),
                                    "\"IODisplayEDID\" = <00ff..."));
    folder.write("edid.bin", std::string(edid.begin(), edid.end()));
    std::vector<std::string> files = {folder.path("registry.txt"), folder.path("edid.bin")};
    for (int order = 0; order < 2; ++order) {
        EXPECT_THAT(imported(files), HasSubstr("  Screen 2: its EDID is that from " +
                                               folder.path("edid.bin") + ".\n"));
        EXPECT_EQ(mac().screens[1].monitor.edid, edid);
        std::swap(files[0], files[1]);
    }
}

TEST_F(Import, SaysThatAnEDIDFitsNoDisplayThatLacksOne) {
    const auto edid = monitorEDID();
    folder.write("edid.bin", std::string(edid.begin(), edid.end()));
    EXPECT_THAT(imported({dumpPath("intel"), folder.path("edid.bin")}),
                HasSubstr("  The EDID from " + folder.path("edid.bin") +
                          " fits no display whose EDID is missing.\n"));
}

constexpr auto profile = R"({"SPDisplaysDataType": [{
  "_name": "Vorn Graphics", "sppci_model": "Vorn Graphics 640",
  "spdisplays_ndrvs": [
    {"_name": "Vorn on a desk", "_spdisplays_displayID": "2b281ac5",
     "_spdisplays_display-vendor-id": "5a4e", "_spdisplays_display-product-id": "2725"},
    {"_name": "Color LCD", "_spdisplays_displayID": "42801c0",
     "_spdisplays_display-vendor-id": "5a4e", "_spdisplays_display-product-id": "a052",
     "spdisplays_connection_type": "spdisplays_internal"}]}]})";

TEST_F(Import, TakesNamesDisplayIDsOrderAndChipFromSystemProfiler) {
    const std::string file = folder.write("displays.json", profile);
    const std::string output = imported({file, dumpPath("intel")});
    EXPECT_THAT(output, AllOf(HasSubstr("  Display IDs and names: from " + file + ".\n"),
                              Not(HasSubstr("Unknown: display IDs"))));
    const auto description = mac();
    EXPECT_EQ(description.graphics.chipset, "Vorn Graphics 640");
    EXPECT_EQ(description.screens[0].displayID, 0x2B281AC5U);
    EXPECT_EQ(description.screens[0].name, "Vorn on a desk");
    EXPECT_EQ(description.screens[1].displayID, 0x042801C0U);
}

TEST_F(Import, OfAnEDIDAloneMakesUpTheRegistry) {
    const auto edid = monitorEDID();
    const auto result = import({"-"}, simulated_mac::hexText(edid));
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("  Registry: none was given; this Mac's is made up.\n"));
    EXPECT_EQ(mac().screens.at(0).monitor.edid, edid);
    EXPECT_EQ(mac().title, "imported");
    EXPECT_FALSE(std::filesystem::exists(folder.path("mac.registry.txt")));
}

TEST_F(Import, ReadsStandardInput) {
    const auto result = import({"-"}, dump("intel"));
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("25 entries from standard input.\n"));
    EXPECT_EQ(mac().title, "imported");
}

// What can't be imported

TEST_F(Import, RefusesAFileThatIsNoDump) {
    const std::string file = folder.write("letter.txt", "Dear support,\n");
    const auto result = import({dumpPath("intel"), file});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "displaycheck: " + file +
                                 ": is not a dump of a Mac; expected the output of ioreg, "
                                 "system_profiler or afktool, or an EDID\n");
    EXPECT_FALSE(std::filesystem::exists(folder.path("mac.yaml")));
}

TEST_F(Import, NamesAFileThatIsNotThere) {
    const auto result = import({folder.path("none.txt")});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "displaycheck: " + folder.path("none.txt") +
                                 ": can't be read: No such file or directory\n");
}

TEST_F(Import, NeedsARegistryOrAnEDID) {
    const auto result = import({folder.write("displays.json", profile)});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.errors, HasSubstr("no registry and no EDID found; expected the output of "
                                         "ioreg -l"));
}

TEST_F(Import, SaysThatLinesAreCut) {
    std::string text;
    for (const std::string& line : test::linesOf(dump("intel"))) text += line.substr(0, 80) + "\n";
    EXPECT_THAT(imported({folder.write("narrow.txt", text)}),
                HasSubstr("; \"ioreg -l -w0\" prints them whole.\n"));
    EXPECT_THAT(mac().screens, SizeIs(2));
}

TEST_F(Import, ListsNoEDIDThatIsCutInItsFirstBlock) {
    folder.write("registry.txt",
                 std::regex_replace(dump("intel"), std::regex("\"IODisplayEDID\" = <00ff[^>]*>"),
                                    "\"IODisplayEDID\" = <00ff..."));
    EXPECT_THAT(imported({folder.path("registry.txt"), "--with-monitor", "VORN K2725QX",
                          "--answers", "0xF1=0x4000"}),
                HasSubstr("  Unknown: the EDID of screen 1; none is recorded whole.\n"));
    EXPECT_EQ(mac().screens[0].edidListed, false);
    EXPECT_EQ(reports().at(0)["displays"][1]["displayState"], 0);
}

TEST_F(Import, SaysThatARegistryHasNoProperties) {
    std::string text;
    for (const std::string& line : test::linesOf(dump("intel"))) {
        if (line.find("+-o ") != std::string::npos) text += line + "\n";
    }
    EXPECT_THAT(imported({folder.write("plain.txt", text)}),
                HasSubstr("  It has no properties; \"ioreg -l -w0\" prints them.\n"));
}

TEST_F(Import, RefusesMoreDisplaysThanAnyMacHas) {
    std::string text = "+-o Root  <class IORegistryEntry>\n";
    for (int display = 0; display < 65; ++display) {
        text +=
            "  +-o fb  <class VornFramebuffer>\n    +-o display0  <class IODisplayConnect>\n"
            "      +-o AppleDisplay  <class AppleDisplay>\n";
    }
    const auto result = import({folder.write("many.txt", text)});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors,
              "displaycheck: the registry has too many displays; expected at most 64\n");
}

TEST_F(Import, RefusesMoreEntriesThanAnyMacHas) {
    std::string text;
    for (int line = 0; line < 4'000'000; ++line) text += "+-o e\n";
    const std::string file = folder.write("long.txt", text);
    const auto result = import({file});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "displaycheck: " + file +
                                 ": line 500001: too many entries; expected at most 500000\n");
}

TEST_F(Import, RefusesATextWithMoreLevelsThanAnyMacHas) {
    std::string text = "+-o Root  <class IORegistryEntry>\n";
    for (std::size_t level = 1; level < 100'000; level *= 2) {
        text += std::string(2 * level, ' ') + "+-o e  <class E>\n";
    }
    const std::string file = folder.write("deep.txt", text);
    const auto result = import({file});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "displaycheck: " + file +
                                 ": line 12: nested too deeply; expected at most 1000 levels\n");
}

TEST_F(Import, RefusesAPropertyListWithMoreLevelsThanAnyMacHas) {
    std::string text = "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">";
    for (int level = 0; level < 100'000; ++level) {
        text +=
            "<dict><key>IOObjectClass</key><string>E</string>"
            "<key>IORegistryEntryChildren</key><array>";
    }
    for (int level = 0; level < 100'000; ++level) text += "</array></dict>";
    const std::string file = folder.write("deep.plist", text + "</plist>\n");
    const auto result = import({file});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.errors, AllOf(StartsWith("displaycheck: " + file + ": "),
                                     HasSubstr("nested too deeply; expected at most 1000 levels")));
}

// Where it writes

/// Runs the program in the folder of its files.
test::Finished runInside(const test::Folder& folder, const std::vector<std::string>& arguments) {
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path(""));
    auto result = test::run(folder, arguments);
    std::filesystem::current_path(before);
    return result;
}

TEST_F(Import, NamesTheMacFileAfterTheDump) {
    folder.write("VornMac.ioreg.txt", dump("intel"));
    EXPECT_EQ(runInside(folder, {"import", "--no-run", "VornMac.ioreg.txt"}).status, 0);
    EXPECT_TRUE(std::filesystem::exists(folder.path("VornMac.yaml")));
    EXPECT_TRUE(std::filesystem::exists(folder.path("VornMac.registry.txt")));
}

TEST_F(Import, ReplacesNoFileThatNobodyNamed) {
    folder.write("VornMac.ioreg.txt", dump("intel"));
    for (const std::string name : {"VornMac.yaml", "VornMac.registry.txt"}) {
        folder.write(name, "mine");
        const auto result = runInside(folder, {"import", "--no-run", "VornMac.ioreg.txt"});
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.errors,
                  "displaycheck: " + name + " exists; name the Mac file to write with -o\n");
        EXPECT_EQ(folder.read(name), "mine");
        std::filesystem::remove(folder.path(name));
    }
}

TEST_F(Import, ReplacesAMacFileThatIsNamed) {
    folder.write("mac.yaml", "old");
    imported({dumpPath("intel")});
    EXPECT_THAT(mac().screens, SizeIs(2));
}

TEST_F(Import, ReplacesNoDump) {
    const std::string file = folder.write("mac.registry.txt", dump("intel"));
    const auto result = import({file});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors,
              "displaycheck: " + file + " is one of the dumps; name another Mac file with -o\n");
    EXPECT_EQ(folder.read("mac.registry.txt"), dump("intel"));
}

TEST_F(Import, LeavesNothingWhereTheMacFileCannotBeWritten) {
    std::filesystem::create_directory(folder.path("mac.yaml"));
    const auto result = import({dumpPath("intel")});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.errors, HasSubstr("can't write " + folder.path("mac.yaml")));
    EXPECT_THAT(written(), testing::ElementsAre("mac.yaml"));
}

TEST_F(Import, LeavesNothingWhereThereIsNoFolder) {
    const auto result = test::run(
        folder, {"import", "--no-run", "-o", folder.path("none/mac.yaml"), dumpPath("intel")});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.errors, HasSubstr("can't write " + folder.path("none/mac.registry.txt")));
    EXPECT_THAT(written(), IsEmpty());
}

// Mac files with a recorded registry

class FileOfARecordedMac : public Import {
  protected:
    /// The message about a Mac file, without the file's name.
    std::string messageAbout(const std::string& text) {
        const std::string path = folder.write("mistaken.yaml", text);
        const auto result = test::run(folder, {"check", path});
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.errors, StartsWith(path + ":"));
        return result.errors.substr(path.size() + 1);
    }
};

TEST_F(FileOfARecordedMac, NamesARegistryThatIsThere) {
    EXPECT_THAT(messageAbout("screens: []\nregistry: none.txt\n"),
                AllOf(StartsWith("2:11: "), HasSubstr("none.txt"), HasSubstr("No such file")));
}

TEST_F(FileOfARecordedMac, NamesARegistryAndNoOtherText) {
    folder.write("letter.txt", "Dear support,\n");
    EXPECT_THAT(messageAbout("registry: letter.txt\nscreens: []\n"),
                AllOf(StartsWith("1:11: "), HasSubstr("no entry of a registry found"),
                      HasSubstr("letter.txt")));
}

TEST_F(FileOfARecordedMac, NamesEntriesThatAreThere) {
    folder.write("registry.txt", dump("intel"));
    EXPECT_THAT(messageAbout("registry: registry.txt\nscreens:\n  - framebuffer:\n"
                             "      entry: IOService:/nowhere\n"),
                AllOf(StartsWith("4:14: "),
                      HasSubstr("no entry \"IOService:/nowhere\" in the recorded registry; "
                                "expected a path")));
    EXPECT_THAT(messageAbout("registry: registry.txt\nscreens:\n  - framebuffer:\n"
                             "      entry: 0x1\n"),
                StartsWith("4:14: "));
}

TEST_F(FileOfARecordedMac, NamesEntriesOnlyWithARegistry) {
    EXPECT_THAT(messageAbout("screens:\n  - framebuffer:\n      entry: 0x100000230\n"),
                AllOf(StartsWith("3:14: "), HasSubstr("no recorded registry; expected the key "
                                                      "\"registry\"")));
}

TEST_F(FileOfARecordedMac, NamesAFramebufferOnlyOnce) {
    folder.write("registry.txt", dump("intel"));
    const std::string screen = "  - framebuffer: {entry: 0x100000229}\n";
    EXPECT_THAT(
        messageAbout("registry: registry.txt\nscreens:\n" + screen + screen),
        StartsWith("4:26: screen 1 already has the recorded entry \"0x100000229\"; expected "
                   "another one\n"));
}

TEST_F(FileOfARecordedMac, NamesFramebuffersThatAreSome) {
    folder.write("registry.txt", dump("intel-framebuffers"));
    EXPECT_THAT(
        messageAbout("registry: registry.txt\nscreens:\n"
                     "  - framebuffer: {entry: 0x100000237}\n"),
        StartsWith("3:26: the recorded entry \"0x100000237\" is not a framebuffer but of class "
                   "IODisplayConnect; expected a framebuffer\n"));
}

TEST_F(FileOfARecordedMac, NamesAnAVServiceOnlyOnce) {
    folder.write("registry.txt", dump("apple-silicon"));
    EXPECT_THAT(
        messageAbout("chip: apple\nregistry: registry.txt\nscreens:\n"
                     "  - display_service:\n"
                     "      entry: 0x100000268\n"
                     "      proxies: [{entry: 0x100000292}, {entry: 0x100000292}]\n"),
        StartsWith("6:47: screen 1 already has the recorded entry \"0x100000292\"; expected "
                   "another one\n"));
}

/// Screens that name no entry get framebuffers and services of their own, wherever the record ends.
TEST_F(FileOfARecordedMac, CanHaveFurtherScreens) {
    for (const char* const name : {"intel", "intel-framebuffers", "apple-silicon",
                                   "apple-silicon-framebuffers", "intel-2006"}) {
        SCOPED_TRACE(name);
        imported({dumpPath(name), "--answers", "silent"});
        const std::string text = folder.read("mac.yaml") +
                                 "  - monitor: {edid: {name: VORN K2422H}, vcp: {0xF1: 0x4000}}\n";
        folder.write("mac.yaml", text);
        const auto report = reports().at(0);
        EXPECT_EQ(report["displays"].back()["displayState"], 0);
    }
}

}  // namespace import_command_test
