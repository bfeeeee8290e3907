#include <fmt/format.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "Extension/NSString+normalization.h"
#include "Platform/Text.h"
#include "Utilities/EDIDUtils.h"
#include "displaycheck/ChildProcess.h"
#include "tests/support/PaneOnMac.h"

// EDIDs read off real monitors of many makers, and what an independent decoder printed of them: the
// file that EDID_CORPUS names. One line each: an ID, PnP letters, product code, name, hex digits.

namespace {

struct RealMonitor {
    std::string id;
    std::string letters;
    unsigned productCode = 0;
    std::string name;
    std::string hex;  ///< lower case, all blocks
};

std::vector<std::string> columnsOf(const std::string& line) {
    std::vector<std::string> columns(1);
    for (const char c : line) {
        if (c == '\t') {
            columns.emplace_back();
        } else {
            columns.back() += c;
        }
    }
    return columns;
}

std::vector<RealMonitor> readCorpus(const char* path) {
    std::ifstream file(path);
    std::vector<RealMonitor> monitors;
    std::string line;
    std::getline(file, line);  // the header
    while (std::getline(file, line)) {
        const auto columns = columnsOf(line);
        if (columns.size() != 5) throw std::runtime_error("the corpus has a broken line");
        monitors.push_back({columns[0], columns[1], static_cast<unsigned>(std::stoul(columns[2])),
                            columns[3], columns[4]});
    }
    if (monitors.empty()) throw std::runtime_error(fmt::format("no EDIDs in {}", path));
    return monitors;
}

simulated_mac::Bytes bytesOf(const std::string& hex) {
    simulated_mac::Bytes bytes;
    for (std::size_t at = 0; at + 1 < hex.size(); at += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(hex.substr(at, 2), nullptr, 16)));
    }
    return bytes;
}

/// Whether a name holds what the pane keeps as it stands and other decoders leave out: zero bytes,
/// and bytes beyond ASCII, which read as U+FFFD.
bool holdsOtherThanText(const std::string& name) {
    return name.find('\0') != std::string::npos || name.find("\xEF\xBF\xBD") != std::string::npos;
}

class RealMonitors : public testing::Test {
  protected:
    void SetUp() override {
        const char* const path = std::getenv("EDID_CORPUS");
        if (path == nullptr) GTEST_SKIP() << "EDID_CORPUS names no file of real EDIDs";
        monitors = readCorpus(path);
    }

    std::vector<RealMonitor> monitors;
};

TEST_F(RealMonitors, AllDecodeAsAnIndependentDecoderReadsThem) {
    test::makeProcessWideObjects();
    int sameNames = 0;
    int withoutName = 0;
    int otherThanText = 0;
    for (const RealMonitor& monitor : monitors) {
        SCOPED_TRACE(monitor.id);
        const EDIDInfo info = edidUtils->generateEDIDInfo(monitor.hex);
        EXPECT_EQ(info.plugNplayID, fmt::format("{}{:04X}", monitor.letters, monitor.productCode));
        const std::string name = info.modelName.value_or("");
        if (holdsOtherThanText(name)) {
            ++otherThanText;
            continue;
        }
        // The one difference that the rules make elsewhere: the pane upper-cases names.
        EXPECT_EQ(name, uppercaseText(monitor.name));
        ++(info.modelName ? sameNames : withoutName);
    }
    fmt::print("{} EDIDs: {} names agree, {} have none, {} hold bytes that are no text\n",
               monitors.size(), sameNames, withoutName, otherThanText);
    if (monitors.size() == 2500) {
        EXPECT_EQ(sameNames, 2321);
        EXPECT_EQ(withoutName, 175);
        EXPECT_EQ(otherThanText, 4);
    }
}

/// Runs the pane on an Intel Mac with the monitor as its external one; what was wrong, or nothing.
std::string runWith(const RealMonitor& monitor) {
    test::ScreenDescription screen;
    screen.monitor.edid = bytesOf(monitor.hex);
    test::PaneOnMac host(test::macWith({test::builtInPanel(), screen}));
    if (host.run() != test::Scheduler::Outcome::quiet) return "the run did not end";
    if (!host.mac.window.nextEnabled) return "Continue is disabled";
    const DisplayList displays = displayInfoArray.get();
    if (displays.size() != 2) return fmt::format("{} displays", displays.size());
    const displayInfo& display = *displays[1];
    if (display.displayState != displayInfo::notSupported) {
        return fmt::format("state {}", display.displayState.load());
    }
    // A name that reads as a recent model's is looked up among the EDIDs. It is found but for
    // blanks at its end, which a screen's name doesn't have, and for what is no text.
    const auto info = edidUtils->generateEDIDInfo(monitor.hex);
    const bool looksRecent = host.pane.isYear25orAbove(regularMonitorName(*display.name));
    const bool isFound = info.modelName && !info.modelName->empty() &&
                         info.modelName->back() != ' ' && !holdsOtherThanText(*info.modelName);
    const bool pairs = looksRecent && isFound;
    if (pairs != display.EDIDString.has_value()) return "paired with an EDID or not, wrongly";
    if (pairs && display.EDIDString != monitor.hex) return "another EDID was paired";
    if (pairs && display.plugNplayID->substr(0, 3) != monitor.letters) return "another maker's";
    return {};
}

void runAll(const std::vector<RealMonitor>& monitors, std::size_t first) {
    for (std::size_t at = first; at < monitors.size(); at += 2) {
        const auto result = displaycheck::runInChild(
            [&](const displaycheck::ChildEnd& end) { end.finish(runWith(monitors[at]), 0); },
            std::chrono::minutes(1));
        EXPECT_EQ(result.failure.value_or(result.output), "") << monitors[at].id;
    }
}

TEST_F(RealMonitors, EachOneRunsToAVerdictOnAnIntelMacFirstHalf) {
    runAll(monitors, 0);
}

TEST_F(RealMonitors, EachOneRunsToAVerdictOnAnIntelMacSecondHalf) {
    runAll(monitors, 1);
}

}  // namespace
