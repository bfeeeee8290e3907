#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Crash.h"
#include "MacDescription.h"

namespace simulated_mac {

class CFObject;
/// A reference that the Mac itself holds; it does not count as the plug-in's.
using CFPointer = std::shared_ptr<const CFObject>;

/// A Core Foundation object: its value, and how many references the plug-in holds.
class CFObject : public std::enable_shared_from_this<CFObject> {
  public:
    using String = std::u16string;
    using Array = std::vector<CFPointer>;
    using Dictionary = std::vector<std::pair<std::string, CFPointer>>;
    /// The opaque thing behind an AV service, a run loop source and the like.
    struct Opaque {
        std::string type;
        std::uint64_t id = 0;
    };
    using Value =
        std::variant<bool, std::int64_t, double, String, Bytes, Array, Dictionary, Opaque>;

    explicit CFObject(Value initial) : value(std::move(initial)) {}

    Value value;
};

CFPointer makeCF(CFObject::Value value);
CFPointer makeCFText(std::string_view utf8);
/// nullptr for a missing value.
CFPointer makeCF(const PropertyValue& value);

/// Whole or not: Core Foundation has one type for both.
bool isNumber(const CFObject& object);

/// Hands an object out to the plug-in, with one reference that it owns.
CFTypeRef handOut(const CFPointer& object, const char* call);
/// Takes back one reference, for a function that consumes one. One that the plug-in does not hold
/// ends the process.
void takeBack(CFTypeRef object, const char* call);

/// The object behind a reference that the plug-in gives in; nullptr for NULL.
const CFObject* objectOf(CFTypeRef reference);

/// A function's parameter as its messages name it.
struct Parameter {
    const char* call;
    const char* name;
};

[[noreturn]] void crashOfType(const Parameter& parameter);

/// The value of an argument that has to be an object of the type T: any other and NULL end the
/// process.
template <class T>
const T& valueOf(CFTypeRef argument, const Parameter& parameter) {
    requireNotNull(argument, parameter.call, parameter.name);
    const T* const value = std::get_if<T>(&objectOf(argument)->value);
    if (value == nullptr) crashOfType(parameter);
    return *value;
}
/// The same of a mutable object.
template <class T>
T& mutableValueOf(CFTypeRef argument, const Parameter& parameter) {
    return const_cast<T&>(valueOf<T>(argument, parameter));
}

/// The text of a key that must not be NULL.
std::string keyText(CFTypeRef key, const char* call);
CFPointer sharedObject(CFTypeRef reference);

std::string utf8Of(const CFObject::String& string);
/// The text of a string object; empty for NULL and for other objects.
std::string textOf(CFTypeRef reference);

}  // namespace simulated_mac
