#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "simulated_mac/hardware/CFValue.h"
#include "simulated_mac/platform/Crash.h"

namespace simulated_mac {

/// Hands an object out to the plug-in, with one reference that it owns.
CFTypeRef handOut(const CFPointer& object, const char* call);
/// Takes back one reference, for a function that consumes one. One that the plug-in does not hold
/// ends the process.
void takeBack(CFTypeRef object, const char* call);

/// The object of a reference that the plug-in passes; nullptr for NULL.
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
/// The same for a mutable object.
template <class T>
T& mutableValueOf(CFTypeRef argument, const Parameter& parameter) {
    return const_cast<T&>(valueOf<T>(argument, parameter));
}

/// The text of a key that must not be NULL.
std::string keyText(CFTypeRef key, const char* call);
CFPointer sharedObject(CFTypeRef reference);

/// The text of a string object; empty for NULL and for other objects.
std::string textOf(CFTypeRef reference);

}  // namespace simulated_mac
