#include "displaycheck/host/WholeFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "displaycheck/tests/Program.h"

namespace whole_file_test {

using displaycheck::writeWholeFile;

class WholeFile : public testing::Test {
  protected:
    std::size_t filesInFolder() const {
        const std::filesystem::directory_iterator files(folder.path(""));
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    test::Folder folder;
};

TEST_F(WholeFile, IsWritten) {
    const std::string contents("a\0b\n", 4);
    writeWholeFile(folder.path("new"), contents);
    EXPECT_EQ(folder.read("new"), contents);
    EXPECT_EQ(filesInFolder(), 1U);
}

TEST_F(WholeFile, ReplacesAnother) {
    folder.write("old", "a longer text");
    writeWholeFile(folder.path("old"), "short");
    EXPECT_EQ(folder.read("old"), "short");
    EXPECT_EQ(filesInFolder(), 1U);
}

TEST_F(WholeFile, CanBeEmpty) {
    writeWholeFile(folder.path("empty"), "");
    EXPECT_EQ(folder.read("empty"), "");
}

TEST_F(WholeFile, IsWrittenToADeviceInItsPlace) {
    writeWholeFile("/dev/null", "text");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(WholeFile, LeavesWhatWasThereIfItCannotBeWrittenWhole) {
    std::filesystem::create_directory(folder.path("taken"));
    EXPECT_THROW(writeWholeFile(folder.path("taken"), "text"), std::system_error);
    EXPECT_THROW(writeWholeFile(folder.path("none/file"), "text"), std::system_error);
    EXPECT_THROW(writeWholeFile("/dev/full", "text"), std::system_error);
    EXPECT_TRUE(std::filesystem::is_directory(folder.path("taken")));
    EXPECT_EQ(filesInFolder(), 1U);
}

TEST_F(WholeFile, SaysWhichFileCannotBeWrittenAndWhy) {
    try {
        writeWholeFile(folder.path("none/file"), "text");
        FAIL() << "written";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
        EXPECT_THAT(error.what(), testing::HasSubstr("can't write " + folder.path("none/file")));
    }
}

}  // namespace whole_file_test
