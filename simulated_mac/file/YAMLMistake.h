#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace simulated_mac {

/// A mistake in a YAML text, with the byte at which it stands.
class YAMLMistake : public std::runtime_error {
  public:
    YAMLMistake(std::size_t where, const std::string& message)
        : std::runtime_error(message), offset(where) {}

    std::size_t offset;
};

/// Mistakes in the order of the text, each once: an alias repeats those of its value.
std::vector<YAMLMistake> inOrder(std::vector<YAMLMistake> mistakes);

/// Lines and characters (not bytes) count from 1.
struct TextPosition {
    std::size_t line = 1;
    std::size_t column = 1;
};

/// Where the text's byte `offset` stands.
TextPosition positionIn(std::string_view text, std::size_t offset);

}  // namespace simulated_mac
