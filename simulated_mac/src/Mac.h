#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "InstallerWindow.h"
#include "Ledger.h"
#include "MacDescription.h"
#include "Monitor.h"
#include "Registry.h"
#include "Scheduler.h"
#include "Trace.h"

struct IONotificationPort;

namespace simulated_mac {

class ToolServer;

/// Something that happened, for the report's timeline.
struct TimelineEntry {
    Time time{0};
    std::string source;  ///< "user", "pane" or "mac"
    std::string what;
};

/// A screen of the Mac with the monitor behind it.
struct Display {
    explicit Display(ScreenDescription what);

    const ScreenDescription screen;
    std::uint32_t displayID = 0;
    std::uint32_t vendorNumber = 0;
    std::uint32_t modelNumber = 0;
    std::uint32_t serialNumber = 0;
    std::string localizedName;
    const std::vector<BusDescription> buses;  ///< of its framebuffer
    Monitor monitor;
    /// The entry of an Intel Mac's framebuffer; none where it has none for the display.
    std::shared_ptr<RegistryEntry> framebuffer;
    /// The entries of its buses' I2C interfaces, one for each of `buses`; none for a bus without.
    std::vector<std::shared_ptr<RegistryEntry>> interfaces;
    /// The entries of an Apple-silicon Mac's AV service proxies, as the description lists them.
    std::vector<std::shared_ptr<RegistryEntry>> proxies;
};

/// A Mac as a description says it is. While it is switched on, the platform's functions of this
/// process work on it; there is one at a time. The thread that makes it is its main thread.
class Mac {
  public:
    struct Options {
        Scheduler::Options scheduler;
        /// What every call of the system takes on the Mac's clock; not set: nothing. Where it takes
        /// time, other threads have their turns at each call and not only where one waits.
        std::optional<Time> systemCallTakes;
        /// Told why the process ends where a platform function does not survive what it was given.
        std::function<void(const std::string&)> onCrash;
    };

    explicit Mac(MacDescription what, Options how = {});
    ~Mac();
    Mac(const Mac&) = delete;
    Mac& operator=(const Mac&) = delete;

    /// The Mac that is switched on; nullptr when none is.
    static Mac* current();

    const MacDescription description;
    const Options options;
    Scheduler scheduler;
    Ledger ledger;
    Trace trace;
    Registry registry;
    InstallerWindow window;

    const std::vector<std::unique_ptr<Display>>& displays() const { return displays_; }
    /// The entries of the AV service proxies before every framebuffer, as described.
    const std::vector<std::shared_ptr<RegistryEntry>>& strayProxies() const {
        return strayProxies_;
    }
    /// nullptr for a display ID that no screen has.
    Display* display(std::uint32_t displayID) const;
    /// The screens that the window system knows by now, in its order.
    std::vector<const Display*> screens() const;
    /// Those whose EDID the system's tools print by now.
    std::vector<const Display*> displaysWithListedEDID() const;

    /// What the user does in the events of the description; the host of the pane takes part.
    void onUser(std::function<void(EventDescription::User)> action);
    /// Called when the installer releases the pane's view, for a host with a view of its own.
    void onViewReleased(std::function<void()> action);

    void note(std::string source, std::string what);
    std::vector<TimelineEntry> timeline() const;
    /// Called with each entry as it is made, for a host that shows progress.
    void onNote(std::function<void(const TimelineEntry&)> listener);

    void log(std::string message);
    std::vector<std::string> systemLog() const;

    /// What the plug-in did that a Mac may survive, but does not allow: labels touched off the main
    /// thread, registry objects released too often.
    void misuse(std::string what);
    std::vector<std::string> misuses() const;

    /// What a text of the pane's string table reads on this Mac.
    std::string localizedString(const std::string& key) const;

    /// The environment in which a process of this Mac runs: its tools come first on the PATH.
    std::vector<std::string> environment(char* const inherited[]) const;

    /// A notification port lives as long as the Mac: nothing here tears one down.
    IONotificationPort* addNotificationPort();

    void attach(const USBDeviceDescription& device);
    void detach(std::uint32_t locationID);

  private:
    void addDisplays();
    Time timeOfListing(const Display& display) const;
    void scheduleScreens();
    void scheduleEvents();
    void scheduleDisplayServices(const std::shared_ptr<RegistryEntry>& parent);
    void play(const EventDescription& event);

    std::vector<std::unique_ptr<Display>> displays_;
    std::function<void(EventDescription::User)> userAction_;
    std::function<void()> viewReleased_;
    std::function<void(const TimelineEntry&)> noteListener_;
    mutable std::mutex mutex_;
    std::vector<TimelineEntry> timeline_;
    std::vector<std::string> systemLog_;
    std::vector<std::string> misuses_;
    std::vector<std::shared_ptr<IONotificationPort>> notificationPorts_;
    std::map<std::string, std::string> strings_;
    std::shared_ptr<RegistryEntry> usbController_;
    std::vector<std::shared_ptr<RegistryEntry>> strayProxies_;
    std::unique_ptr<ToolServer> toolServer_;
};

}  // namespace simulated_mac
