#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "plugin/MyInstallerPane.h"
#include "tests/support/AppleMac.h"
#include "tests/support/PaneOnMac.h"

// Entering the pane again while a detection runs: whenever that is, and however often, the pane
// ends as one of the runs alone would have left it, and keeps what each of them keeps on purpose.

namespace reentry_test {

using namespace std::chrono_literals;
using namespace test;
using testing::Contains;
using testing::IsEmpty;
using testing::IsSubsetOf;

using Entries = std::vector<Time>;
using Held = std::map<std::pair<std::string, std::string>, std::int64_t>;
using Lines = std::set<std::string>;

/// The user's view and the pane's findings at the end of a run.
struct Result {
    std::string title;
    std::string warning;
    bool hasLink = false;
    bool nextEnabled = false;
    std::vector<std::string> displays;
    std::vector<std::string> cameras;

    bool operator==(const Result&) const = default;
};

void PrintTo(const Result& result, std::ostream* out) {
    *out << fmt::format("warning \"{}\", Continue {}\n  {}\n  {}", result.warning,
                        result.nextEnabled ? "enabled" : "disabled",
                        fmt::join(result.displays, "\n  "), fmt::join(result.cameras, "\n  "));
}

/// A Mac's pane, entered at some times, from its first entry to the end.
struct Course {
    Result result;
    Held held;      ///< references, by kind and call
    Lines logged;   ///< lines of the system's log
    Lines printed;  ///< lines on the standard output
    std::vector<std::string> paneChanges;
    std::set<Time> moments;  ///< at which a platform call was made
};

std::string textOf(const displayInfo& display) {
    const auto orNone = [](const auto& text) { return text.value_or("none"); };
    return fmt::format(
        "{:#x} no. {} {}: state {}, model {}, plug and play {}, serial {:#x}, tag {}, "
        "proxy {:#x}, EDID {}",
        display.screenNumber, display.idx, orNone(display.name), display.displayState.load(),
        orNone(display.modelInfo), orNone(display.plugNplayID), display.serialNumber,
        orNone(display.serviceTag), proxyOf(static_cast<IOAVServiceRef>(display.arm64avService)),
        orNone(display.EDIDString));
}

std::string textOf(const Mac& mac, const std::string& location, const CameraEntry& camera) {
    const auto device = mac.registry.entryOf(camera.service);
    return fmt::format("{} at {}, serial {}, handle of {}", camera.name, location,
                       camera.kUSBSerialNumberString, device != nullptr ? device->name : "nothing");
}

Result resultOn(const Mac& mac) {
    Result result{mac.window.title.text,
                  mac.window.warnings.text,
                  mac.window.warnings.link.has_value(),
                  mac.window.nextEnabled,
                  {},
                  {}};
    for (const auto& display : displayInfoArray.get()) result.displays.push_back(textOf(*display));
    for (const auto& [location, found] : infoDic.get()) {
        result.cameras.push_back(textOf(mac, location, found));
    }
    return result;
}

Lines linesOf(const std::string& text) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.insert(line);
    return lines;
}

/// How the Mac's threads take turns.
enum class Turns {
    atWaits,  ///< a thread goes on until it waits
    atCalls,  ///< every call of the system takes a microsecond, in which the others go on
    atOnce,   ///< several threads run at the same time
};

Mac::Options optionsFor(Turns turns) {
    Mac::Options options;
    options.scheduler.hidesTurns = true;
    if (turns == Turns::atCalls) options.systemCallTakes = 1us;
    if (turns == Turns::atOnce) options.scheduler.threadsAtOnce = 8;
    return options;
}

/// `traced` costs time; only then the moments are known.
Course play(const MacDescription& description, const Entries& entries, Turns turns,
            bool traced = false) {
    PaneOnMac onMac(description, optionsFor(turns));
    if (traced) onMac.mac.trace.keepAll();
    for (const Time entry : entries) onMac.enterAt(entry);
    EXPECT_EQ(onMac.mac.scheduler.runUntilQuiet(), Scheduler::Outcome::quiet);
    EXPECT_THAT(onMac.mac.journal.misuses(), IsEmpty());

    Course course;
    course.result = resultOn(onMac.mac);
    course.held = onMac.mac.ledger.heldByCall();
    const auto log = onMac.mac.journal.systemLog();
    course.logged.insert(log.begin(), log.end());
    course.printed = linesOf(onMac.printed());
    for (const auto& entry : onMac.mac.journal.timeline()) {
        if (entry.source == "pane") course.paneChanges.push_back(entry.what);
    }
    for (const auto& call : onMac.mac.trace.calls()) course.moments.insert(call.time);
    return course;
}

/// Whether the pane's changes are those of whole entries and whole verdicts, one after the other.
bool changesAreWhole(const std::vector<std::string>& changes) {
    constexpr std::array<std::string_view, 3> wholes = {"ted", "ten", "tewcn"};
    constexpr std::array<std::pair<std::string_view, char>, 6> kinds = {
        {{"lb_title shows", 't'},
         {"lb_warnings is emptied", 'e'},
         {"lb_warnings shows", 'w'},
         {"lb_warnings takes clicks", 'c'},
         {"Continue is disabled", 'd'},
         {"Continue is enabled", 'n'}}};
    std::string letters;
    for (const std::string& change : changes) {
        const auto kind = std::find_if(kinds.begin(), kinds.end(), [&](const auto& known) {
            return change.starts_with(known.first);
        });
        letters += kind != kinds.end() ? kind->second : '?';
    }
    for (std::string_view rest = letters; !rest.empty();) {
        const auto whole =
            std::find_if(wholes.begin(), wholes.end(),
                         [rest](std::string_view known) { return rest.starts_with(known); });
        if (whole == wholes.end()) return false;
        rest.remove_prefix(whole->size());
    }
    return true;
}

/// Whether a run's time says what it finds.
bool changesWithTime(const MacDescription& description) {
    return !description.events.empty() ||
           std::any_of(description.screens.begin(), description.screens.end(),
                       [](const ScreenDescription& screen) {
                           return screen.appearsAt > 0 || screen.edidListedAt > 0 ||
                                  screen.displayService.appearsAt > 0;
                       });
}

/// At most this many of them, evenly spread.
template <class T>
std::vector<T> thinned(const std::vector<T>& all, std::size_t most) {
    if (all.size() <= most) return all;
    std::vector<T> some;
    for (std::size_t index = 0; index < most; ++index) {
        some.push_back(all[index * (all.size() - 1) / (most - 1)]);
    }
    return some;
}

/// A Mac, and what its pane does when it is entered once.
class EnteredMac {
  public:
    explicit EnteredMac(MacDescription description, Turns turns = Turns::atWaits)
        : description_(std::move(description)), turns_(turns) {
        // Makes what lives as long as the process, so that it is in no later Mac's ledger. By then
        // all of the Mac's screens are there.
        play(description_, {60s}, Turns::atWaits);
    }

    /// All moments at which a run by itself does something.
    std::vector<Time> momentsOfARun() {
        const auto& moments = enteredOnceAt(0s).moments;
        return {moments.begin(), moments.end()};
    }

    /// The same and those around them: just before and after each, and half an I2C pause away.
    std::vector<Time> momentsAroundARun() {
        std::set<Time> around;
        for (const Time moment : momentsOfARun()) {
            for (const Time time :
                 {moment - 30ms, moment - 1us, moment, moment + 1us, moment + 30ms}) {
                if (time >= 0s) around.insert(time);
            }
        }
        return {around.begin(), around.end()};
    }

    /// Enters the pane at these times. It must end as after one of the entries alone.
    void enterAt(const Entries& entries) {
        SCOPED_TRACE(textOf(entries));
        std::vector<Result> results;
        Held held;
        Lines logged;
        Lines printed;
        for (const Time entry : entries) {
            const Course& once = enteredOnceAt(entry);
            results.push_back(once.result);
            for (const auto& [kind, count] : once.held) held[kind] += count;
            logged.insert(once.logged.begin(), once.logged.end());
            printed.insert(once.printed.begin(), once.printed.end());
        }
        const Course course = play(description_, entries, turns_);
        EXPECT_TRUE(course.result.nextEnabled);
        EXPECT_THAT(results, Contains(course.result));
        EXPECT_EQ(course.held, held);
        EXPECT_THAT(course.logged, IsSubsetOf(logged));
        EXPECT_THAT(course.printed, IsSubsetOf(printed));
        EXPECT_TRUE(changesAreWhole(course.paneChanges))
            << fmt::format("{}", fmt::join(course.paneChanges, "\n"));
    }

  private:
    static std::string textOf(const Entries& entries) {
        std::string text = "entered at";
        for (const Time entry : entries) text += fmt::format(" {} us", entry.count());
        return text;
    }

    /// The course of the pane that is entered at this time only.
    const Course& enteredOnceAt(Time entry) {
        const Time same = changesWithTime(description_) ? entry : Time(0);
        const auto known = courses_.find(same);
        if (known != courses_.end()) return known->second;
        Course course = play(description_, {same}, turns_, same == Time(0));
        EXPECT_TRUE(course.result.nextEnabled);
        return courses_.emplace(same, std::move(course)).first->second;
    }

    const MacDescription description_;
    const Turns turns_;
    std::map<Time, Course> courses_;
};

/// How many runs a test makes: usually this many, as each starts a dozen processes; those of every
/// moment if EVERY_MOMENT is set.
std::size_t atMost(std::size_t usual, std::size_t all = 400) {
    return std::getenv("EVERY_MOMENT") != nullptr ? all : usual;
}

constexpr std::size_t usualMoments = 6;
constexpr std::size_t usualCalls = 5;
constexpr std::size_t usualOfAPair = 2;
constexpr std::size_t mostOfAPair = 6;
constexpr int fewEntries = 6;
constexpr int manyEntries = 20;

struct ReentryCase {
    std::string name;
    MacDescription description;
};

void PrintTo(const ReentryCase& tested, std::ostream* out) {
    *out << tested.name;
}

ScreenDescription appearing(ScreenDescription screen, double seconds) {
    screen.appearsAt = seconds;
    return screen;
}

ScreenDescription withServiceAt(ScreenDescription screen, double seconds) {
    screen.displayService.appearsAt = seconds;
    return screen;
}

ScreenDescription withoutService(ScreenDescription screen) {
    screen.displayService.present = false;
    return screen;
}

ScreenDescription thatNeedsCleaning(ScreenDescription screen) {
    screen.monitor.settlesAfterClean = true;
    return screen;
}

ScreenDescription thatNeedsTime(ScreenDescription screen) {
    screen.monitor.needsReplyDelay = 50'000'000;
    return screen;
}

ScreenDescription wellAtSecondTry(ScreenDescription screen) {
    using Kind = simulated_mac::DDCAnswer::Kind;
    screen.monitor.answers = {{Kind::badChecksum, {}}, {Kind::good, {}}};
    return screen;
}

ScreenDescription badlyAnswering(ScreenDescription screen) {
    screen.monitor.answers = {{simulated_mac::DDCAnswer::Kind::badChecksum, {}}};
    return screen;
}

MacDescription withCamera(MacDescription description) {
    description.usb = {camera()};
    return description;
}

MacDescription withCameraFrom(double attached, std::optional<double> detached,
                              MacDescription description) {
    description.events = {{.at = attached, .attach = camera(), .detach = {}, .user = {}}};
    if (detached) {
        description.events.push_back(
            {.at = *detached, .attach = {}, .detach = camera().locationID, .user = {}});
    }
    return description;
}

std::vector<ReentryCase> reentryCases() {
    const auto builtIn = builtInPanel();
    const auto recent = answeringMonitor(listedRecent, 0x4000);
    const auto older = answeringMonitor(listedOlder, 0x4000);
    const auto other = monitorNamed("OTHER M24");
    return {
        {"IntelWithoutMonitors", macWith({builtIn})},
        {"IntelListedAnswers", macWith({builtIn, older})},
        {"IntelListedSilent", macWith({builtIn, silentMonitor(listedOlder)})},
        {"IntelRecentSilent", macWith({builtIn, silentMonitor(listedRecent)})},
        {"IntelUnlisted", macWith({builtIn, other})},
        {"IntelTwoMonitors", macWith({recent, other})},
        {"IntelTwins", macWith({builtIn, recent, recent})},
        {"IntelTwoSilent",
         macWith({builtIn, silentMonitor(listedRecent), silentMonitor(listedOlder)})},
        {"IntelCamera", withCamera(macWith({builtIn}))},
        {"IntelCameraAttached",
         withCameraFrom(2.25, {}, macWith({builtIn, silentMonitor(listedRecent)}))},
        {"IntelCameraAttachedAndDetached", withCameraFrom(0.5, 2.5, macWith({builtIn}))},
        {"IntelFirstMonitorLater", macWith({builtIn, appearing(recent, 1.5)})},
        {"IntelSecondMonitorLater",
         macWith({builtIn, silentMonitor(listedRecent), appearing(older, 1.5)})},
        {"AppleWithoutMonitors", appleMacWith({builtIn})},
        {"AppleRecentAnswers", appleMacWith({builtIn, recent})},
        {"AppleRecentSilent", appleMacWith({builtIn, silentMonitor(listedRecent)})},
        {"AppleRecentBad", appleMacWith({builtIn, badlyAnswering(recent)})},
        {"AppleTwoMonitors", appleMacWith({recent, other})},
        {"AppleLateService", appleMacWith({builtIn, withServiceAt(recent, 7)})},
        {"AppleNoService", appleMacWith({builtIn, withoutService(recent)})},
        {"AppleTwins", appleMacWith({builtIn, recent, recent})},
        {"AppleNeedsCleaning",
         appleMacWith({builtIn, thatNeedsCleaning(answeringMonitor("K2423DX", 0x4000))})},
        {"AppleNeedsTime", appleMacWith({builtIn, thatNeedsTime(recent)})},
        {"AppleNeedsTimeAndASecondTry",
         appleMacWith({builtIn, thatNeedsTime(wellAtSecondTry(recent))})},
        {"AppleCameraAttached",
         withCameraFrom(1, {}, appleMacWith({builtIn, badlyAnswering(recent)}))},
    };
}

class EnteringAgain : public testing::TestWithParam<ReentryCase> {
  protected:
    const MacDescription& description() const { return GetParam().description; }
};

TEST_P(EnteringAgain, AtEveryMomentOfARunEndsAsOneRun) {
    EnteredMac mac(description());
    for (const Time moment : thinned(mac.momentsAroundARun(), atMost(usualMoments))) {
        mac.enterAt({0s, moment});
    }
}

TEST_P(EnteringAgain, BetweenTheCallsOfARunEndsAsOneRun) {
    EnteredMac mac(description(), Turns::atCalls);
    for (const Time moment : thinned(mac.momentsOfARun(), atMost(usualCalls)))
        mac.enterAt({0s, moment});
}

INSTANTIATE_TEST_SUITE_P(On, EnteringAgain, testing::ValuesIn(reentryCases()),
                         [](const auto& tested) { return tested.param.name; });

/// On those of the Macs on which runs differ most.
using EnteringAgainAndAgain = EnteringAgain;

TEST_P(EnteringAgainAndAgain, EndsAsOneRun) {
    EnteredMac mac(description(), Turns::atCalls);
    const auto all = mac.momentsOfARun();
    const auto some = thinned(all, atMost(usualOfAPair, mostOfAPair));
    for (std::size_t first = 0; first < some.size(); ++first) {
        for (std::size_t second = first; second < some.size(); ++second) {
            mac.enterAt({0s, some[first], some[second]});
        }
    }
    std::mt19937 random(5);  // the same moments every time
    Entries entries = {0s};
    for (int count = 0; count < fewEntries; ++count) {
        entries.push_back(all[random() % all.size()]);
    }
    mac.enterAt(entries);
}

std::vector<ReentryCase> reentryCasesThatDiffer() {
    const std::set<std::string> names = {"IntelRecentSilent",          "IntelTwoMonitors",
                                         "IntelCameraAttached",        "IntelSecondMonitorLater",
                                         "AppleLateService",           "AppleNeedsCleaning",
                                         "AppleNeedsTimeAndASecondTry"};
    auto cases = reentryCases();
    std::erase_if(cases, [&](const ReentryCase& known) { return !names.contains(known.name); });
    return cases;
}

INSTANTIATE_TEST_SUITE_P(On, EnteringAgainAndAgain, testing::ValuesIn(reentryCasesThatDiffer()),
                         [](const auto& tested) { return tested.param.name; });

// An AV service has no lock of its own, and the monitor is silent when it is read too soon after
// another run's request.
TEST(EnteringAgainOnAppleSilicon, KeepsEachRunsReplyFromTheOther) {
    EnteredMac mac(appleMacWith(
        {builtInPanel(), thatNeedsTime(wellAtSecondTry(answeringMonitor(listedRecent, 0x4000)))}));
    for (const Time moment : {40ms, 90ms, 1130ms, 1140ms, 1150ms, 1160ms, 1170ms}) {
        mac.enterAt({0s, moment});
    }
}

// Both of the twins are asked over the service of the first.
TEST(EnteringAgainOnAppleSilicon, KeepsTheReplyOfATwinFromTheOtherRun) {
    const auto twin = thatNeedsTime(answeringMonitor(listedRecent, 0x4000));
    EnteredMac mac(appleMacWith({builtInPanel(), twin, twin}));
    for (const Time moment : {190ms, 210ms, 230ms, 250ms, 270ms, 290ms, 310ms, 330ms, 350ms}) {
        mac.enterAt({0s, moment});
    }
}

TEST(EnteringManyTimes, AtTheSameMomentEndsAsOneRun) {
    for (const auto turns : {Turns::atWaits, Turns::atCalls}) {
        EnteredMac mac(withCamera(macWith({builtInPanel(), silentMonitor(listedRecent)})), turns);
        mac.enterAt(Entries(manyEntries, 1s));
    }
}

TEST(EnteringManyTimes, OneMicrosecondAfterAnotherEndsAsOneRun) {
    EnteredMac mac(appleMacWith({builtInPanel(), answeringMonitor(listedRecent, 0x4000)}),
                   Turns::atCalls);
    Entries entries;
    for (int count = 0; count < manyEntries; ++count) entries.emplace_back(count);
    mac.enterAt(entries);
}

TEST(EnteringManyTimes, BeforeTheFirstRunOfTheProcessHasMetADisplayEndsAsOneRun) {
    for (const auto turns : {Turns::atWaits, Turns::atCalls}) {
        const auto description = macWith({silentMonitor(listedRecent), monitorNamed(listedOlder)});
        const Course course = play(description, {0s, 0s, 1us}, turns);
        const Course once = play(description, {0s}, turns);
        EXPECT_EQ(course.result, once.result);
    }
}

TEST(EnteringManyTimes, WithThreadsThatRunBesideOneAnotherEndsAsOneRun) {
    for (const auto& description :
         {withCamera(macWith({builtInPanel(), silentMonitor(listedRecent)})),
          macWith({answeringMonitor(listedRecent, 0x4000), silentMonitor(listedOlder)}),
          appleMacWith({builtInPanel(), badlyAnswering(monitorNamed(listedRecent))})}) {
        EnteredMac mac(description, Turns::atOnce);
        mac.enterAt(Entries(fewEntries, 0s));
    }
}

// A run that fails

/// Enters the pane on a Mac where a call fails, and again at the moments of a run.
class FailingRun : public testing::TestWithParam<simulated_mac::FaultDescription> {
  protected:
    static MacDescription healthy() {
        return macWith({builtInPanel(), silentMonitor(listedRecent)});
    }
    static MacDescription failing() {
        auto description = healthy();
        description.faults = {GetParam()};
        return description;
    }
    static std::vector<Time> moments() {
        return thinned(EnteredMac(healthy()).momentsAroundARun(), atMost(usualMoments));
    }
};

using RunWithoutAWatcher = FailingRun;

TEST_P(RunWithoutAWatcher, LeavesALaterOneToEnableContinue) {
    const Course once = play(healthy(), {0s}, Turns::atWaits);
    ASSERT_TRUE(once.result.nextEnabled);
    ASSERT_FALSE(play(failing(), {0s}, Turns::atWaits).result.nextEnabled);
    for (const Time moment : moments()) {
        SCOPED_TRACE(fmt::format("entered again at {} us", moment.count()));
        const Course course = play(failing(), {0s, moment}, Turns::atWaits);
        EXPECT_EQ(course.result, once.result);
        EXPECT_TRUE(changesAreWhole(course.paneChanges));
    }
}

INSTANTIATE_TEST_SUITE_P(OfOneCall, RunWithoutAWatcher,
                         testing::Values(simulated_mac::FaultDescription{
                             "IOMasterPort", 1, false, {}}),
                         [](const auto& tested) { return tested.param.call; });

using RunWithoutAPlatformObject = FailingRun;

TEST_P(RunWithoutAPlatformObject, EndsAsOneRunAllTheSame) {
    const Course once = play(healthy(), {0s}, Turns::atWaits);
    for (const Time moment : moments()) {
        SCOPED_TRACE(fmt::format("entered again at {} us", moment.count()));
        const Course course = play(failing(), {0s, moment}, Turns::atWaits);
        EXPECT_EQ(course.result, once.result);
    }
}

INSTANTIATE_TEST_SUITE_P(
    OfOneCall, RunWithoutAPlatformObject,
    testing::Values(simulated_mac::FaultDescription{"dispatch_queue_create", 1, true, {}},
                    simulated_mac::FaultDescription{"IONotificationPortCreate", 1, false, {}},
                    simulated_mac::FaultDescription{
                        "IOServiceAddMatchingNotification", 1, false, {}},
                    simulated_mac::FaultDescription{"IOFBCopyI2CInterfaceForBus", 1, true, {}},
                    simulated_mac::FaultDescription{"IOIteratorNext", 1, true, {}}),
    [](const auto& tested) { return tested.param.call; });

using SecondRunWithoutAWatcher = FailingRun;

// The first run's verdict stays, and with it that on the second run's monitor: a monitor that is
// being asked counts as supported until it turns out not to answer.
TEST_P(SecondRunWithoutAWatcher, KeepsContinueAsTheFirstOneLeftIt) {
    const Course once = play(healthy(), {0s}, Turns::atWaits, true);
    const Time end = *once.moments.rbegin();
    for (const Time moment : moments()) {
        SCOPED_TRACE(fmt::format("entered again at {} us", moment.count()));
        const Course course = play(failing(), {0s, moment}, Turns::atWaits);
        EXPECT_EQ(course.result.nextEnabled, moment <= end);
        EXPECT_EQ(course.result.displays, once.result.displays);
        EXPECT_EQ(course.result.warning, "");
        EXPECT_TRUE(changesAreWhole(course.paneChanges));
    }
}

INSTANTIATE_TEST_SUITE_P(OfOneCall, SecondRunWithoutAWatcher,
                         testing::Values(simulated_mac::FaultDescription{
                             "IOMasterPort", 2, false, {}}),
                         [](const auto& tested) { return tested.param.call; });

}  // namespace reentry_test
