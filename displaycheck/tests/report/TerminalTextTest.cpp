#include "displaycheck/report/TerminalText.h"

#include <gtest/gtest.h>

namespace displaycheck {
namespace terminal_text_test {

const Palette plain(false);
const Palette coloured(true);

std::vector<std::string> textsOf(const std::vector<TerminalLine>& lines) {
    std::vector<std::string> texts;
    for (const TerminalLine& line : lines) texts.push_back(line.text);
    return texts;
}

TEST(DisplayWidth, CountsColumnsAsTerminalsDo) {
    EXPECT_EQ(displayWidth(""), 0u);
    EXPECT_EQ(displayWidth("abc"), 3u);
    EXPECT_EQ(displayWidth("\u00E9"), 1u);
    EXPECT_EQ(displayWidth("e\u0301\u0301"), 1u);
    EXPECT_EQ(displayWidth("\u6F22\u5B57"), 4u);
    EXPECT_EQ(displayWidth("\uFF21"), 2u);              // full-width A
    EXPECT_EQ(displayWidth("\uFF71"), 1u);              // half-width katakana
    EXPECT_EQ(displayWidth("\u1112\u1161\u11AB"), 2u);  // one syllable from three jamo
    EXPECT_EQ(displayWidth("\U0001F467"), 2u);
    EXPECT_EQ(displayWidth("\uFFFD"), 1u);
    EXPECT_EQ(displayWidth("\u0915\u094D\u200D"), 1u);  // virama and joiner add nothing
}

TEST(DisplayWidth, CountsEscapesAsTheyAreSpelt) {
    EXPECT_EQ(displayWidth("\x1B[31m"), displayWidth("\\x1B[31m"));
    EXPECT_EQ(displayWidth(std::string("a\0b", 3)), 6u);
}

TEST(Printable, SpellsOutWhatActsOnTheTerminal) {
    EXPECT_EQ(printable("plain \u6F22 e\u0301"), "plain \u6F22 e\u0301");
    EXPECT_EQ(printable("\x1B[2J\r\n\t\x7F"), "\\x1B[2J\\r\\n\\t\\x7F");
    EXPECT_EQ(printable(std::string("\0", 1)), "\\x00");
    EXPECT_EQ(printable("\u009B31m"), "\\u{009B}31m");
    EXPECT_EQ(printable("\u202Egnp"), "\\u{202E}gnp");
    EXPECT_EQ(printable("\u2028"), "\\u{2028}");
    EXPECT_EQ(printable("\u200B"), "\\u{200B}");
}

TEST(Printable, SpellsOutAMarkWithNothingToCombineWith) {
    EXPECT_EQ(printable("\u0301a"), "\\u{0301}a");
    EXPECT_EQ(printable("\n\u0301"), "\\n\\u{0301}");
}

TEST(Printable, SpellsOutWhatJoinsPictographs) {
    EXPECT_EQ(printable("\U0001F469\u200D\U0001F467"), "\U0001F469\\u{200D}\U0001F467");
    EXPECT_EQ(printable("\u2764\uFE0F"), "\u2764\\u{FE0F}");
}

TEST(Printable, ReplacesWhatIsNotUTF8) {
    EXPECT_EQ(printable("a\xFF"
                        "b"),
              "a\uFFFD"
              "b");
    EXPECT_EQ(printable("\xE6\xBC"), "\uFFFD");
}

TEST(Padded, FillsUpToColumns) {
    EXPECT_EQ(padded("\u6F22", 4), "\u6F22  ");
    EXPECT_EQ(padded("long", 2), "long");
}

TEST(WrapText, BreaksBetweenWords) {
    const auto lines = wrapText("one two three four", 12, {}, plain);
    EXPECT_EQ(textsOf(lines), (std::vector<std::string>{"one two", "three four"}));
    EXPECT_EQ(lines[0].width, 7u);
}

TEST(WrapText, KeepsTheTextsOwnLines) {
    EXPECT_EQ(textsOf(wrapText("a\n\nb\r\nc", 20, {}, plain)),
              (std::vector<std::string>{"a", "", "b", "c"}));
    EXPECT_EQ(textsOf(wrapText("a\n", 20, {}, plain)), (std::vector<std::string>{"a"}));
    EXPECT_TRUE(wrapText("", 20, {}, plain).empty());
}

TEST(WrapText, CutsWordsThatNoLineHolds) {
    EXPECT_EQ(textsOf(wrapText("abcdefghijklmnopq", 12, {}, plain)),
              (std::vector<std::string>{"abcdefghijkl", "mnopq"}));
}

TEST(WrapText, BreaksChineseWithoutBlanks) {
    const auto lines = wrapText("\u4E00\u4E2A\u975E\u5E38\u957F\u7684\u53E5\u5B50", 13, {}, plain);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].width, 12u);
    EXPECT_EQ(lines[1].width, 4u);
}

TEST(WrapText, KeepsEveryLineWithinItsColumns) {
    std::string nasty("\0\x01 \t", 4);
    nasty += "\u202E\u0301 \u6F22\u5B57 e\u0301\u0301\u0301 \U0001F469\u200D\U0001F467\u200D";
    nasty += std::string(50, 'x') + "\xFF\xFE" + " \u1112\u1161\u11AB ends  ";
    for (std::size_t columns = 12; columns < 60; ++columns) {
        for (const auto& line : wrapText(nasty, columns, TextRange{3, 20}, plain)) {
            EXPECT_LE(line.width, columns);
            EXPECT_EQ(line.width, displayWidth(line.text)) << line.text;
        }
    }
}

TEST(WrapText, MarksTheLinkWithoutColour) {
    EXPECT_EQ(textsOf(wrapText("Click here now", 40, TextRange{6, 4}, plain)),
              (std::vector<std::string>{"Click _here_ now"}));
}

TEST(WrapText, PaintsTheLinkOnEachOfItsLines) {
    const auto lines = wrapText("Click right here", 12, TextRange{6, 10}, coloured);
    EXPECT_EQ(textsOf(lines),
              (std::vector<std::string>{"Click \x1B[4;34mright\x1B[0m", "\x1B[4;34mhere\x1B[0m"}));
    EXPECT_EQ(lines[0].width, 11u);
}

TEST(WrapText, CountsTheLinkInUTF16Units) {
    EXPECT_EQ(textsOf(wrapText("\U0001F467 here", 40, TextRange{3, 4}, plain)),
              (std::vector<std::string>{"\U0001F467 _here_"}));
}

TEST(WrapText, IgnoresALinkBeyondTheText) {
    EXPECT_EQ(textsOf(wrapText("abc", 40, TextRange{9, 4}, plain)),
              (std::vector<std::string>{"abc"}));
    EXPECT_EQ(textsOf(wrapText("abc", 40, TextRange{1, 99}, plain)),
              (std::vector<std::string>{"a_bc_"}));
    EXPECT_EQ(textsOf(wrapText("abc", 40, TextRange{1, 0}, plain)),
              (std::vector<std::string>{"abc"}));
}

TEST(UTF16Part, CutsInUTF16Units) {
    EXPECT_EQ(utf16Part("\U0001F467 here", {3, 4}), "here");
    EXPECT_EQ(utf16Part("abc", {2, 9}), "c");
    EXPECT_EQ(utf16Part("abc", {7, 1}), "");
}

TEST(PaletteTest, PaintsOnlyWithColour) {
    EXPECT_EQ(plain.alarm("x"), "x");
    EXPECT_EQ(coloured.bold("x"), "\x1B[1mx\x1B[0m");
    EXPECT_EQ(coloured.bold(""), "");
}

TEST(WholeWords, BreakAtBlanksAlone) {
    EXPECT_EQ(wholeWords("one two/three-four five", 12), "one\ntwo/three-four\nfive\n");
    EXPECT_EQ(wholeWords("one two three", 7), "one two\nthree\n");
    EXPECT_EQ(wholeWords("", 12), "\n");
}

TEST(WholeWords, IndentTheirLines) {
    EXPECT_EQ(wholeWords("one two three", 12, 2, 2), "  one two\n    three\n");
    EXPECT_EQ(wholeWords("ab cd", 6, 2, 0), "  ab\n  cd\n");
}

TEST(WholeWords, KeepTheBlanksOfALine) {
    EXPECT_EQ(wholeWords("a  b", 12), "a  b\n");
}

TEST(WholeWords, ArePrintable) {
    EXPECT_EQ(wholeWords("a\nb", 12), "a\\nb\n");
    EXPECT_EQ(wholeWords("\u6F22\u5B57 \u6F22", 6), "\u6F22\u5B57\n\u6F22\n");
}

TEST(LabelledWords, AlignBehindTheLabel) {
    EXPECT_EQ(labelledWords("size", 8, "60 x 34 cm", 16), "  size  60 x 34\n        cm\n");
    EXPECT_EQ(labelledWords("size", 8, "2560x1440 px", 16), "  size\n    2560x1440 px\n");
}

}  // namespace terminal_text_test
}  // namespace displaycheck
