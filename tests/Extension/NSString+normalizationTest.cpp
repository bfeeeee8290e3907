#include "plugin/Extension/NSString+normalization.h"

#include <gtest/gtest.h>

#include "tests/support/PaneOnMac.h"

namespace normalization_test {

constexpr auto wideOpen = "\xEF\xBC\x88";   // U+FF08
constexpr auto wideClose = "\xEF\xBC\x89";  // U+FF09

/// Case and white space are the platform's, so a Mac is switched on.
class MonitorName : public ::testing::Test {
  protected:
    const test::Mac mac{test::macWith({})};
};

TEST_F(MonitorName, ABracketedPartAfterTheModelIsCutOff) {
    EXPECT_EQ(regularMonitorName("VORN K2790Z (DP)"), "K2790Z");
}

TEST_F(MonitorName, ABracketWithoutABlankBeforeItIsCutOffToo) {
    EXPECT_EQ(regularMonitorName("VORN K2790Z(DP)"), "K2790Z");
}

TEST_F(MonitorName, WithoutBracketsItIsTheUpperCasedNameWithoutBrandAndOuterBlanks) {
    EXPECT_EQ(regularMonitorName("  Vorn k2790z \t"), "K2790Z");
    EXPECT_EQ(regularMonitorName("K2790Z"), "K2790Z");
}

TEST_F(MonitorName, ABracketThatStandsFirstStays) {
    EXPECT_EQ(regularMonitorName("(K2790Z)"), "(K2790Z)");
}

TEST_F(MonitorName, ABracketThatStandsFirstAfterTrimmingStays) {
    EXPECT_EQ(regularMonitorName("VORN (K2790Z) (DP)"), "(K2790Z)(DP)");
}

TEST_F(MonitorName, AFullWidthBracketedPartIsCutOff) {
    EXPECT_EQ(regularMonitorName(std::string("K2790Z") + wideOpen + "DP" + wideClose), "K2790Z");
}

TEST_F(MonitorName, AFullWidthBracketThatStandsFirstLeavesNothing) {
    EXPECT_EQ(regularMonitorName(std::string(wideOpen) + "K2790Z" + wideClose), "");
}

TEST_F(MonitorName, ABlankBeforeAFullWidthBracketStays) {
    EXPECT_EQ(regularMonitorName(std::string("K2790Z ") + wideOpen + "DP" + wideClose), "K2790Z ");
}

TEST_F(MonitorName, BothKindsOfBracketsAreCutAtTheFirst) {
    EXPECT_EQ(regularMonitorName(std::string("K2790Z") + wideOpen + "DP" + wideClose + " (2)"),
              "K2790Z");
    EXPECT_EQ(regularMonitorName(std::string("K2790Z (2") + wideOpen + "DP"), "K2790Z");
    EXPECT_EQ(regularMonitorName(std::string("(1)") + wideOpen + "DP"), "(1)");
}

TEST_F(MonitorName, TheBrandWordIsRemovedWhereverItStands) {
    EXPECT_EQ(regularMonitorName("VORNK2790Z"), "K2790Z");
    EXPECT_EQ(regularMonitorName("K27Vorn90Z vorn"), "K2790Z");
}

TEST_F(MonitorName, BlanksInsideTheNameStay) {
    EXPECT_EQ(regularMonitorName("VORN K2790Z HDR"), "K2790Z HDR");
    EXPECT_EQ(regularMonitorName("K2790Z VORN HDR"), "K2790Z  HDR");
}

TEST_F(MonitorName, OnlyOneBlankBeforeABracketIsDropped) {
    EXPECT_EQ(regularMonitorName("K2790Z  (DP)"), "K2790Z ");
}

TEST_F(MonitorName, ALineFeedIsNoBlankToTrim) {
    EXPECT_EQ(regularMonitorName("K2790Z\n"), "K2790Z\n");
}

TEST_F(MonitorName, UpperCaseGoesBeyondASCII) {
    EXPECT_EQ(regularMonitorName("Vorn stra\xC3\x9F\x65 \xC3\xA9"), "STRASSE \xC3\x89");
}

TEST_F(MonitorName, AnEmptyNameStaysEmpty) {
    EXPECT_EQ(regularMonitorName(""), "");
    EXPECT_EQ(regularMonitorName("VORN"), "");
}

TEST_F(MonitorName, TheUnchangedNameDecidesWhetherBlanksBeforeBracketsGo) {
    EXPECT_EQ(getRealModelNameWithStr("K2790Z (DP)", "A (B)"), "A");
    EXPECT_EQ(getRealModelNameWithStr("K2790Z", "A (B)"), "A ");
}

}  // namespace normalization_test
