#pragma once

#include <string>

#include "simulated_mac/hardware/CFValue.h"

namespace simulated_mac {

/// An XML property list, the keys of each dictionary in order, as Core Foundation writes it.
/// Numbers are unsigned, as the registry's are; control characters, which XML can't hold, are left
/// out.
std::string xmlPropertyList(const CFObject& object);

/// The same as indented JSON; data, which JSON can't hold, as lower-case hexadecimal digits.
std::string jsonOf(const CFObject& object);

/// Without what neither people nor XML can read, whatever a monitor put into its EDID.
std::string withoutControls(std::string text);

}  // namespace simulated_mac
