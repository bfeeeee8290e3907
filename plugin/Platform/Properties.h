#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <cstdint>
#include <optional>
#include <string>

#include "plugin/Platform/CFRef.h"

namespace vorn {

// Readers of property values. A value of an unexpected type counts as absent: drivers and monitors
// determine the registry's contents.

/// The value itself if it is a dictionary, else nullptr.
CFDictionaryRef asDictionary(CFTypeRef value);

/// The entry under `key`, of any type, not owned; nullptr if there is none or the dictionary is
/// NULL.
CFTypeRef anyEntry(CFDictionaryRef dictionary, CFStringRef key);

/// The same, but nullptr for another type.
CFStringRef stringEntry(CFDictionaryRef dictionary, CFStringRef key);
CFDictionaryRef dictionaryEntry(CFDictionaryRef dictionary, CFStringRef key);

std::optional<std::string> textEntry(CFDictionaryRef dictionary, CFStringRef key);
/// A number's integer value, 64 bits wide; a fraction is dropped.
std::optional<std::int64_t> integerEntry(CFDictionaryRef dictionary, CFStringRef key);

/// All properties of a registry entry; empty if they can't be read.
CFRef<CFMutableDictionaryRef> copyProperties(io_registry_entry_t entry);

/// One property of a registry entry, empty if it is missing or of another type.
CFRef<CFStringRef> copyStringProperty(io_registry_entry_t entry, CFStringRef key);
CFRef<CFDictionaryRef> copyDictionaryProperty(io_registry_entry_t entry, CFStringRef key);

}  // namespace vorn
