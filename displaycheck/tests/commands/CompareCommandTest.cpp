#include "displaycheck/commands/CompareCommand.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "displaycheck/tests/Program.h"

namespace compare_command_test {

using namespace test;
using testing::HasSubstr;

/// A Mac as ioreg prints it, with one display.
std::string dumpWith(const std::string& displayClass, const std::string& vendor) {
    return "+-o Root  <class IORegistryEntry, id 0x100000100, retain 20>\n"
           "  +-o VornMac1,1  <class IOPlatformExpertDevice, id 0x100000101, retain 20>\n"
           "    +-o GFX0@2  <class IOPCIDevice, id 0x100000102, retain 9>\n"
           "      +-o VornFramebuffer@0  <class VornFramebuffer, id 0x100000103, retain 9>\n"
           "        +-o IOFramebufferI2CInterface  <class IOFramebufferI2CInterface, id "
           "0x100000104, retain 5>\n"
           "        |   {\n"
           "        |     \"IOI2CTransactionTypes\" = 19\n"
           "        |   }\n"
           "        |   \n"
           "        +-o display0  <class IODisplayConnect, id 0x100000105, retain 6>\n"
           "          +-o " +
           displayClass + "  <class " + displayClass +
           ", id 0x100000106, retain 8>\n"
           "              {\n"
           "                \"DisplayVendorID\" = " +
           vendor +
           "\n"
           "                \"IODisplayParameters\" = {}\n"
           "              }\n"
           "              \n";
}

class CompareCommand : public testing::Test {
  protected:
    CompareCommand() {
        folder_.write("mac.txt", dumpWith("AppleDisplay", "23118"));
        mac_ = folder_.write("mac.yaml", "registry: mac.txt\nscreens: []\n");
    }

    /// With each finding on one line.
    Finished comparedWith(const std::string& dump) {
        auto finished = run(folder_, {"compare", mac_, folder_.write("dump.txt", dump)});
        finished.output = unwrapped(finished.output, 4);
        return finished;
    }

    Folder folder_;
    std::string mac_;
};

TEST_F(CompareCommand, SaysThatNothingDiffers) {
    const auto finished = comparedWith(dumpWith("AppleDisplay", "23118"));
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.output, mac_ +
                                   ": shows what the dump shows, in all 4 entries that the pane "
                                   "reads\n");
}

TEST_F(CompareCommand, TakesANumberInEitherSpelling) {
    EXPECT_EQ(comparedWith(dumpWith("AppleDisplay", "0x5a4e")).status, 0);
}

TEST_F(CompareCommand, DoesNotCompareAValueThatIsCut) {
    EXPECT_EQ(comparedWith(dumpWith("AppleDisplay", "<5a")).status, 0);
}

TEST_F(CompareCommand, NamesAnotherValueByPathAndKey) {
    const auto finished = comparedWith(dumpWith("AppleDisplay", "7"));
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(finished.output, mac_ +
                                   ": differs from the dump in 1 place\n"
                                   "  IOService:/GFX0@2/VornFramebuffer@0/display0/AppleDisplay: "
                                   "\"DisplayVendorID\" = 23118, in the dump 7\n");
}

TEST_F(CompareCommand, NamesEntriesThatOneOfThemLacks) {
    const auto finished = comparedWith(dumpWith("AppleBacklightDisplay", "23118"));
    EXPECT_EQ(finished.status, 1);
    EXPECT_THAT(finished.output,
                HasSubstr("/display0/AppleDisplay: not in the dump (class AppleDisplay)\n"));
    EXPECT_THAT(finished.output, HasSubstr("/display0/AppleBacklightDisplay: only in the dump "
                                           "(class AppleBacklightDisplay)\n"));
}

TEST_F(CompareCommand, NamesTheFirstEntryInAnotherOrder) {
    const std::string two =
        "+-o IOFramebufferI2CInterface  <class IOFramebufferI2CInterface, id 0x1>\n"
        "+-o DCPAVServiceProxy  <class DCPAVServiceProxy, id 0x2>\n";
    const std::string turned =
        "+-o DCPAVServiceProxy  <class DCPAVServiceProxy, id 0x2>\n"
        "+-o IOFramebufferI2CInterface  <class IOFramebufferI2CInterface, id 0x1>\n";
    folder_.write("mac.txt", two);
    const auto finished = comparedWith(turned);
    EXPECT_EQ(finished.status, 1);
    EXPECT_THAT(finished.output, HasSubstr("order: IOService:/IOFramebufferI2CInterface comes "
                                           "where the dump has IOService:/DCPAVServiceProxy\n"));
}

TEST_F(CompareCommand, RefusesDumpsWithoutARegistry) {
    const auto finished = comparedWith("{\"SPDisplaysDataType\": []}");
    EXPECT_EQ(finished.status, 2);
    EXPECT_THAT(finished.errors, HasSubstr("no registry found in the dumps"));
}

TEST_F(CompareCommand, RefusesAMacFileThatIsNone) {
    mac_ = folder_.write("mac.yaml", "screens: 7\n");
    const auto finished = comparedWith(dumpWith("AppleDisplay", "1"));
    EXPECT_EQ(finished.status, 2);
    EXPECT_THAT(finished.errors, HasSubstr("mac.yaml:1:10: "));
}

}  // namespace compare_command_test
