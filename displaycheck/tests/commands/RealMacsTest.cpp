#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "displaycheck/dumps/DumpFile.h"
#include "displaycheck/host/AssumedMac.h"
#include "displaycheck/host/CapturedOutput.h"
#include "displaycheck/host/ChildProcess.h"
#include "displaycheck/host/PaneHost.h"
#include "displaycheck/tests/Program.h"
#include "plugin/Utilities/RunCommand.h"
#include "simulated_mac/file/MacFile.h"
#include "simulated_mac/machine/Mac.h"

// Registries of real Macs as `ioreg -l` prints them: the files, packed or not, of the folder that
// REAL_MACS names. Each is imported as it is and in other forms in which people send it.

namespace real_macs_test {

using testing::HasSubstr;

constexpr auto listedRecent = "VORN K2725QX";
constexpr int confirmed = 0;
constexpr int notSupported = 3;

struct Dump {
    std::string name;
    std::string text;
};

std::vector<Dump> readDumps(const std::filesystem::path& folder) {
    std::vector<Dump> dumps;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        for (auto& member : displaycheck::readDumpFiles(file.path().string())) {
            if (member.contents.find("+-o ") == std::string::npos) continue;
            dumps.push_back({file.path().filename().string(), std::move(member.contents)});
        }
    }
    std::sort(dumps.begin(), dumps.end(),
              [](const Dump& one, const Dump& other) { return one.name < other.name; });
    if (dumps.empty()) throw std::runtime_error(fmt::format("no dumps in {}", folder.string()));
    return dumps;
}

std::size_t columnOf(std::string_view line) {
    return std::min(line.find_first_not_of(" |"), line.size());
}

bool isHeader(std::string_view line) {
    return line.substr(columnOf(line), 4) == "+-o ";
}

std::size_t countHeaders(const std::string& text) {
    const auto lines = test::linesOf(text);
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), isHeader));
}

/// What a dump says in its order, one line each: an entry's depth, name, location and class, and
/// what stands in its braces. Zeros may be masked; the root of the first tree has depth 0.
std::vector<std::string> contentsOf(const std::string& text) {
    std::vector<std::string> contents;
    bool isInside = false;
    std::size_t brace = 0;
    for (std::string line : test::linesOf(text)) {
        const std::size_t column = columnOf(line);
        if (isHeader(line)) {
            isInside = false;
            // Up to the class: IDs and states are not always there.
            const std::size_t end = line.find_first_of(",>", line.find("  <class "));
            contents.push_back(fmt::format("{} {}", column / 2, line.substr(column, end - column)));
            brace = column + 4;
        } else if (!isInside) {
            isInside = line.substr(column) == "{" && column == brace;
        } else if (line.substr(column) == "}" && column == brace) {
            isInside = false;
        } else {
            std::replace(line.begin(), line.end(), '*', '0');
            contents.push_back(line.substr(std::min(column, brace + 2)));
        }
    }
    return contents;
}

/// Whether the Mac completes the line: an entry's class, which it tells by the name, or an EDID, of
/// which the monitor has the first block.
bool isCut(const std::string& line) {
    const bool isEntry = line.find("+-o ") != std::string::npos;
    const bool isEDID = line.find("\"IODisplayEDID\" = <") == 0;
    return (isEntry && line.find("  <class ") == std::string::npos) ||
           (isEDID && line.back() != '>');
}

/// The first line in which two texts differ.
std::string difference(const std::vector<std::string>& one, const std::vector<std::string>& other) {
    const auto [a, b] = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
    if (a == one.end() && b == other.end()) return "";
    return fmt::format("line {}:\n{}\n{}", a - one.begin(), a == one.end() ? "(end)" : *a,
                       b == other.end() ? "(end)" : *b);
}

class RealMacs : public testing::Test {
  protected:
    void SetUp() override {
        const char* const path = std::getenv("REAL_MACS");
        if (path == nullptr) GTEST_SKIP() << "REAL_MACS names no folder of real Macs' dumps";
        dumps = readDumps(path);
    }

    /// Makes mac.yaml and mac.registry.txt of a dump.
    test::Finished import(const std::string& text, std::vector<std::string> more = {}) const {
        std::vector<std::string> arguments = {"import", "--no-run", "-o", folder.path("mac.yaml"),
                                              folder.write("dump.txt", text)};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return test::run(folder, arguments);
    }
    simulated_mac::MacDescription importedMac() const {
        return simulated_mac::readMacFile(folder.path("mac.yaml"));
    }

    /// What is wrong with a run on the imported Mac, or nothing.
    std::string inChild(const std::function<std::string(simulated_mac::Mac&)>& judge) const {
        const auto result = displaycheck::runInChild(
            [&](const displaycheck::ChildEnd& end) {
                simulated_mac::Mac mac(importedMac());
                const displaycheck::CapturedOutput output;
                displaycheck::PaneHost host(mac);
                if (host.run() != simulated_mac::Scheduler::Outcome::quiet) {
                    end.finish("the run did not end", 0);
                }
                if (!mac.window.nextEnabled) end.finish("Continue is disabled", 0);
                end.finish(judge(mac), 0);
            },
            std::chrono::minutes(2));
        return result.failure.value_or(result.output);
    }

    test::Folder folder;
    std::vector<Dump> dumps;
};

TEST_F(RealMacs, AreReplayedEntryByEntryWithTheirProperties) {
    for (const Dump& dump : dumps) {
        SCOPED_TRACE(dump.name);
        const test::Finished result = import(dump.text);
        ASSERT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(countHeaders(folder.read("mac.registry.txt")), countHeaders(dump.text));
        const simulated_mac::Mac mac(
            displaycheck::assumedMac(importedMac(), simulated_mac::Assumption::silent));
        const auto replayed = contentsOf(RunCommand().runCommand("ioreg -l -w0").value_or(""));
        auto recorded = contentsOf(dump.text);
        // Trees of a part of the registry hang on a root of the Mac's own.
        if (recorded.front().find("<class IORegistryEntry") == std::string::npos) continue;
        ASSERT_EQ(recorded.size(), replayed.size());
        for (std::size_t line = 0; line < recorded.size(); ++line) {
            if (isCut(recorded[line])) recorded[line] = replayed[line];
        }
        EXPECT_EQ(difference(recorded, replayed), "");
    }
}

TEST_F(RealMacs, HaveNoMonitorOfTheMakersAsRecorded) {
    for (const Dump& dump : dumps) {
        SCOPED_TRACE(dump.name);
        ASSERT_EQ(import(dump.text).status, 0);
        const auto result = test::run(folder, {"run", "--json", folder.path("mac.yaml")});
        ASSERT_EQ(result.status, 0) << result.errors;
        const auto reports = test::jsonLinesOf(result.output);
        const bool isUnknown = folder.read("mac.yaml").find("vcp: unknown") != std::string::npos;
        EXPECT_EQ(reports.size(), isUnknown ? 2U : 1U);
        for (const auto& report : reports) {
            EXPECT_TRUE(report["pane"]["next_enabled"]);
            for (const auto& display : report["displays"]) {
                if (display["modelInfo"] == "Build-in") continue;
                EXPECT_EQ(display["displayState"], notSupported) << display;
            }
        }
    }
}

/// Whether a display can be asked over DDC/CI at all: it has an AV service, or its framebuffer an
/// I2C interface, and the first interface of the Mac tells its transaction types.
bool isReachable(const simulated_mac::Mac& mac, const simulated_mac::Display& display) {
    if (mac.description.chip == simulated_mac::Chip::apple) return !display.proxies.empty();
    for (const auto& framebuffer : mac.framebuffers()) {
        if (framebuffer->buses.empty()) continue;
        return framebuffer->buses.front().transactionTypes.value_or(0) != 0 &&
               !display.framebuffer->buses.empty();
    }
    return false;
}

TEST_F(RealMacs, ReachAVornMonitorInThePlaceOfEachOfTheirs) {
    for (const Dump& dump : dumps) {
        SCOPED_TRACE(dump.name);
        const auto result =
            import(dump.text, {"--with-monitor", listedRecent, "--answers", "0xF1=0x4000"});
        ASSERT_EQ(result.status, 0) << result.errors;
        const auto run = test::run(folder, {"run", "--json", folder.path("mac.yaml")});
        ASSERT_EQ(run.status, 0) << run.errors;
        const auto report = test::jsonLinesOf(run.output).at(0);
        const std::string wrong = inChild([&](const simulated_mac::Mac& mac) {
            std::string text;
            for (std::size_t screen = 0, external = 0; screen < mac.displays().size(); ++screen) {
                const simulated_mac::Display& display = *mac.displays()[screen];
                if (display.screen.builtIn) continue;
                const auto& told = report["displays"][screen];
                const bool canAnswer = isReachable(mac, display);
                if (told["displayState"] != (canAnswer ? confirmed : notSupported)) {
                    text += fmt::format("state of screen {}: {}\n", screen, told.dump());
                }
                if (canAnswer != !display.monitor.exchanges().empty()) {
                    text += fmt::format("screen {} was asked or not, wrongly\n", screen);
                }
                const std::string tag = fmt::format("7VRN{:03}", ++external);
                if (canAnswer && told["serviceTag"] != tag) {
                    text += fmt::format("another EDID than {} was paired\n", tag);
                }
            }
            return text;
        });
        EXPECT_EQ(wrong, "");
    }
}

// Other forms

/// Each line as `change` makes it.
std::string eachLine(const std::string& text,
                     const std::function<std::string(const std::string&)>& change) {
    std::string result;
    for (const std::string& line : test::linesOf(text)) result += change(line) + "\n";
    return result;
}

/// As before ioreg printed IDs.
std::string withoutIDs(const std::string& text) {
    return eachLine(text, [](const std::string& line) {
        const std::size_t id = line.find(", id 0x");
        if (!isHeader(line) || id == std::string::npos) return line;
        return line.substr(0, id) +
               line.substr(std::min(line.find_first_of(",>", id + 1), line.size()));
    });
}

std::string withCarriageReturns(const std::string& text) {
    return eachLine(text, [](const std::string& line) { return line + "\r"; });
}

std::string amongPrompts(const std::string& text) {
    return "Last login: Mon Jan  1\nmac:~ vorn$ ioreg -l -w0\n" + text + "mac:~ vorn$ exit\n";
}

/// As `ioreg -x` prints numbers.
std::string inHexadecimal(const std::string& text) {
    return eachLine(text, [](const std::string& line) {
        const std::size_t equals = line.find("\" = ");
        if (equals == std::string::npos) return line;
        const std::string value = line.substr(equals + 4);
        if (value.empty() || value.find_first_not_of("0123456789") != std::string::npos) {
            return line;
        }
        return line.substr(0, equals + 4) + fmt::format("{:#x}", std::stoull(value));
    });
}

struct Form {
    const char* name;
    std::string (*make)(const std::string& text);
};

class RealMacsSentOtherwise : public RealMacs, public testing::WithParamInterface<Form> {};

TEST_P(RealMacsSentOtherwise, AreTheSame) {
    for (const Dump& dump : dumps) {
        SCOPED_TRACE(dump.name);
        ASSERT_EQ(import(dump.text).status, 0);
        const auto screens = importedMac().screens.size();
        const auto result = import(GetParam().make(dump.text),
                                   {"--with-monitor", listedRecent, "--answers", "0xF1=0x4000"});
        ASSERT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(countHeaders(folder.read("mac.registry.txt")), countHeaders(dump.text));
        EXPECT_EQ(importedMac().screens.size(), screens);
        EXPECT_EQ(inChild([](const simulated_mac::Mac& mac) {
                      for (const auto& display : mac.displays()) {
                          const bool asked = !display->monitor.exchanges().empty();
                          if (asked != (!display->screen.builtIn && isReachable(mac, *display))) {
                              return std::string("a monitor was asked or not, wrongly");
                          }
                      }
                      return std::string();
                  }),
                  "");
    }
}

INSTANTIATE_TEST_SUITE_P(In, RealMacsSentOtherwise,
                         testing::Values(Form{"WithoutIDs", withoutIDs},
                                         Form{"WithCarriageReturns", withCarriageReturns},
                                         Form{"AmongPrompts", amongPrompts},
                                         Form{"InHexadecimal", inHexadecimal}),
                         [](const auto& form) { return form.param.name; });

TEST_F(RealMacs, HaveTheSameScreensByTheirFramebuffersAlone) {
    for (const Dump& dump : dumps) {
        SCOPED_TRACE(dump.name);
        ASSERT_EQ(import(dump.text).status, 0);
        const auto whole = importedMac();
        const bool isIntel = whole.chip == simulated_mac::Chip::intel;
        std::string framebuffers;
        {
            const simulated_mac::Mac mac(
                displaycheck::assumedMac(whole, simulated_mac::Assumption::silent));
            framebuffers = RunCommand()
                               .runCommand(isIntel ? "ioreg -lw0 -r -c IOFramebuffer"
                                                   : "ioreg -lw0 -r -c IOMobileFramebuffer")
                               .value_or("");
        }
        const auto result = import(framebuffers);
        ASSERT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(countHeaders(folder.read("mac.registry.txt")), countHeaders(framebuffers));
        EXPECT_EQ(importedMac().screens.size(), whole.screens.size());
        EXPECT_EQ(test::run(folder, {"run", folder.path("mac.yaml")}).status, 0);
    }
}

TEST_F(RealMacs, AreImportedAsFarAsATerminalOf80ColumnsShowsThem) {
    for (const Dump& dump : dumps) {
        SCOPED_TRACE(dump.name);
        ASSERT_EQ(import(dump.text).status, 0);
        const auto screens = importedMac().screens.size();
        const auto result =
            import(eachLine(dump.text, [](const std::string& line) { return line.substr(0, 80); }));
        ASSERT_EQ(result.status, 0) << result.errors;
        EXPECT_THAT(test::unwrapped(result.output, 4),
                    HasSubstr("; \"ioreg -l -w0\" prints them whole"));
        EXPECT_LE(importedMac().screens.size(), screens);
        EXPECT_EQ(test::run(folder, {"run", folder.path("mac.yaml")}).status, 0);
    }
}

}  // namespace real_macs_test
