#pragma once

#include <string>

namespace Cocoa {

/// Opens a web address in the user's default browser, through the shared workspace.
void openAddress(const std::string& address);

}  // namespace Cocoa
