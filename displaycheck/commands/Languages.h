#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace displaycheck {

/// The languages of the pane's string tables.
std::set<std::string> languages();

/// The language of the pane that a name means, as its string tables name it ("pt-BR"): the tag of a
/// language or a locale in any usual spelling, or the language's name in English or in itself.
/// Nothing for a language that the pane doesn't have.
std::optional<std::string> languageNamed(std::string_view name);

/// The language of the user's locale, or English.
std::string languageOfUser();

/// What is wrong with a name that means no language, and what was expected.
std::string unknownLanguage(std::string_view name);

}  // namespace displaycheck
