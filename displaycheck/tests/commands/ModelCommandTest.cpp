#include <gtest/gtest.h>

#include "displaycheck/tests/Program.h"

namespace test {
namespace model_command_test {

std::string lineOf(const std::string& name, bool supported, bool specialChip,
                   const std::string& regularName, bool recent) {
    const auto word = [](bool yes) { return yes ? "true" : "false"; };
    return "{\"name\":\"" + name + "\",\"supported\":" + word(supported) +
           ",\"special_chip\":" + word(specialChip) + ",\"regular_name\":\"" + regularName +
           "\",\"year_25_or_above\":" + word(recent) + "}";
}

TEST(ModelCommand, WritesAnObjectForEachName) {
    const Folder folder;
    const auto finished =
        run(folder, {"model", "Vorn K2723QX", "K2723QX", "VORN K2726QX (2)", "", "\xFF", "--json"});
    EXPECT_EQ(finished.status, 0);
    const auto lines = linesOf(finished.output);
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0], lineOf("Vorn K2723QX", true, false, "K2723QX", false));
    EXPECT_EQ(lines[1], lineOf("K2723QX", true, true, "K2723QX", false));
    EXPECT_EQ(lines[2], lineOf("VORN K2726QX (2)", false, false, "K2726QX", true));
    EXPECT_EQ(lines[3], lineOf("", false, false, "", false));
    EXPECT_EQ(nlohmann::json::parse(lines[4])["name"], "\uFFFD");
}

TEST(ModelCommand, ShowsABlockForPeople) {
    const Folder folder;
    EXPECT_EQ(run(folder, {"model", "VORN K2725QX"}).output,
              "VORN K2725QX\n"
              "  supported model         yes\n"
              "  special display chip    no\n"
              "  bare model name         K2725QX\n"
              "  model year 25 or later  yes\n");
}

TEST(ModelCommand, NeedsAName) {
    const Folder folder;
    EXPECT_EQ(run(folder, {"model"}).status, 2);
}

}  // namespace model_command_test
}  // namespace test
