#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "simulated_mac/file/YAMLMistake.h"

/// What is wrong with a text that is not YAML, in words for its writer.
namespace simulated_mac {

/// The likely cause of what the parser says of the text's byte `offset`, where it can be mended.
YAMLMistake syntaxMistake(std::string_view text, std::size_t offset, const std::string& message);

/// Throws YAMLMistake where a character that looks like a blank makes a value or a key another one
/// than it seems. YAML takes it for a part of it.
void requireVisibleBeginnings(std::string_view text);

}  // namespace simulated_mac
