#include "plugin/ProductData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace product_data_test {

/// How many of the names have a form.
template <class Table>
std::ptrdiff_t count(const Table& names, const std::string& form) {
    const std::regex pattern(form);
    return std::count_if(names.begin(), names.end(), [&](std::string_view name) {
        return std::regex_match(name.begin(), name.end(), pattern);
    });
}

template <class Table>
std::set<std::string_view> asSet(const Table& names) {
    return {names.begin(), names.end()};
}

TEST(ProductData, ThereAreFiftyEightDistinctSupportedModels) {
    EXPECT_EQ(ProductData::supportedDisplays.size(), 58u);
    EXPECT_EQ(asSet(ProductData::supportedDisplays).size(), 58u);
}

TEST(ProductData, ThereAreTwentySevenDistinctSpecialChipModels) {
    EXPECT_EQ(ProductData::specialChipDisplays.size(), 27u);
    EXPECT_EQ(asSet(ProductData::specialChipDisplays).size(), 27u);
}

TEST(ProductData, TwentyTwoSpecialChipModelsAreSupportedAndFiveAreNot) {
    const auto supported = asSet(ProductData::supportedDisplays);
    const auto& special = ProductData::specialChipDisplays;
    EXPECT_EQ(std::count_if(special.begin(), special.end(),
                            [&](std::string_view name) { return supported.contains(name); }),
              22);
}

TEST(ProductData, EverySupportedModelHasTheFormOfAModelName) {
    EXPECT_EQ(count(ProductData::supportedDisplays, "[A-Z]{1,2}[0-9]{4}[A-Z]{1,3}"), 58);
}

TEST(ProductData, SpecialChipModelsHaveOneSeriesLetterAndOneOrTwoSuffixLetters) {
    EXPECT_EQ(count(ProductData::specialChipDisplays, "[A-Z][0-9]{4}[A-Z]{1,2}"), 27);
}

TEST(ProductData, TheSeriesHaveTheirSizes) {
    std::map<char, int> sizes;
    for (const std::string_view name : ProductData::supportedDisplays) {
        if (name[1] >= '0' && name[1] <= '9') ++sizes[name[0]];
    }
    std::vector<int> counts;
    for (const auto& [letter, size] : sizes) counts.push_back(size);
    std::sort(counts.begin(), counts.end());
    EXPECT_EQ(counts, (std::vector<int>{8, 11, 36}));
    EXPECT_EQ(count(ProductData::supportedDisplays, "[A-Z]{2}[0-9].*"), 3);
}

TEST(ProductData, TheSuffixesHaveTheirLengths) {
    EXPECT_EQ(count(ProductData::supportedDisplays, "[A-Z][0-9]{4}[A-Z]"), 15);
    EXPECT_EQ(count(ProductData::supportedDisplays, "[A-Z][0-9]{4}[A-Z]{2}"), 35);
    EXPECT_EQ(count(ProductData::supportedDisplays, "[A-Z][0-9]{4}[A-Z]{3}"), 5);
    EXPECT_EQ(count(ProductData::supportedDisplays, "[A-Z]{2}[0-9]{4}[A-Z]{1,2}"), 3);
}

TEST(ProductData, TheManufacturerIDIsThreeLowerCaseLetters) {
    EXPECT_EQ(ProductData::manufacturerID, "vrn");
}

TEST(ProductData, TheCheckOfTheTablesTakesNamesOfAnotherFormForBad) {
    using ProductData::check::haveModelForm;
    using Table = std::array<std::string_view, 1>;
    EXPECT_TRUE(haveModelForm(Table{"K2790Z"}));
    EXPECT_TRUE(haveModelForm(Table{"JK2790ZZZ"}));
    for (const std::string_view bad : {"", "2790Z", "K2790", "K279Z", "K27900Z", "k2790Z", "K2790z",
                                       "JKL2790Z", "K2790ZZZZ", "K2790Z ", "K 2790Z", "K2790Z1"}) {
        EXPECT_FALSE(haveModelForm(Table{bad})) << bad;
    }
}

}  // namespace product_data_test
