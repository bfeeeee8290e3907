#include "displaycheck/host/CapturedOutput.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

namespace displaycheck {
namespace captured_output_test {

TEST(CapturedOutputTest, CapturesEveryByte) {
    std::string text;
    {
        const CapturedOutput output;
        std::fputs("printed ", stdout);
        std::fwrite("\0\xFF\n", 1, 3, stdout);
        std::fflush(stdout);
        ASSERT_EQ(write(STDOUT_FILENO, "written", 7), 7);
        EXPECT_EQ(output.text(), std::string("printed \0\xFF\nwritten", 18));
        text = output.text();
    }
    EXPECT_EQ(text.size(), 18u);
}

TEST(CapturedOutputTest, GivesTheStandardOutputBack) {
    const CapturedOutput outer;
    {
        const CapturedOutput inner;
        std::fputs("inner", stdout);
        EXPECT_EQ(inner.text(), "inner");
    }
    std::fputs("outer", stdout);
    EXPECT_EQ(outer.text(), "outer");
}

}  // namespace captured_output_test
}  // namespace displaycheck
