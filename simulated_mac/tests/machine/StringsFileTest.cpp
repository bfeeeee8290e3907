#include "simulated_mac/machine/StringsFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace simulated_mac {
namespace strings_file_test {

using Table = std::map<std::string, std::string>;
using testing::EndsWith;
using testing::IsEmpty;

/// A string table in a file that lives as long as the test.
class StringsFile : public testing::Test {
  protected:
    void SetUp() override {
        std::string folder = (std::filesystem::temp_directory_path() / "strings-XXXXXX").string();
        ASSERT_NE(mkdtemp(folder.data()), nullptr);
        folder_ = folder;
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::filesystem::path path() const { return folder_ / "Localizable.strings"; }

    Table read(const std::string& text) const {
        std::ofstream(path(), std::ios::binary) << text;
        return readStringsFile(path());
    }

    /// The reader's message about a table that it refuses.
    std::string complaint(const std::string& text) const {
        try {
            read(text);
        } catch (const StringsFileError& error) {
            return error.what();
        }
        return "no complaint";
    }

  private:
    std::filesystem::path folder_;
};

TEST_F(StringsFile, HoldsPairsOfKeyAndText) {
    EXPECT_EQ(read("\"TITLE\" = \"Checking\";\n\"here\" = \"hier\";\n"),
              (Table{{"TITLE", "Checking"}, {"here", "hier"}}));
}

TEST_F(StringsFile, MayBeEmpty) {
    EXPECT_THAT(read(""), IsEmpty());
    EXPECT_THAT(read(" \t\r\n"), IsEmpty());
}

TEST_F(StringsFile, MayHoldEmptyKeysAndTexts) {
    EXPECT_EQ(read("\"\" = \"\";"), (Table{{"", ""}}));
}

TEST_F(StringsFile, NeedsNoBlanksAndAllowsMany) {
    EXPECT_EQ(read("\"a\"=\"1\";\"b\"\n=\t\"2\"\n;"), (Table{{"a", "1"}, {"b", "2"}}));
}

TEST_F(StringsFile, KeepsWhatStandsBetweenQuotes) {
    EXPECT_EQ(read("\"a\" = \" = ; /* no comment */ // none \";"),
              (Table{{"a", " = ; /* no comment */ // none "}}));
}

TEST_F(StringsFile, MayHaveCommentsEverywhere) {
    EXPECT_EQ(
        read("/* one\n * \"x\" = \"y\"; **/ \"a\" /* two */ = // three\n \"1\" /**/ ; // four"),
        (Table{{"a", "1"}}));
}

TEST_F(StringsFile, HasEscapesForQuotesBackslashesLineBreaksAndTabs) {
    EXPECT_EQ(read(R"("say \"hi\"" = "a\\b\nc\td";)"), (Table{{"say \"hi\"", "a\\b\nc\td"}}));
}

TEST_F(StringsFile, IsUTF8) {
    EXPECT_EQ(read("\"here\" = \"zdě 🖥\";"), (Table{{"here", "zdě 🖥"}}));
}

TEST_F(StringsFile, NamesFileAndLineOfAnError) {
    EXPECT_EQ(complaint("\"a\" = \"1\";\n\n\"b\" \"2\";\n"), path().string() + ":3: expected '='");
}

TEST_F(StringsFile, MissesASemicolon) {
    EXPECT_THAT(complaint("\"a\" = \"1\"\n\"b\" = \"2\";"), EndsWith(":2: expected ';'"));
    EXPECT_THAT(complaint("\"a\" = \"1\""), EndsWith(":1: expected ';'"));
}

TEST_F(StringsFile, MissesAQuote) {
    EXPECT_THAT(complaint("a = \"1\";"), EndsWith(":1: expected '\"'"));
    EXPECT_THAT(complaint("\"a\" = 1;"), EndsWith(":1: expected '\"'"));
    EXPECT_THAT(complaint("\"a\" = \"1;"), EndsWith(":1: expected '\"'"));
}

TEST_F(StringsFile, RefusesAKeyThatStandsTwice) {
    EXPECT_THAT(complaint("\"a\" = \"1\";\n\"b\" = \"2\";\n\"a\" = \"3\";"),
                EndsWith(":3: the key \"a\" stands here again"));
}

TEST_F(StringsFile, RefusesAnUnknownEscape) {
    EXPECT_THAT(complaint("\"a\" = \"\\q\";"), EndsWith(":1: expected \\n, \\t, \\\" or \\\\"));
    EXPECT_THAT(complaint("\"a\" = \"1\\"), EndsWith(":1: expected \\n, \\t, \\\" or \\\\"));
}

TEST_F(StringsFile, RefusesACommentWithoutAnEnd) {
    EXPECT_THAT(complaint("\n/* comment"), EndsWith(":2: a comment has no end"));
    EXPECT_THAT(complaint("/*/"), EndsWith(":1: a comment has no end"));
}

TEST_F(StringsFile, SaysWhenItCannotBeRead) {
    EXPECT_THROW(readStringsFile(path()), StringsFileError);
    try {
        readStringsFile(path());
    } catch (const StringsFileError& error) {
        EXPECT_EQ(error.what(), path().string() + ": can't be read");
    }
}

}  // namespace strings_file_test
}  // namespace simulated_mac
