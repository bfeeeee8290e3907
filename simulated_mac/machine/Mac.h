#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/hardware/Display.h"
#include "simulated_mac/hardware/HardwareTree.h"
#include "simulated_mac/hardware/Ledger.h"
#include "simulated_mac/hardware/Registry.h"
#include "simulated_mac/machine/InstallerWindow.h"
#include "simulated_mac/machine/Journal.h"
#include "simulated_mac/machine/Scheduler.h"
#include "simulated_mac/machine/Trace.h"
#include "simulated_mac/tools/SystemTools.h"
#include "simulated_mac/tools/ToolServer.h"

struct IONotificationPort;

namespace simulated_mac {

/// A Mac as described. While it is switched on, the platform's functions of this
/// process work on it; there is one at a time. The thread that makes it is its main thread.
class Mac {
  public:
    struct Options {
        Scheduler::Options scheduler;
        /// The user's language, of which the pane has a string table; empty for English.
        std::string language;
        /// The duration of every platform call on the Mac's clock; not set: none. If calls take
        /// time, other threads get their turn at each call and not only during waits.
        std::optional<Time> systemCallTakes;
        /// Called with the reason if a platform function would crash the process.
        std::function<void(const std::string&)> onCrash;
    };

    /// Throws std::invalid_argument if a monitor's answers are unknown (Assumption.h).
    explicit Mac(MacDescription what, Options how = {});
    ~Mac();
    Mac(const Mac&) = delete;
    Mac& operator=(const Mac&) = delete;

    /// The Mac that is switched on; nullptr if there is none.
    static Mac* current();

    const MacDescription description;
    const Options options;
    Scheduler scheduler;
    Journal journal;
    Ledger ledger;
    Trace trace;
    Registry registry;
    InstallerWindow window;

    const std::vector<std::unique_ptr<Display>>& displays() const { return displays_; }
    /// Those of an Intel Mac.
    const std::vector<std::unique_ptr<Framebuffer>>& framebuffers() const {
        return hardware_.framebuffers;
    }
    const std::vector<StrayProxy>& strayProxies() const { return hardware_.strayProxies; }
    /// nullptr for a display ID that no screen has.
    Display* display(std::uint32_t displayID) const;
    /// The same for one whose monitor was unplugged.
    Display* connectedDisplay(std::uint32_t displayID) const;
    /// The screens that the window system has so far, in its order.
    std::vector<const Display*> screens() const;
    /// Those whose EDID the system's tools print by now.
    std::vector<const Display*> displaysWithListedEDID() const;

    /// What the user does in the events of the description; the host of the pane takes part, and
    /// says whether it had an effect.
    void onUser(std::function<bool(EventDescription::User)> action);
    /// Called when the installer releases the pane's view, for a host with a view of its own.
    void onViewReleased(std::function<void()> action);

    /// A text of the pane's string table on this Mac.
    std::string localizedString(const std::string& key) const;

    /// The environment in which a process of this Mac runs: its tools come first on the PATH.
    std::vector<std::string> environment(char* const inherited[]) const;

    /// Runs a command line of the Mac's tools, the tool first.
    ToolOutput runTool(const std::vector<std::string>& commandLine);
    /// The same without keeping what it prints. Returns its exit status.
    int runTool(const std::vector<std::string>& commandLine, const Print& print);

    /// How long a shell's command line takes on the Mac's clock: as long as the tool that it begins
    /// with.
    Time durationOf(const std::string& shellCommand) const;

    /// A notification port lives as long as the Mac: nothing here tears one down.
    IONotificationPort* addNotificationPort();

    void attach(const USBDeviceDescription& device);
    /// Whether a device was there.
    bool detach(std::uint32_t locationID);
    /// The events so far, by their place in the description, that found nothing to act on.
    std::set<std::size_t> eventsInVain() const;

  private:
    Time timeOfListing(const Display& display) const;
    void scheduleScreens();
    void scheduleDepartures();
    void unplug(Display& display);
    void removeDisplayService(Display& display);
    void scheduleEvents();
    void scheduleDisplayServices();
    void play(std::size_t event);

    std::vector<std::unique_ptr<Display>> displays_;
    std::function<bool(EventDescription::User)> userAction_;
    std::function<void()> viewReleased_;
    mutable std::mutex mutex_;
    std::set<std::size_t> eventsInVain_;
    std::vector<std::shared_ptr<IONotificationPort>> notificationPorts_;
    std::map<std::string, std::string> strings_;
    HardwareTree hardware_;
    SystemTools systemTools_;
    std::unique_ptr<ToolServer> toolServer_;
};

}  // namespace simulated_mac
