#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <dispatch/dispatch.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <string>

#include "plugin/Platform/IOAVService.h"
#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/platform/CFReferences.h"

// What ends a process on a Mac also ends it here, with a message that says what was wrong.

namespace simulated_mac {
namespace crash_test {

struct Misuse {
    std::string name;
    std::function<void()> act;
    std::string message;
};

void PrintTo(const Misuse& misuse, std::ostream* stream) {
    *stream << misuse.name;
}

CFTypeRef made(CFObject::Value value) {
    return handOut(makeCF(std::move(value)), "test");
}
CFStringRef text() {
    return static_cast<CFStringRef>(made(CFObject::String(u"abc")));
}
CFDataRef data() {
    return static_cast<CFDataRef>(made(Bytes{1, 2, 3}));
}
CFMutableDictionaryRef dictionary() {
    return static_cast<CFMutableDictionaryRef>(
        const_cast<void*>(made(CFObject::Dictionary{{"key", makeCFText("value")}})));
}
io_registry_entry_t root() {
    return IORegistryGetRootEntry(kIOMasterPortDefault);
}

/// Does something on a background queue and lets it play out.
void onQueue(const std::function<void(dispatch_queue_t)>& act) {
    static std::function<void()> work;
    const auto queue = dispatch_queue_create("queue", nullptr);
    work = [queue, act] { act(queue); };
    dispatch_async_f(queue, nullptr, [](void*) { work(); });
    Mac::current()->scheduler.runUntilQuiet();
}

void nothing(void*) {}

class Crash : public testing::TestWithParam<Misuse> {};

TEST_P(Crash, EndsTheProcess) {
    const auto run = [] {
        const Mac mac{MacDescription{}};
        GetParam().act();
        std::_Exit(EXIT_SUCCESS);
    };
    EXPECT_DEATH(run(), "a Mac ends this process: " + GetParam().message);
}

std::array<UInt8, 8> bytes;
std::array<UniChar, 8> units;
std::int64_t number;

const std::vector<Misuse> ofCoreFoundation = {
    {"RetainOfNull", [] { CFRetain(nullptr); }, "CFRetain: cf is NULL"},
    {"ReleaseOfNull", [] { CFRelease(nullptr); }, "CFRelease: cf is NULL"},
    {"TypeOfNull", [] { CFGetTypeID(nullptr); }, "CFGetTypeID: cf is NULL"},
    {"ReleaseTooMany",
     [] {
         static const CFPointer kept = makeCFText("kept by the system");
         CFRelease(handOut(kept, "test"));
         CFRelease(kept.get());
     },
     "CFRelease: releases an object that the plug-in does not hold"},
    {"ReleaseOfABorrowedValue", [] { CFRelease(CFDictionaryGetValue(dictionary(), CFSTR("key"))); },
     "CFRelease: releases an object that the plug-in does not hold"},
    {"MemoryOfNobody", [] { CFAllocatorDeallocate(nullptr, &number); },
     "CFAllocatorDeallocate: ptr is no memory of CFAllocatorAllocate"},
    {"MemoryTwice",
     [] {
         void* const block = CFAllocatorAllocate(nullptr, 8, 0);
         CFAllocatorDeallocate(nullptr, block);
         CFAllocatorDeallocate(nullptr, block);
     },
     "CFAllocatorDeallocate: ptr is no memory of CFAllocatorAllocate"},
    {"BytesOfNull", [] { CFStringCreateWithBytes(nullptr, nullptr, 1, kCFStringEncodingUTF8, 0); },
     "CFStringCreateWithBytes: bytes is NULL"},
    {"BytesOfANegativeNumber",
     [] { CFStringCreateWithBytes(nullptr, bytes.data(), -1, kCFStringEncodingUTF8, 0); },
     "CFStringCreateWithBytes: numBytes is negative"},
    {"LengthOfNull", [] { CFStringGetLength(nullptr); }, "CFStringGetLength: theString is NULL"},
    {"LengthOfAnotherType", [] { CFStringGetLength(reinterpret_cast<CFStringRef>(data())); },
     "CFStringGetLength: theString is of another type"},
    {"PieceOfNull",
     [] {
         CFStringCreateWithSubstring(nullptr, nullptr, {0, 0});
     },
     "CFStringCreateWithSubstring: str is NULL"},
    {"PieceBeyondAText",
     [] {
         CFStringCreateWithSubstring(nullptr, text(), {4, 0});
     },
     "CFStringCreateWithSubstring: the range of 0 from 4 on reaches beyond the 3 that there are"},
    {"CharacterBeyondAText", [] { CFStringGetCharacterAtIndex(text(), 3); },
     "CFStringGetCharacterAtIndex: the range of 1 from 3 on reaches beyond the 3 that there are"},
    {"CharactersBeyondAText",
     [] {
         CFStringGetCharacters(text(), {1, 3}, units.data());
     },
     "CFStringGetCharacters: the range of 3 from 1 on"},
    {"CharactersBeforeAText",
     [] {
         CFStringGetCharacters(text(), {-1, 1}, units.data());
     },
     "CFStringGetCharacters: the range of 1 from -1 on"},
    {"CharactersToNull",
     [] {
         CFStringGetCharacters(text(), {0, 1}, nullptr);
     },
     "CFStringGetCharacters: buffer is NULL"},
    {"BytesBeyondAText",
     [] {
         CFStringGetBytes(text(), {0, 4}, kCFStringEncodingUTF8, 0, 0, bytes.data(), 8, nullptr);
     },
     "CFStringGetBytes: the range of 4 from 0 on"},
    {"CopyOfNull", [] { CFStringCreateMutableCopy(nullptr, 0, nullptr); },
     "CFStringCreateMutableCopy: theString is NULL"},
    {"CopyThatMustNotHoldItsText", [] { CFStringCreateMutableCopy(nullptr, 2, text()); },
     "CFStringCreateMutableCopy: maxLength is less than theString has"},
    {"FindInNull", [] { CFStringFind(nullptr, text(), 0); }, "CFStringFind: theString is NULL"},
    {"FindNull", [] { CFStringFind(text(), nullptr, 0); }, "CFStringFind: stringToFind is NULL"},
    {"UpperCaseOfNull", [] { CFStringUppercase(nullptr, nullptr); },
     "CFStringUppercase: theString is NULL"},
    {"LowerCaseOfNull", [] { CFStringLowercase(nullptr, nullptr); },
     "CFStringLowercase: theString is NULL"},
    {"MemberOfNull", [] { CFCharacterSetIsCharacterMember(nullptr, u' '); },
     "CFCharacterSetIsCharacterMember: theSet is NULL"},
    {"NumberOfNull", [] { CFNumberGetValue(nullptr, kCFNumberSInt64Type, &number); },
     "CFNumberGetValue: number is NULL"},
    {"NumberOfAText",
     [] { CFNumberGetValue(reinterpret_cast<CFNumberRef>(text()), kCFNumberSInt64Type, &number); },
     "CFNumberGetValue: number is of another type"},
    {"NumberToNull",
     [] {
         CFNumberGetValue(static_cast<CFNumberRef>(made(std::int64_t{1})), kCFNumberSInt64Type,
                          nullptr);
     },
     "CFNumberGetValue: valuePtr is NULL"},
    {"NumberFromNull", [] { CFNumberCreate(nullptr, kCFNumberSInt64Type, nullptr); },
     "CFNumberCreate: valuePtr is NULL"},
    {"SizeOfNull", [] { CFDataGetLength(nullptr); }, "CFDataGetLength: theData is NULL"},
    {"DataBeyondItsEnd",
     [] {
         CFDataGetBytes(data(), {0, 4}, bytes.data());
     },
     "CFDataGetBytes: the range of 4 from 0 on reaches beyond the 3 that there are"},
    {"DataOfNull",
     [] {
         CFDataGetBytes(nullptr, {0, 0}, bytes.data());
     },
     "CFDataGetBytes: theData is NULL"},
    {"ValueOfNull", [] { CFDictionaryGetValue(nullptr, CFSTR("key")); },
     "CFDictionaryGetValue: theDict is NULL"},
    {"ValueOfATextsKey",
     [] { CFDictionaryGetValue(reinterpret_cast<CFDictionaryRef>(text()), CFSTR("key")); },
     "CFDictionaryGetValue: theDict is of another type"},
    {"ValueUnderNull", [] { CFDictionaryGetValue(dictionary(), nullptr); },
     "CFDictionaryGetValue: key is NULL"},
    {"SetInNull", [] { CFDictionarySetValue(nullptr, CFSTR("key"), text()); },
     "CFDictionarySetValue: theDict is NULL"},
    {"SetUnderNull", [] { CFDictionarySetValue(dictionary(), nullptr, text()); },
     "CFDictionarySetValue: key is NULL"},
    {"SetNull", [] { CFDictionarySetValue(dictionary(), CFSTR("key"), nullptr); },
     "CFDictionarySetValue: value is NULL"},
    {"NullAsASource",
     [] { CFRunLoopAddSource(CFRunLoopGetMain(), nullptr, kCFRunLoopDefaultMode); },
     "CFRunLoopAddSource: source is NULL"},
};

const std::vector<Misuse> ofIOKit = {
    {"NullAsAClass", [] { IOServiceMatching(nullptr); }, "IOServiceMatching: name is NULL"},
    {"NullAsAName", [] { IOServiceNameMatching(nullptr); }, "IOServiceNameMatching: name is NULL"},
    {"SourceOfNoPort", [] { IONotificationPortGetRunLoopSource(nullptr); },
     "IONotificationPortGetRunLoopSource: notify is NULL"},
    {"NotificationOnNoPort",
     [] {
         io_iterator_t iterator = 0;
         IOServiceAddMatchingNotification(nullptr, kIOPublishNotification,
                                          IOServiceMatching("IOUSBDevice"), nullptr, nullptr,
                                          &iterator);
     },
     "IOServiceAddMatchingNotification: notifyPort is NULL"},
    {"DictionaryConsumedTwice",
     [] {
         const auto matching = IOServiceMatching("IOUSBDevice");
         io_iterator_t iterator = 0;
         const CFPointer kept = sharedObject(matching);
         IOServiceGetMatchingServices(kIOMasterPortDefault, matching, &iterator);
         IOServiceGetMatchingServices(kIOMasterPortDefault, matching, &iterator);
     },
     "IOServiceGetMatchingServices: releases an object that the plug-in does not hold"},
    {"PropertyOfNull", [] { IORegistryEntryCreateCFProperty(root(), nullptr, nullptr, 0); },
     "IORegistryEntryCreateCFProperty: key is NULL"},
    {"SearchForNull",
     [] { IORegistryEntrySearchCFProperty(root(), kIOServicePlane, nullptr, nullptr, 0); },
     "IORegistryEntrySearchCFProperty: key is NULL"},
    {"PathInNoPlane", [] { IORegistryEntryCopyPath(root(), nullptr); },
     "IORegistryEntryCopyPath: plane is NULL"},
    {"EDIDOfNoService",
     [] {
         CFDataRef edid = nullptr;
         IOAVServiceCopyEDID(nullptr, &edid);
     },
     "IOAVServiceCopyEDID: service is NULL"},
    {"ReadFromNoService", [] { IOAVServiceReadI2C(nullptr, 0x37, 0x51, bytes.data(), 8); },
     "IOAVServiceReadI2C: service is NULL"},
    {"WriteToNoService", [] { IOAVServiceWriteI2C(nullptr, 0x37, 0x51, bytes.data(), 8); },
     "IOAVServiceWriteI2C: service is NULL"},
};

const std::vector<Misuse> ofDispatch = {
    {"AsyncOnNull", [] { dispatch_async_f(nullptr, nullptr, nothing); },
     "dispatch_async_f: queue is NULL"},
    {"AsyncOnAReleasedQueue",
     [] {
         const auto queue = dispatch_queue_create("queue", nullptr);
         dispatch_release(queue);
         dispatch_async_f(queue, nullptr, nothing);
     },
     "dispatch_async_f: queue is not one, or was released"},
    {"SyncOnTheQueueItself",
     [] { onQueue([](dispatch_queue_t queue) { dispatch_sync_f(queue, nullptr, nothing); }); },
     "dispatch_sync_f: the calling thread does the work of this queue"},
    {"SyncFromTheMainThreadToItself",
     [] { dispatch_sync_f(dispatch_get_main_queue(), nullptr, nothing); },
     "dispatch_sync_f: the calling thread does the work of this queue"},
    {"WaitForNull", [] { dispatch_semaphore_wait(nullptr, DISPATCH_TIME_FOREVER); },
     "dispatch_semaphore_wait: dsema is NULL"},
    {"SignalToNull", [] { dispatch_semaphore_signal(nullptr); },
     "dispatch_semaphore_signal: dsema is NULL"},
    {"DispatchReleaseOfNull", [] { dispatch_release(nullptr); },
     "dispatch_release: object is NULL"},
    {"DispatchReleaseTooMany",
     [] {
         const auto semaphore = dispatch_semaphore_create(1);
         dispatch_release(semaphore);
         dispatch_release(semaphore);
     },
     "dispatch_release: object is no queue and no semaphore, or was released before"},
    {"ReleaseOfATakenSemaphore",
     [] {
         const auto semaphore = dispatch_semaphore_create(1);
         dispatch_semaphore_wait(semaphore, DISPATCH_TIME_FOREVER);
         dispatch_release(semaphore);
     },
     "dispatch_release: object is a semaphore that is taken"},
};

const auto nameOf = [](const auto& info) { return info.param.name; };
INSTANTIATE_TEST_SUITE_P(OfCoreFoundation, Crash, testing::ValuesIn(ofCoreFoundation), nameOf);
INSTANTIATE_TEST_SUITE_P(OfIOKit, Crash, testing::ValuesIn(ofIOKit), nameOf);
INSTANTIATE_TEST_SUITE_P(OfDispatch, Crash, testing::ValuesIn(ofDispatch), nameOf);

TEST(CrashHost, IsToldWhy) {
    Mac::Options options;
    options.onCrash = [](const std::string& why) {
        std::fputs(("told: " + why).c_str(), stderr);
        std::_Exit(7);
    };
    const auto run = [&options] {
        const Mac mac{MacDescription{}, options};
        CFRelease(nullptr);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(7), "told: CFRelease: cf is NULL");
}

TEST(CrashHost, IsNotAskedWhereNoMacIsSwitchedOn) {
    EXPECT_DEATH(CFRelease(nullptr), "a Mac ends this process: CFRelease: cf is NULL");
}

TEST(CrashOfASemaphore, DoesNotFollowFromOneThatWasGivenBack) {
    const Mac mac{MacDescription{}};
    const auto semaphore = dispatch_semaphore_create(1);
    dispatch_semaphore_wait(semaphore, DISPATCH_TIME_FOREVER);
    dispatch_semaphore_signal(semaphore);
    dispatch_release(semaphore);
    EXPECT_EQ(mac.ledger.held()["dispatch_semaphore_t"], 0);
}

}  // namespace crash_test
}  // namespace simulated_mac
