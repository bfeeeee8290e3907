#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <mach/mach.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

#include "plugin/Cocoa/SystemLog.h"
#include "plugin/MyInstallerPane.h"
#include "plugin/Platform/Attempt.h"
#include "plugin/Platform/Dispatch.h"
#include "plugin/Platform/IOObject.h"
#include "plugin/Platform/Properties.h"
#include "plugin/Platform/Text.h"
#include "plugin/ProductData.h"

using namespace vorn;

// Watching USB devices and recognising the maker's cameras.

Guarded<CameraDictionary>& infoDic = *new Guarded<CameraDictionary>;

std::atomic<CFMutableDictionaryRef> classToMatch = nullptr;
std::atomic<IONotificationPortRef> gNotifyPort = nullptr;
std::atomic<io_iterator_t> gNewDeviceAddedIter = IO_OBJECT_NULL;
std::atomic<io_iterator_t> gNewDeviceRemovedIter = IO_OBJECT_NULL;
void* deviceArray = nullptr;

namespace {

constexpr auto listeningName = "-[MyInstallerPane listeningUSBDevice]";

void staticDeviceAdded(void* pane, io_iterator_t iterator) {
    attempt("staticDeviceAdded", [] { Cocoa::log("staticDevice Added"); });
    if (pane != nullptr) static_cast<vorn::MyInstallerPane*>(pane)->deviceAdded(iterator, false);
}

/// A number property in 32 bits, as USB identities are; 0 when it is absent.
std::uint32_t numberOrZero(CFDictionaryRef properties, CFStringRef key) {
    return static_cast<std::uint32_t>(integerEntry(properties, key).value_or(0));
}

bool isCamera(std::uint32_t productID) {
    const auto& cameras = ProductData::cameraProductIDs;
    return std::find(cameras.begin(), cameras.end(), formatText("%X", productID)) != cameras.end();
}

/// Walks towards the registry's root as long as the parent lookup fails. For a published device it
/// succeeds at once, so nothing is walked; a lookup that failed leaves no parent to go on with.
void walkParents(io_service_t device) {
    IOObject walked;
    io_registry_entry_t entry = device;
    while (entry != IO_OBJECT_NULL) {
        io_registry_entry_t next = IO_OBJECT_NULL;
        const kern_return_t result = IORegistryEntryGetParentEntry(entry, kIOServicePlane, &next);
        IOObject parent(next);
        if (result == kIOReturnSuccess) return;
        copyProperties(parent.get());
        walked = std::move(parent);
        entry = walked.get();
    }
}

void examineDevice(io_service_t device) {
    Cocoa::log("staticDevice tracing device");
    const auto properties = copyProperties(device);
    const std::string location =
        formatText("0x%08X", numberOrZero(properties.get(), CFSTR("locationID")));
    Cocoa::log(location);
    const auto name = textEntry(properties.get(), CFSTR("kUSBProductString"));
    Cocoa::log("staticDevice Camera name : " + textOrNull(name));
    if (isCamera(numberOrZero(properties.get(), CFSTR("idProduct")))) {
        const auto serial = textEntry(properties.get(), CFSTR("kUSBSerialNumberString"));
        infoDic.update([&](CameraDictionary& cameras) {
            cameras[location] = {device, serial.value_or(""), name.value_or("")};
        });
    }
    walkParents(device);
}

}  // namespace

namespace vorn {

void MyInstallerPane::listeningUSBDevice() {
    Cocoa::log("staticDevice Add observe");
    mach_port_t masterPort = MACH_PORT_NULL;
    const kern_return_t result = IOMasterPort(MACH_PORT_NULL, &masterPort);
    if (result != kIOReturnSuccess) {
        std::printf("%s(): IOMasterPort() returned %08x\n", listeningName,
                    static_cast<unsigned>(result));
        return;
    }
    const CFMutableDictionaryRef matching = IOServiceMatching("IOUSBDevice");
    if (matching == nullptr) {
        std::printf("%s(): IOServiceMatching returned a NULL dictionary.\n", listeningName);
        mach_port_deallocate(mach_task_self(), masterPort);
        return;
    }
    classToMatch = matching;
    // The notification consumes one reference; this one is kept with the watcher's state.
    CFRetain(matching);

    const IONotificationPortRef port = IONotificationPortCreate(masterPort);
    gNotifyPort = port;
    io_iterator_t added = IO_OBJECT_NULL;
    if (port != nullptr) {
        // The main run loop is the one that runs: no part of the pane runs this queue's. Without a
        // source nothing is delivered; devices already attached are still examined.
        if (const CFRunLoopSourceRef source = IONotificationPortGetRunLoopSource(port)) {
            CFRunLoopAddSource(CFRunLoopGetMain(), source, kCFRunLoopDefaultMode);
        }
        IOServiceAddMatchingNotification(port, kIOPublishNotification, matching, staticDeviceAdded,
                                         this, &added);
    } else {
        CFRelease(matching);
    }
    gNewDeviceAddedIter = added;
    // Emptying the iterator examines what is attached already and arms the notification.
    deviceAdded(added, true);
    mach_port_deallocate(mach_task_self(), masterPort);
}

void MyInstallerPane::deviceAdded(io_iterator_t iterator, bool /*firstLaunch*/) noexcept {
    const bool scheduled = attempt("deviceAdded", [this, iterator] {
        SerialQueue("deviceAdded").async([this, iterator] {
            examineDevices(iterator);
            finishRun();
        });
    });
    if (!scheduled) finishRun();
}

void MyInstallerPane::examineDevices(io_iterator_t iterator) const noexcept {
    // The devices stay referenced: their handles stand in infoDic.
    while (const io_service_t device = IOIteratorNext(iterator)) {
        attempt("examineDevice", [device] { examineDevice(device); });
    }
}

void MyInstallerPane::finishRun() noexcept {
    attempt("finishRun", [] {
        if (!infoDic.get().empty()) Cocoa::log("Vorn camera exist");
    });
    runOnMainThread([this] {
        initializeUI();
        setNextEnabled(true);
    });
}

}  // namespace vorn
