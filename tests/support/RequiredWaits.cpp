#include "tests/support/RequiredWaits.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <variant>

#include "plugin/Extension/NSString+normalization.h"
#include "plugin/MyInstallerPane.h"
#include "plugin/WhiteList.h"
#include "simulated_mac/description/EDID.h"

using namespace vorn;

namespace test {

namespace {

using namespace std::chrono_literals;
using simulated_mac::BusDescription;
using simulated_mac::Chip;
using simulated_mac::DDCAnswer;
using simulated_mac::EventDescription;
using simulated_mac::MacDescription;
using simulated_mac::ProxyDescription;
using simulated_mac::ScreenDescription;
using simulated_mac::Time;

constexpr Time forAScreen = 2s;
constexpr Time shortestForServices = 2s;  // a second longer each time
constexpr int looksForServices = 5;       // after the first
constexpr Time forMoreEDIDs = 1s;
constexpr int tries = 5;
constexpr Time betweenTries = 1s;
constexpr Time afterRequestWithoutReply = 20ms;
constexpr Time beforeTransfer = 60ms;
constexpr int transfersOfClean = 3;
constexpr int writesOfRead = 2;
constexpr std::uint32_t typesWithReply = 0x02 | 0x04;  // simple, and DDC/CI reply

Time timeOfSeconds(double seconds) {
    return std::chrono::round<Time>(std::chrono::duration<double>(seconds));
}

// What the Mac is.

bool isGone(const std::optional<double>& disappearsAt, Time now) {
    return disappearsAt && timeOfSeconds(*disappearsAt) <= now;
}

bool isThere(const ScreenDescription& screen, Time now) {
    return screen.isScreen && timeOfSeconds(screen.appearsAt) <= now &&
           !isGone(screen.disappearsAt, now);
}

/// An unplugged monitor takes its service with it.
bool hasLostService(const ScreenDescription& screen, Time now) {
    return isGone(screen.disappearsAt, now) || isGone(screen.displayService.disappearsAt, now);
}

/// "External" unless the file says otherwise; "" for a proxy without a location.
std::string locationOf(const ProxyDescription& proxy) {
    if (!proxy.location) return "External";
    const auto* const text = std::get_if<std::string>(&proxy.location->value);
    return text != nullptr ? *text : "";
}

/// Whether a service is paired with the screen: its framebuffer has the monitor's own identity, and
/// a location that contains "External".
bool isPaired(const ScreenDescription& screen, Time now) {
    const auto& service = screen.displayService;
    return !screen.builtIn && service.present && timeOfSeconds(service.appearsAt) <= now &&
           !hasLostService(screen, now) && service.properties.empty() &&
           service.productAttributes.empty() && !service.proxies.empty() &&
           locationOf(service.proxies.front()).find("External") != std::string::npos;
}

/// Whether there is a service to talk to: one is opened only where the location says just that.
bool opens(const ScreenDescription& screen, Time now) {
    return isPaired(screen, now) &&
           locationOf(screen.displayService.proxies.front()) == "External" &&
           screen.displayService.proxies.front().opens;
}

/// Whether a tool prints what is there: the file can have it print something else.
bool printsEDIDs(const MacDescription& mac, const std::string& tool) {
    const auto changed = mac.tools.find(tool);
    return changed == mac.tools.end() || !changed->second.front().prints;
}

/// The tools of an Intel Mac print the built-in panel's EDID as well.
bool isListed(const MacDescription& mac, const ScreenDescription& screen, Time now) {
    return screen.edidListed.value_or(!screen.builtIn || mac.chip == Chip::intel) &&
           !screen.monitor.edid.empty() && !isGone(screen.disappearsAt, now) &&
           timeOfSeconds(std::max(screen.appearsAt, screen.edidListedAt)) <= now;
}

std::string nameOf(const ScreenDescription& screen) {
    return screen.name.value_or(simulated_mac::identifyEDID(screen.monitor.edid).name.value_or(""));
}

/// Whether a name can count as supported at all: it is listed or of model year 25 or later.
bool mayCount(const std::string& name) {
    const WhiteList list;
    const vorn::MyInstallerPane pane(nullptr);
    return list.availableDisplay(name) || pane.isYear25orAbove(regularMonitorName(name));
}

/// The framebuffer's first bus that takes a request; nullptr if none does, or if the framebuffer's
/// identity isn't the screen's and it is not found.
const BusDescription* busThatSends(const ScreenDescription& screen) {
    static const std::vector<BusDescription> usual(1);
    const auto& framebuffer = screen.framebuffer;
    if (!framebuffer.present || !framebuffer.dictionary.empty()) return nullptr;
    for (const BusDescription& bus : framebuffer.buses ? *framebuffer.buses : usual) {
        const bool opens = bus.copyResult == 0 && bus.hasInterface && bus.openResult == 0;
        if (opens && bus.sendResult.value_or(0) == 0 && bus.releaseResult == 0) return &bus;
    }
    return nullptr;
}

/// Whether the interface of one of the Mac's buses sends a reply back: simple, or the DDC/CI kind.
/// Either of the usual masks has the simple one.
bool hasReply(const MacDescription& mac, const BusDescription& bus) {
    if (!bus.hasInterface || !bus.hasTransactionTypes) return false;
    const std::uint32_t usual = mac.graphics.transactionTypes.value_or(typesWithReply);
    return (bus.transactionTypes.value_or(usual) & typesWithReply) != 0;
}

/// Whether some I2C interface of the Mac does.
bool hasReplies(const MacDescription& mac) {
    const std::vector<BusDescription> usual(1);
    std::size_t framebuffers = 0;
    for (const ScreenDescription& screen : mac.screens) {
        if (!screen.framebuffer.present) continue;
        ++framebuffers;
        for (const BusDescription& bus : screen.framebuffer.buses.value_or(usual)) {
            if (hasReply(mac, bus)) return true;
        }
    }
    return framebuffers < mac.graphics.framebuffers && hasReply(mac, usual.front());
}

// What that makes the pane wait for.

/// The answers of one monitor, in order.
class Answers {
  public:
    explicit Answers(const simulated_mac::MonitorDescription& monitor)
        : monitor_(monitor), settled_(!monitor.settlesAfterClean) {}

    void clean() { settled_ = true; }
    DDCAnswer::Kind next() {
        const auto& all = monitor_.answers;
        const auto kind =
            all.empty() ? DDCAnswer::Kind::good : all[std::min(given_, all.size() - 1)].kind;
        ++given_;
        return settled_ ? kind : DDCAnswer::Kind::badChecksum;
    }

  private:
    const simulated_mac::MonitorDescription& monitor_;
    std::size_t given_ = 0;
    bool settled_;
};

/// The waits of one detection run that starts at a time; each is of its own cause.
class Run {
  public:
    Run(const MacDescription& mac, Time start) : mac_(mac), now_(start) {
        waitForScreens();
        if (mac_.chip == Chip::apple) waitForServices();
        const auto list = waitForEDIDs();
        for (const ScreenDescription& screen : mac_.screens) {
            if (isAsked(screen, list)) ask(screen);
        }
    }

    const std::vector<Time>& waits() const { return waits_; }
    Time end() const { return now_; }

  private:
    using EDIDs = std::set<simulated_mac::Bytes>;

    void wait(Time duration) {
        waits_.push_back(duration);
        now_ += duration;
    }

    template <class Predicate>
    auto countOfScreens(Predicate predicate) const {
        return std::count_if(mac_.screens.begin(), mac_.screens.end(), predicate);
    }

    void waitForScreens() {
        hasExternal_ = countOfScreens([this](const auto& screen) {
                           return !screen.builtIn && isThere(screen, now_);
                       }) > 0;
        if (!hasExternal_) wait(forAScreen);
    }

    bool anyIsPaired() const {
        return hasExternal_ &&
               countOfScreens([this](const auto& screen) { return isPaired(screen, now_); }) > 0;
    }

    /// Whether something comes or goes while the pane walks the registry for the first time, which
    /// hides the services from that look. With two monitors it would hide one's from all.
    bool firstLookIsCut() const {
        return std::any_of(mac_.events.begin(), mac_.events.end(), [](const auto& event) {
            return event.atCall && event.atCall->call == "IOIteratorNext";
        });
    }

    void waitForServices() {
        for (int look = 0; hasExternal_ && look < looksForServices; ++look) {
            if (anyIsPaired() && !(look == 0 && firstLookIsCut())) return;
            wait(shortestForServices + look * 1s);
        }
    }

    /// Over the services where there are any, else as the system's tools print them. The tools
    /// print one of two twins twice.
    std::pair<EDIDs, std::size_t> readEDIDs() {
        EDIDs edids;
        std::size_t count = 0;
        const bool overServices = mac_.chip == Chip::apple && anyIsPaired();
        const std::string tool = mac_.chip == Chip::apple ? "afktool" : "ioreg";
        const auto changed = mac_.tools.find(tool);
        const double takes = changed != mac_.tools.end() ? changed->second.front().takes : 0;
        if (!overServices) now_ += timeOfSeconds(takes);
        for (const ScreenDescription& screen : mac_.screens) {
            if (overServices) {
                const auto& proxies = screen.displayService.proxies;
                if (!opens(screen, now_) || proxies.front().copyEDIDResult != 0) continue;
                if (edids.insert(screen.monitor.edid).second) ++count;
            } else if (printsEDIDs(mac_, tool) && isListed(mac_, screen, now_)) {
                edids.insert(screen.monitor.edid);
                ++count;
            }
        }
        return {edids, count};
    }

    /// A second look follows unless there is one EDID for each screen but one.
    EDIDs waitForEDIDs() {
        const auto screens = static_cast<std::size_t>(
            countOfScreens([this](const auto& screen) { return isThere(screen, now_); }));
        const auto [edids, count] = readEDIDs();
        if (count + 1 == screens) return edids;
        wait(forMoreEDIDs);
        return readEDIDs().first;
    }

    static bool isAsked(const ScreenDescription& screen, const EDIDs& list) {
        if (screen.builtIn || !list.contains(screen.monitor.edid)) return false;
        return simulated_mac::identifyEDID(screen.monitor.edid).manufacturer == "VRN" &&
               mayCount(nameOf(screen));
    }

    void ask(const ScreenDescription& screen) {
        if (mac_.chip == Chip::intel) {
            askOverFramebuffer(screen);
        } else if (opens(screen, now_)) {
            askOverService(screen);
        }
    }

    /// The reply delay that AMD graphics need holds from the second read on.
    bool hasTime(const ScreenDescription& screen) {
        constexpr std::uint64_t usual = 50;
        constexpr std::uint64_t longer = 100'000'000;
        const bool amd = mac_.graphics.driver.value_or("").starts_with("AMD");
        const std::uint64_t delay = amd && reads_ > 1 ? longer : usual;
        return delay >= screen.monitor.needsReplyDelay;
    }

    void askOverFramebuffer(const ScreenDescription& screen) {
        ++reads_;
        const bool replies = hasReplies(mac_);
        const BusDescription* const bus = busThatSends(screen);
        const bool reaches = replies && bus != nullptr && bus->leadsToMonitor &&
                             !screen.framebuffer.asleep && bus->requestResult.value_or(0) == 0 &&
                             hasTime(screen);
        Answers answers(screen.monitor);
        for (int attempt = 1; attempt <= tries; ++attempt) {
            if (!replies) wait(afterRequestWithoutReply);
            if (reaches && answers.next() == DDCAnswer::Kind::good) return;
            if (attempt < tries) wait(betweenTries);
        }
    }

    /// False when the transfer fails, by the file or because the service is gone, which ends the
    /// read.
    bool write(const ScreenDescription& screen) {
        wait(beforeTransfer);
        ++writes_;
        return !hasLostService(screen, now_) &&
               std::none_of(mac_.faults.begin(), mac_.faults.end(), [this](const auto& fault) {
                   return fault.call == "IOAVServiceWriteI2C" &&
                          (writes_ == fault.nth || (fault.andLater && writes_ > fault.nth));
               });
    }

    void askOverService(const ScreenDescription& screen) {
        Answers answers(screen.monitor);
        for (int attempt = 1; attempt <= tries; ++attempt) {
            for (int transfer = 0; transfer < writesOfRead; ++transfer) {
                if (!write(screen)) return;
            }
            wait(beforeTransfer);
            const auto answer = answers.next();
            // A reply that can't be read is not asked for again.
            if (answer == DDCAnswer::Kind::good || answer == DDCAnswer::Kind::silent) return;
            if (WhiteList().isRTKChipDisplay(nameOf(screen))) {
                for (int transfer = 0; transfer < transfersOfClean; ++transfer) {
                    if (!write(screen)) break;
                }
                answers.clean();
            }
            wait(betweenTries);
        }
    }

    const MacDescription& mac_;
    Time now_;
    bool hasExternal_ = false;
    int reads_ = 0;
    std::uint64_t writes_ = 0;
    std::vector<Time> waits_;
};

}  // namespace

RequiredWaits requiredWaits(const MacDescription& mac) {
    const Run first(mac, 0s);
    RequiredWaits required{first.waits(), first.end(), first.end()};
    for (const ScreenDescription& screen : mac.screens) {
        required.end = std::max({required.end, timeOfSeconds(screen.appearsAt),
                                 timeOfSeconds(screen.disappearsAt.value_or(0)),
                                 timeOfSeconds(screen.edidListedAt)});
        if (mac.chip != Chip::apple) continue;
        const auto& service = screen.displayService;
        required.end = std::max({required.end, timeOfSeconds(service.appearsAt),
                                 timeOfSeconds(service.disappearsAt.value_or(0))});
    }
    for (const EventDescription& event : mac.events) {
        const Time at = timeOfSeconds(event.at);
        required.end = std::max(required.end, at);
        if (event.user != EventDescription::User::entersPane) continue;
        const Run again(mac, at);
        required.waits.insert(required.waits.end(), again.waits().begin(), again.waits().end());
        required.end = std::max(required.end, again.end());
    }
    return required;
}

}  // namespace test
