#include "displaycheck/host/PaneCalls.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <sstream>

#include "displaycheck/tests/Program.h"
#include "simulated_mac/description/FallibleCalls.h"
#include "simulated_mac/file/MacFile.h"

namespace test {
namespace pane_calls_test {

using displaycheck::paneMakesCall;
using simulated_mac::Chip;
using simulated_mac::fallibleCalls;
using simulated_mac::MacDescription;

/// The names in a report's trace, whose lines have "NAME(ARGUMENTS)" behind time and thread.
std::set<std::string> callsIn(const std::string& report) {
    std::set<std::string> calls;
    std::istringstream lines(report);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t end = line.find('(');
        if (end == std::string::npos) continue;
        calls.insert(line.substr(line.rfind(' ', end) + 1, end - line.rfind(' ', end) - 1));
    }
    return calls;
}

/// Each call that the pane makes on one of the examples' Macs of this kind.
std::set<std::string> callsMadeOn(Chip chip) {
    const Folder folder;
    std::set<std::string> calls;
    for (const auto& file : std::filesystem::directory_iterator(PROJECT_SOURCE_DIR "/examples")) {
        if (simulated_mac::readMacFile(file.path()).chip != chip) continue;
        calls.merge(callsIn(run(folder, {"run", "--trace", file.path().string()}).output));
    }
    return calls;
}

TEST(PaneCalls, AreThoseThatTheExamplesMake) {
    for (const Chip chip : {Chip::intel, Chip::apple}) {
        MacDescription mac;
        mac.chip = chip;
        const auto made = callsMadeOn(chip);
        for (const std::string_view call : fallibleCalls) {
            if (call == "operator new") continue;  // is in no trace
            EXPECT_EQ(paneMakesCall(mac, call), made.contains(std::string(call))) << call;
        }
    }
}

TEST(PaneCalls, IncludeRequestsForMemory) {
    EXPECT_TRUE(paneMakesCall(MacDescription(), "operator new"));
}

TEST(PaneCalls, MayBeThoseOfTheOtherKindWhereTheGraphicsHasAnotherName) {
    MacDescription mac;
    EXPECT_FALSE(paneMakesCall(mac, "IOAVServiceReadI2C"));
    mac.graphics.chipset = "Vorn G1";
    EXPECT_TRUE(paneMakesCall(mac, "IOAVServiceReadI2C"));
    EXPECT_FALSE(paneMakesCall(mac, "CFNumberCreate"));
    mac = {};
    mac.tools["system_profiler"] = {{}};
    EXPECT_TRUE(paneMakesCall(mac, "IOAVServiceReadI2C"));
}

}  // namespace pane_calls_test
}  // namespace test
