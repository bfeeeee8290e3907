#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/graphics/IOGraphicsLib.h>
#include <IOKit/i2c/IOI2CInterface.h>
#include <dispatch/dispatch.h>
#include <gtest/gtest.h>
#include <mach/mach.h>
#include <mach/mach_error.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "Platform/CoreDisplay.h"
#include "Platform/IOAVService.h"

// The stand-in headers against the platform's documentation. Most of it is checked when this file
// is compiled: a wrong width here would be a wrong width on every Mac.

namespace {

template <class T, class Documented>
constexpr bool is = std::is_same_v<T, Documented>;

// Types

static_assert(is<mach_port_t, unsigned int> && sizeof(mach_port_t) == 4);
static_assert(is<io_object_t, mach_port_t> && is<io_service_t, mach_port_t> &&
              is<io_iterator_t, mach_port_t> && is<io_registry_entry_t, mach_port_t> &&
              is<io_connect_t, mach_port_t>);
static_assert(IO_OBJECT_NULL == 0 && MACH_PORT_NULL == 0);
static_assert(is<kern_return_t, int> && is<IOReturn, int> && is<mach_error_t, int>);
#if defined(__aarch64__)
static_assert(is<boolean_t, int>);
#else
static_assert(is<boolean_t, unsigned int>);
#endif
static_assert(is<IOOptionBits, unsigned int> && is<IOItemCount, unsigned int> &&
              is<UInt32, unsigned int>);
static_assert(sizeof(vm_address_t) == sizeof(void*) && std::is_unsigned_v<vm_address_t>);
static_assert(is<io_name_t, char[128]> && is<io_string_t, char[512]>);
static_assert(is<CFIndex, long> && is<CFTypeID, unsigned long> && is<CFOptionFlags, unsigned long>);
static_assert(is<CFStringEncoding, unsigned int>);
static_assert(is<UniChar, unsigned short> && is<UInt8, unsigned char> &&
              is<Boolean, unsigned char>);
static_assert(is<decltype(CFRange::location), CFIndex> && is<decltype(CFRange::length), CFIndex> &&
              offsetof(CFRange, location) == 0 && offsetof(CFRange, length) == 8 &&
              sizeof(CFRange) == 16);
static_assert(sizeof(CFNumberType) == 8 && std::is_signed_v<CFNumberType>);
static_assert(is<CFTypeRef, const void*> && is<IOAVServiceRef, CFTypeRef>);
static_assert(is<CGDirectDisplayID, std::uint32_t>);
static_assert(is<dispatch_time_t, std::uint64_t> && DISPATCH_TIME_FOREVER == UINT64_MAX);
static_assert(is<dispatch_once_t, std::intptr_t>);
static_assert(is<dispatch_function_t, void (*)(void*)>);
static_assert(is<IOServiceMatchingCallback, void (*)(void*, io_iterator_t)>);
static_assert(is<IOI2CRequestCompletion, void (*)(IOI2CRequest*)>);

/// References are pointers to structures of their own: one kind is never taken for another.
template <class Reference>
constexpr bool pointsToItsOwnStructure =
    std::is_pointer_v<Reference>&& std::is_class_v<std::remove_pointer_t<Reference>>;
static_assert(pointsToItsOwnStructure<CFStringRef> && pointsToItsOwnStructure<CFNumberRef> &&
              pointsToItsOwnStructure<CFDataRef> && pointsToItsOwnStructure<CFDictionaryRef> &&
              pointsToItsOwnStructure<CFAllocatorRef> && pointsToItsOwnStructure<CFRunLoopRef> &&
              pointsToItsOwnStructure<CFRunLoopSourceRef> &&
              pointsToItsOwnStructure<IONotificationPortRef> &&
              pointsToItsOwnStructure<IOI2CConnectRef>);
static_assert(!std::is_convertible_v<CFStringRef, CFDictionaryRef> &&
              !std::is_convertible_v<CFDataRef, CFStringRef>);
static_assert(std::is_const_v<std::remove_pointer_t<CFStringRef>> &&
              std::is_const_v<std::remove_pointer_t<CFDictionaryRef>> &&
              !std::is_const_v<std::remove_pointer_t<CFMutableStringRef>> &&
              !std::is_const_v<std::remove_pointer_t<CFMutableDictionaryRef>>);
static_assert(std::is_convertible_v<CFMutableStringRef, CFStringRef> &&
              std::is_convertible_v<CFMutableDictionaryRef, CFDictionaryRef>);

// Constants

static_assert(kIOReturnSuccess == 0);
static_assert(static_cast<std::uint32_t>(kIOReturnError) == 0xE00002BC &&
              static_cast<std::uint32_t>(kIOReturnNoDevice) == 0xE00002C0 &&
              static_cast<std::uint32_t>(kIOReturnUnsupported) == 0xE00002C7 &&
              static_cast<std::uint32_t>(kIOReturnUnsupportedMode) == 0xE00002E6 &&
              static_cast<std::uint32_t>(kIOReturnNotFound) == 0xE00002F0);
static_assert(kIORegistryIterateRecursively == 1 && kIODisplayOnlyPreferredName == 0x200);
static_assert(kCFStringEncodingASCII == 0x0600 && kCFStringEncodingUTF8 == 0x08000100);
static_assert(kCFNumberSInt32Type == 3 && kCFNumberSInt64Type == 4 && kCFNumberCFIndexType == 14);
static_assert(kCFCompareCaseInsensitive == 1 && kCFNotFound == -1 &&
              kCFCharacterSetWhitespace == 2);
static_assert(kIOI2CNoTransactionType == 0 && kIOI2CSimpleTransactionType == 1 &&
              kIOI2CDDCciReplyTransactionType == 2 && kIOI2CCombinedTransactionType == 3 &&
              kIOI2CDisplayPortNativeTransactionType == 4);

// The I2C request: packed to 4 bytes, in the 64-bit layout

template <std::size_t offset, class T, class Documented>
constexpr bool field(std::size_t documented) {
    return offset == documented && is<T, Documented>;
}
#define REQUEST_FIELD(name, type, offset) \
    static_assert(field<offsetof(IOI2CRequest, name), decltype(IOI2CRequest::name), type>(offset))
REQUEST_FIELD(sendTransactionType, IOOptionBits, 0);
REQUEST_FIELD(replyTransactionType, IOOptionBits, 4);
REQUEST_FIELD(sendAddress, std::uint32_t, 8);
REQUEST_FIELD(replyAddress, std::uint32_t, 12);
REQUEST_FIELD(sendSubAddress, std::uint8_t, 16);
REQUEST_FIELD(replySubAddress, std::uint8_t, 17);
REQUEST_FIELD(minReplyDelay, std::uint64_t, 20);
REQUEST_FIELD(result, IOReturn, 28);
REQUEST_FIELD(commFlags, IOOptionBits, 32);
REQUEST_FIELD(sendBytes, std::uint32_t, 40);
REQUEST_FIELD(replyBytes, std::uint32_t, 56);
REQUEST_FIELD(completion, IOI2CRequestCompletion, 60);
REQUEST_FIELD(sendBuffer, vm_address_t, 68);
REQUEST_FIELD(replyBuffer, vm_address_t, 76);
#undef REQUEST_FIELD
static_assert(sizeof(IOI2CRequest) == 84 + 10 * 4 && alignof(IOI2CRequest) == 4);

// Functions

#define FUNCTION(name, ...) static_assert(is<decltype(name), __VA_ARGS__>)
FUNCTION(IOMasterPort, kern_return_t(mach_port_t, mach_port_t*));
FUNCTION(mach_port_deallocate, kern_return_t(ipc_space_t, mach_port_name_t));
FUNCTION(mach_error_string, char*(mach_error_t));
FUNCTION(IOServiceMatching, CFMutableDictionaryRef(const char*));
FUNCTION(IOServiceNameMatching, CFMutableDictionaryRef(const char*));
FUNCTION(IOServiceGetMatchingService, io_service_t(mach_port_t, CFDictionaryRef));
FUNCTION(IOServiceGetMatchingServices, kern_return_t(mach_port_t, CFDictionaryRef, io_iterator_t*));
FUNCTION(IOServiceAddMatchingNotification,
         kern_return_t(IONotificationPortRef, const char*, CFDictionaryRef,
                       IOServiceMatchingCallback, void*, io_iterator_t*));
FUNCTION(IONotificationPortCreate, IONotificationPortRef(mach_port_t));
FUNCTION(IONotificationPortGetRunLoopSource, CFRunLoopSourceRef(IONotificationPortRef));
FUNCTION(IOIteratorNext, io_object_t(io_iterator_t));
FUNCTION(IOObjectRetain, kern_return_t(io_object_t));
FUNCTION(IOObjectRelease, kern_return_t(io_object_t));
FUNCTION(IORegistryGetRootEntry, io_registry_entry_t(mach_port_t));
FUNCTION(IORegistryEntryCreateIterator,
         kern_return_t(io_registry_entry_t, const char*, IOOptionBits, io_iterator_t*));
FUNCTION(IORegistryEntryGetName, kern_return_t(io_registry_entry_t, char*));
FUNCTION(IORegistryEntryGetParentEntry,
         kern_return_t(io_registry_entry_t, const char*, io_registry_entry_t*));
FUNCTION(IORegistryEntryCopyPath, CFStringRef(io_registry_entry_t, const char*));
FUNCTION(IORegistryEntryCreateCFProperties,
         kern_return_t(io_registry_entry_t, CFMutableDictionaryRef*, CFAllocatorRef, IOOptionBits));
FUNCTION(IORegistryEntryCreateCFProperty,
         CFTypeRef(io_registry_entry_t, CFStringRef, CFAllocatorRef, IOOptionBits));
FUNCTION(IORegistryEntrySearchCFProperty,
         CFTypeRef(io_registry_entry_t, const char*, CFStringRef, CFAllocatorRef, IOOptionBits));
FUNCTION(IODisplayCreateInfoDictionary, CFDictionaryRef(io_service_t, IOOptionBits));
FUNCTION(IOFBGetI2CInterfaceCount, IOReturn(io_service_t, IOItemCount*));
FUNCTION(IOFBCopyI2CInterfaceForBus, IOReturn(io_service_t, IOOptionBits, io_service_t*));
FUNCTION(IOI2CInterfaceOpen, IOReturn(io_service_t, IOOptionBits, IOI2CConnectRef*));
FUNCTION(IOI2CSendRequest, IOReturn(IOI2CConnectRef, IOOptionBits, IOI2CRequest*));
FUNCTION(IOI2CInterfaceClose, IOReturn(IOI2CConnectRef, IOOptionBits));
FUNCTION(IOAVServiceCreateWithService, IOAVServiceRef(CFAllocatorRef, io_service_t));
FUNCTION(IOAVServiceCopyEDID, IOReturn(IOAVServiceRef, CFDataRef*));
FUNCTION(IOAVServiceReadI2C,
         IOReturn(IOAVServiceRef, std::uint32_t, std::uint32_t, void*, std::uint32_t));
FUNCTION(IOAVServiceWriteI2C,
         IOReturn(IOAVServiceRef, std::uint32_t, std::uint32_t, void*, std::uint32_t));
FUNCTION(CoreDisplay_DisplayCreateInfoDictionary, CFDictionaryRef(CGDirectDisplayID));
FUNCTION(CGDisplayIsBuiltin, boolean_t(CGDirectDisplayID));
FUNCTION(CGDisplaySerialNumber, std::uint32_t(CGDirectDisplayID));
FUNCTION(CGDisplayVendorNumber, std::uint32_t(CGDirectDisplayID));
FUNCTION(CGDisplayModelNumber, std::uint32_t(CGDirectDisplayID));
FUNCTION(CFRetain, CFTypeRef(CFTypeRef));
FUNCTION(CFRelease, void(CFTypeRef));
FUNCTION(CFGetTypeID, CFTypeID(CFTypeRef));
FUNCTION(CFAllocatorAllocate, void*(CFAllocatorRef, CFIndex, CFOptionFlags));
FUNCTION(CFAllocatorDeallocate, void(CFAllocatorRef, void*));
FUNCTION(CFStringFind, CFRange(CFStringRef, CFStringRef, CFStringCompareFlags));
FUNCTION(CFStringUppercase, void(CFMutableStringRef, CFLocaleRef));
FUNCTION(CFStringLowercase, void(CFMutableStringRef, CFLocaleRef));
FUNCTION(CFNumberGetValue, Boolean(CFNumberRef, CFNumberType, void*));
FUNCTION(CFDictionaryGetValue, const void*(CFDictionaryRef, const void*));
FUNCTION(CFRunLoopAddSource, void(CFRunLoopRef, CFRunLoopSourceRef, CFRunLoopMode));
FUNCTION(dispatch_queue_create, dispatch_queue_t(const char*, dispatch_queue_attr_t));
FUNCTION(dispatch_async_f, void(dispatch_queue_t, void*, dispatch_function_t));
FUNCTION(dispatch_sync_f, void(dispatch_queue_t, void*, dispatch_function_t));
FUNCTION(dispatch_once_f, void(dispatch_once_t*, void*, dispatch_function_t));
FUNCTION(dispatch_semaphore_create, dispatch_semaphore_t(std::intptr_t));
FUNCTION(dispatch_semaphore_wait, std::intptr_t(dispatch_semaphore_t, dispatch_time_t));
FUNCTION(dispatch_semaphore_signal, std::intptr_t(dispatch_semaphore_t));
#undef FUNCTION

TEST(PlatformHeaders, NameThePlaneAndTheNotificationAsThePlatformDoes) {
    EXPECT_STREQ(kIOServicePlane, "IOService");
    EXPECT_STREQ(kIOPublishNotification, "IOServicePublish");
}

TEST(PlatformHeaders, HaveZeroAsTheDefaultMasterPort) {
    static_assert(is<decltype(kIOMasterPortDefault), const mach_port_t>);
    EXPECT_EQ(kIOMasterPortDefault, 0u);
}

TEST(PlatformHeaders, HaveATextForEveryIOErrorThatTheyName) {
    EXPECT_STREQ(mach_error_string(kIOReturnSuccess), "(os/kern) successful");
    EXPECT_STREQ(mach_error_string(kIOReturnError), "(iokit/common) general error");
    EXPECT_STREQ(mach_error_string(kIOReturnNoDevice), "(iokit/common) no such device");
    EXPECT_STREQ(mach_error_string(kIOReturnUnsupported), "(iokit/common) unsupported function");
    EXPECT_STREQ(mach_error_string(kIOReturnUnsupportedMode), "(iokit/common) unsupported mode");
    EXPECT_STREQ(mach_error_string(kIOReturnNotFound), "(iokit/common) data was not found");
    EXPECT_STRNE(mach_error_string(0x1234), "");
}

}  // namespace
