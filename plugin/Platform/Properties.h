#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <cstdint>
#include <optional>
#include <string>

#include "plugin/Platform/CFRef.h"

// Readers of property values. A value of another type than the one asked for counts as absent:
// drivers and monitors decide what stands in the registry.

/// The value itself when it is a dictionary, else nullptr.
CFDictionaryRef asDictionary(CFTypeRef value);

/// The entry under `key` whatever its type, not owned; nullptr of a NULL dictionary or without one.
CFTypeRef anyEntry(CFDictionaryRef dictionary, CFStringRef key);

/// The same, and nullptr of another type.
CFStringRef stringEntry(CFDictionaryRef dictionary, CFStringRef key);
CFDictionaryRef dictionaryEntry(CFDictionaryRef dictionary, CFStringRef key);

std::optional<std::string> textEntry(CFDictionaryRef dictionary, CFStringRef key);
/// A number's integer value, 64 bits wide; a fraction is dropped.
std::optional<std::int64_t> integerEntry(CFDictionaryRef dictionary, CFStringRef key);

/// All properties of a registry entry; empty when they can't be read.
CFRef<CFMutableDictionaryRef> copyProperties(io_registry_entry_t entry);

/// One property of a registry entry, empty when it is missing or of another type.
CFRef<CFStringRef> copyStringProperty(io_registry_entry_t entry, CFStringRef key);
CFRef<CFDictionaryRef> copyDictionaryProperty(io_registry_entry_t entry, CFStringRef key);
