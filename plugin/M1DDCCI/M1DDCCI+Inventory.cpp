#include <IOKit/IOKitLib.h>

#include "plugin/Cocoa/SystemLog.h"
#include "plugin/M1DDCCI/M1DDCCI.h"
#include "plugin/Platform/IOObject.h"
#include "plugin/Platform/Properties.h"
#include "plugin/Platform/Text.h"

using namespace vorn;

// The inventory of an Apple-silicon Mac's display framebuffers, for diagnostics.

CFMutableDictionaryRef matchedM1Device = nullptr;

namespace {

constexpr auto framebufferName = "AppleCLCD2";

CFRef<CFMutableDictionaryRef> makeDictionary() {
    return CFRef<CFMutableDictionaryRef>(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

/// Sets what is there; a missing value leaves its key out.
void set(CFMutableDictionaryRef dictionary, CFStringRef key, CFTypeRef value) {
    if (value != nullptr) CFDictionarySetValue(dictionary, key, value);
}

CFRef<CFTypeRef> search(io_registry_entry_t entry, CFStringRef key) {
    return CFRef<CFTypeRef>(IORegistryEntrySearchCFProperty(
        entry, kIOServicePlane, key, kCFAllocatorDefault, kIORegistryIterateRecursively));
}

bool namesAMonitor(io_registry_entry_t entry) {
    const auto uuid = search(entry, CFSTR("EDID UUID"));
    const auto attributes = search(entry, CFSTR("DisplayAttributes"));
    return uuid && asDictionary(attributes.get()) != nullptr &&
           dictionaryEntry(asDictionary(attributes.get()), CFSTR("ProductAttributes")) != nullptr;
}

}  // namespace

void M1DDCCI::initM1AVServiceDic() const {
    if (matchedM1Device != nullptr) CFRelease(matchedM1Device);
    matchedM1Device = makeDictionary().release();
    if (matchedM1Device == nullptr) return;

    const IOObject root(IORegistryGetRootEntry(kIOMasterPortDefault));
    io_iterator_t walk = IO_OBJECT_NULL;
    const kern_return_t result = IORegistryEntryCreateIterator(
        root.get(), kIOServicePlane, kIORegistryIterateRecursively, &walk);
    const IOObject iterator(walk);
    if (result != kIOReturnSuccess) return;
    while (const IOObject entry{IOIteratorNext(iterator.get())}) {
        io_name_t name = {};
        IORegistryEntryGetName(entry.get(), name);
        if (name == std::string_view(framebufferName) && namesAMonitor(entry.get())) {
            setDisplayInfoWithService(entry.get());
        }
    }
    Cocoa::log(matchedM1Device);
}

void M1DDCCI::setDisplayInfoWithService(io_service_t framebuffer) const {
    const auto attributes = getIORegistryPropertyWithService(framebuffer, "DisplayAttributes");
    const auto transport = getIORegistryPropertyWithService(framebuffer, "Transport");
    const auto uuid = getIORegistryPropertyWithService(framebuffer, "EDID UUID");
    const CFDictionaryRef product =
        dictionaryEntry(asDictionary(attributes.get()), CFSTR("ProductAttributes"));
    const CFDictionaryRef ends = asDictionary(transport.get());
    const CFStringRef serial = stringEntry(product, CFSTR("AlphanumericSerialNumber"));
    const auto display = makeDictionary();
    const std::int64_t service = framebuffer;
    const CFRef<CFNumberRef> handle(
        CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &service));
    if (serial == nullptr || matchedM1Device == nullptr || !display) return;

    set(display.get(), CFSTR("service"), handle.get());
    set(display.get(), CFSTR("serialNumber"), serial);
    set(display.get(), CFSTR("upstream"), anyEntry(ends, CFSTR("Upstream")));
    set(display.get(), CFSTR("downstream"), anyEntry(ends, CFSTR("Downstream")));
    set(display.get(), CFSTR("productName"), stringEntry(product, CFSTR("ProductName")));
    set(display.get(), CFSTR("manufacturerID"), anyEntry(product, CFSTR("ManufacturerID")));
    set(display.get(), CFSTR("edid"), uuid.get());
    CFDictionarySetValue(matchedM1Device, serial, display.get());
}

CFRef<CFTypeRef> M1DDCCI::getIORegistryPropertyWithService(io_service_t service,
                                                           const std::string& fieldName) const {
    const auto key = makeCFString(fieldName);
    if (!key) return {};
    return CFRef<CFTypeRef>(
        IORegistryEntryCreateCFProperty(service, key.get(), kCFAllocatorDefault, 0));
}
