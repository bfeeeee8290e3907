#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/graphics/IOGraphicsLib.h>
#include <MacTypes.h>
#include <dispatch/dispatch.h>
#include <mach/mach.h>
#include <mach/mach_error.h>
#include <spawn.h>

// The header doesn't say that its functions are C's.
extern "C" {
#include <IOKit/i2c/IOI2CInterface.h>
}

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "plugin/Platform/CoreDisplay.h"
#include "plugin/Platform/IOAVService.h"

// The platform's own header of some of I/O Kit's types, where it is: there they have to agree.
#if __has_include(<device/device_types.h>)
#define IOKIT 1
#include <device/device_types.h>
#endif

// The stand-in headers against the platform's documentation, header by header as in
// docs/platform-declarations.md. Compiling this file is the test: a wrong width here would be a
// wrong width on every Mac. It names nothing of the simulated Mac's own: `make mac` compiles it
// against those of the platform's headers that can be had, and a Mac can against its SDK.

namespace platform_headers_test {

template <class T, class Documented>
constexpr bool is = std::is_same_v<T, Documented>;

/// A function's type without the promise not to throw, which some compilers count as part of it.
template <class Function>
struct WithoutNoexcept {
    using Type = Function;
};
template <class Result, class... Arguments>
struct WithoutNoexcept<Result(Arguments...) noexcept> {
    using Type = Result(Arguments...);
};

#define FUNCTION(name, ...) static_assert(is<WithoutNoexcept<decltype(name)>::Type, __VA_ARGS__>)
#define FIELD(structure, name, type, offset) \
    static_assert(is<decltype(structure::name), type> && offsetof(structure, name) == (offset))

// The functions, by the page's own column. The platform has deprecated some of them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <function_checks.inc>
#pragma GCC diagnostic pop

// mach/mach.h, mach/mach_error.h

static_assert(is<kern_return_t, int> && is<mach_error_t, int>);
static_assert(is<mach_port_t, unsigned int> && sizeof(mach_port_t) == 4);
static_assert(is<mach_port_name_t, unsigned int> && is<ipc_space_t, mach_port_t>);
#if defined(__aarch64__)
static_assert(is<boolean_t, int>);
#else
static_assert(is<boolean_t, unsigned int>);
#endif
static_assert(is<vm_address_t, unsigned long> && sizeof(vm_address_t) == sizeof(void*));
static_assert(MACH_PORT_NULL == 0);
static_assert(is<decltype(mach_task_self_), mach_port_t> &&
              is<decltype(mach_task_self()), mach_port_t>);

// MacTypes.h

static_assert(is<UInt8, unsigned char> && is<UInt32, unsigned int>);
static_assert(is<UniChar, unsigned short> && is<Boolean, unsigned char>);
static_assert(is<AbsoluteTime, UnsignedWide> && sizeof(AbsoluteTime) == 8);
FIELD(UnsignedWide, lo, UInt32, 0);
FIELD(UnsignedWide, hi, UInt32, 4);

// CoreFoundation/CoreFoundation.h

static_assert(is<CFIndex, long> && is<CFTypeID, unsigned long> &&
              is<CFOptionFlags, unsigned long> && is<CFHashCode, unsigned long>);
static_assert(is<CFStringEncoding, unsigned int> && is<CFStringCompareFlags, CFOptionFlags>);
FIELD(CFRange, location, CFIndex, 0);
FIELD(CFRange, length, CFIndex, 8);
static_assert(sizeof(CFRange) == 16);

// References are pointers to structures of their own, const but for the mutable kinds: one kind is
// never taken for another.
static_assert(is<CFTypeRef, const void*>);
static_assert(is<CFAllocatorRef, const __CFAllocator*>);
static_assert(is<CFStringRef, const __CFString*> && is<CFMutableStringRef, __CFString*>);
static_assert(is<CFNumberRef, const __CFNumber*> && is<CFDataRef, const __CFData*>);
static_assert(is<CFDictionaryRef, const __CFDictionary*> &&
              is<CFMutableDictionaryRef, __CFDictionary*>);
static_assert(is<CFLocaleRef, const __CFLocale*> && is<CFCharacterSetRef, const __CFCharacterSet*>);
static_assert(is<CFRunLoopRef, __CFRunLoop*> && is<CFRunLoopSourceRef, __CFRunLoopSource*>);
static_assert(is<CFRunLoopMode, CFStringRef>);

static_assert(is<decltype(kCFAllocatorDefault), const CFAllocatorRef>);

static_assert(is<decltype(kCFNotFound), const CFIndex> && kCFNotFound == -1);
static_assert(is<std::underlying_type_t<CFStringBuiltInEncodings>, CFStringEncoding> &&
              is<decltype(kCFStringEncodingASCII), CFStringBuiltInEncodings> &&
              is<decltype(kCFStringEncodingUTF8), CFStringBuiltInEncodings>);
static_assert(kCFStringEncodingASCII == 0x0600 && kCFStringEncodingUTF8 == 0x08000100);
static_assert(is<std::underlying_type_t<decltype(kCFCompareCaseInsensitive)>, CFOptionFlags> &&
              kCFCompareCaseInsensitive == 1);
static_assert(is<decltype(CFSTR("text")), CFStringRef>);

static_assert(is<std::underlying_type_t<CFCharacterSetPredefinedSet>, CFIndex> &&
              is<decltype(kCFCharacterSetWhitespace), CFCharacterSetPredefinedSet> &&
              kCFCharacterSetWhitespace == 2);

static_assert(is<std::underlying_type_t<CFNumberType>, CFIndex> && sizeof(CFNumberType) == 8 &&
              is<decltype(kCFNumberSInt32Type), CFNumberType> &&
              is<decltype(kCFNumberSInt64Type), CFNumberType> &&
              is<decltype(kCFNumberCFIndexType), CFNumberType>);
static_assert(kCFNumberSInt32Type == 3 && kCFNumberSInt64Type == 4 && kCFNumberCFIndexType == 14);

static_assert(is<CFDictionaryRetainCallBack, const void* (*)(CFAllocatorRef, const void*)>);
static_assert(is<CFDictionaryReleaseCallBack, void (*)(CFAllocatorRef, const void*)>);
static_assert(is<CFDictionaryCopyDescriptionCallBack, CFStringRef (*)(const void*)>);
static_assert(is<CFDictionaryEqualCallBack, Boolean (*)(const void*, const void*)>);
static_assert(is<CFDictionaryHashCallBack, CFHashCode (*)(const void*)>);
FIELD(CFDictionaryKeyCallBacks, version, CFIndex, 0);
FIELD(CFDictionaryKeyCallBacks, retain, CFDictionaryRetainCallBack, 8);
FIELD(CFDictionaryKeyCallBacks, release, CFDictionaryReleaseCallBack, 16);
FIELD(CFDictionaryKeyCallBacks, copyDescription, CFDictionaryCopyDescriptionCallBack, 24);
FIELD(CFDictionaryKeyCallBacks, equal, CFDictionaryEqualCallBack, 32);
FIELD(CFDictionaryKeyCallBacks, hash, CFDictionaryHashCallBack, 40);
static_assert(sizeof(CFDictionaryKeyCallBacks) == 48);
FIELD(CFDictionaryValueCallBacks, version, CFIndex, 0);
FIELD(CFDictionaryValueCallBacks, retain, CFDictionaryRetainCallBack, 8);
FIELD(CFDictionaryValueCallBacks, release, CFDictionaryReleaseCallBack, 16);
FIELD(CFDictionaryValueCallBacks, copyDescription, CFDictionaryCopyDescriptionCallBack, 24);
FIELD(CFDictionaryValueCallBacks, equal, CFDictionaryEqualCallBack, 32);
static_assert(sizeof(CFDictionaryValueCallBacks) == 40);
static_assert(is<decltype(kCFTypeDictionaryKeyCallBacks), const CFDictionaryKeyCallBacks>);
static_assert(is<decltype(kCFTypeDictionaryValueCallBacks), const CFDictionaryValueCallBacks>);

static_assert(is<decltype(kCFRunLoopDefaultMode), const CFRunLoopMode>);

// IOKit/IOKitLib.h

static_assert(is<IOReturn, int> && is<IOOptionBits, unsigned int> && is<IOItemCount, unsigned int>);
static_assert(is<io_object_t, mach_port_t> && is<io_service_t, mach_port_t> &&
              is<io_iterator_t, mach_port_t> && is<io_registry_entry_t, mach_port_t> &&
              is<io_connect_t, mach_port_t>);
static_assert(is<io_name_t, char[128]> && is<io_string_t, char[512]>);
static_assert(is<decltype(IO_OBJECT_NULL), io_object_t> && IO_OBJECT_NULL == 0);

constexpr bool isError(IOReturn here, std::uint32_t documented) {
    return static_cast<std::uint32_t>(here) == documented;
}
static_assert(kIOReturnSuccess == 0);
static_assert(is<decltype(kIOReturnError), IOReturn> && isError(kIOReturnError, 0xE00002BC));
static_assert(is<decltype(kIOReturnNoDevice), IOReturn> && isError(kIOReturnNoDevice, 0xE00002C0));
static_assert(is<decltype(kIOReturnUnsupported), IOReturn> &&
              isError(kIOReturnUnsupported, 0xE00002C7));
static_assert(is<decltype(kIOReturnUnsupportedMode), IOReturn> &&
              isError(kIOReturnUnsupportedMode, 0xE00002E6));
static_assert(is<decltype(kIOReturnNotFound), IOReturn> && isError(kIOReturnNotFound, 0xE00002F0));
static_assert(std::string_view(kIOServicePlane) == "IOService");
static_assert(std::string_view(kIOPublishNotification) == "IOServicePublish");
static_assert(kIORegistryIterateRecursively == 1);

static_assert(is<IONotificationPortRef, IONotificationPort*>);
static_assert(is<IOServiceMatchingCallback, void (*)(void*, io_iterator_t)>);
static_assert(is<decltype(kIOMasterPortDefault), const mach_port_t>);

// IOKit/graphics/IOGraphicsLib.h

static_assert(kIODisplayOnlyPreferredName == 0x200);

// IOKit/i2c/IOI2CInterface.h: the request is packed to 4 bytes, in the 64-bit layout

static_assert(kIOI2CNoTransactionType == 0 && kIOI2CSimpleTransactionType == 1 &&
              kIOI2CDDCciReplyTransactionType == 2 && kIOI2CCombinedTransactionType == 3 &&
              kIOI2CDisplayPortNativeTransactionType == 4);
static_assert(is<IOI2CConnectRef, IOI2CConnect*>);
static_assert(is<IOI2CRequestCompletion, void (*)(IOI2CRequest*)>);
FIELD(IOI2CRequest, sendTransactionType, IOOptionBits, 0);
FIELD(IOI2CRequest, replyTransactionType, IOOptionBits, 4);
FIELD(IOI2CRequest, sendAddress, std::uint32_t, 8);
FIELD(IOI2CRequest, replyAddress, std::uint32_t, 12);
FIELD(IOI2CRequest, sendSubAddress, std::uint8_t, 16);
FIELD(IOI2CRequest, replySubAddress, std::uint8_t, 17);
FIELD(IOI2CRequest, __reservedA, std::uint8_t[2], 18);
FIELD(IOI2CRequest, minReplyDelay, AbsoluteTime, 20);
FIELD(IOI2CRequest, result, IOReturn, 28);
FIELD(IOI2CRequest, commFlags, IOOptionBits, 32);
FIELD(IOI2CRequest, __padA, std::uint32_t, 36);
FIELD(IOI2CRequest, sendBytes, std::uint32_t, 40);
FIELD(IOI2CRequest, __reservedB, std::uint32_t[2], 44);
FIELD(IOI2CRequest, __padB, std::uint32_t, 52);
FIELD(IOI2CRequest, replyBytes, std::uint32_t, 56);
FIELD(IOI2CRequest, completion, IOI2CRequestCompletion, 60);
FIELD(IOI2CRequest, sendBuffer, vm_address_t, 68);
FIELD(IOI2CRequest, replyBuffer, vm_address_t, 76);
FIELD(IOI2CRequest, __reservedC, std::uint32_t[10], 84);
static_assert(sizeof(IOI2CRequest) == 124 && alignof(IOI2CRequest) == 4);

// CoreGraphics/CoreGraphics.h

static_assert(is<CGDirectDisplayID, std::uint32_t>);

// dispatch/dispatch.h

// No program makes, copies or destroys a dispatch object itself.
static_assert(!std::is_default_constructible_v<dispatch_object_s> &&
              !std::is_destructible_v<dispatch_object_s> &&
              !std::is_copy_constructible_v<dispatch_object_s> &&
              !std::is_copy_assignable_v<dispatch_object_s>);
template <class Reference, class Object>
constexpr bool isDispatchObject =
    is<Reference, Object*>&& std::is_convertible_v<Reference, dispatch_object_t>;
static_assert(isDispatchObject<dispatch_object_t, dispatch_object_s> &&
              isDispatchObject<dispatch_queue_t, dispatch_queue_s> &&
              isDispatchObject<dispatch_queue_attr_t, dispatch_queue_attr_s> &&
              isDispatchObject<dispatch_semaphore_t, dispatch_semaphore_s>);
static_assert(is<dispatch_time_t, std::uint64_t> && is<dispatch_once_t, std::intptr_t>);
static_assert(is<dispatch_function_t, void (*)(void*)>);
static_assert(is<decltype(DISPATCH_TIME_FOREVER), unsigned long long> &&
              DISPATCH_TIME_FOREVER == UINT64_MAX);
// The SDK's answer is of a kind derived from dispatch_queue_t.
static_assert(std::is_convertible_v<decltype(dispatch_get_main_queue()), dispatch_queue_t>);

// spawn.h

static_assert(POSIX_SPAWN_CLOEXEC_DEFAULT == 0x4000);

// Platform/IOAVService.h, Platform/CoreDisplay.h

static_assert(is<IOAVServiceRef, CFTypeRef>);

#undef FIELD
#undef FUNCTION

}  // namespace platform_headers_test
