#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/Platform/IOAVService.h"
#include "plugin/Platform/IOObject.h"
#include "plugin/WhiteList.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/machine/Mac.h"

using namespace vorn;

// Any bytes in place of a monitor's replies, over either bus.

using namespace simulated_mac;

namespace {

MacDescription describe(FuzzedDataProvider& input) {
    MacDescription description;
    description.chip = input.ConsumeBool() ? Chip::apple : Chip::intel;
    description.otherRegistryEntries = 0;
    ScreenDescription& screen = description.screens.emplace_back();
    screen.monitor.edid = makeEDID({});
    screen.monitor.settlesAfterClean = input.ConsumeBool();
    while (input.remaining_bytes() > 0 && screen.monitor.answers.size() < 5) {
        screen.monitor.answers.push_back(
            {DDCAnswer::Kind::bytes,
             input.ConsumeBytes<std::uint8_t>(input.ConsumeIntegralInRange<std::size_t>(0, 16))});
    }
    return description;
}

void read(Mac& mac, bool hasSpecialChip) {
    DDCCtl controller;
    displayInfo display;
    display.screenNumber = mac.displays()[0]->displayID;
    display.name = hasSpecialChip ? "K2423H" : "VORN K2790Z";
    controller.UseArm64 = mac.description.chip == Chip::apple;
    if (controller.UseArm64) {
        const IOObject proxy(mac.registry.handOut(mac.displays()[0]->proxies.at(0), "fuzzer"));
        display.arm64avService = IOAVServiceCreateWithService(kCFAllocatorDefault, proxy.get());
    }
    std::uint32_t value = 0;
    controller.Get(0xF1, display, &value);
    if (controller.UseArm64) CFRelease(display.arm64avService);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The framebuffer's transport prints what it does.
    return std::freopen("/dev/null", "w", stdout) != nullptr ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (whiteList == nullptr) whiteList = new WhiteList;
    FuzzedDataProvider input(data, size);
    const bool hasSpecialChip = input.ConsumeBool();
    Mac mac(describe(input));
    mac.scheduler.startThread("reader", [&] { read(mac, hasSpecialChip); });
    mac.scheduler.runUntilQuiet();
    return 0;
}
