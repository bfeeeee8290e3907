#include "simulated_mac/machine/Mac.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "simulated_mac/description/Assumption.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/machine/Installation.h"
#include "simulated_mac/machine/NotificationPort.h"
#include "simulated_mac/machine/StringsFile.h"
#include "simulated_mac/tools/ToolServer.h"

namespace simulated_mac {

namespace {

std::atomic<Mac*> switchedOn = nullptr;

Time timeOf(double seconds) {
    return Time(std::llround(seconds * 1e6));
}

/// Whether the system's tools print the screen's EDID, at some time. An Intel Mac's list that of
/// the panel, too.
bool listsEDID(const ScreenDescription& screen, Chip chip) {
    return screen.edidListed.value_or(!screen.builtIn || chip == Chip::intel) &&
           (screen.listedEDIDEmpty || !screen.monitor.edid.empty());
}

constexpr auto edidKey = "IODisplayEDID";

bool hasEDID(const RegistryEntry& node, const Bytes& edid) {
    const CFPointer listed = node.get(edidKey);
    const auto* const bytes = listed != nullptr ? std::get_if<Bytes>(&listed->value) : nullptr;
    return bytes != nullptr && *bytes == edid;
}

/// Throws for monitors whose answers nobody knows: a run with them would make some up.
MacDescription withoutUnknown(MacDescription mac) {
    if (countUnknownMonitors(mac) > 0) {
        throw std::invalid_argument(
            "a monitor's answers are unknown; expected an assumption about them");
    }
    return mac;
}

std::string describe(const USBDeviceDescription& device) {
    return fmt::format("{} (product {:04X})", device.product.value_or(device.nodeName),
                       device.productID.value_or(0));
}

}  // namespace

Mac::Mac(MacDescription what, Options how)
    : description(withoutUnknown(std::move(what))),
      options(std::move(how)),
      scheduler(options.scheduler),
      journal(scheduler),
      trace(description.faults),
      registry(ledger),
      displays_(makeDisplays(description.screens)),
      systemTools_(
          description, registry, [this] { return screens(); },
          [this] { return displaysWithListedEDID(); }) {
    Mac* none = nullptr;
    if (!switchedOn.compare_exchange_strong(none, this)) {
        throw std::logic_error("a Mac is switched on already");
    }
    const std::string language = options.language.empty() ? "en" : options.language;
    strings_ = readStringsFile(Installation::resource(language + ".lproj/Localizable.strings"));
    hardware_ = buildHardwareTree(registry, description, displays_);
    for (const USBDeviceDescription& device : description.usb) {
        addUSBDevice(registry, hardware_.usbController, device);
    }
    scheduleScreens();
    scheduleEvents();
    scheduleDisplayServices();
    scheduleDepartures();
    toolServer_ = std::make_unique<ToolServer>(
        [this](const std::vector<std::string>& commandLine, const Print& print) {
            return runTool(commandLine, print);
        });
}

Mac::~Mac() {
    toolServer_.reset();
    switchedOn = nullptr;
}

Mac* Mac::current() {
    return switchedOn;
}

Display* Mac::display(std::uint32_t displayID) const {
    for (const auto& display : displays_) {
        if (display->displayID == displayID) return display.get();
    }
    return nullptr;
}

Display* Mac::connectedDisplay(std::uint32_t displayID) const {
    Display* const known = display(displayID);
    return known == nullptr || known->gone ? nullptr : known;
}

std::vector<const Display*> Mac::screens() const {
    const Time now = scheduler.now();
    std::vector<const Display*> known;
    for (const auto& display : displays_) {
        if (timeOf(display->screen.appearsAt) <= now && !display->gone)
            known.push_back(display.get());
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
        if (listsEDID(display->screen, description.chip) && timeOfListing(*display) <= now &&
            !display->gone) {
            listed.push_back(display.get());
        }
    }
    return listed;
}

void Mac::scheduleScreens() {
    for (const auto& display : displays_) {
        const std::string& name = display->localizedName;
        if (display->screen.appearsAt > 0) {
            scheduler.onMainAt(timeOf(display->screen.appearsAt), [this, name] {
                journal.note("mac", "screen " + name + " appears");
            });
        }
        const Registry::Entry node =
            display->framebuffer != nullptr ? display->framebuffer->displayNode : nullptr;
        const bool listed = listsEDID(display->screen, description.chip);
        const Time time = timeOfListing(*display);
        const bool hidden = !listed && display->screen.edidListed == false;
        if (node != nullptr && node->recorded != nullptr &&
            (hidden || (listed && time > Time(0)))) {
            node->set(edidKey, nullptr);
        }
        if (!listed) continue;
        const auto list = [this, node, edid = listedEDID(display->screen)] {
            if (node != nullptr && !hasEDID(*node, edid)) {
                registry.setProperty(node, edidKey, makeCF(edid));
            }
        };
        if (time > Time(0)) {
            scheduler.onMainAt(time, [this, list, name, &gone = display->gone] {
                if (gone) return;
                list();
                journal.note("mac", "the EDID of " + name + " appears");
            });
        } else {
            list();
        }
    }
}

void Mac::scheduleEvents() {
    for (std::size_t index = 0; index < description.events.size(); ++index) {
        const EventDescription& event = description.events[index];
        const auto happen = [this, index] { play(index); };
        if (!event.atCall) {
            scheduler.onMainAt(timeOf(event.at), happen);
        } else if (event.user || event.installer) {
            // Only the main thread does this.
            trace.before(*event.atCall, [this, happen] { scheduler.onMain(happen); });
        } else {
            trace.before(*event.atCall, happen);
        }
    }
}

void Mac::scheduleDisplayServices() {
    const auto& parent = hardware_.displayServices;
    if (parent == nullptr) return;
    for (const auto& display : displays_) {
        const DisplayServiceDescription& service = display->screen.displayService;
        if (!service.present || service.appearsAt <= 0) continue;
        scheduler.onMainAt(timeOf(service.appearsAt), [this, &parent, &display = *display] {
            if (display.gone) return;
            const HiddenFromRaceDetection hidden(scheduler.hidesTurns());
            addDisplayService(registry, parent, display);
            journal.note("mac", "the display service of " + display.localizedName + " appears");
        });
    }
}

void Mac::scheduleDepartures() {
    for (const auto& display : displays_) {
        if (const auto& time = display->screen.disappearsAt) {
            scheduler.onMainAt(timeOf(*time), [this, &display = *display] { unplug(display); });
        }
        if (const auto& time = display->screen.displayService.disappearsAt) {
            scheduler.onMainAt(timeOf(*time),
                               [this, &display = *display] { removeDisplayService(display); });
        }
    }
}

void Mac::unplug(Display& display) {
    const HiddenFromRaceDetection hidden(scheduler.hidesTurns());
    display.gone = true;
    journal.note("mac", "screen " + display.localizedName + " disappears");
    if (display.framebuffer != nullptr && display.framebuffer->displayNode != nullptr) {
        const Registry::Entry& node = display.framebuffer->displayNode;
        const Registry::Entry parent = node->parent.lock();
        registry.remove(parent->isA("IODisplayConnect") ? parent : node);
    }
    removeDisplayService(display);
}

void Mac::removeDisplayService(Display& display) {
    if (display.service == nullptr) return;
    const HiddenFromRaceDetection hidden(scheduler.hidesTurns());
    registry.remove(std::exchange(display.service, nullptr));
    if (display.coprocessor != nullptr) {
        registry.remove(std::exchange(display.coprocessor, nullptr));
    }
    // A recorded Mac's coprocessor stays.
    for (const Registry::Entry& proxy : display.proxies) {
        if (proxy != nullptr) registry.remove(proxy);
    }
    display.serviceGone = true;
    journal.note("mac", "the display service of " + display.localizedName + " disappears");
}

void Mac::play(std::size_t index) {
    const EventDescription& event = description.events[index];
    bool isInVain = false;
    if (event.attach) attach(*event.attach);
    if (event.detach) isInVain = !detach(*event.detach);
    if (event.user && userAction_) isInVain = !userAction_(*event.user);
    if (isInVain) {
        const std::lock_guard lock(mutex_);
        eventsInVain_.insert(index);
    }
    if (event.installer == EventDescription::Installer::releasesView) {
        journal.note("mac", "the installer releases the pane's view");
        window.viewReleased = true;
        if (viewReleased_) viewReleased_();
    }
}

ToolOutput Mac::runTool(const std::vector<std::string>& commandLine) {
    ToolOutput output;
    output.status =
        runTool(commandLine, [&output](std::string_view piece) { output.text += piece; });
    return output;
}

int Mac::runTool(const std::vector<std::string>& commandLine, const Print& print) {
    std::size_t bytes = 0;
    const int status = systemTools_.run(commandLine, [&](std::string_view piece) {
        bytes += piece.size();
        print(piece);
    });
    journal.note("mac",
                 fmt::format("{} prints {} bytes{}", fmt::join(commandLine, " "), bytes,
                             status != 0 ? fmt::format(" and ends with status {}", status) : ""));
    return status;
}

Time Mac::durationOf(const std::string& shellCommand) const {
    return timeOf(systemTools_.secondsOf(shellCommand.substr(0, shellCommand.find(' '))));
}

void Mac::attach(const USBDeviceDescription& device) {
    const HiddenFromRaceDetection hidden(scheduler.hidesTurns());
    journal.note("mac", "USB device attached: " + describe(device));
    addUSBDevice(registry, hardware_.usbController, device);
}

bool Mac::detach(std::uint32_t locationID) {
    bool isThere = false;
    for (const auto& device : registry.matching({"IOUSBDevice", ""})) {
        const CFPointer location = device->get("locationID");
        const auto* const number =
            location != nullptr ? std::get_if<std::int64_t>(&location->value) : nullptr;
        if (number == nullptr || static_cast<std::uint32_t>(*number) != locationID) continue;
        // A second node goes with the first.
        const Registry::Entry parent = device->parent.lock();
        if (parent != nullptr && parent->isA(legacyUSBClient)) continue;
        registry.remove(device);
        journal.note(
            "mac", fmt::format("USB device detached from 0x{:08X}: {}", locationID, device->name));
        isThere = true;
    }
    return isThere;
}

std::set<std::size_t> Mac::eventsInVain() const {
    const std::lock_guard lock(mutex_);
    return eventsInVain_;
}

void Mac::onUser(std::function<bool(EventDescription::User)> action) {
    userAction_ = std::move(action);
}

void Mac::onViewReleased(std::function<void()> action) {
    viewReleased_ = std::move(action);
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
    variables.push_back("SIMULATED_MAC_SOCKET=" + toolServer_->address());
    return variables;
}

IONotificationPort* Mac::addNotificationPort() {
    const std::lock_guard lock(mutex_);
    notificationPorts_.push_back(std::make_shared<IONotificationPort>());
    return notificationPorts_.back().get();
}

}  // namespace simulated_mac
