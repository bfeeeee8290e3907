#include "displaycheck/report/PaneDrawing.h"

#include <gtest/gtest.h>

#include "displaycheck/tests/Program.h"

namespace displaycheck {
namespace pane_drawing_test {

const Palette plain(false);

PaneFacts usualPane() {
    PaneFacts pane;
    pane.title = "Display Check";
    pane.lbTitle = "Checking";
    pane.lbWarnings = "Nothing found. Click here for more.";
    pane.link = TextRange{21, 4};
    pane.nextEnabled = true;
    return pane;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(DrawPane, ShowsTitleHeadingWarningAndButtons) {
    const std::string drawing = drawPane(usualPane(), 60, plain);
    EXPECT_TRUE(contains(drawing, "Display Check"));
    EXPECT_TRUE(contains(drawing, "│   Checking "));
    EXPECT_TRUE(contains(drawing, "Click _here_ for more."));
    EXPECT_TRUE(contains(drawing, "│ Go Back │  ║ Continue ║"));
}

TEST(DrawPane, GreysContinue) {
    PaneFacts pane = usualPane();
    pane.nextEnabled = false;
    const std::string drawing = drawPane(pane, 60, plain);
    EXPECT_TRUE(contains(drawing, "╎ Continue ╎"));
    EXPECT_FALSE(contains(drawing, "║"));
}

TEST(DrawPane, PaintsTheLinkOnlyWithColour) {
    EXPECT_TRUE(contains(drawPane(usualPane(), 60, Palette(true)), "\x1B[4;34mhere\x1B[0m"));
    EXPECT_FALSE(contains(drawPane(usualPane(), 60, plain), "\x1B"));
}

TEST(DrawPane, KeepsItsFrameStraightWhateverTheTexts) {
    const std::vector<std::string> nasty = {
        "",
        " \n\n ",
        "\u6F22\u5B57\u6F22\u5B57 \u30BF\u30A4\u30C8\u30EB",
        "\u0301e\u0301\u0302\u0303 \u0627\u0644\u0639\u0631\u0628\u064A\u0629",
        std::string("NUL \0 ESC \x1B[2J BEL \a TAB \t DEL \x7F", 33),
        "\uFFFD\xFF\xFE \xE6\xBC",
        "\u202Ebackwards\u202C \u200Bnothing\u00AD",
        "\U0001F469\u200D\U0001F469\u200D\U0001F467 \u2764\uFE0F \U0001F1E9\U0001F1EA",
        std::string(500, 'x'),
        "windows\r\nold\rseparator\u2028paragraph\u2029"
        "end",
    };
    for (const std::string& text : nasty) {
        for (const std::size_t columns : {40u, 61u, 80u}) {
            PaneFacts pane;
            pane.title = pane.lbTitle = pane.lbWarnings = text;
            pane.link = TextRange{1, 5};
            for (const std::string& line : test::linesOf(drawPane(pane, columns, plain))) {
                EXPECT_EQ(displayWidth(line), columns) << line;
                EXPECT_EQ(printable(line), line);
            }
        }
    }
}

}  // namespace pane_drawing_test
}  // namespace displaycheck
