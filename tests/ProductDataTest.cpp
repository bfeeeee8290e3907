#include "plugin/ProductData.h"

#include <gtest/gtest.h>

#include <array>
#include <string_view>

// The build checks the tables themselves; these tests check what passes those checks.
namespace product_data_test {

using namespace ProductData::check;

TEST(ProductData, AModelNameHasItsPiecesInCapitalsAndNothingElse) {
    for (const std::string_view good : {"K2790Z", "JK2790ZZZ"}) {
        EXPECT_TRUE(isModelName(good)) << good;
    }
    for (const std::string_view bad : {"", "2790Z", "K2790", "K279Z", "K27900Z", "k2790Z", "K2790z",
                                       "JKL2790Z", "K2790ZZZZ", "K2790Z ", "K 2790Z", "K2790Z1"}) {
        EXPECT_FALSE(isModelName(bad)) << bad;
    }
}

TEST(ProductData, AProductIDIsAsTheNumberIsFormatted) {
    for (const std::string_view good : {"A7B1", "1", "10"}) EXPECT_TRUE(isProductID(good)) << good;
    for (const std::string_view bad : {"", "0", "0A7B", "a7b1", "A7B12", "0xA7", "A7G1", "A7 "}) {
        EXPECT_FALSE(isProductID(bad)) << bad;
    }
}

TEST(ProductData, AnEntryThatIsThereTwiceIsFound) {
    using Table = std::array<std::string_view, 3>;
    EXPECT_TRUE(areDistinct(Table{"K2790Z", "K2791Z", "K2790ZZ"}));
    EXPECT_FALSE(areDistinct(Table{"K2790Z", "K2791Z", "K2790Z"}));
    EXPECT_FALSE(areDistinct(Table{"K2791Z", "K2790Z", "K2790Z"}));
}

}  // namespace product_data_test
