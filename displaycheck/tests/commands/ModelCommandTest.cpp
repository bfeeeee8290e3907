#include <gtest/gtest.h>

#include "displaycheck/tests/Program.h"

namespace test {
namespace model_command_test {

nlohmann::ordered_json objectOf(const std::string& name) {
    const Folder folder;
    return jsonLinesOf(run(folder, {"model", "--json", name}).output).at(0);
}

std::string blockOf(const std::string& name) {
    const Folder folder;
    return unwrapped(run(folder, {"model", name}).output, 26);
}

TEST(ModelCommand, WritesAnObjectForEachName) {
    const Folder folder;
    const auto finished =
        run(folder, {"model", "Vorn K2725QX", "K2723QX", "VORN K2726QX (2)", "", "\xFF", "--json"});
    EXPECT_EQ(finished.status, 0);
    const auto lines = linesOf(finished.output);
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0], R"({"name":"Vorn K2725QX","supported":true,"special_chip":false,)"
                        R"("regular_name":"K2725QX","year_25_or_above":true,"compared":"K2725QX",)"
                        R"("year_digits":"25","otherwise_alone":null,"near_misses":[]})");
    EXPECT_EQ(lines[1], R"({"name":"K2723QX","supported":true,"special_chip":true,)"
                        R"("regular_name":"K2723QX","year_25_or_above":false,"compared":"K2723QX",)"
                        R"("year_digits":"23","otherwise_alone":null,"near_misses":[]})");
    EXPECT_EQ(lines[2],
              R"_({"name":"VORN K2726QX (2)","supported":false,"special_chip":false,)_"
              R"_("regular_name":"K2726QX","year_25_or_above":true,"compared":"K2726QX (2)",)_"
              R"_("year_digits":"26","otherwise_alone":null,"near_misses":[{"of":"supported",)_"
              R"_("models":["K2726QX"],"differences":0,"twin_suffix":true,"text":)_"
              R"_("nearly listed as K2726QX; the trailing \" (2)\" prevents the match"}]})_");
    EXPECT_EQ(lines[3], R"({"name":"","supported":false,"special_chip":false,"regular_name":"",)"
                        R"("year_25_or_above":false,"compared":"","year_digits":null,)"
                        R"("otherwise_alone":null,"near_misses":[]})");
    EXPECT_EQ(nlohmann::json::parse(lines[4])["name"], "\uFFFD");
}

TEST(ModelCommand, ShowsABlockForPeople) {
    EXPECT_EQ(blockOf("VORN K2725QX"),
              "VORN K2725QX\n"
              "  supported model         yes: listed as K2725QX\n"
              "  special display chip    no\n"
              "  bare model name         K2725QX\n"
              "  model year 25 or later  yes: 25 in \"K2725QX\"\n");
}

TEST(ModelCommand, SaysWhatNearlyMatched) {
    EXPECT_EQ(
        blockOf("VORN J2722D (1)"),
        "VORN J2722D (1)\n"
        "  supported model         no: nearly listed as J2722D; the trailing \" (1)\" prevents "
        "the match\n"
        "  special display chip    no: J2722D has it, but the \"VORN \" in front of it and the "
        "trailing \" (1)\" prevent the match\n"
        "  bare model name         J2722D\n"
        "  model year 25 or later  no: 22 in \"J2722D\"\n");
}

TEST(ModelCommand, SaysWhichListedNamesAreNearest) {
    EXPECT_NE(blockOf("K2723QY").find("no: not listed; nearest is K2723QX, 1 change away\n"),
              std::string::npos);
    EXPECT_NE(blockOf("K2723Q").find("nearest is K2723QX or J2723Q, 1 change away\n"),
              std::string::npos);
    EXPECT_NE(
        blockOf("K2929H").find("nearest is K2220H, K2420H, K2421H or 3 others, 2 changes away\n"),
        std::string::npos);
    EXPECT_EQ(objectOf("K2929H")["near_misses"][0]["models"].size(), 6u);
    EXPECT_NE(blockOf("VORN K1912A").find("no: \"K1912A\" is not listed\n"), std::string::npos);
}

TEST(ModelCommand, SaysWhereTheYearComesFrom) {
    const std::string name = "VORN K2723QX 3CQ4R72";
    EXPECT_NE(blockOf(name).find("model year 25 or later  yes: 72 in \"K2723QX 3CQ4R72\"; "
                                 "\"K2723QX\" alone would not be recent\n"),
              std::string::npos)
        << blockOf(name);
    EXPECT_EQ(objectOf(name)["otherwise_alone"], "K2723QX");
    EXPECT_NE(blockOf("QZ").find("no: \"QZ\" has no digits that count as a year\n"),
              std::string::npos);
}

TEST(ModelCommand, WritesOnlyWhatIsSafeOnATerminal) {
    for (const std::string& line : linesOf(blockOf("VORN\tK2790Z\x1B[2J"))) {
        EXPECT_EQ(line.find_first_of("\t\x1B"), std::string::npos) << line;
    }
}

TEST(ModelCommand, NeedsAName) {
    const Folder folder;
    EXPECT_EQ(run(folder, {"model"}).status, 2);
}

}  // namespace model_command_test
}  // namespace test
