#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Parts of messages about a file.
namespace simulated_mac {

struct Character {
    char32_t value = 0;
    std::size_t bytes = 0;

    /// A blank or nothing to the eye, but none of the characters that YAML takes for blanks.
    bool isInvisible() const;
};

/// The character of a UTF-8 text that begins at byte `offset`; value 0 behind the end.
Character characterAt(std::string_view text, std::size_t offset);

/// "ab", with control and invisible characters escaped and long texts cut.
std::string inQuotes(std::string_view text);

/// "a, b or c".
std::string alternatives(const std::vector<std::string>& words);

}  // namespace simulated_mac
