#include "plugin/WhiteList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "plugin/Utilities/RunCommand.h"
#include "simulated_mac/machine/CallText.h"
#include "tests/support/PaneOnMac.h"

namespace white_list_test {

using simulated_mac::ToolOverride;
using test::Mac;
using test::MacDescription;

/// Case is the platform's, so a Mac is switched on.
class SupportedModels : public ::testing::Test {
  protected:
    const Mac mac{test::macWith({})};
    const WhiteList list;
};

using SpecialChip = SupportedModels;

MacDescription macWhoseProfilerPrints(std::vector<std::string> outputs) {
    MacDescription description;
    for (const std::string& output : outputs) {
        description.tools["system_profiler"].push_back(ToolOverride{output});
    }
    return description;
}

bool isAppleSilicon(const std::string& profilerOutput) {
    const Mac mac(macWhoseProfilerPrints({profilerOutput}));
    return WhiteList().isM1Mac();
}

TEST_F(SupportedModels, EveryModelOfTheProductDataIsSupportedWithAndWithoutTheBrand) {
    for (const std::string_view model : WhiteList::supportedDisplaysNeedsUpdate) {
        EXPECT_TRUE(list.availableDisplay(std::string(model))) << model;
        EXPECT_TRUE(list.availableDisplay("VORN " + std::string(model))) << model;
    }
}

TEST_F(SupportedModels, BrandAndModelInLowerCaseMatch) {
    EXPECT_TRUE(list.availableDisplay("vorn k2790z"));
    EXPECT_TRUE(list.availableDisplay("Vorn k2790Z"));
}

TEST_F(SupportedModels, TwoBlanksAfterTheBrandDoNotMatch) {
    EXPECT_FALSE(list.availableDisplay("VORN  K2790Z"));
}

TEST_F(SupportedModels, ABlankAfterTheModelDoesNotMatch) {
    EXPECT_FALSE(list.availableDisplay("VORN K2790Z "));
    EXPECT_FALSE(list.availableDisplay("K2790Z "));
}

TEST_F(SupportedModels, TheBrandDirectlyBeforeTheModelDoesNotMatch) {
    EXPECT_FALSE(list.availableDisplay("VORNK2790Z"));
}

TEST_F(SupportedModels, ABlankOrATabBeforeABareModelDoesNotMatch) {
    EXPECT_FALSE(list.availableDisplay(" K2790Z"));
    EXPECT_FALSE(list.availableDisplay("VORN\tK2790Z"));
}

TEST_F(SupportedModels, ABracketedPartDoesNotMatch) {
    EXPECT_FALSE(list.availableDisplay("VORN K2790Z (1)"));
}

TEST_F(SupportedModels, TextBeforeTheBrandIsDropped) {
    EXPECT_TRUE(list.availableDisplay("XVORN K2790Z"));
    EXPECT_TRUE(list.availableDisplay("The VORN K2790Z"));
}

TEST_F(SupportedModels, TheTextBetweenTheFirstTwoBrandWordsCounts) {
    EXPECT_TRUE(list.availableDisplay("VORN K2790ZVORN K9999Z"));
    EXPECT_FALSE(list.availableDisplay("VORN K9999ZVORN K2790Z"));
    EXPECT_FALSE(list.availableDisplay("VORN VORN K2790Z"));
    EXPECT_FALSE(list.availableDisplay("VORN K2790Z VORN K2790Z"));
}

TEST_F(SupportedModels, NoNameAndEmptyNamesDoNotMatch) {
    EXPECT_FALSE(list.availableDisplay(std::nullopt));
    EXPECT_FALSE(list.availableDisplay(""));
    EXPECT_FALSE(list.availableDisplay("VORN "));
}

TEST_F(SupportedModels, PiecesOfAModelDoNotMatch) {
    EXPECT_FALSE(list.availableDisplay("K2790"));
    EXPECT_FALSE(list.availableDisplay("2790Z"));
    EXPECT_FALSE(list.availableDisplay("K2790ZZ"));
}

TEST_F(SupportedModels, NamesBeyondASCIIAndBrokenTextDoNotMatch) {
    EXPECT_FALSE(list.availableDisplay("VORN K2790\xC5\xBD"));
    EXPECT_FALSE(list.availableDisplay("VORN K2790Z\xFF"));
}

TEST_F(SupportedModels, TheFiveOlderSpecialChipModelsAreNotSupported) {
    for (const std::string model : {"K2418H", "K2718QX", "J2420D", "J2719HV", "Y2419G"}) {
        EXPECT_FALSE(list.availableDisplay(model)) << model;
        EXPECT_TRUE(list.isRTKChipDisplay(model)) << model;
    }
}

TEST_F(SupportedModels, TheListThatCallersMayKeepStartsEmpty) {
    EXPECT_TRUE(list.supportedDisplayArr.empty());
}

TEST_F(SpecialChip, EveryModelOfTheProductDataHasIt) {
    for (const std::string_view model : WhiteList::rtkChipList) {
        EXPECT_TRUE(list.isRTKChipDisplay(std::string(model))) << model;
    }
}

TEST_F(SpecialChip, ANameInLowerCaseDoesNotHaveIt) {
    EXPECT_FALSE(list.isRTKChipDisplay("k2422h"));
}

TEST_F(SpecialChip, ANameWithTheBrandDoesNotHaveIt) {
    EXPECT_FALSE(list.isRTKChipDisplay("VORN K2422H"));
}

TEST_F(SpecialChip, OtherModelsAndNoNameDoNotHaveIt) {
    EXPECT_FALSE(list.isRTKChipDisplay("K2790Z"));
    EXPECT_FALSE(list.isRTKChipDisplay("K2422H "));
    EXPECT_FALSE(list.isRTKChipDisplay(""));
    EXPECT_FALSE(list.isRTKChipDisplay(std::nullopt));
}

TEST(AppleSilicon, AnIntelMacIsNone) {
    const Mac mac(test::macWith({}));
    EXPECT_FALSE(WhiteList().isM1Mac());
}

TEST(AppleSilicon, IsRecognisedByTheChipset) {
    EXPECT_TRUE(isAppleSilicon("      Chipset Model: Apple M2 Pro\n"));
}

TEST(AppleSilicon, IsRecognisedInAnyCase) {
    EXPECT_TRUE(isAppleSilicon("Chipset Model: APPLE M1\n"));
}

TEST(AppleSilicon, IsRecognisedByAnyOfSeveralChipsets) {
    EXPECT_TRUE(isAppleSilicon("Chipset Model: One\nChipset Model: Pineapple\n"));
}

TEST(AppleSilicon, IsNotRecognisedInALineOfAnotherKind) {
    EXPECT_FALSE(isAppleSilicon("Chipset Model: Intel UHD Graphics 630\nVendor: Apple\n"));
}

TEST(AppleSilicon, IsNotRecognisedInEmptyOutput) {
    EXPECT_FALSE(isAppleSilicon(""));
}

TEST(AppleSilicon, IsNotRecognisedInOutputThatIsNotText) {
    EXPECT_FALSE(isAppleSilicon("Chipset Model: Apple \xFF\n"));
}

TEST(AppleSilicon, IsNotRecognisedWhenTheShellCannotBeStarted) {
    auto description = macWhoseProfilerPrints({"Chipset Model: Apple M1\n"});
    description.faults = {{"posix_spawn", 1, false, {}}};
    const Mac mac(description);
    EXPECT_FALSE(WhiteList().isM1Mac());
    EXPECT_TRUE(WhiteList().isM1Mac());
}

TEST(AppleSilicon, EachQuestionRunsTheProfilerAgain) {
    const Mac mac(
        macWhoseProfilerPrints({"Chipset Model: Intel UHD Graphics\n", "Chipset Model: Apple M1\n",
                                "Chipset Model: Intel UHD Graphics\n"}));
    const WhiteList list;
    EXPECT_FALSE(list.isM1Mac());
    EXPECT_TRUE(list.isM1Mac());
    EXPECT_FALSE(list.isM1Mac());
}

TEST(AppleSilicon, TheProfilerRunsInAShellPipeline) {
    Mac mac(test::macWith({}));
    mac.trace.keepOnly({"posix_spawn"});
    WhiteList().isM1Mac();
    ASSERT_EQ(mac.trace.calls().size(), 1u);
    EXPECT_EQ(argumentsText(mac.trace.calls().front()),
              "/bin/sh, \"-c\", \"system_profiler SPDisplaysDataType | grep \"Chipset Model\"\"");
}

TEST(WhiteListObject, TheFirstOneMakesTheSharedCommandRunnerAndLaterOnesKeepIt) {
    ASSERT_EQ(runCmd, nullptr);
    const WhiteList first;
    RunCommand* const made = runCmd;
    EXPECT_NE(made, nullptr);
    const WhiteList second;
    EXPECT_EQ(runCmd, made);
}

}  // namespace white_list_test
