#include <fmt/format.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "displaycheck/host/ChildProcess.h"
#include "plugin/Extension/NSString+normalization.h"
#include "plugin/Platform/Text.h"
#include "plugin/Utilities/EDIDUtils.h"
#include "simulated_mac/platform/AVService.h"
#include "tests/support/PaneOnMac.h"

using namespace vorn;

// EDIDs read off real monitors of many makers, and what an independent decoder printed of them: the
// file that EDID_CORPUS names. One line each: an ID, PnP letters, product code, name, hex digits.

namespace real_monitors_test {

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
        // The one intended difference: the pane upper-cases names.
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

/// Runs the pane on an Intel Mac with this external monitor. Gives what was wrong, or nothing.
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
    // A name that reads as a recent model's is looked up among the EDIDs. It is found unless it
    // ends in blanks, which a screen's name doesn't have, or isn't text.
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

/// A screen whose name ends as a recent model's does, so that its EDID is looked up.
test::ScreenDescription recentScreen(const RealMonitor& monitor, const EDIDInfo& info) {
    test::ScreenDescription screen;
    screen.monitor.edid = bytesOf(monitor.hex);
    screen.name = info.modelName.value_or("") + " 25";
    return screen;
}

/// The points of a monitor's own service: vendor, product code, date and size always match, name
/// and serial number where there are any.
std::int32_t ownScore(const IOregService& service) {
    return 8 + (service.productName.value_or("").empty() ? 0 : 2) +
           (service.serialNumber == 0 ? 0 : 2);
}

std::int32_t scoreOf(const IOregService& service, const displayInfo& display) {
    return arm64Util.get()->ioregMatchScore(display.screenNumber, service.edidUUID,
                                            service.productName, service.serialNumber,
                                            service.serviceLocation);
}

/// Whether the pane pairs a monitor's EDID with a display.
bool fits(const EDIDInfo& info, const displayInfo& display) {
    return info.serialNumber == display.serialNumber && !info.modelName.value_or("").empty() &&
           uppercaseText(*display.name).find(uppercaseText(*info.modelName)) != std::string::npos;
}

/// What is wrong with one of two monitors of an Apple-silicon Mac, or nothing. Their framebuffers
/// are the second and the third of the walk.
std::string wrongOn(test::PaneOnMac& host, const RealMonitor& monitor, const RealMonitor& other,
                    std::size_t screen) {
    const auto services = arm64Util.get()->getIoregServicesForMatching();
    const displayInfo& display = *displayInfoArray.get().at(screen);
    const IOregService& own = services.at(screen);
    const std::int32_t score = scoreOf(own, display);
    if (score != ownScore(own)) return fmt::format("scores {} points", score);
    const auto* const reached = simulated_mac::displayBehind(display.arm64avService);
    // The other monitor may be a twin.
    if (score > scoreOf(services.at(3 - screen), display) &&
        reached != host.mac.display(display.screenNumber)) {
        return "is not reached over its own service";
    }
    const auto info = edidUtils->generateEDIDInfo(monitor.hex);
    if (!host.pane.isYear25orAbove(regularMonitorName(*display.name)) || !fits(info, display) ||
        fits(edidUtils->generateEDIDInfo(other.hex), display)) {
        return {};
    }
    if (display.EDIDString != test::hexText(bytesOf(monitor.hex.substr(0, 256)))) {
        return "is paired with another text than its first 128 bytes";
    }
    return {};
}

std::string runWithBoth(const RealMonitor& first, const RealMonitor& second) {
    test::makeProcessWideObjects();
    test::PaneOnMac host(test::appleMacWith(
        {test::builtInPanel(), recentScreen(first, edidUtils->generateEDIDInfo(first.hex)),
         recentScreen(second, edidUtils->generateEDIDInfo(second.hex))}));
    if (host.run() != test::Scheduler::Outcome::quiet) return "the run did not end";
    if (!host.mac.window.nextEnabled) return "Continue is disabled";
    return wrongOn(host, first, second, 1) + wrongOn(host, second, first, 2);
}

/// Runs every tenth monitor, or every second one where EVERY_EDID is set, each in a process of its
/// own; `run` says what is wrong with the monitor at a place, or nothing.
void runPart(const std::vector<RealMonitor>& monitors, std::size_t first,
             const std::function<std::string(std::size_t)>& run) {
    const std::size_t step = std::getenv("EVERY_EDID") != nullptr ? 2 : 10;
    for (std::size_t at = first; at < monitors.size(); at += step) {
        const auto result = displaycheck::runInChild(
            [&](const displaycheck::ChildEnd& end) { end.finish(run(at), 0); },
            std::chrono::minutes(1));
        EXPECT_EQ(result.failure.value_or(result.output), "") << monitors[at].id;
    }
}

// In two parts, to run in parallel.
class PartOfRealMonitors : public RealMonitors, public testing::WithParamInterface<std::size_t> {};

TEST_P(PartOfRealMonitors, RunsToVerdictsOnAnIntelMac) {
    runPart(monitors, GetParam(), [this](std::size_t at) { return runWith(monitors[at]); });
}

TEST_P(PartOfRealMonitors, PairsWithItsScreensOnAnAppleSiliconMac) {
    runPart(monitors, GetParam(), [this](std::size_t at) {
        return runWithBoth(monitors[at], monitors[(at + 1) % monitors.size()]);
    });
}

INSTANTIATE_TEST_SUITE_P(Of, PartOfRealMonitors, testing::Values(0u, 1u));

}  // namespace real_monitors_test
