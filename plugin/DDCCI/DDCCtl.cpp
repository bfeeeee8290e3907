#include "plugin/DDCCI/DDCCtl.h"

DDCCtl* DDC = nullptr;

dispatch_queue_t DDCCtl::serialQueue() {
    static dispatch_once_t once;
    static dispatch_queue_t queue;
    dispatch_once_f(&once, &queue, [](void* made) {
        *static_cast<dispatch_queue_t*>(made) =
            dispatch_queue_create("com.Zenqa.backgroundThread", nullptr);
    });
    return queue;
}

std::string DDCCtl::EDIDString(const std::uint8_t* bytes) const {
    constexpr std::size_t size = 13;
    constexpr auto replacement = "\xEF\xBF\xBD";  // U+FFFD

    std::string text;
    for (const std::uint8_t* byte = bytes; byte != bytes + size && *byte != '\n'; ++byte) {
        if (*byte < 0x80) {
            text += static_cast<char>(*byte);
        } else {
            text += replacement;
        }
    }
    return text;
}

bool DDCCtl::isUSBConnectType(std::int32_t* index, CGDirectDisplayID display) const {
    if (!usbAllDisplays) return false;
    for (const auto& entry : *usbAllDisplays) {
        if (entry->serialNumber == CGDisplaySerialNumber(display)) {
            *index = entry->USBIdx;
            return true;
        }
    }
    return false;
}
