#include "plugin/Platform/Properties.h"

#include "plugin/Platform/Text.h"

namespace vorn {

namespace {

template <class Ref>
Ref typed(CFTypeRef value, CFTypeID type) {
    return value != nullptr && CFGetTypeID(value) == type ? static_cast<Ref>(value) : nullptr;
}

template <class Ref>
CFRef<Ref> copyProperty(io_registry_entry_t entry, CFStringRef key, CFTypeID type) {
    CFRef<CFTypeRef> value(IORegistryEntryCreateCFProperty(entry, key, kCFAllocatorDefault, 0));
    const auto wanted = typed<Ref>(value.get(), type);
    if (wanted != nullptr) value.release();
    return CFRef<Ref>(wanted);
}

}  // namespace

CFTypeRef anyEntry(CFDictionaryRef dictionary, CFStringRef key) {
    return dictionary != nullptr ? CFDictionaryGetValue(dictionary, key) : nullptr;
}

CFDictionaryRef asDictionary(CFTypeRef value) {
    return typed<CFDictionaryRef>(value, CFDictionaryGetTypeID());
}

CFStringRef stringEntry(CFDictionaryRef dictionary, CFStringRef key) {
    return typed<CFStringRef>(anyEntry(dictionary, key), CFStringGetTypeID());
}

CFDictionaryRef dictionaryEntry(CFDictionaryRef dictionary, CFStringRef key) {
    return asDictionary(anyEntry(dictionary, key));
}

std::optional<std::string> textEntry(CFDictionaryRef dictionary, CFStringRef key) {
    const CFStringRef string = stringEntry(dictionary, key);
    if (string == nullptr) return std::nullopt;
    return makeText(string);
}

std::optional<std::int64_t> integerEntry(CFDictionaryRef dictionary, CFStringRef key) {
    const auto number = typed<CFNumberRef>(anyEntry(dictionary, key), CFNumberGetTypeID());
    if (number == nullptr) return std::nullopt;
    // What it returns says whether the value lost its fraction.
    std::int64_t value = 0;
    CFNumberGetValue(number, kCFNumberSInt64Type, &value);
    return value;
}

CFRef<CFMutableDictionaryRef> copyProperties(io_registry_entry_t entry) {
    CFMutableDictionaryRef properties = nullptr;
    if (IORegistryEntryCreateCFProperties(entry, &properties, kCFAllocatorDefault, 0) != 0) {
        return {};
    }
    return CFRef<CFMutableDictionaryRef>(properties);
}

CFRef<CFStringRef> copyStringProperty(io_registry_entry_t entry, CFStringRef key) {
    return copyProperty<CFStringRef>(entry, key, CFStringGetTypeID());
}

CFRef<CFDictionaryRef> copyDictionaryProperty(io_registry_entry_t entry, CFStringRef key) {
    return copyProperty<CFDictionaryRef>(entry, key, CFDictionaryGetTypeID());
}

}  // namespace vorn
