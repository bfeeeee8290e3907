#pragma once

// The I/O Kit's registry and notifications, as far as the plug-in calls them: the platform's
// documented declarations.

#include <CoreFoundation/CoreFoundation.h>
#include <mach/mach.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef kern_return_t IOReturn;
typedef UInt32 IOOptionBits;
typedef UInt32 IOItemCount;

typedef mach_port_t io_object_t;
typedef io_object_t io_service_t;
typedef io_object_t io_iterator_t;
typedef io_object_t io_registry_entry_t;
typedef io_object_t io_connect_t;
typedef char io_name_t[128];
typedef char io_string_t[512];

#define IO_OBJECT_NULL ((io_object_t)0)

#define kIOReturnSuccess 0
#define kIOReturnError ((IOReturn)0xE00002BC)
#define kIOReturnNoDevice ((IOReturn)0xE00002C0)
#define kIOReturnUnsupported ((IOReturn)0xE00002C7)
#define kIOReturnUnsupportedMode ((IOReturn)0xE00002E6)
#define kIOReturnNotFound ((IOReturn)0xE00002F0)

#define kIOServicePlane "IOService"
#define kIOPublishNotification "IOServicePublish"
enum { kIORegistryIterateRecursively = 0x00000001 };

typedef struct IONotificationPort* IONotificationPortRef;
typedef void (*IOServiceMatchingCallback)(void* refcon, io_iterator_t iterator);

extern const mach_port_t kIOMasterPortDefault;
kern_return_t IOMasterPort(mach_port_t bootstrapPort, mach_port_t* masterPort);

CFMutableDictionaryRef IOServiceMatching(const char* name);
CFMutableDictionaryRef IOServiceNameMatching(const char* name);
io_service_t IOServiceGetMatchingService(mach_port_t masterPort, CFDictionaryRef matching);
kern_return_t IOServiceGetMatchingServices(mach_port_t masterPort, CFDictionaryRef matching,
                                           io_iterator_t* existing);
kern_return_t IOServiceAddMatchingNotification(IONotificationPortRef notifyPort,
                                               const io_name_t notificationType,
                                               CFDictionaryRef matching,
                                               IOServiceMatchingCallback callback, void* refCon,
                                               io_iterator_t* notification);
IONotificationPortRef IONotificationPortCreate(mach_port_t masterPort);
CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef notify);

io_object_t IOIteratorNext(io_iterator_t iterator);
kern_return_t IOObjectRetain(io_object_t object);
kern_return_t IOObjectRelease(io_object_t object);

io_registry_entry_t IORegistryGetRootEntry(mach_port_t masterPort);
kern_return_t IORegistryEntryCreateIterator(io_registry_entry_t entry, const io_name_t plane,
                                            IOOptionBits options, io_iterator_t* iterator);
kern_return_t IORegistryEntryGetName(io_registry_entry_t entry, io_name_t name);
kern_return_t IORegistryEntryGetParentEntry(io_registry_entry_t entry, const io_name_t plane,
                                            io_registry_entry_t* parent);
CFStringRef IORegistryEntryCopyPath(io_registry_entry_t entry, const io_name_t plane);
kern_return_t IORegistryEntryCreateCFProperties(io_registry_entry_t entry,
                                                CFMutableDictionaryRef* properties,
                                                CFAllocatorRef allocator, IOOptionBits options);
CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                          CFAllocatorRef allocator, IOOptionBits options);

CFTypeRef IORegistryEntrySearchCFProperty(io_registry_entry_t entry, const io_name_t plane,
                                          CFStringRef key, CFAllocatorRef allocator,
                                          IOOptionBits options);

#ifdef __cplusplus
}
#endif
