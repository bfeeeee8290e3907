#include "simulated_mac/platform/CFReferences.h"

#include <fmt/format.h>

#include <mutex>
#include <unordered_map>

#include "simulated_mac/hardware/Ledger.h"
#include "simulated_mac/machine/Mac.h"

namespace simulated_mac {

namespace {

/// An object of which the plug-in holds references.
struct Held {
    CFPointer object;
    std::vector<const char*> calls;  ///< that handed out the references, one each
};

/// Objects outlive the Mac on which they were made, as the plug-in's own objects do.
struct HeldObjects {
    std::mutex mutex;
    std::unordered_map<const CFObject*, Held> held;
};

HeldObjects& heldObjects() {
    static auto& objects = *new HeldObjects;
    return objects;
}

Reference kindOf(const CFObject& object) {
    if (std::holds_alternative<CFObject::String>(object.value)) return Reference::string;
    if (std::holds_alternative<Bytes>(object.value)) return Reference::data;
    if (isNumber(object)) return Reference::number;
    if (std::holds_alternative<CFObject::Dictionary>(object.value)) return Reference::dictionary;
    const auto* const opaque = std::get_if<CFObject::Opaque>(&object.value);
    return opaque != nullptr && opaque->type == "IOAVService" ? Reference::avService
                                                              : Reference::otherObject;
}

}  // namespace

CFTypeRef handOut(const CFPointer& object, const char* call) {
    if (object == nullptr) return nullptr;
    auto& objects = heldObjects();
    {
        const std::lock_guard lock(objects.mutex);
        auto& held = objects.held[object.get()];
        held.object = object;
        held.calls.push_back(call);
    }
    if (Mac* const mac = Mac::current()) mac->ledger.handedOut(kindOf(*object), call);
    return object.get();
}

void takeBack(CFTypeRef reference, const char* taker) {
    Mac* const mac = Mac::current();
    auto& objects = heldObjects();
    CFPointer object;  // dies after the lock
    const char* call = nullptr;
    {
        const std::lock_guard lock(objects.mutex);
        const auto found = objects.held.find(objectOf(reference));
        if (found != objects.held.end()) {
            object = found->second.object;
            call = found->second.calls.back();
            found->second.calls.pop_back();
            if (found->second.calls.empty()) objects.held.erase(found);
        }
    }
    if (call == nullptr) crash(taker, "releases an object that the plug-in does not hold");
    if (mac != nullptr) mac->ledger.givenBack(kindOf(*object), call);
}

const CFObject* objectOf(CFTypeRef reference) {
    return static_cast<const CFObject*>(reference);
}

void crashOfType(const Parameter& parameter) {
    crash(parameter.call, fmt::format("{} is of another type", parameter.name));
}

std::string keyText(CFTypeRef key, const char* call) {
    return utf8Of(valueOf<CFObject::String>(key, {call, "key"}));
}

CFPointer sharedObject(CFTypeRef reference) {
    return reference != nullptr ? objectOf(reference)->shared_from_this() : nullptr;
}

std::string textOf(CFTypeRef reference) {
    if (reference == nullptr) return {};
    const auto* const string = std::get_if<CFObject::String>(&objectOf(reference)->value);
    return string != nullptr ? utf8Of(*string) : std::string();
}

}  // namespace simulated_mac
