#include <IOKit/IOKitLib.h>
#include <fmt/format.h>

#include <cstring>

#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/machine/NotificationPort.h"
#include "simulated_mac/platform/CFReferences.h"
#include "simulated_mac/platform/Crash.h"
#include "simulated_mac/platform/IOErrors.h"
#include "simulated_mac/platform/PlatformCall.h"
#include "simulated_mac/platform/Running.h"

// The I/O Kit's registry functions, over the Mac's registry.

using namespace simulated_mac;

namespace {

constexpr mach_port_t masterPortName = 0xB03;
constexpr kern_return_t invalidName = 15;  // KERN_INVALID_NAME

constexpr auto classKey = "IOProviderClass";
constexpr auto nameKey = "IONameMatch";

CFMutableDictionaryRef makeMatching(FallibleCall& call, const char* function, const char* key,
                                    const char* name) {
    requireNotNull(name, function, "name");
    if (call.fails()) return call.pointer<CFMutableDictionaryRef>(nullptr);
    const auto dictionary = makeCF(CFObject::Dictionary{{key, makeCFText(name)}});
    return call.pointer(
        static_cast<CFMutableDictionaryRef>(const_cast<void*>(handOut(dictionary, function))));
}

Match matchOf(CFDictionaryRef dictionary, const char* call) {
    Match match;
    for (const auto& [key, value] : valueOf<CFObject::Dictionary>(dictionary, {call, "matching"})) {
        if (key == classKey) match.className = textOf(value.get());
        if (key == nameKey) match.name = textOf(value.get());
    }
    return match;
}

NamedValue matchArgument(CFDictionaryRef dictionary, const char* call) {
    if (dictionary == nullptr) return {"matching", Pointer{true}, unlabelled};
    const Match match = matchOf(dictionary, call);
    if (match.name.empty()) return {"class", match.className};
    return {"name", match.name};
}

NamedValue objectArgument(io_object_t handle) {
    const Mac* const mac = Mac::current();
    const auto entry = mac != nullptr ? mac->registry.entryOf(handle) : nullptr;
    RegistryObject object{handle, {}};
    if (entry != nullptr) object.entryName = entry->name;
    return {"object", std::move(object), unlabelled};
}

Registry& registry() {
    return Mac::current()->registry;
}

/// The match that a dictionary asks for, of which the call takes a reference.
Match consume(CFDictionaryRef dictionary, const char* call) {
    Match match = matchOf(dictionary, call);
    takeBack(dictionary, call);
    return match;
}

/// There is one plane here; the platform knows no other by these functions' callers either.
bool isServicePlane(const char* plane, const char* call) {
    requireNotNull(plane, call, "plane");
    return std::string_view(plane) == kIOServicePlane;
}

}  // namespace

const mach_port_t kIOMasterPortDefault = 0;
mach_port_t mach_task_self_ = 0x103;

kern_return_t IOMasterPort(mach_port_t bootstrapPort, mach_port_t* masterPort) {
    constexpr auto name = "IOMasterPort";
    FallibleCall call(name, [&] { return NamedValues{{"bootstrap port", Hex{bootstrapPort}}}; });
    if (call.fails()) return call.error();
    *masterPort = masterPortName;
    Mac::current()->ledger.handedOut(Reference::machPort, name);
    return call.ioResult(kIOReturnSuccess);
}

kern_return_t mach_port_deallocate(ipc_space_t, mach_port_name_t port) {
    FallibleCall call("mach_port_deallocate", [&] { return NamedValues{{"port", Hex{port}}}; });
    if (call.fails()) return call.error();
    if (port != masterPortName) return call.ioResult(invalidName);
    Mac::current()->ledger.givenBack(Reference::machPort, "IOMasterPort");
    return call.ioResult(kIOReturnSuccess);
}

CFMutableDictionaryRef IOServiceMatching(const char* className) {
    FallibleCall call("IOServiceMatching", [&] { return NamedValues{{"class", className}}; });
    return makeMatching(call, "IOServiceMatching", classKey, className);
}

CFMutableDictionaryRef IOServiceNameMatching(const char* entryName) {
    FallibleCall call("IOServiceNameMatching", [&] { return NamedValues{{"name", entryName}}; });
    return makeMatching(call, "IOServiceNameMatching", nameKey, entryName);
}

io_service_t IOServiceGetMatchingService(mach_port_t, CFDictionaryRef matching) {
    constexpr auto name = "IOServiceGetMatchingService";
    FallibleCall call(name, [&] { return NamedValues{matchArgument(matching, name)}; });
    if (matching == nullptr) return call.result(IO_OBJECT_NULL);
    const Match match = consume(matching, name);
    if (call.fails()) return call.result(IO_OBJECT_NULL);
    return call.result(registry().handOut(registry().firstMatching(match), name));
}

kern_return_t IOServiceGetMatchingServices(mach_port_t, CFDictionaryRef matching,
                                           io_iterator_t* existing) {
    constexpr auto name = "IOServiceGetMatchingServices";
    FallibleCall call(name, [&] { return NamedValues{matchArgument(matching, name)}; });
    if (matching == nullptr) return call.ioResult(badArgument);
    const Match match = consume(matching, name);
    if (call.fails()) return call.error();
    *existing = registry().handOutIterator(registry().matching(match), name);
    return call.ioResult(kIOReturnSuccess);
}

kern_return_t IOServiceAddMatchingNotification(IONotificationPortRef port, const io_name_t type,
                                               CFDictionaryRef matching,
                                               IOServiceMatchingCallback callback, void* refCon,
                                               io_iterator_t* notification) {
    constexpr auto name = "IOServiceAddMatchingNotification";
    FallibleCall call(name, [&] {
        return NamedValues{{"type", type}, matchArgument(matching, name)};
    });
    if (matching == nullptr) return call.ioResult(badArgument);
    requireNotNull(port, name, "notifyPort");
    const Match match = consume(matching, name);
    if (call.fails()) return call.error();
    const auto deliver = [port, callback, refCon](io_iterator_t iterator) {
        if (!port->source.delivers) return;
        Mac::current()->scheduler.onMain(
            [=] { runPlugin(name, [=] { callback(refCon, iterator); }); });
    };
    *notification = registry().handOutNotification(match, deliver, name);
    return call.ioResult(kIOReturnSuccess);
}

IONotificationPortRef IONotificationPortCreate(mach_port_t) {
    constexpr auto name = "IONotificationPortCreate";
    FallibleCall call(name);
    if (call.fails()) return call.pointer<IONotificationPortRef>(nullptr);
    Mac* const mac = Mac::current();
    mac->ledger.handedOut(Reference::notificationPort, name);
    return call.pointer(mac->addNotificationPort());
}

CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef port) {
    constexpr auto name = "IONotificationPortGetRunLoopSource";
    FallibleCall call(name);
    requireNotNull(port, name, "notify");
    if (call.fails()) return call.pointer<CFRunLoopSourceRef>(nullptr);
    return call.pointer(referenceOf(port->source));
}

io_object_t IOIteratorNext(io_iterator_t iterator) {
    constexpr auto name = "IOIteratorNext";
    FallibleCall call(name, [&] { return NamedValues{{"iterator", Hex{iterator}}}; });
    if (call.fails()) return call.result(IO_OBJECT_NULL);
    return call.result(registry().handOutNext(iterator, name));
}

kern_return_t IOObjectRetain(io_object_t object) {
    constexpr auto name = "IOObjectRetain";
    FallibleCall call(name, [&] { return NamedValues{objectArgument(object)}; });
    if (call.fails()) return call.error();
    return call.ioResult(registry().retain(object, name) ? kIOReturnSuccess : badArgument);
}

kern_return_t IOObjectRelease(io_object_t object) {
    FallibleCall call("IOObjectRelease", [&] { return NamedValues{objectArgument(object)}; });
    if (call.fails()) return call.error();
    if (registry().release(object)) return call.ioResult(kIOReturnSuccess);
    Mac::current()->journal.misuse(
        fmt::format("registry object {:#x} was released, which the plug-in doesn't hold", object));
    return call.ioResult(badArgument);
}

io_registry_entry_t IORegistryGetRootEntry(mach_port_t) {
    constexpr auto name = "IORegistryGetRootEntry";
    FallibleCall call(name);
    if (call.fails()) return call.result(IO_OBJECT_NULL);
    return call.result(registry().handOut(registry().root(), name));
}

kern_return_t IORegistryEntryCreateIterator(io_registry_entry_t entry, const io_name_t plane,
                                            IOOptionBits options, io_iterator_t* iterator) {
    constexpr auto name = "IORegistryEntryCreateIterator";
    FallibleCall call(name, [&] {
        return NamedValues{objectArgument(entry), {"plane", plane}, {"options", Hex{options}}};
    });
    if (call.fails()) return call.error();
    const auto from = registry().entryOf(entry);
    if (from == nullptr || !isServicePlane(plane, name)) return call.ioResult(badArgument);
    *iterator = registry().handOutWalk(from, options == kIORegistryIterateRecursively, name);
    return call.ioResult(kIOReturnSuccess);
}

kern_return_t IORegistryEntryGetName(io_registry_entry_t handle, io_name_t name) {
    FallibleCall call("IORegistryEntryGetName",
                      [&] { return NamedValues{objectArgument(handle)}; });
    if (call.fails()) return call.error();
    const auto entry = registry().entryOf(handle);
    if (entry == nullptr || !entry->nameReadable) return call.ioResult(badArgument);
    const std::size_t length = std::min(entry->name.size(), sizeof(io_name_t) - 1);
    std::memcpy(name, entry->name.data(), length);
    name[length] = '\0';
    return call.ioResult(kIOReturnSuccess);
}

kern_return_t IORegistryEntryGetParentEntry(io_registry_entry_t handle, const io_name_t plane,
                                            io_registry_entry_t* parent) {
    constexpr auto name = "IORegistryEntryGetParentEntry";
    FallibleCall call(name, [&] { return NamedValues{objectArgument(handle), {"plane", plane}}; });
    if (call.fails()) return call.error();
    if (!isServicePlane(plane, name)) return call.ioResult(badArgument);
    const auto entry = registry().entryOf(handle);
    const auto found = entry != nullptr && entry->parentFound ? entry->parent.lock() : nullptr;
    if (found == nullptr) return call.ioResult(kIOReturnNoDevice);
    *parent = registry().handOut(found, name);
    return call.ioResult(kIOReturnSuccess);
}

CFStringRef IORegistryEntryCopyPath(io_registry_entry_t handle, const io_name_t plane) {
    constexpr auto name = "IORegistryEntryCopyPath";
    FallibleCall call(name, [&] { return NamedValues{objectArgument(handle), {"plane", plane}}; });
    const auto entry = registry().entryOf(handle);
    if (call.fails() || entry == nullptr || !isServicePlane(plane, name)) {
        return call.pointer<CFStringRef>(nullptr);
    }
    const std::string path = registry().pathOf(entry);
    call.text(path);
    return static_cast<CFStringRef>(handOut(makeCFText(path), name));
}

kern_return_t IORegistryEntryCreateCFProperties(io_registry_entry_t handle,
                                                CFMutableDictionaryRef* properties, CFAllocatorRef,
                                                IOOptionBits) {
    constexpr auto name = "IORegistryEntryCreateCFProperties";
    FallibleCall call(name, [&] { return NamedValues{objectArgument(handle)}; });
    if (call.fails()) return call.error();
    const auto entry = registry().entryOf(handle);
    if (entry == nullptr || !entry->readable) return call.ioResult(badArgument);
    *properties = static_cast<CFMutableDictionaryRef>(
        const_cast<void*>(handOut(makeCF(entry->properties.all()), name)));
    return call.ioResult(kIOReturnSuccess);
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t handle, CFStringRef key,
                                          CFAllocatorRef, IOOptionBits) {
    constexpr auto name = "IORegistryEntryCreateCFProperty";
    FallibleCall call(name, [&] {
        return NamedValues{objectArgument(handle), {"key", Quoted{textOf(key)}}};
    });
    const std::string wanted = keyText(key, name);
    const auto entry = registry().entryOf(handle);
    if (call.fails() || entry == nullptr || !entry->readable)
        return call.pointer<CFTypeRef>(nullptr);
    return call.pointer(handOut(entry->get(wanted), name));
}

CFTypeRef IORegistryEntrySearchCFProperty(io_registry_entry_t handle, const io_name_t plane,
                                          CFStringRef key, CFAllocatorRef, IOOptionBits options) {
    constexpr auto name = "IORegistryEntrySearchCFProperty";
    FallibleCall call(name, [&] {
        return NamedValues{objectArgument(handle),
                           {"plane", plane},
                           {"key", Quoted{textOf(key)}},
                           {"options", Hex{options}}};
    });
    const std::string wanted = keyText(key, name);
    const auto entry = registry().entryOf(handle);
    if (call.fails() || entry == nullptr || !isServicePlane(plane, name)) {
        return call.pointer<CFTypeRef>(nullptr);
    }
    // Below the entry, itself first; nothing here searches towards the parents.
    CFPointer value;
    registry().find(entry, [&](const RegistryEntry& found) {
        if (found.readable) value = found.get(wanted);
        return value != nullptr || options != kIORegistryIterateRecursively;
    });
    return call.pointer(handOut(value, name));
}
