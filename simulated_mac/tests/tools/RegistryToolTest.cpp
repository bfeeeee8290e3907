#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "plugin/Utilities/RunCommand.h"
#include "simulated_mac/hardware/HardwareTree.h"
#include "simulated_mac/machine/Mac.h"

// The options of `ioreg`, as a shell's users give them.

namespace simulated_mac {
namespace registry_tool_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

std::string shell(const std::string& commandLine) {
    return RunCommand().runCommand(commandLine).value_or("no UTF-8");
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

/// The lines of a tree that name an entry, up to the class.
std::vector<std::string> entriesOf(const std::string& text) {
    std::vector<std::string> entries;
    for (const std::string& line : linesOf(text)) {
        const auto end = line.find("  <class ");
        if (line.find("+-o ") != std::string::npos) entries.push_back(line.substr(0, end));
    }
    return entries;
}

std::vector<std::string> linesWith(const std::string& text, const std::string& part) {
    std::vector<std::string> found;
    for (const std::string& line : linesOf(text)) {
        if (line.find(part) != std::string::npos) found.push_back(line);
    }
    return found;
}

/// A property list as JSON; data as hexadecimal digits.
nlohmann::json parsed(const std::string& commandLine) {
    return nlohmann::json::parse(
        shell(commandLine +
              " | python3 -c 'import json, plistlib, sys; print(json.dumps(plistlib.loads("
              "sys.stdin.buffer.read()), default=bytes.hex))'"));
}

/// A Mac whose registry holds, beside its own entries, two hubs with a port each: hub@1 with inner
/// below its port, and hub@2.
class RegistryTool : public testing::Test {
  protected:
    RegistryTool() {
        const auto add = [&](const auto& parent, const char* name, const char* location,
                             std::vector<std::string> classes) {
            RegistryEntry entry;
            entry.name = name;
            entry.location = location;
            entry.classes = std::move(classes);
            return mac.registry.add(parent, entry);
        };
        const auto first =
            add(mac.registry.root(), "hub", "1", {"VornHub", "VornDevice", "IOService"});
        const auto port = add(first, "port", "", {"VornPort", "IOService"});
        add(port, "inner", "", {"VornHub", "VornDevice", "IOService"});
        const auto second =
            add(mac.registry.root(), "hub", "2", {"VornHub", "VornDevice", "IOService"});
        add(second, "port", "", {"VornPort"});
        set(first, "Number", makeCF(std::int64_t{42}));
        set(first, "Negative", makeCF(std::int64_t{-1}));
        set(first, "List", makeCF(CFObject::Array{makeCF(std::int64_t{10}), makeCF(true)}));
        set(first, "Text", makeCFText("a < b"));
        set(first, "OneText", data("Vorn\0", 5));
        set(first, "Texts", data("Vorn\0hub", 8));
        set(first, "Padded", data("Vorn\0\0", 6));
        set(first, "OneByte", data("V", 1));
        set(port, "Size", makeCF(1.5));
    }

    static CFPointer data(const char* bytes, std::size_t size) {
        return makeCF(Bytes(bytes, bytes + size));
    }
    void set(const Registry::Entry& entry, const char* key, CFPointer value) {
        mac.registry.setProperty(entry, key, std::move(value));
    }

    Mac mac{MacDescription()};
};

// Text

TEST_F(RegistryTool, PrintsDataThatConsistsOfTextsAsThese) {
    const std::string text = shell("ioreg -l");
    EXPECT_THAT(text, HasSubstr("\"OneText\" = <\"Vorn\">\n"));
    EXPECT_THAT(text, HasSubstr("\"Texts\" = <\"Vorn\",\"hub\">\n"));
    EXPECT_THAT(text, HasSubstr("\"Padded\" = <566f726e0000>\n"));
    EXPECT_THAT(text, HasSubstr("\"OneByte\" = <56>\n"));
}

TEST_F(RegistryTool, PrintsNumbersAndAllDataInHexadecimalOnRequest) {
    const std::string text = shell("ioreg -l -x");
    EXPECT_THAT(text, HasSubstr("\"Number\" = 0x2a\n"));
    EXPECT_THAT(text, HasSubstr("\"Negative\" = 0xffffffffffffffff\n"));
    EXPECT_THAT(text, HasSubstr("\"List\" = (0xa,Yes)\n"));
    EXPECT_THAT(text, HasSubstr("\"OneText\" = <566f726e00>\n"));
}

TEST_F(RegistryTool, PrintsAStateOfServicesAlone) {
    const std::string text = shell("ioreg");
    EXPECT_THAT(linesOf(text)[0],
                testing::MatchesRegex("\\+-o Root  <class IORegistryEntry, id 0x[0-9a-f]+, "
                                      "retain [0-9]+>"));
    EXPECT_THAT(linesWith(text, "hub@1")[0],
                testing::MatchesRegex("  \\+-o hub@1  <class VornHub, id 0x[0-9a-f]+, registered, "
                                      "matched, active, busy 0 \\(0 ms\\), retain [0-9]+>"));
}

TEST_F(RegistryTool, PrintsALongTreePieceByPiece) {
    for (int count = 0; count < 3000; ++count) {
        mac.registry.add(mac.registry.root(), makeEntry("leaf", "", {"VornLeaf", "IOService"}));
    }
    std::string whole;
    std::size_t longest = 0;
    mac.runTool({"ioreg", "-l"}, [&](std::string_view piece) {
        whole += piece;
        longest = std::max(longest, piece.size());
    });
    EXPECT_LT(longest, whole.size() / 3);
    EXPECT_EQ(whole, shell("ioreg -l"));
}

TEST_F(RegistryTool, CutsLinesAtTheWidthAskedFor) {
    for (const char* const arguments : {"-l -w 20", "-lw20", "-w20 -l"}) {
        std::size_t longest = 0;
        for (const auto& line : linesOf(shell(fmt::format("ioreg {}", arguments)))) {
            longest = std::max(longest, line.size());
        }
        EXPECT_EQ(longest, 20u) << arguments;
    }
}

TEST_F(RegistryTool, CutsNoLineAtWidthZeroAndByDefaultOnAPipe) {
    const std::string whole = shell("ioreg -l");
    EXPECT_EQ(shell("ioreg -l -w0"), whole);
    EXPECT_EQ(shell("ioreg -lw0"), whole);
    EXPECT_EQ(shell("ioreg -l -w 0 -p IOService"), whole);
}

// Which entries

TEST_F(RegistryTool, PrintsThePropertiesOfAClassAloneAmongAllEntries) {
    const std::string text = shell("ioreg -c VornPort");
    EXPECT_EQ(entriesOf(text), entriesOf(shell("ioreg")));
    EXPECT_THAT(text, HasSubstr("\"Size\" = 1.5"));
    EXPECT_THAT(text, Not(HasSubstr("\"Number\"")));
}

TEST_F(RegistryTool, CountsAClassWithThoseDerivedFromIt) {
    EXPECT_THAT(shell("ioreg -c VornDevice"), HasSubstr("\"Number\" = 42"));
}

TEST_F(RegistryTool, PrintsThePropertiesOfEntriesOfANameOrWithAProperty) {
    for (const char* const arguments : {"-n hub", "-n hub@1", "-k Number", "-c VornHub -n hub@1"}) {
        const std::string text = shell(fmt::format("ioreg {}", arguments));
        EXPECT_THAT(text, HasSubstr("\"Number\" = 42")) << arguments;
        EXPECT_THAT(text, Not(HasSubstr("\"Size\""))) << arguments;
    }
    EXPECT_THAT(shell("ioreg -n hub@2"), Not(HasSubstr("\"Number\"")));
    EXPECT_THAT(shell("ioreg -n hub -c VornPort"), Not(HasSubstr("{")));
}

TEST_F(RegistryTool, StartsTreesAtTheMatchingEntries) {
    const std::string text = shell("ioreg -rc VornDevice");
    EXPECT_THAT(entriesOf(text),
                ElementsAre("+-o hub@1", "  +-o port", "    +-o inner", "+-o hub@2", "  +-o port"));
    EXPECT_THAT(linesOf(text)[1], "  | {");
    EXPECT_THAT(linesOf(text), testing::Contains(""));
    EXPECT_EQ(shell("ioreg -r -c VornDevice"), text);
}

TEST_F(RegistryTool, PrintsNoTreeIfNothingMatchesOrIsToMatch) {
    EXPECT_EQ(shell("ioreg -rc VornNothing; echo $?"), "0\n");
    EXPECT_EQ(shell("ioreg -r; echo $?"), "0\n");
    EXPECT_EQ(shell("ioreg -arc VornNothing; echo $?"), "0\n");
}

TEST_F(RegistryTool, StopsAtADepth) {
    EXPECT_THAT(entriesOf(shell("ioreg -rc VornDevice -d 2")),
                ElementsAre("+-o hub@1", "  +-o port", "+-o hub@2", "  +-o port"));
    const std::string one = shell("ioreg -rd1 -n hub@1");
    EXPECT_THAT(entriesOf(one), ElementsAre("+-o hub@1"));
    EXPECT_EQ(linesOf(one)[1], "    {") << "a bar leads to entries that are printed";
    EXPECT_THAT(entriesOf(shell("ioreg -d 1")), ElementsAre("+-o Root"));
    EXPECT_EQ(shell("ioreg -d 0"), shell("ioreg"));
}

TEST_F(RegistryTool, PrintsTheWayToATreeOnRequest) {
    EXPECT_THAT(entriesOf(shell("ioreg -rtn inner")),
                ElementsAre("+-o Root", "  +-o hub@1", "    +-o port", "      +-o inner"));
    EXPECT_EQ(shell("ioreg -t"), shell("ioreg"));
}

// Property lists

TEST_F(RegistryTool, WritesTheTreeAsAnXMLPropertyList) {
    EXPECT_THAT(shell("ioreg -a"), StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"));
    const auto root = parsed("ioreg -a");
    EXPECT_EQ(root["IORegistryEntryName"], "Root");
    EXPECT_EQ(root["IOObjectClass"], "IORegistryEntry");
    EXPECT_EQ(root["IORegistryEntryID"], 0x100000100);
    EXPECT_FALSE(root.contains("IORegistryEntryLocation"));
    EXPECT_FALSE(root.contains("IOServiceState"));
    const auto& hub = root["IORegistryEntryChildren"][1];
    EXPECT_EQ(hub["IORegistryEntryName"], "hub");
    EXPECT_EQ(hub["IORegistryEntryLocation"], "1");
    EXPECT_EQ(hub["IOObjectRetainCount"], 8);
    EXPECT_FALSE(hub.contains("Number"));
    EXPECT_EQ(
        hub["IORegistryEntryChildren"][0]["IORegistryEntryChildren"][0]["IORegistryEntryName"],
        "inner");
}

TEST_F(RegistryTool, WritesAllPropertiesIntoAPropertyListOnRequest) {
    const auto hub = parsed("ioreg -al")["IORegistryEntryChildren"][1];
    EXPECT_EQ(hub["Number"], 42);
    EXPECT_EQ(hub["Negative"], 18446744073709551615u);
    EXPECT_EQ(hub["List"], nlohmann::json::array({10, true}));
    EXPECT_EQ(hub["Text"], "a < b");
    EXPECT_EQ(hub["OneText"], "566f726e00");
    EXPECT_EQ(hub["IORegistryEntryChildren"][0]["Size"], 1.5);
}

TEST_F(RegistryTool, WritesTheMatchingEntriesAsAnArray) {
    const auto hubs = parsed("ioreg -a -r -c VornHub -d 1");
    ASSERT_EQ(hubs.size(), 2u);
    EXPECT_EQ(hubs[0]["IORegistryEntryLocation"], "1");
    EXPECT_EQ(hubs[0]["Number"], 42);
    EXPECT_EQ(hubs[1]["IORegistryEntryLocation"], "2");
    EXPECT_FALSE(hubs[0].contains("IORegistryEntryChildren"));
}

TEST_F(RegistryTool, LeavesOutOfAPropertyListWhatXMLCannotHold) {
    mac.registry.setProperty(mac.registry.root(), "Name", makeCFText("Vorn\x01 27\n"));
    EXPECT_EQ(parsed("ioreg -al")["Name"], "Vorn 27");
}

}  // namespace registry_tool_test
}  // namespace simulated_mac
