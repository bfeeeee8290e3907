#pragma once

#include <string>

namespace Cocoa {

/// The text of `key` in the default string table of the bundle that holds the pane's class, in the
/// user's language; the key itself if the table lacks it.
std::string localizedString(const std::string& key);

}  // namespace Cocoa
