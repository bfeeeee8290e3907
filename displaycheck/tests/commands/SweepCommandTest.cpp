#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "displaycheck/tests/Program.h"

namespace test {
namespace sweep_command_test {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(SweepCommand, ShowsEachAnswerOnBothChips) {
    const Folder folder;
    const std::string file = folder.write(
        "mac.yaml",
        "mac: Desk\nscreens:\n  - built-in\n"
        "  - monitor: {edid: {name: VORN K2725DX, product: 1, serial: 2}, vcp: unknown}\n"
        "expect: {warning: true}\n");
    const auto finished = run(folder, {"sweep", file});
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.errors, "");
    EXPECT_THAT(
        linesOf(finished.output),
        ElementsAre(file + ": Desk", "",
                    "Mac                          verdict        states  Continue  expected",
                    "Intel, answers               does not warn  -1 0    1.00 s    -",
                    "Intel, silent                warns          -1 3    5.00 s    -",
                    "Intel, bad checksum          warns          -1 3    5.00 s    -",
                    "Intel, wrong code            warns          -1 3    5.00 s    -",
                    "Intel, late                  does not warn  -1 0    3.00 s    -",
                    "Apple silicon, answers       does not warn  -1 0    0.18 s    -",
                    "Apple silicon, silent        warns          -1 3    0.18 s    -",
                    "Apple silicon, bad checksum  warns          -1 3    5.90 s    -",
                    "Apple silicon, wrong code    warns          -1 3    5.90 s    -",
                    "Apple silicon, late          warns          -1 3    0.18 s    -", "",
                    "10 runs: 3 without a warning, 7 with a warning."));
}

TEST(SweepCommand, KeepsTheChipOfARecordedRegistry) {
    const Folder folder;
    folder.write("registry.txt", "+-o Root  <class IORegistryEntry, id 0x100000100, retain 1>\n");
    const auto finished = run(folder, {"sweep", folder.write("mac.yaml",
                                                             "chip: intel\nregistry: registry.txt\n"
                                                             "screens: []\n")});
    EXPECT_EQ(finished.status, 0) << finished.errors;
    EXPECT_THAT(finished.output, HasSubstr("can't have an Apple-silicon chip"));
    EXPECT_THAT(finished.output, HasSubstr("5 runs:"));
}

TEST(SweepCommand, RefusesABadFile) {
    const Folder folder;
    const auto finished = run(folder, {"sweep", folder.write("bad.yaml", "screens: 1\n")});
    EXPECT_EQ(finished.status, 2);
    EXPECT_EQ(finished.output, "");
    EXPECT_THAT(finished.errors, HasSubstr("bad.yaml:1:10: "));
}

}  // namespace sweep_command_test
}  // namespace test
