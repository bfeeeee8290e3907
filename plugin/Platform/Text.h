#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string>
#include <string_view>

#include "plugin/Platform/CFRef.h"

namespace vorn {

// The plug-in keeps text as UTF-8 and leaves all Unicode processing to the platform: case, UTF-16
// units, white space.

/// The platform's string of a UTF-8 text; empty if the bytes are not valid UTF-8. Exception: a
/// stray byte A9 reads as U+FFFD, as on the platform.
CFRef<CFStringRef> makeCFString(std::string_view text);
/// UTF-8 of a platform string, with U+FFFD for half a surrogate pair; empty for NULL.
std::string makeText(CFStringRef string);

/// The text as UTF-16 code units, as the platform counts characters.
std::u16string utf16Units(const std::string& text);
/// UTF-8 of one UTF-16 code unit below the surrogates.
std::string textOfUnit(char16_t unit);

/// Full Unicode case mapping, without a locale.
std::string uppercaseText(const std::string& text);
std::string lowercaseText(const std::string& text);

/// Removes blanks, tabs and the other horizontal white space of Unicode at both ends.
std::string trimWhitespace(const std::string& text);

std::string replaceAll(std::string text, std::string_view what, std::string_view with);

/// An optional text as the platform's formatter prints it: "(null)" for none.
std::string textOrNull(const std::optional<std::string>& text);

/// printf-style formatting into a string.
[[gnu::format(printf, 1, 2)]] std::string formatText(const char* format, ...);

}  // namespace vorn
