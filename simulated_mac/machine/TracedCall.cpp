#include "simulated_mac/machine/TracedCall.h"

#include <algorithm>

namespace simulated_mac {

const CallValue& valueNamed(std::string_view name, const NamedValues& values) {
    static const CallValue nothing;
    const auto found = std::find_if(values.begin(), values.end(),
                                    [name](const NamedValue& one) { return one.name == name; });
    return found != values.end() ? found->value : nothing;
}

}  // namespace simulated_mac
