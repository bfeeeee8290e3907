#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "plugin/DDCCI/Arm64Utility.h"
#include "plugin/DDCCI/DDC.h"
#include "plugin/M1DDCCI/M1DDCCI.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/machine/Mac.h"

// Any value of any type under the keys that the plug-in reads of framebuffers and displays.

using namespace simulated_mac;

namespace {

constexpr std::array framebufferKeys = {"EDID UUID", "DisplayAttributes", "Transport"};
constexpr std::array productKeys = {"ProductName", "ManufacturerID", "SerialNumber",
                                    "AlphanumericSerialNumber"};
constexpr std::array displayKeys = {"DisplayVendorID",        "DisplayProductID",
                                    "DisplaySerialNumber",    "DisplayWeekManufacture",
                                    "DisplayYearManufacture", "DisplayHorizontalImageSize",
                                    "DisplayProductName",     "DisplayVerticalImageSize"};

PropertyValue anyValue(FuzzedDataProvider& input, int depth = 0) {
    switch (input.ConsumeIntegralInRange(0, depth < 3 ? 6 : 4)) {
        case 0:
            return {};
        case 1:
            return {input.ConsumeBool()};
        case 2:
            return {input.ConsumeIntegral<std::int64_t>()};
        case 3:
            return {input.ConsumeRandomLengthString(64)};
        case 4:
            return {input.ConsumeBytes<std::uint8_t>(16)};
        case 5:
            return {PropertyList{anyValue(input, depth + 1)}};
        default:
            return {PropertyMap{{"ProductAttributes", anyValue(input, depth + 1)},
                                {"en_US", anyValue(input, depth + 1)},
                                {"Upstream", anyValue(input, depth + 1)}}};
    }
}

template <class Keys>
PropertyMap someOf(const Keys& keys, FuzzedDataProvider& input) {
    PropertyMap map;
    for (const char* const key : keys) {
        if (input.ConsumeBool()) map.emplace_back(key, anyValue(input));
    }
    return map;
}

MacDescription describe(FuzzedDataProvider& input) {
    MacDescription description;
    description.chip = input.ConsumeBool() ? Chip::apple : Chip::intel;
    description.otherRegistryEntries = 0;
    ScreenDescription& screen = description.screens.emplace_back();
    screen.monitor.edid = makeEDID({});
    screen.displayService.properties = someOf(framebufferKeys, input);
    screen.displayService.productAttributes = someOf(productKeys, input);
    screen.infoDictionary = someOf(displayKeys, input);
    screen.framebuffer.dictionary = someOf(displayKeys, input);
    return description;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    return std::freopen("/dev/null", "w", stdout) != nullptr ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const Mac mac(describe(input));
    const CGDirectDisplayID displayID = mac.displays()[0]->displayID;
    for (const DisplayService& match : Arm64Utility().getServiceMatches({displayID})) {
        CFRelease(match.avService);
    }
    M1DDCCI().initM1AVServiceDic();
    std::uint16_t maximum = 0;
    std::uint16_t current = 0;
    getControlWithLog(displayID, 0xF1, 50, true, &maximum, &current);
    if (!mac.journal.misuses().empty()) std::abort();
    return 0;
}
