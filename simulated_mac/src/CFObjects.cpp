#include "CFObjects.h"

#include <fmt/format.h>
#include <unicode/unistr.h>

#include <mutex>
#include <unordered_map>

#include "Ledger.h"
#include "Mac.h"

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

CFObject::Array makeArray(const PropertyList& list) {
    CFObject::Array array;
    for (const PropertyValue& element : list) {
        if (auto object = makeCF(element)) array.push_back(std::move(object));
    }
    return array;
}

CFObject::Dictionary makeDictionary(const PropertyMap& map) {
    CFObject::Dictionary dictionary;
    for (const auto& [key, value] : map) {
        if (auto object = makeCF(value)) dictionary.emplace_back(key, std::move(object));
    }
    return dictionary;
}

}  // namespace

CFPointer makeCF(CFObject::Value value) {
    return std::make_shared<CFObject>(std::move(value));
}

CFPointer makeCFText(std::string_view utf8) {
    const auto string = icu::UnicodeString::fromUTF8({utf8.data(), static_cast<int>(utf8.size())});
    return makeCF(CFObject::String(string.getBuffer(), static_cast<std::size_t>(string.length())));
}

CFPointer makeCF(const PropertyValue& property) {
    const auto& value = property.value;
    if (const auto* const boolean = std::get_if<bool>(&value)) return makeCF(*boolean);
    if (const auto* const number = std::get_if<std::int64_t>(&value)) return makeCF(*number);
    if (const auto* const real = std::get_if<double>(&value)) return makeCF(*real);
    if (const auto* const text = std::get_if<std::string>(&value)) return makeCFText(*text);
    if (const auto* const bytes = std::get_if<Bytes>(&value)) return makeCF(*bytes);
    if (const auto* const list = std::get_if<PropertyList>(&value)) return makeCF(makeArray(*list));
    if (const auto* const map = std::get_if<PropertyMap>(&value)) {
        return makeCF(makeDictionary(*map));
    }
    return nullptr;
}

bool isNumber(const CFObject& object) {
    return std::holds_alternative<std::int64_t>(object.value) ||
           std::holds_alternative<double>(object.value);
}

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

std::string utf8Of(const CFObject::String& string) {
    std::string text;
    icu::UnicodeString(false, string.data(), static_cast<int>(string.size())).toUTF8String(text);
    return text;
}

std::string textOf(CFTypeRef reference) {
    if (reference == nullptr) return {};
    const auto* const string = std::get_if<CFObject::String>(&objectOf(reference)->value);
    return string != nullptr ? utf8Of(*string) : std::string();
}

}  // namespace simulated_mac
