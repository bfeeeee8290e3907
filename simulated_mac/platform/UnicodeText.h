#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace simulated_mac {

/// UTF-8 as the platform reads it: a byte order mark in front is dropped, and the byte A9 where no
/// character has it reads as U+FFFD. Nothing for any other bytes that are not valid UTF-8.
std::optional<std::u16string> decodeUTF8(std::string_view bytes);

struct EncodedText {
    std::string bytes;
    std::size_t units;  ///< UTF-16 units of `bytes`
};

/// UTF-8 as the platform writes it: up to the first unpaired surrogate, and only as many whole
/// characters as fit into `room` bytes.
EncodedText encodeUTF8(std::u16string_view text, std::size_t room);

/// Unicode's case mapping, without a language. Of a sigma the platform decides itself whether it
/// ends a word.
std::u16string uppercase(const std::u16string& text);
std::u16string lowercase(const std::u16string& text);

/// The platform's white space: blanks of Unicode (Zs), U+0009 and U+200B.
bool isWhitespace(char16_t unit);

}  // namespace simulated_mac
