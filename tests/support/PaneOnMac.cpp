#include "tests/support/PaneOnMac.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/Utilities/EDIDUtils.h"
#include "plugin/Utilities/StringUtil.h"
#include "plugin/WhiteList.h"
#include "simulated_mac/platform/Running.h"

namespace test {

namespace {

constexpr std::uint8_t confirmationCode = 0xF1;

template <class T>
void makeWhenMissing(T*& object) {
    if (object == nullptr) object = new T;
}

}  // namespace

ScreenDescription builtInPanel() {
    ScreenDescription screen;
    screen.builtIn = true;
    return screen;
}

ScreenDescription monitorNamed(const std::string& name) {
    EDIDFields fields;
    fields.product = 0x1234;
    fields.serial = 0x12345678;
    fields.name = name;
    fields.serialText = "7XYZ123";
    ScreenDescription screen;
    screen.monitor.edid = simulated_mac::makeEDID(fields);
    return screen;
}

ScreenDescription answeringMonitor(const std::string& name, std::uint16_t value) {
    ScreenDescription screen = monitorNamed(name);
    screen.monitor.vcp[confirmationCode].current = value;
    return screen;
}

ScreenDescription silentMonitor(const std::string& name) {
    ScreenDescription screen = monitorNamed(name);
    screen.monitor.answers = {{simulated_mac::DDCAnswer::Kind::silent, {}}};
    return screen;
}

USBDeviceDescription camera() {
    USBDeviceDescription device;
    device.nodeName = "Vorn Camera";
    device.locationID = 0x14200000;
    device.vendorID = 0x1209;
    device.productID = 0xA7B1;
    device.product = "Vorn Camera 4K";
    device.serial = "CAM0001";
    return device;
}

MacDescription macWith(std::vector<ScreenDescription> screens) {
    MacDescription description;
    description.screens = std::move(screens);
    return description;
}

MacDescription appleMacWith(std::vector<ScreenDescription> screens) {
    MacDescription description = macWith(std::move(screens));
    description.chip = simulated_mac::Chip::apple;
    description.otherRegistryEntries = 20;
    return description;
}

std::vector<std::string> namesOfCalls(const Mac& mac) {
    std::vector<std::string> names;
    for (const auto& call : mac.trace.calls()) names.push_back(call.call);
    return names;
}

Time durationOf(const simulated_mac::TracedCall& sleep) {
    return std::get<Time>(sleep.argument("duration").value);
}

PaneOnMac::PaneOnMac(MacDescription description, Mac::Options options)
    : mac(std::move(description), options), pane(&mac.window) {
    mac.onUser([this](simulated_mac::EventDescription::User action) {
        if (action == simulated_mac::EventDescription::User::entersPane) enter();
        if (action == simulated_mac::EventDescription::User::clicksWarning) {
            pane.vornWebsiteBtnDidClicked();
        }
        return true;
    });
}

PaneOnMac::~PaneOnMac() {
    if (testing::Test::HasFailure()) std::fputs(printed().c_str(), stderr);
}

Scheduler::Outcome PaneOnMac::run() {
    enterAt(Time(0));
    return mac.scheduler.runUntilQuiet();
}

void PaneOnMac::enterAt(Time time) {
    mac.scheduler.onMainAt(time, [this] { enter(); });
}

void PaneOnMac::enter() {
    simulated_mac::runPlugin("didEnterPane:", [this] { pane.didEnterPane(0); });
}

void PaneOnMac::onMain(std::function<void()> work) {
    mac.scheduler.onMain(std::move(work));
    mac.scheduler.runUntilQuiet();
}

std::string PaneOnMac::printed() {
    return output_.text();
}

Time PaneOnMac::timeOfContinue() const {
    const auto timeline = mac.journal.timeline();
    const auto enabled = std::find_if(timeline.begin(), timeline.end(), [](const auto& entry) {
        return entry.what == "Continue is enabled";
    });
    EXPECT_NE(enabled, timeline.end()) << "Continue was never enabled";
    return enabled != timeline.end() ? enabled->time : Time(-1);
}

void makeProcessWideObjects() {
    makeWhenMissing(strUtil);
    makeWhenMissing(DDC);
    makeWhenMissing(whiteList);
    makeWhenMissing(edidUtils);
}

}  // namespace test
