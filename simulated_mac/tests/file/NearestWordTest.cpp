#include "simulated_mac/file/NearestWord.h"

#include <gtest/gtest.h>

namespace simulated_mac {
namespace nearest_word_test {

const std::vector<std::string> known = {"ioreg", "system_profiler", "afktool", "IOIteratorNext"};

TEST(NearestWord, IsFoundBehindOneSlip) {
    for (const char* const slip : {"iorg", "iioreg", "iorex", "iorge"}) {
        EXPECT_EQ(nearestWord(slip, known), "ioreg") << slip;
    }
}

TEST(NearestWord, IgnoresCaseAndWhatJoinsWords) {
    EXPECT_EQ(nearestWord("System-Profiler", known), "system_profiler");
    EXPECT_EQ(nearestWord("systemprofiler", known), "system_profiler");
    EXPECT_EQ(nearestWord("ioiteratornext", known), "IOIteratorNext");
}

TEST(NearestWord, MayHaveASlipInEveryThreeLetters) {
    EXPECT_EQ(nearestWord("afool", known), std::nullopt);
    EXPECT_EQ(nearestWord("afkool", known), "afktool");
    EXPECT_EQ(nearestWord("ofktul", known), std::nullopt);
    EXPECT_EQ(nearestWord("sistem_profyle", known), "system_profiler");
}

TEST(NearestWord, OfSeveralIsTheClosest) {
    EXPECT_EQ(nearestWord("cat", {"bat", "cart", "cats"}), "bat");
    EXPECT_EQ(nearestWord("cats", {"bat", "cart", "cats"}), "cats");
}

TEST(NearestWord, IsNotSoughtForAVeryLongOne) {
    const std::string longest(64, 'x');
    EXPECT_EQ(nearestWord(longest, {longest}), longest);
    EXPECT_EQ(nearestWord(longest + "x", {longest}), std::nullopt);
}

TEST(Suggestion, IsTheEndOfAMessage) {
    EXPECT_EQ(suggestion("iorge", known), " (did you mean ioreg?)");
    EXPECT_EQ(suggestion("xyzzy", known), "");
}

}  // namespace nearest_word_test
}  // namespace simulated_mac
