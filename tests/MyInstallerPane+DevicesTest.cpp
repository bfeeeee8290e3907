#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "plugin/MyInstallerPane.h"
#include "simulated_mac/machine/CallText.h"
#include "tests/support/PaneOnMac.h"

// Watching USB devices and recognising the maker's cameras.

namespace pane_devices_test {

using namespace std::chrono_literals;
using namespace test;
using simulated_mac::EventDescription;
using simulated_mac::FaultDescription;
using simulated_mac::PropertyValue;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

using HeldByCall = std::map<std::pair<std::string, std::string>, std::int64_t>;

/// A Mac without monitors, which keeps its run to two seconds.
MacDescription macWithUSB(std::vector<USBDeviceDescription> devices) {
    auto description = macWith({builtInPanel()});
    description.usb = std::move(devices);
    return description;
}

EventDescription attached(double at, USBDeviceDescription device) {
    return {.at = at, .attach = std::move(device), .detach = {}, .user = {}};
}

EventDescription detached(double at, std::uint32_t locationID) {
    return {.at = at, .attach = {}, .detach = locationID, .user = {}};
}

EventDescription entered(double at) {
    return {.at = at, .attach = {}, .detach = {}, .user = EventDescription::User::entersPane};
}

USBDeviceDescription keyboard() {
    USBDeviceDescription device;
    device.nodeName = "Keyboard";
    device.locationID = 0x14300000;
    device.vendorID = 0x1209;
    device.productID = 0x0001;
    device.product = "Keyboard";
    return device;
}

USBDeviceDescription cameraAt(std::uint32_t locationID) {
    auto device = camera();
    device.locationID = locationID;
    return device;
}

/// The cameras that are found among some devices.
CameraDictionary camerasAmong(std::vector<USBDeviceDescription> devices) {
    PaneOnMac onMac(macWithUSB(std::move(devices)));
    EXPECT_EQ(onMac.run(), Scheduler::Outcome::quiet);
    EXPECT_TRUE(onMac.mac.window.nextEnabled);
    return infoDic.get();
}

std::vector<std::string> keysOf(const CameraDictionary& cameras) {
    std::vector<std::string> keys;
    for (const auto& [key, entry] : cameras) keys.push_back(key);
    return keys;
}

std::ptrdiff_t countOf(const std::vector<std::string>& texts, const std::string& text) {
    return std::count(texts.begin(), texts.end(), text);
}

/// When Continue was enabled.
std::vector<Time> timesOfContinue(const Mac& mac) {
    std::vector<Time> times;
    for (const auto& entry : mac.journal.timeline()) {
        if (entry.what == "Continue is enabled") times.push_back(entry.time);
    }
    return times;
}

std::uint64_t usesOf(const Mac& mac, std::string_view call) {
    const auto uses = mac.trace.uses();
    const auto found = uses.find(call);
    return found != uses.end() ? found->second : 0;
}

// Which devices are cameras

class CameraProduct : public testing::TestWithParam<std::uint16_t> {};

TEST_P(CameraProduct, IsRecognised) {
    auto device = camera();
    device.productID = GetParam();
    EXPECT_THAT(camerasAmong({device}), SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(OfTheMaker, CameraProduct,
                         testing::Values(0xA7B1, 0xA7B9, 0xA7B4, 0xA7E2, 0xA7E1, 0xB5F0));

class OtherProduct : public testing::TestWithParam<std::int64_t> {};

TEST_P(OtherProduct, IsNoCamera) {
    auto device = camera();
    device.properties = {{"idProduct", PropertyValue{GetParam()}}};
    EXPECT_THAT(camerasAmong({device}), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(OfAnybody, OtherProduct,
                         testing::Values(0, 0xA7B0, 0xA7B2, 0xA7B, 0x7B1, 0x1A7B1, 0xFFFFA7B1,
                                         -0x584F, 0xB1A7, 0xFFFF));

TEST(MyInstallerPaneDevices, AProductNumberCountsByItsLower32Bits) {
    auto device = camera();
    device.properties = {{"idProduct", PropertyValue{std::int64_t{0x1'0000'A7B1}}}};
    EXPECT_THAT(camerasAmong({device}), SizeIs(1));
}

class VendorOfACamera : public testing::TestWithParam<std::optional<std::uint16_t>> {};

TEST_P(VendorOfACamera, DoesNotMatter) {
    auto device = camera();
    device.vendorID = GetParam();
    EXPECT_THAT(camerasAmong({device}), SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(Any, VendorOfACamera,
                         testing::Values(std::optional<std::uint16_t>(0), 1, 0x1209, 0xFFFF,
                                         std::nullopt));

TEST(MyInstallerPaneDevices, ADeviceWithoutAProductIDIsNoCamera) {
    auto device = camera();
    device.productID.reset();
    EXPECT_THAT(camerasAmong({device}), IsEmpty());
}

TEST(MyInstallerPaneDevices, ADeviceOfAnotherClassIsNotLookedAt) {
    PaneOnMac onMac(macWithUSB({}));
    auto hub = simulated_mac::RegistryEntry{};
    hub.name = "Hub";
    hub.classes = {"IOPCIDevice", "IOService"};
    hub.set("idProduct", simulated_mac::makeCF(PropertyValue{std::int64_t{0xA7B1}}));
    onMac.mac.registry.add(onMac.mac.registry.root(), hub);
    onMac.run();
    EXPECT_THAT(infoDic.get(), IsEmpty());
    EXPECT_EQ(countOf(onMac.mac.journal.systemLog(), "staticDevice tracing device"), 0);
}

// What is recorded of a camera

TEST(MyInstallerPaneDevices, ACameraIsRecordedWithHandleSerialNumberAndName) {
    PaneOnMac onMac(macWithUSB({keyboard(), camera()}));
    onMac.run();
    const auto cameras = infoDic.get();
    ASSERT_THAT(keysOf(cameras), ElementsAre("0x14200000"));
    const CameraEntry& entry = cameras.at("0x14200000");
    EXPECT_EQ(entry.name, "Vorn Camera 4K");
    EXPECT_EQ(entry.kUSBSerialNumberString, "CAM0001");
    const auto device = onMac.mac.registry.entryOf(entry.service);
    ASSERT_NE(device, nullptr) << "the device isn't referenced any more";
    EXPECT_EQ(device->name, "Vorn Camera");
}

TEST(MyInstallerPaneDevices, ACameraWithoutSerialNumberIsRecordedWithAnEmptyOne) {
    auto device = camera();
    device.serial.reset();
    const auto cameras = camerasAmong({device});
    ASSERT_THAT(cameras, SizeIs(1));
    EXPECT_EQ(cameras.begin()->second.kUSBSerialNumberString, "");
    EXPECT_EQ(cameras.begin()->second.name, "Vorn Camera 4K");
}

TEST(MyInstallerPaneDevices, ACameraWithoutNameIsRecordedWithAnEmptyOne) {
    auto device = camera();
    device.product.reset();
    const auto cameras = camerasAmong({device});
    ASSERT_THAT(cameras, SizeIs(1));
    EXPECT_EQ(cameras.begin()->second.name, "");
    EXPECT_EQ(cameras.begin()->second.kUSBSerialNumberString, "CAM0001");
}

TEST(MyInstallerPaneDevices, ACameraWithoutNameAndSerialNumberTakesTheWarningAway) {
    auto device = camera();
    device.product.reset();
    device.serial.reset();
    PaneOnMac onMac(macWithUSB({device}));
    onMac.run();
    EXPECT_EQ(onMac.mac.window.warnings.text, "");
}

TEST(MyInstallerPaneDevices, TheNameIsNotTakenFromAnotherProperty) {
    auto device = camera();
    device.properties = {{"kUSBProductString", PropertyValue{}}};
    const auto cameras = camerasAmong({device});
    ASSERT_THAT(cameras, SizeIs(1));
    EXPECT_EQ(cameras.begin()->second.name, "");
}

TEST(MyInstallerPaneDevices, ALocationIsWrittenInEightHexDigits) {
    EXPECT_THAT(keysOf(camerasAmong({cameraAt(0x1A), cameraAt(0xFA130000)})),
                ElementsAre("0x0000001A", "0xFA130000"));
}

TEST(MyInstallerPaneDevices, ACameraWithoutLocationIsRecordedAtZero) {
    auto device = camera();
    device.locationID.reset();
    EXPECT_THAT(keysOf(camerasAmong({device})), ElementsAre("0x00000000"));
}

TEST(MyInstallerPaneDevices, TwoCamerasAtDifferentLocationsGiveTwoEntriesAndOneLogEntry) {
    PaneOnMac onMac(macWithUSB({cameraAt(0x14200000), cameraAt(0x14400000)}));
    onMac.run();
    EXPECT_THAT(keysOf(infoDic.get()), ElementsAre("0x14200000", "0x14400000"));
    EXPECT_EQ(countOf(onMac.mac.journal.systemLog(), "Vorn camera exist"), 1);
}

TEST(MyInstallerPaneDevices, ASecondCameraAtTheSameLocationReplacesTheFirst) {
    auto second = camera();
    second.product = "Second";
    second.serial = "CAM0002";
    const auto cameras = camerasAmong({camera(), second});
    ASSERT_THAT(cameras, SizeIs(1));
    EXPECT_EQ(cameras.begin()->second.name, "Second");
    EXPECT_EQ(cameras.begin()->second.kUSBSerialNumberString, "CAM0002");
}

TEST(MyInstallerPaneDevices, ACameraThatIsDetachedStaysRecorded) {
    auto description = macWithUSB({camera()});
    description.events = {detached(5, *camera().locationID), attached(6, keyboard())};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_THAT(timesOfContinue(onMac.mac), ElementsAre(Time(2s), Time(6s)));
    EXPECT_THAT(infoDic.get(), SizeIs(1));
    EXPECT_EQ(onMac.mac.window.warnings.text, "");
}

TEST(MyInstallerPaneDevices, ACameraInItsOlderFormIsSeenTwiceAndRecordedOnce) {
    auto device = camera();
    device.olderForm = true;
    PaneOnMac onMac(macWithUSB({device}));
    onMac.run();
    ASSERT_THAT(infoDic.get(), SizeIs(1));
    EXPECT_EQ(infoDic.get().begin()->second.name, "") << "kUSBProductString is missing";
    EXPECT_EQ(countOf(onMac.mac.journal.systemLog(), "staticDevice Camera name : (null)"), 2);
}

TEST(MyInstallerPaneDevices, ALocationWithItsHighestBitSetIsShownInThirtyTwoBits) {
    EXPECT_THAT(keysOf(camerasAmong({cameraAt(0x80100000)})), ElementsAre("0x80100000"));
}

// Devices with trouble

TEST(MyInstallerPaneDevices, ADeviceWhosePropertiesCannotBeReadIsNoCamera) {
    auto device = camera();
    device.readable = false;
    PaneOnMac onMac(macWithUSB({device}));
    onMac.run();
    EXPECT_THAT(infoDic.get(), IsEmpty());
    EXPECT_THAT(onMac.mac.journal.systemLog(),
                ElementsAre("staticDevice Add observe", "staticDevice tracing device", "0x00000000",
                            "staticDevice Camera name : (null)"));
    EXPECT_TRUE(onMac.mac.window.nextEnabled);
}

TEST(MyInstallerPaneDevices, AnUnreadableDeviceDoesNotHideTheNextOne) {
    auto device = keyboard();
    device.readable = false;
    EXPECT_THAT(camerasAmong({device, camera()}), SizeIs(1));
}

TEST(MyInstallerPaneDevices, ADeviceWhoseParentIsNotFoundDoesNotHoldTheRunUp) {
    auto device = camera();
    device.hasParent = false;
    PaneOnMac onMac(macWithUSB({device, cameraAt(0x14400000)}));
    EXPECT_EQ(onMac.run(), Scheduler::Outcome::quiet);
    EXPECT_THAT(infoDic.get(), SizeIs(2));
    EXPECT_TRUE(onMac.mac.window.nextEnabled);
    EXPECT_THAT(onMac.mac.journal.misuses(), IsEmpty());
}

TEST(MyInstallerPaneDevices, DevicesAreExaminedOnAQueueOfTheirOwn) {
    PaneOnMac onMac(macWithUSB({camera()}));
    onMac.mac.trace.keepOnly({"IORegistryEntryGetParentEntry"});
    onMac.run();
    const auto calls = onMac.mac.trace.calls();
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_EQ(calls[0].thread, "deviceAdded");
}

TEST(MyInstallerPaneDevices, TheParentWalkOfAPublishedDeviceEndsAtItsFirstParent) {
    PaneOnMac onMac(macWithUSB({camera(), keyboard()}));
    onMac.mac.trace.countUses();
    onMac.run();
    EXPECT_EQ(usesOf(onMac.mac, "IORegistryEntryGetParentEntry"), 2u);
    EXPECT_EQ(usesOf(onMac.mac, "IORegistryEntryCreateCFProperties"), 2u);
}

TEST(MyInstallerPaneDevices, TheParentWalkReadsWhatAFailedLookupGaveAndGoesNoFurther) {
    auto device = camera();
    device.hasParent = false;
    PaneOnMac onMac(macWithUSB({device}));
    onMac.mac.trace.countUses();
    onMac.run();
    EXPECT_EQ(usesOf(onMac.mac, "IORegistryEntryGetParentEntry"), 1u);
    EXPECT_EQ(usesOf(onMac.mac, "IORegistryEntryCreateCFProperties"), 2u);
}

// The system log, byte for byte

TEST(MyInstallerPaneDevices, ARunWithoutDevicesLogsThatItObserves) {
    PaneOnMac onMac(macWithUSB({}));
    onMac.run();
    EXPECT_THAT(onMac.mac.journal.systemLog(), ElementsAre("staticDevice Add observe"));
    EXPECT_EQ(onMac.printed(), "");
}

TEST(MyInstallerPaneDevices, ARunWithDevicesLogsEachOfThemInOrder) {
    auto nameless = cameraAt(0x2);
    nameless.product.reset();
    PaneOnMac onMac(macWithUSB({keyboard(), camera(), nameless}));
    onMac.run();
    EXPECT_THAT(onMac.mac.journal.systemLog(),
                ElementsAre("staticDevice Add observe", "staticDevice tracing device", "0x14300000",
                            "staticDevice Camera name : Keyboard", "staticDevice tracing device",
                            "0x14200000", "staticDevice Camera name : Vorn Camera 4K",
                            "staticDevice tracing device", "0x00000002",
                            "staticDevice Camera name : (null)", "Vorn camera exist"));
    EXPECT_EQ(onMac.printed(), "");
}

TEST(MyInstallerPaneDevices, AnAttachedDeviceLogsItsArrivalAndItself) {
    auto description = macWithUSB({});
    description.events = {attached(10, camera())};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_THAT(onMac.mac.journal.systemLog(),
                ElementsAre("staticDevice Add observe", "staticDevice Added",
                            "staticDevice tracing device", "0x14200000",
                            "staticDevice Camera name : Vorn Camera 4K", "Vorn camera exist"));
}

TEST(MyInstallerPaneDevices, EveryRunLogsACameraThatWasFoundInAnEarlierOne) {
    auto description = macWithUSB({camera()});
    description.events = {attached(10, keyboard())};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_EQ(countOf(onMac.mac.journal.systemLog(), "Vorn camera exist"), 2);
    EXPECT_EQ(onMac.mac.journal.systemLog().back(), "Vorn camera exist");
}

TEST(MyInstallerPaneDevices, AnAttachedDeviceIsLoggedBeforeItsExaminationIsScheduled) {
    auto description = macWithUSB({});
    description.events = {attached(10, camera())};
    PaneOnMac onMac(description);
    onMac.mac.trace.keepOnly({"NSLog", "dispatch_async_f"});
    onMac.run();
    const auto calls = onMac.mac.trace.calls();
    const auto logged = std::find_if(calls.begin(), calls.end(), [](const auto& call) {
        return call.argument("message") == simulated_mac::Quoted{"staticDevice Added"};
    });
    ASSERT_NE(logged, calls.end());
    EXPECT_EQ((logged + 1)->call, "dispatch_async_f");
}

TEST(MyInstallerPaneDevices, ACameraIsRecordedBetweenItsLogEntriesAndTheWalkOfItsParents) {
    PaneOnMac onMac(macWithUSB({camera()}));
    onMac.mac.trace.countUses();
    std::vector<std::size_t> recorded;
    const auto note = [&recorded] { recorded.push_back(infoDic.get().size()); };
    // The entries: the watch is armed, a device, its location, its name.
    onMac.mac.trace.before({"NSLog", 4}, note);
    onMac.mac.trace.before({"IORegistryEntryGetParentEntry", 1}, note);
    onMac.run();
    EXPECT_THAT(recorded, ElementsAre(0u, 1u));
}

TEST(MyInstallerPaneDevices, ACameraIsLoggedBeforeTheVerdictShows) {
    PaneOnMac onMac(macWithUSB({camera()}));
    onMac.mac.trace.keepOnly({"NSLog", "NSTextField.setStringValue"});
    onMac.run();
    const auto calls = onMac.mac.trace.calls();
    ASSERT_GE(calls.size(), 3u);
    EXPECT_EQ(argumentsText(calls[calls.size() - 3]), "\"Vorn camera exist\"");
    EXPECT_EQ(calls[calls.size() - 2].call, "NSTextField.setStringValue");
    EXPECT_EQ(calls.back().call, "NSTextField.setStringValue");
}

TEST(MyInstallerPaneDevices, ATextBeyondASCIIIsLoggedAsItIs) {
    auto device = keyboard();
    device.product = "Kamera 🎥 „Größe“";
    PaneOnMac onMac(macWithUSB({device}));
    onMac.run();
    EXPECT_EQ(onMac.mac.journal.systemLog().back(), "staticDevice Camera name : Kamera 🎥 „Größe“");
}

// Attach events

TEST(MyInstallerPaneDevices, ARunEndsWithoutAnyUSBDevice) {
    PaneOnMac onMac(macWithUSB({}));
    EXPECT_EQ(onMac.run(), Scheduler::Outcome::quiet);
    EXPECT_NE(onMac.mac.window.warnings.text, "");
    EXPECT_THAT(timesOfContinue(onMac.mac), ElementsAre(Time(2s)));
}

TEST(MyInstallerPaneDevices, ACameraAttachedLaterTakesTheWarningAwayAndEnablesContinueAgain) {
    auto description = macWithUSB({});
    description.events = {attached(12.5, camera())};
    PaneOnMac onMac(description);
    std::string before;
    onMac.mac.scheduler.onMainAt(12s, [&] { before = onMac.mac.window.warnings.text; });
    onMac.run();
    EXPECT_NE(before, "");
    EXPECT_EQ(onMac.mac.window.warnings.text, "");
    EXPECT_THAT(keysOf(infoDic.get()), ElementsAre("0x14200000"));
    EXPECT_THAT(timesOfContinue(onMac.mac), ElementsAre(Time(2s), Time(12'500'000us)));
}

TEST(MyInstallerPaneDevices, CamerasAttachedOneByOneAreAllRecorded) {
    auto description = macWithUSB({});
    description.events = {attached(10, cameraAt(0x1)), attached(20, cameraAt(0x2)),
                          attached(30, cameraAt(0x3))};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_THAT(keysOf(infoDic.get()), ElementsAre("0x00000001", "0x00000002", "0x00000003"));
    EXPECT_THAT(timesOfContinue(onMac.mac), SizeIs(4));
    EXPECT_EQ(countOf(onMac.mac.journal.systemLog(), "staticDevice Added"), 3);
}

TEST(MyInstallerPaneDevices, CamerasAttachedAtOnceAreAllRecorded) {
    auto description = macWithUSB({});
    description.events = {attached(10, cameraAt(0x1)), attached(10, cameraAt(0x2))};
    PaneOnMac onMac(description);
    EXPECT_EQ(onMac.run(), Scheduler::Outcome::quiet);
    EXPECT_THAT(keysOf(infoDic.get()), ElementsAre("0x00000001", "0x00000002"));
    EXPECT_EQ(countOf(onMac.mac.journal.systemLog(), "staticDevice tracing device"), 2);
    EXPECT_TRUE(onMac.mac.window.nextEnabled);
}

TEST(MyInstallerPaneDevices, ADeviceAttachedBeforeTheWatchIsArmedIsFoundWithoutAnEvent) {
    auto description = macWithUSB({});
    description.events = {attached(1, camera())};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_THAT(onMac.mac.journal.systemLog(),
                ElementsAre("staticDevice Add observe", "staticDevice tracing device", "0x14200000",
                            "staticDevice Camera name : Vorn Camera 4K", "Vorn camera exist"));
    EXPECT_THAT(timesOfContinue(onMac.mac), ElementsAre(Time(2s)));
}

TEST(MyInstallerPaneDevices, AnAttachEventDoesNotEnumerateTheDisplaysAgain) {
    auto description = macWithUSB({});
    auto late = answeringMonitor(listedOlder, 0x4000);
    late.appearsAt = 5;
    description.screens.push_back(late);
    description.events = {attached(10, keyboard())};
    PaneOnMac onMac(description);
    onMac.mac.trace.countUses();
    std::uint64_t before = 0;
    onMac.mac.scheduler.onMainAt(9s, [&] { before = usesOf(onMac.mac, "NSScreen.screens"); });
    onMac.run();
    EXPECT_EQ(before, 2u);
    EXPECT_EQ(usesOf(onMac.mac, "NSScreen.screens"), 2u);
    EXPECT_THAT(timesOfContinue(onMac.mac), ElementsAre(Time(2s), Time(10s)));
    EXPECT_NE(onMac.mac.window.warnings.text, "") << "the monitor came after the enumeration";
}

TEST(MyInstallerPaneDevices, AnAttachEventJudgesTheDisplaysOfTheLastEnumeration) {
    auto description = macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)});
    description.events = {attached(10, keyboard())};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_THAT(timesOfContinue(onMac.mac), SizeIs(2));
    EXPECT_EQ(onMac.mac.window.warnings.text, "");
}

TEST(MyInstallerPaneDevices, AnAttachEventArrivesOnTheMainThreadAndIsExaminedInTheBackground) {
    auto description = macWithUSB({});
    description.events = {attached(10, keyboard())};
    PaneOnMac onMac(description);
    onMac.mac.trace.keepOnly({"NSLog"});
    onMac.run();
    std::map<std::string, bool> onMain;
    for (const auto& call : onMac.mac.trace.calls()) {
        onMain[argumentsText(call)] = call.thread == "main";
    }
    EXPECT_TRUE(onMain.at("\"staticDevice Added\""));
    EXPECT_FALSE(onMain.at("\"staticDevice tracing device\""));
    EXPECT_FALSE(onMain.at("\"staticDevice Add observe\""));
}

TEST(MyInstallerPaneDevices, AfterTwoEntriesAnAttachEventNotifiesBothWatchers) {
    auto description = macWithUSB({});
    description.events = {entered(10), attached(20, camera())};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_EQ(countOf(onMac.mac.journal.systemLog(), "staticDevice Added"), 2);
    EXPECT_EQ(countOf(onMac.mac.journal.systemLog(), "staticDevice tracing device"), 2);
    EXPECT_THAT(timesOfContinue(onMac.mac), ElementsAre(Time(2s), Time(12s), Time(20s), Time(20s)));
    EXPECT_THAT(infoDic.get(), SizeIs(1));
    EXPECT_EQ(onMac.mac.window.warnings.text, "");
    auto held = onMac.mac.ledger.heldByCall();
    EXPECT_EQ((held[{"io_registry_entry_t", "IOIteratorNext"}]), 2) << "one for each watcher";
}

TEST(MyInstallerPaneDevices, TheFirstLaunchFlagChangesNothing) {
    PaneOnMac onMac(macWithUSB({}));
    onMac.run();
    std::vector<std::vector<std::string>> changes;
    for (const bool firstLaunch : {true, false}) {
        const auto before = onMac.mac.journal.timeline().size();
        onMac.onMain([&] { onMac.pane.deviceAdded(gNewDeviceAddedIter, firstLaunch); });
        changes.emplace_back();
        const auto timeline = onMac.mac.journal.timeline();
        for (auto at = before; at < timeline.size(); ++at) {
            changes.back().push_back(timeline[at].what);
        }
    }
    EXPECT_EQ(changes[0], changes[1]);
    EXPECT_EQ(countOf(changes[0], "Continue is enabled"), 1);
}

// The watcher

TEST(MyInstallerPaneDevices, TheWatcherAsksForPublishedUSBDevicesOnTheMainRunLoop) {
    PaneOnMac onMac(macWithUSB({}));
    onMac.mac.trace.keepOnly({"IOServiceAddMatchingNotification", "CFRunLoopAddSource"});
    onMac.run();
    const auto calls = onMac.mac.trace.calls();
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_EQ(argumentsText(calls[0]), "run loop main, mode \"kCFRunLoopDefaultMode\"");
    EXPECT_EQ(argumentsText(calls[1]), "type IOServicePublish, class IOUSBDevice");
}

TEST(MyInstallerPaneDevices, TheWatcherGivesItsMasterPortBackAfterSchedulingTheExamination) {
    PaneOnMac onMac(macWithUSB({}));
    onMac.mac.trace.keepOnly({"IOMasterPort", "dispatch_async_f", "mach_port_deallocate"});
    onMac.run();
    EXPECT_THAT(namesOfCalls(onMac.mac), ElementsAre("dispatch_async_f", "IOMasterPort",
                                                     "dispatch_async_f", "mach_port_deallocate"))
        << "the first starts the run";
}

TEST(MyInstallerPaneDevices, TheWatchersIteratorIsKnownWhenTheExaminationIsScheduled) {
    PaneOnMac onMac(macWithUSB({}));
    onMac.mac.trace.countUses();
    io_iterator_t iterator = IO_OBJECT_NULL;
    onMac.mac.trace.before({"dispatch_async_f", 2}, [&] { iterator = gNewDeviceAddedIter; });
    onMac.run();
    EXPECT_NE(iterator, IO_OBJECT_NULL);
}

TEST(MyInstallerPaneDevices, TheWatcherKeepsItsStateProcessWide) {
    PaneOnMac onMac(macWithUSB({}));
    onMac.run();
    EXPECT_NE(classToMatch.load(), nullptr);
    EXPECT_NE(gNotifyPort.load(), nullptr);
    EXPECT_NE(gNewDeviceAddedIter.load(), 0u);
    EXPECT_EQ(gNewDeviceRemovedIter.load(), 0u);
    EXPECT_EQ(deviceArray, nullptr);
}

TEST(MyInstallerPaneDevices, EveryEntryArmsANewWatcherAndOverwritesTheState) {
    PaneOnMac onMac(macWithUSB({}));
    onMac.run();
    const auto dictionary = classToMatch.load();
    const auto port = gNotifyPort.load();
    const auto iterator = gNewDeviceAddedIter.load();
    onMac.run();
    EXPECT_NE(classToMatch.load(), dictionary);
    EXPECT_NE(gNotifyPort.load(), port);
    EXPECT_NE(gNewDeviceAddedIter.load(), iterator);
}

// References

/// What a number of entries keeps on a Mac without monitors.
HeldByCall heldAfter(std::int64_t entries, std::int64_t devicesSeen) {
    HeldByCall held = {
        {{"CFDictionary", "IOServiceMatching"}, entries},
        {{"IONotificationPort", "IONotificationPortCreate"}, entries},
        {{"io_iterator_t", "IOServiceAddMatchingNotification"}, entries},
        {{"io_registry_entry_t", "IOIteratorNext"}, devicesSeen},
        // The controller's own operation queue, made once.
        {{"dispatch_queue_t", "dispatch_queue_create"}, 1},
    };
    if (devicesSeen == 0) held.erase({"io_registry_entry_t", "IOIteratorNext"});
    return held;
}

TEST(MyInstallerPaneDevices, AnEntryKeepsItsWatcherAndNothingElse) {
    PaneOnMac onMac(macWithUSB({}));
    onMac.run();
    EXPECT_EQ(onMac.mac.ledger.heldByCall(), heldAfter(1, 0));
    EXPECT_THAT(onMac.mac.journal.misuses(), IsEmpty());
}

TEST(MyInstallerPaneDevices, EveryDeviceSeenStaysReferenced) {
    PaneOnMac onMac(macWithUSB({keyboard(), camera(), cameraAt(0x1)}));
    onMac.run();
    EXPECT_EQ(onMac.mac.ledger.heldByCall(), heldAfter(1, 3));
    EXPECT_THAT(onMac.mac.journal.misuses(), IsEmpty());
}

TEST(MyInstallerPaneDevices, EveryEntryKeepsAWatcherOfItsOwn) {
    auto description = macWithUSB({keyboard(), camera()});
    description.events = {entered(10), entered(20)};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_EQ(onMac.mac.ledger.heldByCall(), heldAfter(3, 6));
    EXPECT_THAT(onMac.mac.journal.misuses(), IsEmpty());
}

TEST(MyInstallerPaneDevices, AnAttachEventKeepsTheDeviceAndNothingElse) {
    auto description = macWithUSB({});
    description.events = {attached(10, camera())};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_EQ(onMac.mac.ledger.heldByCall(), heldAfter(1, 1));
    EXPECT_THAT(onMac.mac.journal.misuses(), IsEmpty());
}

TEST(MyInstallerPaneDevices, DevicesWithTroubleKeepNoMoreThanOthers) {
    auto unreadable = camera();
    unreadable.readable = false;
    auto parentless = camera();
    parentless.hasParent = false;
    PaneOnMac onMac(macWithUSB({unreadable, parentless}));
    onMac.run();
    EXPECT_EQ(onMac.mac.ledger.heldByCall(), heldAfter(1, 2));
    EXPECT_THAT(onMac.mac.journal.misuses(), IsEmpty());
}

// Failures of the platform

FaultDescription fault(std::string call, std::uint64_t nth = 1,
                       std::optional<std::int32_t> result = std::nullopt) {
    return {.call = std::move(call), .nth = nth, .andLater = false, .result = result};
}

/// The pane shows no verdict, and Continue stays disabled.
void expectNoVerdict(const Mac& mac) {
    EXPECT_THAT(timesOfContinue(mac), IsEmpty());
    EXPECT_FALSE(mac.window.nextEnabled);
    EXPECT_EQ(mac.window.warnings.text, "");
}

TEST(MyInstallerPaneDevices, WithoutAMasterPortTheWatcherSaysSoAndContinueStaysDisabled) {
    auto description = macWithUSB({camera()});
    description.faults = {fault("IOMasterPort")};
    PaneOnMac onMac(description);
    EXPECT_EQ(onMac.run(), Scheduler::Outcome::quiet);
    EXPECT_EQ(onMac.printed(),
              "-[MyInstallerPane listeningUSBDevice](): IOMasterPort() returned e00002bc\n");
    EXPECT_THAT(onMac.mac.journal.systemLog(), ElementsAre("staticDevice Add observe"));
    EXPECT_THAT(infoDic.get(), IsEmpty());
    EXPECT_EQ(onMac.mac.ledger.held()["CFDictionary"], 0);
    expectNoVerdict(onMac.mac);
}

TEST(MyInstallerPaneDevices, AMasterPortErrorIsPrintedInEightHexDigits) {
    auto description = macWithUSB({});
    description.faults = {fault("IOMasterPort", 1, 0x2a)};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_EQ(onMac.printed(),
              "-[MyInstallerPane listeningUSBDevice](): IOMasterPort() returned 0000002a\n");
    expectNoVerdict(onMac.mac);
}

TEST(MyInstallerPaneDevices, WithoutAMatchingDictionaryTheWatcherSaysSoAndContinueStaysDisabled) {
    auto description = macWithUSB({camera()});
    description.faults = {fault("IOServiceMatching")};
    PaneOnMac onMac(description);
    EXPECT_EQ(onMac.run(), Scheduler::Outcome::quiet);
    EXPECT_EQ(
        onMac.printed(),
        "-[MyInstallerPane listeningUSBDevice](): IOServiceMatching returned a NULL dictionary.\n");
    EXPECT_THAT(onMac.mac.journal.systemLog(), ElementsAre("staticDevice Add observe"));
    EXPECT_EQ(onMac.mac.ledger.held()["mach_port_t"], 0);
    expectNoVerdict(onMac.mac);
}

TEST(MyInstallerPaneDevices, WithoutAMatchingDictionaryTheEarlierWatchersStateStays) {
    auto description = macWithUSB({});
    description.faults = {fault("IOServiceMatching", 2)};
    PaneOnMac onMac(description);
    onMac.run();
    const auto earlier = classToMatch.load();
    onMac.run();
    EXPECT_EQ(classToMatch.load(), earlier);
}

/// Which use of IOServiceMatching asks for USB devices: framebuffers are asked for before.
std::uint64_t matchingUseOfTheWatcher(const MacDescription& description) {
    PaneOnMac onMac(description);
    onMac.mac.trace.keepOnly({"IOServiceMatching"});
    onMac.run();
    const auto calls = onMac.mac.trace.calls();
    const auto found = std::find_if(calls.begin(), calls.end(), [](const auto& call) {
        return call.argument("class") == "IOUSBDevice";
    });
    EXPECT_NE(found, calls.end());
    return static_cast<std::uint64_t>(found - calls.begin()) + 1;
}

TEST(MyInstallerPaneDevices, WithoutAMatchingDictionaryASupportedMonitorDoesNotEnableContinue) {
    auto description = macWith({builtInPanel(), answeringMonitor(listedOlder, 0x4000)});
    const auto use = matchingUseOfTheWatcher(description);
    ASSERT_GT(use, 1u) << "the monitor must be asked first";
    description.faults = {fault("IOServiceMatching", use)};
    PaneOnMac onMac(description);
    EXPECT_EQ(onMac.run(), Scheduler::Outcome::quiet);
    EXPECT_THAT(
        onMac.printed(),
        testing::EndsWith("-[MyInstallerPane listeningUSBDevice](): IOServiceMatching returned a "
                          "NULL dictionary.\n"));
    EXPECT_EQ(displayInfoArray.get().at(1)->displayState, 0);
    expectNoVerdict(onMac.mac);
}

TEST(MyInstallerPaneDevices, AnEntryAfterAFailedOneEndsWithContinueEnabled) {
    auto description = macWithUSB({camera()});
    description.faults = {fault("IOMasterPort")};
    description.events = {entered(10)};
    PaneOnMac onMac(description);
    onMac.run();
    EXPECT_THAT(timesOfContinue(onMac.mac), ElementsAre(Time(12s)));
    EXPECT_THAT(infoDic.get(), SizeIs(1));
}

TEST(MyInstallerPaneDevices, ANotificationThatCannotBeArmedLeavesTheRunToEnd) {
    auto description = macWithUSB({camera()});
    description.faults = {fault("IOServiceAddMatchingNotification")};
    PaneOnMac onMac(description);
    EXPECT_EQ(onMac.run(), Scheduler::Outcome::quiet);
    EXPECT_THAT(infoDic.get(), IsEmpty());
    EXPECT_THAT(timesOfContinue(onMac.mac), ElementsAre(Time(2s)));
    EXPECT_NE(onMac.mac.window.warnings.text, "");
    EXPECT_THAT(onMac.mac.journal.misuses(), IsEmpty());
}

TEST(MyInstallerPaneDevices, WithoutARunLoopSourceWhatIsThereIsExaminedAndNothingMoreIsTold) {
    auto description = macWithUSB({camera()});
    description.faults = {fault("IONotificationPortGetRunLoopSource")};
    description.events = {attached(10, cameraAt(0x1))};
    PaneOnMac onMac(description);
    EXPECT_EQ(onMac.run(), Scheduler::Outcome::quiet);
    EXPECT_THAT(infoDic.get(), SizeIs(1));
    EXPECT_THAT(timesOfContinue(onMac.mac), ElementsAre(Time(2s)));
}

TEST(MyInstallerPaneDevices, ANotificationPortThatCannotBeMadeLeavesTheRunToEnd) {
    auto description = macWithUSB({});
    description.faults = {fault("IONotificationPortCreate")};
    PaneOnMac onMac(description);
    onMac.mac.trace.countUses();
    EXPECT_EQ(onMac.run(), Scheduler::Outcome::quiet);
    EXPECT_EQ(usesOf(onMac.mac, "IOServiceAddMatchingNotification"), 0u);
    EXPECT_EQ(onMac.mac.ledger.held()["CFDictionary"], 1) << "the watcher's own";
    EXPECT_THAT(timesOfContinue(onMac.mac), ElementsAre(Time(2s)));
    EXPECT_THAT(onMac.mac.journal.misuses(), IsEmpty());
}

}  // namespace pane_devices_test
