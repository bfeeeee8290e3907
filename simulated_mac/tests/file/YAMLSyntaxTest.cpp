#include "simulated_mac/file/YAMLSyntax.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "simulated_mac/file/MacFile.h"

// What the reader says of a Mac file that is no YAML.

namespace simulated_mac {
namespace yaml_syntax_test {

/// What is said of a file with this text, without "FILE:"; empty when it reads.
std::string mistakeIn(const std::string& text) {
    try {
        readMacText({"FILE", text, ""}, [](const auto&, auto) { return true; });
        return "";
    } catch (const MacFileError& error) {
        return std::string(error.what()).substr(5);
    }
}

struct Mistake {
    std::string text;
    std::string message;
};

void expectMessages(const std::vector<Mistake>& mistakes) {
    for (const auto& [text, message] : mistakes) EXPECT_EQ(mistakeIn(text), message) << text;
}

TEST(YAMLSyntax, NamesATabInTheIndentation) {
    const std::string message = "found a tab in the indentation; expected blanks";
    expectMessages({{"screens:\n\t- built-in\n", "2:1: " + message},
                    {"screens:\n  - monitor:\n  \t  edid: none\n", "3:3: " + message}});
    // Elsewhere YAML takes tabs.
    EXPECT_EQ(mistakeIn("{\n\t\"screens\": [\n\t\t\"built-in\"\n\t]\n}\n"), "");
    EXPECT_EQ(mistakeIn("screens: \t[]\n\t\n\t# comment\n"), "");
}

TEST(YAMLSyntax, NamesAColonThatNeedsQuotes) {
    expectMessages(
        {{"screens: []\nmac: Intel: a Mac\n",
          "2:11: found a second \":\" in a value; expected quotes around a text with a "
          "colon"},
         {"screens: [{name: a b: c}]\n",
          "1:21: found \":\" behind a value; expected \",\" or \"}\""},
         {"A Mac\n# alone\nscreens: []\n",
          "1:1: found the text \"A Mac\" in place of a key; expected \":\" behind a key, "
          "or \"#\" before a comment"},
         {"mac\nscreens: []\n",
          "2:8: found \":\" behind a text of several lines; expected \":\" behind each "
          "key, also on the line above"}});
}

TEST(YAMLSyntax, NamesWrongIndentation) {
    const std::string message =
        "the line is indented like no line above; expected it in the column of its neighbours";
    expectMessages({
        {"screens:\n  - monitor:\n      edid: none\n     vcp: {}\n", "4:6: " + message},
        {"screens:\n  - built-in\n - built-in\n", "3:2: " + message},
        {"screens: []\n  usb: []\n", "2:3: " + message},
        {"screens: []\nmac: |\n  a\n b\n", "4:2: " + message},
        {" chip: intel\nscreens: []\n",
         "2:1: the line begins left of the first key; expected it in the same column"},
        {"screens: []\n- x\n", "2:1: found a list entry among keys; expected a key"},
        {"screens:\n  - built-in\n  usb: []\n",
         "3:3: found a key among list entries; expected an entry, or more or fewer blanks"},
        {"screens: []\n{a: b}\n",
         "2:1: found \"{a:\" where a value is over; expected a key or an entry"},
        {"screens: - built-in\n",
         "1:10: found a list entry behind a key; expected it on a line of its own"},
    });
}

TEST(YAMLSyntax, NamesAQuoteThatIsNotClosed) {
    expectMessages({
        {"screens: []\nmac: \"open\nusb: []\n",
         "2:6: unterminated quoted text; expected a closing quote"},
        {"screens: []\nmac: \"open\nmodel: \"x\"\n",
         "2:6: the text in quotes goes on to line 3; expected a closing quote before that"},
        {"screens: []\nmac: \"a\" b\n",
         "2:10: found \"b\" behind the closing quote; expected the end of the line"},
        {"screens: []\nmac: 'it's'\n",
         "2:10: found \"s'\" behind the closing quote; expected the end of the line"},
    });
}

TEST(YAMLSyntax, NamesABracketThatIsNotClosed) {
    expectMessages({
        {"screens: [\n", "1:10: \"[\" is never closed; expected \"]\" behind its last value"},
        {"screens:\n  - monitor: {edid: {name: VORN X}\nusb: []\n",
         "2:14: \"{\" is never closed; expected \"}\" behind its last value"},
        {"screens: [built-in\nusb: [\"]\"] # ]\n",
         "1:10: \"[\" is never closed; expected \"]\" behind its last value"},
        {"screens: [{monitor: &a {edid: none}]\n", "1:36: \"]\" closes no \"{\"; expected \"}\""},
        {"screens:\n  - monitor: &a {edid: none\n",
         "2:17: \"{\" is never closed; expected \"}\" behind its last value"},
        {"screens: [{name: \"a\" \"b\"}]\n",
         "1:22: found a text in quotes behind a value; expected \",\" or \"}\""},
        {"screens: [built-in}\n", "1:19: \"}\" closes no \"[\"; expected \"]\""},
        {"screens: []]\n", "1:12: \"]\" closes nothing; expected it after an opening bracket"},
    });
}

TEST(YAMLSyntax, NamesCharactersThatLookLikeBlanks) {
    const std::string message = " expected a blank, or quotes around a text that begins with it";
    expectMessages({
        {"screens:\n\u00A0 - built-in\n",
         "2:1: found the invisible character U+00A0 (NO-BREAK SPACE);" + message},
        {"screens:\n  - monitor:\n    \u3000 edid: none\n",
         "3:5: found the invisible character U+3000 (IDEOGRAPHIC SPACE);" + message},
        {"screens:\u00A0[]\n",
         "1:9: found the invisible character U+00A0 (NO-BREAK SPACE);" + message},
        {"screens: []\n\u200Busb: []\n",
         "2:1: found the invisible character U+200B (ZERO WIDTH SPACE);" + message},
        {"screens: []\nmac: \uFEFFx\n",
         "2:6: found the invisible character U+FEFF (ZERO WIDTH NO-BREAK SPACE);" + message},
    });
    // Inside a text they stand for themselves, as do those in quotes, comments and block texts.
    EXPECT_EQ(mistakeIn("#\u00A0x\nscreens: []\nmac: a\u00A0b\nmodel: \"\u00A0\"\n"), "");
    EXPECT_EQ(mistakeIn("screens: []\nmac: |\n  x\n\n  \u00A0y\nmodel: x\n"), "");
}

TEST(YAMLSyntax, ShowsInvisibleCharactersOfAKey) {
    const std::string mistake = mistakeIn("screens: []\nmac\u00A0: x\n");
    EXPECT_TRUE(mistake.starts_with("2:1: unknown key \"mac\\u00A0\"; expected ")) << mistake;
}

TEST(YAMLSyntax, NamesWhatNeedsQuotesInFront) {
    expectMessages({
        {"screens: []\nmac: @x\n", "2:6: a value can't begin with \"@\"; expected it in quotes"},
        {"screens: []\nmac: %x\n", "2:6: a value can't begin with \"%\"; expected it in quotes"},
        {"screens: []\nmac: `x`\n", "2:6: a value can't begin with \"`\"; expected it in quotes"},
        {"screens: []\nmac: *\n",
         "2:7: found \"*\" without the name of an anchor; expected quotes around a text that "
         "begins "
         "with it"},
        {"screens: []\nmac: &\n",
         "2:7: found \"&\" without a name for the anchor; expected quotes around a text that "
         "begins "
         "with it"},
        {"screens: []\nmac: *x\n",
         "2:6: no value before has the anchor of this alias; expected one, or quotes around a text "
         "that begins with \"*\""},
    });
}

TEST(YAMLSyntax, NamesTextWhereNoneMayStand) {
    expectMessages({
        {"screens: []\nmac: | x\n  a\n",
         "2:8: found text behind \"|\" or \">\"; expected it on the lines below"},
        {"screens: []\nmac: \"a\\qb\"\n",
         "2:8: \\q is not an escape sequence; expected \\\\ for a backslash, or the text in single "
         "quotes"},
        {"screens: []\nmac: ,\n",
         "2:6: found \",\" behind the value; expected the end of the line"},
    });
}

TEST(YAMLSyntax, NamesAMissingColonOrBlank) {
    for (const char* const text : {"screens []\n", "screens:[]\n"}) {
        const std::string mistake = mistakeIn(text);
        EXPECT_TRUE(mistake.ends_with(" (did you mean screens: []?)")) << mistake;
    }
    const std::string mistake = mistakeIn("screens: [{monitor: {edid: {name:VORN}}}]\n");
    EXPECT_TRUE(mistake.starts_with("1:29: unknown key \"name:VORN\"; ")) << mistake;
    EXPECT_TRUE(mistake.ends_with(" (did you mean name: VORN?)")) << mistake;
}

TEST(TextFile, IsToldFromWhatIsNoText) {
    using namespace std::string_literals;
    expectMessages({
        {"\xFF\xFEs\0c\0"s, "1:1: the text is UTF-16; expected UTF-8"},
        {"\xFE\xFF\0s\0c"s, "1:1: the text is UTF-16; expected UTF-8"},
        {"s\0c\0"s, "1:1: the text is UTF-16; expected UTF-8"},
        {"\0s\0c"s, "1:1: the text is UTF-16; expected UTF-8"},
        {"\x89PNG\r\n\x1A\n"s, "1:1: this is a PNG picture; expected YAML text"},
        {"bplist00\xD4"s, "1:1: this is a binary property list; expected YAML text"},
        {"\x1F\x8B\x08"s, "1:1: this is compressed with gzip; expected YAML text"},
        {"PK\x03\x04"s, "1:1: this is a zip archive; expected YAML text"},
        {"\x00\xFF\xFF\xFF\xFF\xFF\xFF\x00\x5A"s,
         "1:1: this is an EDID; expected YAML text, in which \"edid: {file: ...}\" names it"},
    });
}

TEST(TextFile, IsToldFromAMacsDumps) {
    const std::string rest = "; expected a Mac file (displaycheck import reads it)";
    expectMessages({
        {"+-o Root  <class IORegistryEntry>\n  | {\n",
         "1:1: this looks like ioreg's output" + rest},
        {"\n+-o Root  <class IORegistryEntry>\n", "2:1: this looks like ioreg's output" + rest},
        {"<?xml version=\"1.0\"?>\n<plist>\n", "1:1: this looks like a property list" + rest},
        {"Graphics/Displays:\n\n    Chip:\n",
         "1:1: this looks like system_profiler's output" + rest},
    });
}

}  // namespace yaml_syntax_test
}  // namespace simulated_mac
