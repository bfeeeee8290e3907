#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "plugin/Platform/CFRef.h"

namespace vorn {

// The plug-in keeps text as UTF-8 and leaves Unicode processing to the platform: case, UTF-16
// units, white space. ASCII text, which is nearly all that a Mac tells of its monitors, needs no
// platform.

/// The platform's string of a UTF-8 text; empty if the bytes are not valid UTF-8. Exception: a
/// stray byte A9 reads as U+FFFD, as on the platform.
CFRef<CFStringRef> makeCFString(std::string_view text);
/// UTF-8 of a platform string, with U+FFFD for half a surrogate pair; empty for NULL.
std::string makeText(CFStringRef string);

bool isASCII(std::string_view text);
/// Whether makeCFString makes a string of it.
bool isUTF8(std::string_view text);

/// The text as UTF-16 code units, as the platform counts characters; none if it is not UTF-8.
std::u16string utf16Units(std::string_view text);
/// How many these are.
std::size_t unitCount(std::string_view text);
/// UTF-8 of one UTF-16 code unit below the surrogates.
std::string textOfUnit(char16_t unit);

/// Full Unicode case mapping, without a locale.
std::string uppercaseText(std::string text);
std::string lowercaseText(std::string text);

/// Removes blanks, tabs and the other horizontal white space of Unicode at both ends.
std::string trimWhitespace(std::string text);

std::string replaceAll(std::string text, std::string_view what, std::string_view with);

/// An optional text as the platform's formatter prints it: "(null)" for none.
std::string textOrNull(const std::optional<std::string>& text);

/// Appends a byte as two upper-case hex digits.
void appendHex(std::string& text, std::uint8_t byte);

/// printf-style formatting into a string.
[[gnu::format(printf, 1, 2)]] std::string formatText(const char* format, ...);

}  // namespace vorn
