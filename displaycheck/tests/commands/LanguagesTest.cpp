#include "displaycheck/commands/Languages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include "displaycheck/tests/Program.h"
#include "simulated_mac/machine/Installation.h"
#include "simulated_mac/machine/StringsFile.h"

namespace test {
namespace languages_test {

using displaycheck::languageNamed;
using displaycheck::languageOfUser;
using testing::AllOf;
using testing::HasSubstr;

const std::string nothingConnected = "screens: [built-in]\n";

/// A text of the pane's string table in a language.
std::string textOf(const std::string& language, const std::string& key) {
    return simulated_mac::readStringsFile(
               simulated_mac::Installation::resource(language + ".lproj/Localizable.strings"))
        .at(key);
}

/// The pane's heading in the report of a run.
std::string headingOf(const std::vector<std::string>& options) {
    const Folder folder;
    std::vector<std::string> arguments = {"run", "--json"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.push_back(folder.write("mac.yaml", nothingConnected));
    const auto finished = run(folder, arguments);
    EXPECT_EQ(finished.status, 0) << finished.errors;
    return jsonLinesOf(finished.output).at(0)["pane"]["lb_title"];
}

void setLocale(const char* all, const char* messages, const char* language) {
    setenv("LC_ALL", all, 1);
    setenv("LC_MESSAGES", messages, 1);
    setenv("LANG", language, 1);
}

TEST(Languages, AreNamedInAnyUsualSpelling) {
    const std::map<std::string, std::vector<std::string>> spellings = {
        {"de", {"de", "DE", "de_DE", "de-DE", "de-at", "de_DE.UTF-8", "de_DE@euro"}},
        {"en", {"en", "en_GB", "en-US", "EN.utf8"}},
        {"fr", {"fr-CA", "fr_FR.ISO-8859-1"}},
        {"ja", {"ja_JP.eucJP"}},
        {"nb", {"no", "NO", "nb", "nn", "nb_NO", "nn-NO", "no_NO.UTF-8"}},
        {"pt-BR", {"pt", "pt_BR", "PT-br", "pt-BR"}},
        {"pt-PT", {"pt-PT", "pt_pt.UTF-8", "pt_AO"}},
        {"zh-Hans", {"zh", "zh_CN", "zh-SG", "zh-Hans", "zh_Hans_CN"}},
        {"zh-Hant", {"zh-TW", "zh_HK", "zh-hant", "zh-Hant-HK", "zh_TW.UTF-8"}}};
    for (const auto& [language, names] : spellings) {
        for (const std::string& name : names) EXPECT_EQ(languageNamed(name), language) << name;
    }
}

TEST(Languages, AreNamedInEnglishOrInThemselves) {
    EXPECT_EQ(languageNamed("German"), "de");
    EXPECT_EQ(languageNamed("deutsch"), "de");
    EXPECT_EQ(languageNamed("日本語"), "ja");
    EXPECT_EQ(languageNamed("Portuguese (Portugal)"), "pt-PT");
    EXPECT_EQ(languageNamed("Chinese"), "zh-Hans");
}

TEST(Languages, HaveNoOtherInTheirPlace) {
    // Catalan's readers know Spanish, and Luxembourgish's German, but asked for something else.
    for (const char* const name : {"", "-", "xx", "ca", "lb", "sr", "tlh", "Klingon"}) {
        EXPECT_EQ(languageNamed(name), std::nullopt) << name;
    }
}

TEST(Languages, ComeFromTheFirstVariableThatIsSet) {
    setLocale("", "", "");
    EXPECT_EQ(languageOfUser(), "en");
    setLocale("", "", "sv_SE.UTF-8");
    EXPECT_EQ(languageOfUser(), "sv");
    setLocale("", "nn_NO", "sv_SE.UTF-8");
    EXPECT_EQ(languageOfUser(), "nb");
    setLocale("zh_TW", "nn_NO", "sv_SE.UTF-8");
    EXPECT_EQ(languageOfUser(), "zh-Hant");
    for (const char* const unknown : {"C", "POSIX", "C.UTF-8", "ca_ES"}) {
        setLocale(unknown, "", "sv_SE.UTF-8");
        EXPECT_EQ(languageOfUser(), "en") << unknown;
    }
}

TEST(Languages, AreListedWhereNoneIsMeant) {
    const Folder folder;
    for (const std::string command : {"run", "window"}) {
        const auto finished =
            run(folder, {command, "--lang", "xx", folder.write("mac.yaml", nothingConnected)});
        EXPECT_EQ(finished.status, 2);
        EXPECT_EQ(finished.output, "");
        EXPECT_THAT(finished.errors,
                    AllOf(HasSubstr("--lang: unknown language xx; expected one of cs, da, de, "),
                          HasSubstr(", pt-BR, pt-PT, "), HasSubstr(", zh-Hans, zh-Hant (see ")));
    }
}

TEST(Languages, AreThoseOfTheReportsTexts) {
    EXPECT_EQ(headingOf({"--lang", "ja_JP"}), textOf("ja", "TITLE"));
    EXPECT_EQ(headingOf({"--lang", "no"}), textOf("nb", "TITLE"));
    ASSERT_NE(textOf("ja", "TITLE"), textOf("nb", "TITLE"));
}

TEST(Languages, OfReportsAreEnglishWhateverTheLocale) {
    setLocale("de_DE.UTF-8", "de_DE.UTF-8", "de_DE.UTF-8");
    EXPECT_EQ(headingOf({}), textOf("en", "TITLE"));
    EXPECT_EQ(headingOf({"--lang", "fr"}), textOf("fr", "TITLE"));
}

}  // namespace languages_test
}  // namespace test
