#include <CoreFoundation/CoreFoundation.h>
#include <fmt/format.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <unordered_map>

#include "CFObjects.h"
#include "Mac.h"
#include "RunLoop.h"
#include "Trace.h"

// Core Foundation's functions, over the objects of CFObjects.h. Text is the platform's: UTF-16,
// with Unicode's own case mapping.

using namespace simulated_mac;

namespace {

using String = CFObject::String;

constexpr char16_t byteOrderMark = u'\uFEFF';

/// Type IDs: 1 and up in the order of CFObject::Value.
template <class T>
CFTypeID typeIDOf() {
    return CFObject::Value(T{}).index() + 1;
}

const String& stringOf(CFStringRef string) {
    return std::get<String>(objectOf(string)->value);
}

/// A mutable string that a function changes in place.
String& mutableStringOf(CFMutableStringRef string) {
    return std::get<String>(const_cast<CFObject*>(objectOf(string))->value);
}

icu::UnicodeString icuString(const String& string) {
    return icu::UnicodeString(string.data(), static_cast<int32_t>(string.size()));
}

String fromICU(const icu::UnicodeString& string) {
    return String(string.getBuffer(), static_cast<std::size_t>(string.length()));
}

void tellMisuse(std::string what) {
    if (Mac* const mac = Mac::current()) mac->misuse(std::move(what));
}

/// A range of a string. One that reaches beyond it, for which a Mac raises an exception, is a
/// misuse and has no characters.
String piece(CFStringRef string, CFRange range) {
    const auto size = static_cast<CFIndex>(stringOf(string).size());
    if (range.location < 0 || range.length < 0 || range.location > size ||
        range.length > size - range.location) {
        tellMisuse(fmt::format("{} characters from {} on of a string of {}", range.length,
                               range.location, size));
        return {};
    }
    return stringOf(string).substr(static_cast<std::size_t>(range.location),
                                   static_cast<std::size_t>(range.length));
}

/// UTF-8 of UTF-16 up to the first half of a character that stands alone, which `lossByte` takes
/// the place of unless it is 0; and the number of units.
std::pair<std::string, CFIndex> toUTF8(const String& string, UInt8 lossByte) {
    const bool hasHalves = std::any_of(string.begin(), string.end(), [](char16_t unit) {
        return unit >= 0xD800 && unit <= 0xDFFF;
    });
    if (!hasHalves) return {utf8Of(string), static_cast<CFIndex>(string.size())};
    // ICU reads the half that stands alone as the character of its number.
    const icu::UnicodeString characters = icuString(string);
    std::string text;
    const int32_t size = characters.length();
    for (int32_t at = 0; at < size; at = characters.moveIndex32(at, 1)) {
        const UChar32 character = characters.char32At(at);
        if (character < 0xD800 || character > 0xDFFF) {
            icu::UnicodeString(character).toUTF8String(text);
        } else if (lossByte != 0) {
            text += static_cast<char>(lossByte);
        } else {
            return {text, at};
        }
    }
    return {text, size};
}

std::string quoted(CFTypeRef string) {
    return fmt::format("\"{}\"", textOf(string));
}

CFStringRef handOutString(String string, const char* call) {
    return static_cast<CFStringRef>(handOut(makeCF(std::move(string)), call));
}

const CFPointer& defaultMode() {
    static const auto& mode = *new CFPointer(makeCFText("kCFRunLoopDefaultMode"));
    return mode;
}

/// Blocks that CFAllocatorAllocate handed out; only to tell a stranger's apart.
struct Blocks {
    std::mutex mutex;
    std::unordered_map<void*, const char*> calls;
};
Blocks& blocks() {
    static auto& all = *new Blocks;
    return all;
}

}  // namespace

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFRunLoopMode kCFRunLoopDefaultMode = reinterpret_cast<CFStringRef>(defaultMode().get());

void* CFAllocatorAllocate(CFAllocatorRef, CFIndex size, CFOptionFlags) {
    constexpr auto name = "CFAllocatorAllocate";
    FallibleCall call(name, [&] { return fmt::format("size {}", size); });
    if (call.fails() || size <= 0) return call.pointer<void*>(nullptr);
    void* const block = std::malloc(static_cast<std::size_t>(size));
    if (block != nullptr) {
        const std::lock_guard lock(blocks().mutex);
        blocks().calls[block] = name;
        if (Mac* const mac = Mac::current()) mac->ledger.handedOut(Reference::allocation, name);
    }
    return call.pointer(block);
}

void CFAllocatorDeallocate(CFAllocatorRef, void* block) {
    const PlatformCall call("CFAllocatorDeallocate");
    {
        const std::lock_guard lock(blocks().mutex);
        const auto known = blocks().calls.find(block);
        if (known != blocks().calls.end()) {
            if (Mac* const mac = Mac::current()) {
                mac->ledger.givenBack(Reference::allocation, known->second);
            }
            blocks().calls.erase(known);
        }
    }
    std::free(block);
}

CFTypeRef CFRetain(CFTypeRef object) {
    const PlatformCall call("CFRetain");
    return handOut(sharedObject(object), "CFRetain");
}

void CFRelease(CFTypeRef object) {
    const PlatformCall call("CFRelease");
    takeBack(object);
}

CFTypeID CFGetTypeID(CFTypeRef object) {
    return objectOf(object)->value.index() + 1;
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
                                    CFStringEncoding encoding, Boolean isExternalRepresentation) {
    constexpr auto name = "CFStringCreateWithBytes";
    FallibleCall call(name, [&] {
        return fmt::format(
            "bytes \"{}\", encoding {:#x}",
            std::string_view(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count)),
            encoding);
    });
    if (call.fails() || encoding != kCFStringEncodingUTF8)
        return call.pointer<CFStringRef>(nullptr);
    // UTF-8 never takes fewer bytes than UTF-16 takes units.
    String string(static_cast<std::size_t>(count), u'\0');
    int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8(string.data(), static_cast<int32_t>(string.size()), &length,
                  reinterpret_cast<const char*>(bytes), static_cast<int32_t>(count), &error);
    if (U_FAILURE(error)) return call.pointer<CFStringRef>(nullptr);
    string.resize(static_cast<std::size_t>(length));
    if (isExternalRepresentation && string.starts_with(byteOrderMark)) string.erase(0, 1);
    return call.pointer(handOutString(std::move(string), name));
}

CFStringRef CFStringCreateWithSubstring(CFAllocatorRef, CFStringRef string, CFRange range) {
    constexpr auto name = "CFStringCreateWithSubstring";
    FallibleCall call(name, [&] {
        return fmt::format("{}, location {}, length {}", quoted(string), range.location,
                           range.length);
    });
    if (call.fails()) return call.pointer<CFStringRef>(nullptr);
    return call.pointer(handOutString(piece(string, range), name));
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex maxLength,
                                             CFStringRef string) {
    constexpr auto name = "CFStringCreateMutableCopy";
    FallibleCall call(name, [&] { return quoted(string); });
    if (call.fails()) return call.pointer<CFMutableStringRef>(nullptr);
    if (maxLength != 0 && maxLength < CFStringGetLength(string)) {
        tellMisuse("a string was copied to one of a smaller maximum length");
    }
    return call.pointer(const_cast<CFMutableStringRef>(handOutString(stringOf(string), name)));
}

CFIndex CFStringGetLength(CFStringRef string) {
    return static_cast<CFIndex>(stringOf(string).size());
}

UniChar CFStringGetCharacterAtIndex(CFStringRef string, CFIndex index) {
    const String character = piece(string, {index, 1});
    return character.empty() ? u'\0' : character.front();
}

void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer) {
    const String characters = piece(string, range);
    std::copy(characters.begin(), characters.end(), buffer);
}

CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding, UInt8 lossByte,
                         Boolean, UInt8* buffer, CFIndex capacity, CFIndex* used) {
    const auto [text, converted] = toUTF8(piece(string, range), lossByte);
    auto size = static_cast<CFIndex>(text.size());
    if (buffer != nullptr) {
        size = std::min(size, capacity);
        std::memcpy(buffer, text.data(), static_cast<std::size_t>(size));
    }
    if (used != nullptr) *used = size;
    return converted;
}

CFRange CFStringFind(CFStringRef string, CFStringRef part, CFStringCompareFlags flags) {
    PlatformCall call("CFStringFind", [&] {
        return fmt::format("{} in {}, options {}", quoted(part), quoted(string), flags);
    });
    icu::UnicodeString whole = icuString(stringOf(string));
    icu::UnicodeString wanted = icuString(stringOf(part));
    if ((flags & kCFCompareCaseInsensitive) != 0) {
        whole.foldCase();
        wanted.foldCase();
    }
    const int32_t at = wanted.isEmpty() ? -1 : whole.indexOf(wanted);
    if (at < 0) return {call.result<CFIndex>(kCFNotFound), 0};
    return {call.result<CFIndex>(at), wanted.length()};
}

void CFStringUppercase(CFMutableStringRef string, CFLocaleRef) {
    const PlatformCall call("CFStringUppercase", [&] { return quoted(string); });
    String& text = mutableStringOf(string);
    text = fromICU(icuString(text).toUpper(icu::Locale::getRoot()));
}

void CFStringLowercase(CFMutableStringRef string, CFLocaleRef) {
    const PlatformCall call("CFStringLowercase", [&] { return quoted(string); });
    String& text = mutableStringOf(string);
    text = fromICU(icuString(text).toLower(icu::Locale::getRoot()));
}

CFCharacterSetRef CFCharacterSetGetPredefined(CFCharacterSetPredefinedSet) {
    static const auto& whitespace = *new CFPointer(makeCF(CFObject::Opaque{"CFCharacterSet", 0}));
    return reinterpret_cast<CFCharacterSetRef>(whitespace.get());
}

Boolean CFCharacterSetIsCharacterMember(CFCharacterSetRef, UniChar character) {
    return character == u'\t' || u_charType(character) == U_SPACE_SEPARATOR;
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
    const auto stored = std::get<std::int64_t>(objectOf(number)->value);
    if (type == kCFNumberSInt32Type) {
        const auto narrow = static_cast<std::int32_t>(stored);
        std::memcpy(value, &narrow, sizeof narrow);
        return narrow == stored;
    }
    std::memcpy(value, &stored, sizeof stored);
    return true;
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value) {
    constexpr auto name = "CFNumberCreate";
    FallibleCall call(name);
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
    return static_cast<CFIndex>(std::get<Bytes>(objectOf(data)->value).size());
}

void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer) {
    const auto& bytes = std::get<Bytes>(objectOf(data)->value);
    std::copy_n(bytes.begin() + range.location, range.length, buffer);
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
    const PlatformCall call("CFDictionarySetValue", [&] { return quoted(key); });
    auto& entries =
        std::get<CFObject::Dictionary>(const_cast<CFObject*>(objectOf(dictionary))->value);
    const std::string name = textOf(key);
    const auto known = std::find_if(entries.begin(), entries.end(),
                                    [&](const auto& entry) { return entry.first == name; });
    if (known != entries.end()) {
        known->second = sharedObject(value);
    } else {
        entries.emplace_back(name, sharedObject(value));
    }
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
    FallibleCall call("CFDictionaryGetValue", [&] { return quoted(key); });
    if (call.fails()) return call.pointer<const void*>(nullptr);
    const std::string wanted = textOf(key);
    for (const auto& [name, value] : std::get<CFObject::Dictionary>(objectOf(dictionary)->value)) {
        if (name == wanted) return call.pointer<const void*>(value.get());
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
    const PlatformCall call("CFRunLoopAddSource", [&] {
        return fmt::format("run loop {}, mode {}", loop == mainRunLoop() ? "main" : "background",
                           quoted(mode));
    });
    addToRunLoop(loop, source);
}
