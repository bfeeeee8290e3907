#pragma once

#include <string>

#include "simulated_mac/machine/TracedCall.h"

/// Platform calls as reports show them: for people, not for programs to take apart.
namespace simulated_mac {

std::string textOf(const CallValue& value);
/// "name value, name value"
std::string textOf(const NamedValues& values);
inline std::string argumentsText(const TracedCall& call) {
    return textOf(call.arguments);
}
/// "result, name value"; empty where the call returns nothing.
std::string resultText(const TracedCall& call);

}  // namespace simulated_mac
