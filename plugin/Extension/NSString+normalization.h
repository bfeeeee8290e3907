#pragma once

#include <string>

/// The bare model name in a display name: upper case, without the brand word, outer blanks and any
/// bracketed rest.
std::string regularMonitorName(const std::string& displayName);

/// The same of a name whose upper-case form is known.
std::string bareModelName(const std::string& displayName, std::string upperCase);

/// Cuts `name`, an upper-cased and trimmed form of `displayName`, before its first bracket. A
/// bracket that stands first stays; a full-width one never does.
std::string getRealModelNameWithStr(const std::string& displayName, std::string name);
