#include "simulated_mac/file/MistypedNumber.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace simulated_mac {
namespace mistyped_number_test {

TEST(MistypedNumber, MayMeanAHexadecimalOne) {
    for (const auto& [text, meant] : std::vector<std::pair<std::string, std::string>>{
             {"F1h", "0xF1"},
             {"0F1H", "0x0F1"},
             {"x4000", "0x4000"},
             {"X4000", "0x4000"},
             {"0X4000", "0x4000"},
             {"\\x4000", "0x4000"},
             {"$4000", "0x4000"},
             {"Ox4OOO", "0x4000"},
             {"0x4OOO", "0x4000"},
             {"F1", "0xF1"},
             {"0xE000_02C0", "0xE00002C0"},
             {"0xE000 02C0", "0xE00002C0"},
         }) {
        EXPECT_EQ(numberSuggestion(text), " (did you mean " + meant + "?)") << text;
    }
}

TEST(MistypedNumber, MayBeGrouped) {
    EXPECT_EQ(numberSuggestion("10_000"), " (did you mean 10000?)");
    EXPECT_EQ(numberSuggestion("10'000"), " (did you mean 10000?)");
}

TEST(MistypedNumber, ShowsWhatIsNoDigit) {
    EXPECT_EQ(numberSuggestion("0xG1"), " (\"G\" is not a hex digit)");
    EXPECT_EQ(numberSuggestion("0xF1\u00E9"), " (\"\u00E9\" is not a hex digit)");
}

TEST(MistypedNumber, IsNoneOfOtherTexts) {
    for (const char* const text :
         {"", "low", "h", "x", "0x", "soon", "_", "-", "0123456789ABCDEF0123456789"}) {
        EXPECT_EQ(numberSuggestion(text), "") << text;
    }
}

}  // namespace mistyped_number_test
}  // namespace simulated_mac
