#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "simulated_mac/machine/Mac.h"

// USB devices in the registry.

namespace simulated_mac {
namespace usb_devices_test {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

USBDeviceDescription deviceAt(std::uint32_t locationID) {
    USBDeviceDescription device;
    device.nodeName = "Vorn Camera";
    device.locationID = locationID;
    device.vendorID = 0x1209;
    device.productID = 0xA7B1;
    device.product = "Vorn Camera 4K";
    device.serial = "CAM0001";
    return device;
}

MacDescription macWith(USBDeviceDescription device) {
    MacDescription mac;
    mac.usb = {std::move(device)};
    return mac;
}

std::vector<Registry::Entry> devicesOf(const Mac& mac) {
    return mac.registry.matching({"IOUSBDevice", ""});
}

std::int64_t numberOf(const RegistryEntry& entry, const char* key) {
    return std::get<std::int64_t>(entry.get(key)->value);
}

std::string textOf(const RegistryEntry& entry, const char* key) {
    return utf8Of(std::get<CFObject::String>(entry.get(key)->value));
}

TEST(AUSBDevice, IsAHostDeviceThatGoesByAnotherClassToo) {
    const Mac mac(macWith(deviceAt(0x14200000)));
    ASSERT_THAT(devicesOf(mac), SizeIs(1));
    const RegistryEntry& device = *devicesOf(mac).front();
    EXPECT_EQ(device.classes.front(), "IOUSBHostDevice");
    EXPECT_EQ(textOf(device, "IOClassNameOverride"), "IOUSBDevice");
    EXPECT_EQ(textOf(device, "kUSBProductString"), "Vorn Camera 4K");
    EXPECT_EQ(numberOf(device, "locationID"), 0x14200000);
    EXPECT_THAT(device.children, IsEmpty());
}

TEST(AUSBDevice, HasItsLocationExtendedByItsSign) {
    const Mac mac(macWith(deviceAt(0x80100000)));
    const RegistryEntry& device = *devicesOf(mac).front();
    EXPECT_EQ(static_cast<std::uint64_t>(numberOf(device, "locationID")), 18446744071563116544u);
    EXPECT_EQ(device.location, "80100000");
}

TEST(AUSBDeviceInItsOlderForm, HasASecondNodeWithTheSameIdentity) {
    auto description = deviceAt(0x14200000);
    description.olderForm = true;
    const Mac mac(macWith(description));
    const auto devices = devicesOf(mac);
    ASSERT_THAT(devices, SizeIs(2));
    EXPECT_EQ(devices[0]->classes.front(), "IOUSBHostDevice");
    EXPECT_EQ(devices[1]->classes.front(), "AppleUSBDevice");
    const auto client = devices[1]->parent.lock();
    EXPECT_EQ(client->name, "AppleUSBHostLegacyClient");
    EXPECT_EQ(client->parent.lock(), devices[0]);
    for (const auto& device : devices) {
        EXPECT_EQ(device->name, "Vorn Camera");
        EXPECT_EQ(numberOf(*device, "locationID"), 0x14200000);
        EXPECT_EQ(numberOf(*device, "idVendor"), 0x1209);
        EXPECT_EQ(numberOf(*device, "idProduct"), 0xA7B1);
        EXPECT_EQ(textOf(*device, "USB Product Name"), "Vorn Camera 4K");
        EXPECT_EQ(device->get("kUSBProductString"), nullptr);
    }
}

TEST(AUSBDeviceInItsOlderForm, IsDetachedAsOne) {
    auto description = deviceAt(0x80100000);
    description.olderForm = true;
    Mac mac(macWith(description));
    mac.detach(0x80100000);
    EXPECT_THAT(devicesOf(mac), IsEmpty());
    std::vector<std::string> timeline;
    for (const auto& entry : mac.journal.timeline()) timeline.push_back(entry.what);
    EXPECT_THAT(timeline, ElementsAre("USB device detached from 0x80100000: Vorn Camera"));
}

}  // namespace usb_devices_test
}  // namespace simulated_mac
