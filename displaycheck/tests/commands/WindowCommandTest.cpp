#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "displaycheck/tests/Program.h"

// What `displaycheck window` says where it shows no window.

namespace test {
namespace window_command_test {

using testing::HasSubstr;

const std::string good = "screens: [built-in]\n";

TEST(WindowCommand, NamesTheMistakeInAMacFile) {
    const Folder folder;
    const auto finished = run(folder, {"window", folder.write("mac.yaml", "screens: 5\n")});
    EXPECT_EQ(finished.status, 2);
    EXPECT_THAT(finished.errors, HasSubstr("mac.yaml:1:"));
}

TEST(WindowCommand, SaysWhatItNeedsWhereThereIsNoScreen) {
    const Folder folder;
    unsetenv("DISPLAY");
    const auto finished = run(folder, {"window", folder.write("mac.yaml", good)});
    EXPECT_EQ(finished.status, 1);
    // With GNUstep the screen is missing, without it the window itself.
    EXPECT_THAT(finished.errors,
                testing::AnyOf(HasSubstr("DISPLAY is not set"), HasSubstr("make window")));
}

TEST(WindowCommand, SaysThatItNeedsARegularFile) {
    const Folder folder;
    const std::string expected =
        " can be read only once; expected a regular file, which the window's program reads again\n";
    EXPECT_EQ(run(folder, {"window", "-"}, good).errors, "displaycheck: standard input" + expected);
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const auto finished = run(folder, {"window", pipe});
    EXPECT_EQ(finished.status, 2);
    EXPECT_EQ(finished.errors, "displaycheck: " + pipe + expected);
}

}  // namespace window_command_test
}  // namespace test
