#include <CoreFoundation/CoreFoundation.h>
#include <fmt/format.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <mutex>
#include <span>
#include <vector>

#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/machine/RunLoop.h"
#include "simulated_mac/platform/CFReferences.h"
#include "simulated_mac/platform/Crash.h"
#include "simulated_mac/platform/PlatformCall.h"
#include "simulated_mac/platform/Running.h"
#include "simulated_mac/platform/UnicodeText.h"

// Core Foundation's functions, over the objects of CFObjects.h. As the platform's, they do not
// survive NULL, an object of another type or a range beyond what they were given.

using namespace simulated_mac;

namespace {

using String = CFObject::String;

/// Type IDs: 1 and up in the order of CFObject::Value.
template <class T>
CFTypeID typeIDOf() {
    return CFObject::Value(T{}).index() + 1;
}

const String& stringOf(CFStringRef string, const Parameter& parameter) {
    return valueOf<String>(string, parameter);
}

/// Towards zero; what no 64 bits hold gives the nearest that they do.
std::int64_t truncated(double value) {
    using Limits = std::numeric_limits<std::int64_t>;
    if (value != value) return 0;
    if (value >= static_cast<double>(Limits::max())) return Limits::max();
    if (value <= static_cast<double>(Limits::min())) return Limits::min();
    return static_cast<std::int64_t>(value);
}

/// A range of a string or of data.
template <class Units>
std::span<const typename Units::value_type> piece(const Units& units, CFRange range,
                                                  const char* call) {
    const auto size = static_cast<CFIndex>(units.size());
    if (range.location < 0 || range.length < 0 || range.location > size ||
        range.length > size - range.location) {
        crash(call, fmt::format("the range of {} from {} on reaches beyond the {} that there are",
                                range.length, range.location, size));
    }
    return std::span(units).subspan(static_cast<std::size_t>(range.location),
                                    static_cast<std::size_t>(range.length));
}

Quoted quoted(CFTypeRef string) {
    return {textOf(string)};
}

CFStringRef handOutString(String string, const char* call) {
    return static_cast<CFStringRef>(handOut(makeCF(std::move(string)), call));
}

const CFPointer& defaultMode() {
    static const auto& mode = *new CFPointer(makeCFText("kCFRunLoopDefaultMode"));
    return mode;
}

/// What CFAllocatorAllocate handed out. There are never more than a few at a time.
struct Blocks {
    std::mutex mutex;
    std::vector<void*> held;
};
constexpr auto allocateName = "CFAllocatorAllocate";
Blocks& blocks() {
    static auto& all = *new Blocks;
    return all;
}

}  // namespace

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFRunLoopMode kCFRunLoopDefaultMode = reinterpret_cast<CFStringRef>(defaultMode().get());

void* CFAllocatorAllocate(CFAllocatorRef, CFIndex size, CFOptionFlags) {
    FallibleCall call(allocateName, [&] { return NamedValues{{"size", size}}; });
    if (call.fails() || size <= 0) return call.pointer<void*>(nullptr);
    void* const block = std::malloc(static_cast<std::size_t>(size));
    if (block != nullptr) {
        const std::lock_guard lock(blocks().mutex);
        blocks().held.push_back(block);
        if (Mac* const mac = Mac::current())
            mac->ledger.handedOut(Reference::allocation, allocateName);
    }
    return call.pointer(block);
}

void CFAllocatorDeallocate(CFAllocatorRef, void* block) {
    constexpr auto name = "CFAllocatorDeallocate";
    const PlatformCall call(name);
    {
        const std::lock_guard lock(blocks().mutex);
        if (std::erase(blocks().held, block) == 0) {
            crash(name, "ptr is no memory of CFAllocatorAllocate");
        }
        if (Mac* const mac = Mac::current()) {
            mac->ledger.givenBack(Reference::allocation, allocateName);
        }
    }
    std::free(block);
}

CFTypeRef CFRetain(CFTypeRef object) {
    constexpr auto name = "CFRetain";
    const PlatformCall call(name);
    requireNotNull(object, name, "cf");
    return handOut(sharedObject(object), name);
}

void CFRelease(CFTypeRef object) {
    constexpr auto name = "CFRelease";
    const PlatformCall call(name);
    requireNotNull(object, name, "cf");
    takeBack(object, name);
}

CFTypeID CFGetTypeID(CFTypeRef object) {
    requireNotNull(object, "CFGetTypeID", "cf");
    const CFObject& given = *objectOf(object);
    return isNumber(given) ? CFNumberGetTypeID() : given.value.index() + 1;
}

CFTypeID CFStringGetTypeID() {
    return typeIDOf<String>();
}
CFTypeID CFNumberGetTypeID() {
    return typeIDOf<std::int64_t>();
}
CFTypeID CFDictionaryGetTypeID() {
    return typeIDOf<CFObject::Dictionary>();
}

CFStringRef __CFStringMakeConstantString(const char* text) {
    const Running platform(Code::platform);
    // A constant of the program on a Mac, without a lock.
    const Mac* const mac = Mac::current();
    const HiddenFromRaceDetection hidden(mac != nullptr && mac->scheduler.hidesTurns());
    static std::mutex mutex;
    static auto& constants = *new std::map<std::string, CFPointer, std::less<>>;
    const std::lock_guard lock(mutex);
    auto known = constants.find(std::string_view(text));
    if (known == constants.end()) known = constants.emplace(text, makeCFText(text)).first;
    return reinterpret_cast<CFStringRef>(known->second.get());
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean) {
    constexpr auto name = "CFStringCreateWithBytes";
    if (count != 0) requireNotNull(bytes, name, "bytes");
    if (count < 0) crash(name, "numBytes is negative");
    const std::string_view text(reinterpret_cast<const char*>(bytes),
                                static_cast<std::size_t>(count));
    FallibleCall call(name, [&] {
        return NamedValues{{"bytes", Quoted{std::string(text)}}, {"encoding", Hex{encoding}}};
    });
    if (call.fails() || encoding != kCFStringEncodingUTF8)
        return call.pointer<CFStringRef>(nullptr);
    auto string = decodeUTF8(text);
    if (!string) return call.pointer<CFStringRef>(nullptr);
    return call.pointer(handOutString(std::move(*string), name));
}

CFStringRef CFStringCreateWithSubstring(CFAllocatorRef, CFStringRef string, CFRange range) {
    constexpr auto name = "CFStringCreateWithSubstring";
    FallibleCall call(name, [&] {
        return NamedValues{{"string", quoted(string), unlabelled},
                           {"location", range.location},
                           {"length", range.length}};
    });
    const auto units = piece(stringOf(string, {name, "str"}), range, name);
    if (call.fails()) return call.pointer<CFStringRef>(nullptr);
    return call.pointer(handOutString(String(units.begin(), units.end()), name));
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex maxLength,
                                             CFStringRef string) {
    constexpr auto name = "CFStringCreateMutableCopy";
    FallibleCall call(name, [&] { return NamedValues{{"string", quoted(string), unlabelled}}; });
    const String& original = stringOf(string, {name, "theString"});
    if (maxLength != 0 && maxLength < static_cast<CFIndex>(original.size())) {
        crash(name, "maxLength is less than theString has");
    }
    if (call.fails()) return call.pointer<CFMutableStringRef>(nullptr);
    return call.pointer(const_cast<CFMutableStringRef>(handOutString(original, name)));
}

CFIndex CFStringGetLength(CFStringRef string) {
    return static_cast<CFIndex>(stringOf(string, {"CFStringGetLength", "theString"}).size());
}

UniChar CFStringGetCharacterAtIndex(CFStringRef string, CFIndex index) {
    constexpr auto name = "CFStringGetCharacterAtIndex";
    return piece(stringOf(string, {name, "theString"}), {index, 1}, name).front();
}

void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer) {
    constexpr auto name = "CFStringGetCharacters";
    const auto units = piece(stringOf(string, {name, "theString"}), range, name);
    if (!units.empty()) requireNotNull(buffer, name, "buffer");
    std::copy(units.begin(), units.end(), buffer);
}

CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding, UInt8, Boolean,
                         UInt8* buffer, CFIndex capacity, CFIndex* used) {
    constexpr auto name = "CFStringGetBytes";
    const Running platform(Code::platform);
    const auto units = piece(stringOf(string, {name, "theString"}), range, name);
    // Without a buffer the bytes are only counted.
    const std::size_t room = buffer != nullptr
                                 ? static_cast<std::size_t>(std::max<CFIndex>(capacity, 0))
                                 : std::numeric_limits<std::size_t>::max();
    const EncodedText text = encodeUTF8({units.data(), units.size()}, room);
    if (buffer != nullptr) std::copy(text.bytes.begin(), text.bytes.end(), buffer);
    if (used != nullptr) *used = static_cast<CFIndex>(text.bytes.size());
    return static_cast<CFIndex>(text.units);
}

CFRange CFStringFind(CFStringRef string, CFStringRef part, CFStringCompareFlags flags) {
    constexpr auto name = "CFStringFind";
    PlatformCall call(name, [&] {
        return NamedValues{{"part", quoted(part), unlabelled},
                           {"string", quoted(string), labelIn},
                           {"options", flags}};
    });
    const auto icuString = [](const String& text) {
        return icu::UnicodeString(text.data(), static_cast<int32_t>(text.size()));
    };
    icu::UnicodeString whole = icuString(stringOf(string, {name, "theString"}));
    icu::UnicodeString wanted = icuString(stringOf(part, {name, "stringToFind"}));
    if ((flags & kCFCompareCaseInsensitive) != 0) {
        whole.foldCase();
        wanted.foldCase();
    }
    const int32_t at = wanted.isEmpty() ? -1 : whole.indexOf(wanted);
    if (at < 0) return {call.result<CFIndex>(kCFNotFound), 0};
    return {call.result<CFIndex>(at), wanted.length()};
}

void CFStringUppercase(CFMutableStringRef string, CFLocaleRef) {
    constexpr auto name = "CFStringUppercase";
    const PlatformCall call(name, [&] {
        return NamedValues{{"string", quoted(string), unlabelled}};
    });
    auto& text = mutableValueOf<String>(string, {name, "theString"});
    text = uppercase(text);
}

void CFStringLowercase(CFMutableStringRef string, CFLocaleRef) {
    constexpr auto name = "CFStringLowercase";
    const PlatformCall call(name, [&] {
        return NamedValues{{"string", quoted(string), unlabelled}};
    });
    auto& text = mutableValueOf<String>(string, {name, "theString"});
    text = lowercase(text);
}

CFCharacterSetRef CFCharacterSetGetPredefined(CFCharacterSetPredefinedSet) {
    const Running platform(Code::platform);
    static const auto& whitespace = *new CFPointer(makeCF(CFObject::Opaque{"CFCharacterSet", 0}));
    return reinterpret_cast<CFCharacterSetRef>(whitespace.get());
}

Boolean CFCharacterSetIsCharacterMember(CFCharacterSetRef set, UniChar character) {
    requireNotNull(set, "CFCharacterSetIsCharacterMember", "theSet");
    return isWhitespace(character);
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
    constexpr auto name = "CFNumberGetValue";
    requireNotNull(number, name, "number");
    requireNotNull(value, name, "valuePtr");
    const CFObject& stored = *objectOf(number);
    if (!isNumber(stored)) crashOfType({name, "number"});
    const auto* const real = std::get_if<double>(&stored.value);
    const std::int64_t whole =
        real != nullptr ? truncated(*real) : std::get<std::int64_t>(stored.value);
    const bool isWhole = real == nullptr || static_cast<double>(whole) == *real;
    if (type == kCFNumberSInt32Type) {
        const auto narrow = static_cast<std::int32_t>(whole);
        std::memcpy(value, &narrow, sizeof narrow);
        return isWhole && narrow == whole;
    }
    std::memcpy(value, &whole, sizeof whole);
    return isWhole;
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value) {
    constexpr auto name = "CFNumberCreate";
    FallibleCall call(name);
    requireNotNull(value, name, "valuePtr");
    if (call.fails()) return call.pointer<CFNumberRef>(nullptr);
    std::int64_t number = 0;
    if (type == kCFNumberSInt32Type) {
        std::int32_t narrow = 0;
        std::memcpy(&narrow, value, sizeof narrow);
        number = narrow;
    } else {
        std::memcpy(&number, value, sizeof number);
    }
    return call.pointer(static_cast<CFNumberRef>(handOut(makeCF(number), name)));
}

CFIndex CFDataGetLength(CFDataRef data) {
    return static_cast<CFIndex>(valueOf<Bytes>(data, {"CFDataGetLength", "theData"}).size());
}

void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer) {
    constexpr auto name = "CFDataGetBytes";
    const auto bytes = piece(valueOf<Bytes>(data, {name, "theData"}), range, name);
    if (!bytes.empty()) requireNotNull(buffer, name, "buffer");
    std::copy(bytes.begin(), bytes.end(), buffer);
}

// Dictionaries hold objects here; only the callbacks for those are ever asked for.
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {};

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex,
                                                 const CFDictionaryKeyCallBacks*,
                                                 const CFDictionaryValueCallBacks*) {
    constexpr auto name = "CFDictionaryCreateMutable";
    FallibleCall call(name);
    if (call.fails()) return call.pointer<CFMutableDictionaryRef>(nullptr);
    return call.pointer(static_cast<CFMutableDictionaryRef>(
        const_cast<void*>(handOut(makeCF(CFObject::Dictionary()), name))));
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
    constexpr auto name = "CFDictionarySetValue";
    const PlatformCall call(name, [&] { return NamedValues{{"key", quoted(key), unlabelled}}; });
    auto& entries = mutableValueOf<CFObject::Dictionary>(dictionary, {name, "theDict"});
    const std::string text = keyText(key, name);
    requireNotNull(value, name, "value");
    const auto known = std::find_if(entries.begin(), entries.end(),
                                    [&](const auto& entry) { return entry.first == text; });
    if (known != entries.end()) {
        known->second = sharedObject(value);
    } else {
        entries.emplace_back(text, sharedObject(value));
    }
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
    constexpr auto name = "CFDictionaryGetValue";
    FallibleCall call(name, [&] { return NamedValues{{"key", quoted(key), unlabelled}}; });
    const auto& entries = valueOf<CFObject::Dictionary>(dictionary, {name, "theDict"});
    const std::string wanted = keyText(key, name);
    if (call.fails()) return call.pointer<const void*>(nullptr);
    for (const auto& [text, value] : entries) {
        if (text == wanted) return call.pointer<const void*>(value.get());
    }
    return call.pointer<const void*>(nullptr);
}

CFRunLoopRef CFRunLoopGetMain() {
    return mainRunLoop();
}

CFRunLoopRef CFRunLoopGetCurrent() {
    const Mac* const mac = Mac::current();
    return mac == nullptr || mac->scheduler.onMainThread() ? mainRunLoop() : backgroundRunLoop();
}

void CFRunLoopAddSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFRunLoopMode mode) {
    constexpr auto name = "CFRunLoopAddSource";
    const PlatformCall call(name, [&] {
        return NamedValues{{"run loop", loop == mainRunLoop() ? "main" : "background"},
                           {"mode", quoted(mode)}};
    });
    requireNotNull(loop, name, "rl");
    requireNotNull(source, name, "source");
    requireNotNull(mode, name, "mode");
    addToRunLoop(loop, source);
}
