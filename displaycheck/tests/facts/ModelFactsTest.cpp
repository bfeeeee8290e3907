#include "displaycheck/facts/ModelFacts.h"

#include <gtest/gtest.h>

#include "tests/support/PaneOnMac.h"

namespace displaycheck {
namespace model_facts_test {

/// Case is the platform's, so a Mac is switched on.
class ModelFactsTest : public ::testing::Test {
  protected:
    ModelFacts of(const std::string& name) const { return modelFacts(list_, pane_, name); }

    /// What prevents the match of a name that has a listed model's in it.
    std::string obstacleOf(const std::string& name) const {
        const auto near = of(name).nearlyListed;
        return near ? near->obstacle : "none";
    }

    /// The listed models whose names differ from this one in some characters.
    std::vector<std::string> nearestTo(const std::string& name) const {
        const auto near = of(name).nearlyListed;
        return near ? near->models : std::vector<std::string>();
    }

  private:
    const simulated_mac::Mac mac_{test::macWith({})};
    const WhiteList list_;
    const vorn::MyInstallerPane pane_{nullptr};
};

using Names = std::vector<std::string>;

TEST_F(ModelFactsTest, EveryListedModelIsComparedByItsBareName) {
    for (const std::string_view model : WhiteList::supportedDisplaysNeedsUpdate) {
        for (const std::string brand : {"", "VORN ", "The VORN "}) {
            const ModelFacts facts = of(brand + std::string(model));
            EXPECT_TRUE(facts.listed) << model;
            EXPECT_EQ(facts.compared, model);
            EXPECT_FALSE(facts.nearlyListed);
        }
    }
}

TEST_F(ModelFactsTest, TheComparedPartIsWhatStandsBehindTheFirstBrandUpToTheNext) {
    EXPECT_EQ(of("vorn k2790z").compared, "K2790Z");
    EXPECT_EQ(of("VORN K2723QX (1)").compared, "K2723QX (1)");
    EXPECT_EQ(of("VORN K2790ZVORN K9999Z").compared, "K2790Z");
    EXPECT_EQ(of("VORN VORN K2790Z").compared, "");
    EXPECT_EQ(of("VORNK2790Z").compared, "VORNK2790Z");
    EXPECT_EQ(of("QZ \xC3\xA9").compared, "QZ \xC3\x89");
    EXPECT_EQ(of("").compared, "");
}

TEST_F(ModelFactsTest, ANameThatIsTooLongForADisplayIsOnlyJudged) {
    const ModelFacts facts = of(std::string(500, 'x') + "VORN K2725QX");
    EXPECT_TRUE(facts.listed);
    EXPECT_TRUE(facts.recent);
    EXPECT_EQ(facts.compared, std::nullopt);
    EXPECT_EQ(facts.yearDigits, std::nullopt);
}

TEST_F(ModelFactsTest, ATwinsNumberPreventsTheMatch) {
    const auto near = of("VORN K2723QX (1)").nearlyListed;
    ASSERT_TRUE(near);
    EXPECT_EQ(near->models, Names{"K2723QX"});
    EXPECT_EQ(near->obstacle, "the trailing \" (1)\" prevents the match");
    EXPECT_TRUE(near->twinSuffix);
    EXPECT_TRUE(of("K2723QX (12)").nearlyListed->twinSuffix);
}

TEST_F(ModelFactsTest, WhatIsNoTwinsNumberIsNotTakenForOne) {
    for (const std::string name :
         {"K2723QX (a)", "K2723QX ()", "K2723QX(1)", "K2723QX (1", "VORN VORN K2723QX"}) {
        ASSERT_TRUE(of(name).nearlyListed) << name;
        EXPECT_FALSE(of(name).nearlyListed->twinSuffix) << name;
    }
}

TEST_F(ModelFactsTest, TextBehindAModelPreventsTheMatch) {
    EXPECT_EQ(obstacleOf("VORN K2723QX 3CQ4R72"), "the trailing \" 3CQ4R72\" prevents the match");
    EXPECT_EQ(obstacleOf("VORN K2723QX "), "the trailing \" \" prevents the match");
}

TEST_F(ModelFactsTest, ABrandThatIsNotWrittenAsExpectedPreventsTheMatch) {
    EXPECT_EQ(obstacleOf("VORN  K2723QX"),
              "the \"VORN  \" in front of it, where \"VORN \" is expected, prevents the match");
    EXPECT_EQ(obstacleOf("VornK2723QX"),
              "the \"Vorn\" in front of it, where \"VORN \" is expected, prevents the match");
    EXPECT_EQ(obstacleOf("VORN VORN K2723QX"),
              "the \"VORN VORN \" in front of it, where \"VORN \" is expected, prevents the match");
    EXPECT_EQ(obstacleOf("QZ K2723QX"), "the \"QZ \" in front of it prevents the match");
}

TEST_F(ModelFactsTest, SeveralObstaclesAreNamedTogether) {
    EXPECT_EQ(obstacleOf(" K2723QX (2)"),
              "the \" \" in front of it and the trailing \" (2)\" prevent the match");
}

TEST_F(ModelFactsTest, CaseDoesNotKeepANameOffTheList) {
    EXPECT_TRUE(of("k2723qx").listed);
    EXPECT_EQ(obstacleOf("vorn k2723qx (1)"), "the trailing \" (1)\" prevents the match");
}

TEST_F(ModelFactsTest, TheNearestNamesAreThoseWithTheFewestDifferences) {
    EXPECT_EQ(nearestTo("VORN K2723QY"), Names{"K2723QX"});
    EXPECT_EQ(nearestTo("VORN K2723Q"), (Names{"K2723QX", "J2723Q"}));
    EXPECT_EQ(nearestTo("VORN K4025QWXY (1)"), Names{"K4025QWX"});
    EXPECT_EQ(of("VORN K2723QY").nearlyListed->differences, 1u);
    EXPECT_EQ(of("VORN L4025QWY").nearlyListed->differences, 2u);
    EXPECT_EQ(nearestTo("VORN L4025QWY"), Names{"K4025QWX"});
    EXPECT_EQ(of("VORN K2723XQ").nearlyListed->differences, 1u);
    EXPECT_EQ(nearestTo("VORN L4025QVY"), Names{});
    EXPECT_EQ(nearestTo("QZ 24"), Names{});
}

TEST_F(ModelFactsTest, APieceOfALongerWordIsNoModel) {
    EXPECT_EQ(obstacleOf("VORN K2723QXABC"), "none");
    EXPECT_EQ(obstacleOf("VORN ABCK2723QX"), "none");
}

TEST_F(ModelFactsTest, OnlyABareNameInCapitalsHasTheSpecialChip) {
    EXPECT_TRUE(of("K2722D").specialChip);
    EXPECT_FALSE(of("K2722D").nearlySpecialChip);
    const auto obstacle = [&](const std::string& name) {
        return of(name).nearlySpecialChip->obstacle;
    };
    EXPECT_FALSE(of("VORN J2722D").specialChip);
    EXPECT_EQ(obstacle("VORN J2722D"), "the \"VORN \" in front of it prevents the match");
    EXPECT_EQ(obstacle("k2722d"), "its lower case prevents the match");
    EXPECT_EQ(
        obstacle("Vorn k2722d (1)"),
        "the \"Vorn \" in front of it and its lower case and the trailing \" (1)\" prevent the "
        "match");
    EXPECT_FALSE(of("VORN K2725QX").nearlySpecialChip);
}

TEST_F(ModelFactsTest, TheYearIsNamedByItsDigits) {
    EXPECT_EQ(of("VORN K2725QX").yearDigits, "25");
    EXPECT_EQ(of("VORN K2424HX (1)").yearDigits, "24");
    EXPECT_EQ(of("QZ27UK850").yearDigits, "50");
    EXPECT_EQ(of("K24Q5").yearDigits, std::nullopt);
    EXPECT_EQ(of("QZ").yearDigits, std::nullopt);
}

TEST_F(ModelFactsTest, AWordWhoseYearTheRestOfTheNameHides) {
    EXPECT_TRUE(of("VORN K2723QX 3CQ4R72").recent);
    EXPECT_EQ(of("VORN K2723QX 3CQ4R72").otherwiseAlone, "K2723QX");
    EXPECT_FALSE(of("VORN K2725QX H1B").recent);
    EXPECT_EQ(of("VORN K2725QX H1B").otherwiseAlone, "K2725QX");
    EXPECT_EQ(of("VORN K2725QX").otherwiseAlone, std::nullopt);
    EXPECT_EQ(of("QZ 27").otherwiseAlone, std::nullopt);
}

}  // namespace model_facts_test
}  // namespace displaycheck
