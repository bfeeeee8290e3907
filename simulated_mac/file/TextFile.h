#pragma once

#include <string_view>

namespace simulated_mac {

/// Throws YAMLMistake for contents that are not UTF-8 text, and for a text that is known to be
/// something else than YAML. The message says what the file seems to be.
void requireYAMLText(std::string_view contents);

}  // namespace simulated_mac
