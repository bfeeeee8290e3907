#include "Mac.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <stdexcept>

#include "EDID.h"
#include "HardwareTree.h"
#include "Installation.h"
#include "NotificationPort.h"
#include "StringsFile.h"
#include "ToolServer.h"

namespace simulated_mac {

namespace {

std::atomic<Mac*> switchedOn = nullptr;

// Display IDs as the window system gives them out: large and far apart.
constexpr std::uint32_t firstDisplayID = 0x042801C0;
constexpr std::uint32_t displayIDStep = 0x40;

Time timeOf(double seconds) {
    return Time(std::llround(seconds * 1e6));
}

std::string defaultName(const ScreenDescription& screen) {
    if (screen.builtIn) return "Built-in Retina Display";
    const auto name = identifyEDID(screen.monitor.edid).name;
    return name.value_or("Unknown Display");
}

/// Whether the system's tools print the screen's EDID, at some time.
bool listsEDID(const ScreenDescription& screen) {
    return screen.edidListed.value_or(!screen.builtIn) && !screen.monitor.edid.empty();
}

std::string describe(const USBDeviceDescription& device) {
    return fmt::format("{} (product {:04X})", device.product.value_or(device.nodeName),
                       device.productID.value_or(0));
}

}  // namespace

Display::Display(ScreenDescription what)
    : screen(std::move(what)),
      buses(screen.framebuffer.buses.value_or(std::vector<BusDescription>(screen.builtIn ? 0 : 1))),
      monitor(screen.monitor) {}

Mac::Mac(MacDescription what, Options how)
    : description(std::move(what)),
      options(how),
      scheduler(options.scheduler),
      trace(description.faults),
      registry(ledger) {
    Mac* none = nullptr;
    if (!switchedOn.compare_exchange_strong(none, this)) {
        throw std::logic_error("a Mac is switched on already");
    }
    strings_ = readStringsFile(Installation::resource("en.lproj/Localizable.strings"));
    addDisplays();
    const HardwareTree tree = buildHardwareTree(registry, description, displays_);
    usbController_ = tree.usbController;
    strayProxies_ = tree.strayProxies;
    for (const USBDeviceDescription& device : description.usb) {
        registry.add(usbController_, makeUSBDevice(device));
    }
    scheduleScreens();
    scheduleEvents();
    scheduleDisplayServices(tree.displayServices);
    toolServer_ = std::make_unique<ToolServer>(*this);
}

Mac::~Mac() {
    toolServer_.reset();
    switchedOn = nullptr;
}

Mac* Mac::current() {
    return switchedOn;
}

void Mac::addDisplays() {
    std::map<std::string, int> twins;
    for (const ScreenDescription& screen : description.screens) ++twins[defaultName(screen)];

    std::map<std::string, int> named;
    for (std::size_t index = 0; index < description.screens.size(); ++index) {
        const ScreenDescription& screen = description.screens[index];
        const bool hasEDID = !screen.monitor.edid.empty();
        const EDIDIdentity identity = identifyEDID(screen.monitor.edid);
        std::string name = defaultName(screen);
        if (twins[name] > 1) name += fmt::format(" ({})", ++named[name]);

        auto display = std::make_unique<Display>(screen);
        display->displayID = screen.displayID.value_or(
            firstDisplayID + displayIDStep * static_cast<std::uint32_t>(index));
        display->vendorNumber =
            screen.vendorNumber.value_or(hasEDID ? identity.vendorNumber : vendorWithoutEDID);
        display->modelNumber =
            screen.modelNumber.value_or(hasEDID ? identity.productCode : productWithoutEDID);
        display->serialNumber = screen.serialNumber.value_or(identity.serialNumber);
        display->localizedName = screen.name.value_or(name);
        displays_.push_back(std::move(display));
    }
}

Display* Mac::display(std::uint32_t displayID) const {
    for (const auto& display : displays_) {
        if (display->displayID == displayID) return display.get();
    }
    return nullptr;
}

std::vector<const Display*> Mac::screens() const {
    const Time now = scheduler.now();
    std::vector<const Display*> known;
    for (const auto& display : displays_) {
        if (timeOf(display->screen.appearsAt) <= now) known.push_back(display.get());
    }
    return known;
}

Time Mac::timeOfListing(const Display& display) const {
    return timeOf(std::max(display.screen.appearsAt, display.screen.edidListedAt));
}

std::vector<const Display*> Mac::displaysWithListedEDID() const {
    const Time now = scheduler.now();
    std::vector<const Display*> listed;
    for (const auto& display : displays_) {
        if (listsEDID(display->screen) && timeOfListing(*display) <= now) {
            listed.push_back(display.get());
        }
    }
    return listed;
}

void Mac::scheduleScreens() {
    for (const auto& display : displays_) {
        const std::string& name = display->localizedName;
        if (display->screen.appearsAt > 0) {
            scheduler.onMainAt(timeOf(display->screen.appearsAt),
                               [this, name] { note("mac", "screen " + name + " appears"); });
        }
        if (!listsEDID(display->screen)) continue;
        const auto list = [this, connection = connectionOf(*display),
                           edid = makeCF(display->screen.monitor.edid)] {
            if (connection != nullptr) registry.setProperty(connection, "IODisplayEDID", edid);
        };
        const Time time = timeOfListing(*display);
        if (time > Time(0)) {
            scheduler.onMainAt(time, [this, list, name] {
                list();
                note("mac", "the EDID of " + name + " appears");
            });
        } else {
            list();
        }
    }
}

void Mac::scheduleEvents() {
    for (const EventDescription& event : description.events) {
        const auto happen = [this, event] { play(event); };
        if (!event.atCall) {
            scheduler.onMainAt(timeOf(event.at), happen);
        } else if (event.user || event.installer) {
            // That is the main thread's business.
            trace.before(*event.atCall, [this, happen] { scheduler.onMain(happen); });
        } else {
            trace.before(*event.atCall, happen);
        }
    }
}

void Mac::scheduleDisplayServices(const std::shared_ptr<RegistryEntry>& parent) {
    if (parent == nullptr) return;
    for (const auto& display : displays_) {
        const DisplayServiceDescription& service = display->screen.displayService;
        if (!service.present || service.appearsAt <= 0) continue;
        scheduler.onMainAt(timeOf(service.appearsAt), [this, parent, &display = *display] {
            const HiddenFromRaceDetection hidden(scheduler.hidesTurns());
            addDisplayService(registry, parent, display);
            note("mac", "the display service of " + display.localizedName + " appears");
        });
    }
}

void Mac::play(const EventDescription& event) {
    if (event.attach) attach(*event.attach);
    if (event.detach) detach(*event.detach);
    if (event.user && userAction_) userAction_(*event.user);
    if (event.installer == EventDescription::Installer::releasesView) {
        note("mac", "the installer releases the pane's view");
        window.viewReleased = true;
        if (viewReleased_) viewReleased_();
    }
}

void Mac::attach(const USBDeviceDescription& device) {
    const HiddenFromRaceDetection hidden(scheduler.hidesTurns());
    note("mac", "USB device attached: " + describe(device));
    registry.add(usbController_, makeUSBDevice(device));
}

void Mac::detach(std::uint32_t locationID) {
    for (const auto& device : registry.matching({"IOUSBDevice", ""})) {
        const CFPointer location = device->get("locationID");
        const auto* const number =
            location != nullptr ? std::get_if<std::int64_t>(&location->value) : nullptr;
        if (number == nullptr || static_cast<std::uint32_t>(*number) != locationID) continue;
        registry.remove(device);
        note("mac", fmt::format("USB device detached from 0x{:08X}: {}", locationID, device->name));
    }
}

void Mac::onUser(std::function<void(EventDescription::User)> action) {
    userAction_ = std::move(action);
}

void Mac::onViewReleased(std::function<void()> action) {
    viewReleased_ = std::move(action);
}

void Mac::note(std::string source, std::string what) {
    const std::lock_guard lock(mutex_);
    timeline_.push_back({scheduler.now(), std::move(source), std::move(what)});
    if (noteListener_) noteListener_(timeline_.back());
}

std::vector<TimelineEntry> Mac::timeline() const {
    const std::lock_guard lock(mutex_);
    return timeline_;
}

void Mac::onNote(std::function<void(const TimelineEntry&)> listener) {
    noteListener_ = std::move(listener);
}

void Mac::log(std::string message) {
    const std::lock_guard lock(mutex_);
    systemLog_.push_back(std::move(message));
}

std::vector<std::string> Mac::systemLog() const {
    const std::lock_guard lock(mutex_);
    return systemLog_;
}

void Mac::misuse(std::string what) {
    const std::lock_guard lock(mutex_);
    misuses_.push_back(std::move(what));
}

std::vector<std::string> Mac::misuses() const {
    const std::lock_guard lock(mutex_);
    return misuses_;
}

std::string Mac::localizedString(const std::string& key) const {
    const auto changed = description.strings.find(key);
    if (changed != description.strings.end()) return changed->second.value_or(key);
    const auto known = strings_.find(key);
    return known != strings_.end() ? known->second : key;
}

std::vector<std::string> Mac::environment(char* const inherited[]) const {
    std::vector<std::string> variables;
    std::string path = "/usr/bin:/bin";
    for (char* const* variable = inherited; *variable != nullptr; ++variable) {
        const std::string_view text = *variable;
        if (text.substr(0, 5) == "PATH=") {
            path = text.substr(5);
        } else {
            variables.emplace_back(text);
        }
    }
    variables.push_back("PATH=" + Installation::tools().string() + ":" + path);
    variables.push_back("SIMULATED_MAC_SOCKET=" + toolServer_->socketPath());
    return variables;
}

IONotificationPort* Mac::addNotificationPort() {
    const std::lock_guard lock(mutex_);
    notificationPorts_.push_back(std::make_shared<IONotificationPort>());
    return notificationPorts_.back().get();
}

}  // namespace simulated_mac
