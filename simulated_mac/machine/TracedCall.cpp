#include "simulated_mac/machine/TracedCall.h"

#include <algorithm>

namespace simulated_mac {

CallValue::CallValue() = default;
CallValue::CallValue(const CallValue&) = default;
CallValue::CallValue(CallValue&&) noexcept = default;
CallValue& CallValue::operator=(const CallValue&) = default;
CallValue& CallValue::operator=(CallValue&&) noexcept = default;
CallValue::~CallValue() = default;

CallValue::CallValue(Decimal decimal) : value(decimal.number) {}
CallValue::CallValue(bool flag) : value(flag) {}
CallValue::CallValue(Hex number) : value(number) {}
CallValue::CallValue(Time duration) : value(duration) {}
CallValue::CallValue(std::string text) : value(std::move(text)) {}
CallValue::CallValue(std::string_view text) : value(std::string(text)) {}
CallValue::CallValue(const char* text)
    : value(text != nullptr ? Value(std::string(text)) : Value(Pointer{true})) {}
CallValue::CallValue(Quoted text) : value(std::move(text)) {}
CallValue::CallValue(Bytes bytes) : value(std::move(bytes)) {}
CallValue::CallValue(Pointer pointer) : value(pointer) {}
CallValue::CallValue(RegistryObject object) : value(std::move(object)) {}

bool CallValue::operator==(const CallValue&) const = default;

NamedValue::NamedValue(std::string_view nameAndLabel, CallValue givenValue)
    : NamedValue(nameAndLabel, std::move(givenValue), nameAndLabel) {}

NamedValue::NamedValue(std::string_view givenName, CallValue givenValue,
                       std::string_view givenLabel)
    : name(givenName), value(std::move(givenValue)), label(givenLabel) {}

const CallValue& valueNamed(std::string_view name, const NamedValues& values) {
    static const CallValue nothing;
    const auto found = std::find_if(values.begin(), values.end(),
                                    [name](const NamedValue& one) { return one.name == name; });
    return found != values.end() ? found->value : nothing;
}

}  // namespace simulated_mac
