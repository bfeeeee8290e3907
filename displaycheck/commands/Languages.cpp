#include "displaycheck/commands/Languages.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unicode/localematcher.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <cstdlib>
#include <filesystem>
#include <set>

#include "displaycheck/report/TerminalText.h"
#include "simulated_mac/machine/Installation.h"

namespace displaycheck {

namespace {

/// The locale of "pt_BR.UTF-8", "pt-br" and the like.
icu::Locale localeOf(std::string_view name) {
    return icu::Locale::createCanonical(
        std::string(name.substr(0, name.find_first_of(".@"))).c_str());
}

bool isNorwegian(std::string_view language) {
    return language == "no" || language == "nb" || language == "nn";
}

/// Whether who asks for one reads the other. ICU's matches also lead to a language that the readers
/// of another often know.
bool isSameLanguage(const icu::Locale& one, const icu::Locale& other) {
    const std::string_view first = one.getLanguage();
    const std::string_view second = other.getLanguage();
    return first == second || (isNorwegian(first) && isNorwegian(second));
}

std::optional<std::string> languageTagged(std::string_view tag,
                                          const std::set<std::string>& known) {
    const icu::Locale asked = localeOf(tag);
    UErrorCode status = U_ZERO_ERROR;
    icu::LocaleMatcher::Builder builder;
    for (const std::string& language : known) {
        builder.addSupportedLocale(icu::Locale::forLanguageTag(language, status));
    }
    builder.setNoDefaultLocale();
    const icu::LocaleMatcher matcher = builder.build(status);
    const icu::Locale* const best = matcher.getBestMatch(asked, status);
    if (U_FAILURE(status) || best == nullptr || !isSameLanguage(asked, *best)) return std::nullopt;
    return best->toLanguageTag<std::string>(status);
}

/// Whether a locale's language is called so in the language of another one.
bool isCalled(const icu::Locale& locale, const icu::UnicodeString& name, const icu::Locale& in) {
    icu::UnicodeString language;
    icu::UnicodeString whole;
    locale.getDisplayLanguage(in, language);
    locale.getDisplayName(in, whole);
    return name.caseCompare(language, U_FOLD_CASE_DEFAULT) == 0 ||
           name.caseCompare(whole, U_FOLD_CASE_DEFAULT) == 0;
}

std::optional<std::string> languageCalled(std::string_view name,
                                          const std::set<std::string>& known) {
    const auto text = icu::UnicodeString::fromUTF8(std::string(name));
    for (const std::string& language : known) {
        UErrorCode status = U_ZERO_ERROR;
        const auto locale = icu::Locale::forLanguageTag(language, status);
        if (isCalled(locale, text, icu::Locale::getEnglish()) || isCalled(locale, text, locale)) {
            return language;
        }
    }
    return std::nullopt;
}

}  // namespace

std::set<std::string> languages() {
    std::set<std::string> known;
    const auto tables = simulated_mac::Installation::resource("");
    for (const auto& entry : std::filesystem::directory_iterator(tables)) {
        if (entry.path().extension() == ".lproj") known.insert(entry.path().stem());
    }
    return known;
}

std::optional<std::string> languageNamed(std::string_view name) {
    const auto known = languages();
    const auto tagged = languageTagged(name, known);
    return tagged ? tagged : languageCalled(name, known);
}

std::string languageOfUser() {
    for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* const locale = std::getenv(variable);
        if (locale == nullptr || *locale == '\0') continue;
        return languageTagged(locale, languages()).value_or("en");
    }
    return "en";
}

std::string unknownLanguage(std::string_view name) {
    return fmt::format("unknown language {}; expected one of {}", printable(name),
                       fmt::join(languages(), ", "));
}

}  // namespace displaycheck
