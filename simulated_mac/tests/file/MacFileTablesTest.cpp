#include "simulated_mac/file/MacFileTables.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "simulated_mac/description/ReadFile.h"

namespace simulated_mac {
namespace mac_file_tables_test {

const std::string begin = "<!-- keys of a USB device -->\n";
const std::string end = "<!-- end -->\n";

std::string documentation() {
    return readFile(PROJECT_SOURCE_DIR "/docs/mac-files.md");
}

std::string replaced(std::string text, const std::string& part, const std::string& other) {
    const auto at = text.find(part);
    EXPECT_NE(at, std::string::npos) << part;
    return text.replace(at, part.size(), other);
}

TEST(MacFileTables, AreThoseOfTheDocumentation) {
    EXPECT_TRUE(withKeyTables(documentation()) == documentation()) << "write them anew: make keys";
}

TEST(MacFileTables, TakeThePlaceOfWhatStoodThere) {
    const std::string old = replaced(documentation(), begin, begin + "\n| `gone` | text |\n");
    EXPECT_EQ(withKeyTables(old), documentation());
}

TEST(MacFileTables, NeedTheirMarksInPairs) {
    EXPECT_THROW(withKeyTables(replaced(documentation(), begin, "")), std::runtime_error);
    EXPECT_THROW(withKeyTables(replaced(documentation(), end, "")), std::runtime_error);
    EXPECT_THROW(withKeyTables(replaced(documentation(), end, end + end)), std::runtime_error);
    const std::string withoutLast = documentation().erase(documentation().rfind(end), end.size());
    EXPECT_THROW(withKeyTables(withoutLast), std::runtime_error);
}

TEST(MacFileTables, AreOneForEachStructure) {
    EXPECT_THROW(withKeyTables(documentation() + begin + end), std::runtime_error);
    EXPECT_THROW(withKeyTables(documentation() + "<!-- keys of a car -->\n" + end),
                 std::runtime_error);
    EXPECT_THROW(withKeyTables(""), std::runtime_error);
}

}  // namespace mac_file_tables_test
}  // namespace simulated_mac
