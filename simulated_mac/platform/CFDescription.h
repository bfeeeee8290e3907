#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>

namespace simulated_mac {

/// The text of an object for "%@": Foundation's description in the style of a property list, a
/// dictionary's entries in the order of their keys.
std::string descriptionOf(CFTypeRef object);

}  // namespace simulated_mac
