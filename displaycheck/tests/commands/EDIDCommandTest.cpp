#include <gtest/gtest.h>

#include "displaycheck/tests/Program.h"
#include "simulated_mac/description/EDID.h"
#include "tests/support/PaneOnMac.h"

namespace test {
namespace edid_command_test {

simulated_mac::Bytes anEDID() {
    EDIDFields fields;
    fields.product = 0x2725;
    fields.serial = 0x01020304;
    fields.name = "VORN K2725QX";
    fields.serialText = "3CQ4R72";
    return simulated_mac::makeEDID(fields);
}

std::string binaryOf(const simulated_mac::Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

const std::string usualLine =
    R"({"serialNumber":16909060,"modelName":"Vorn K2725QX","serviceTag":"3CQ4R72",)"
    R"("modelInfo":"VRN27.01020304.K2725QX.3CQ4R72","plugNplayID":"VRN2725"})"
    "\n";

TEST(EDIDCommand, DecodesHexFromStandardInput) {
    const Folder folder;
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"edid", "--json"}, {"edid", "-", "--json"}, {"edid", "--json", "-"}}) {
        const auto finished = run(folder, arguments, hexText(anEDID()));
        EXPECT_EQ(finished.status, 0);
        EXPECT_EQ(finished.output, usualLine);
        EXPECT_EQ(finished.errors, "");
    }
}

TEST(EDIDCommand, IgnoresBlanksAndLineEnds) {
    const Folder folder;
    const auto finished =
        run(folder, {"edid", "--json"},
            "\xEF\xBB\xBF\r\n  " + hexText(anEDID()) + " \t\r\n\n\n" + hexText(anEDID()) + "\r\n");
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.output, usualLine + usualLine);
}

TEST(EDIDCommand, DecodesBinaryFiles) {
    const Folder folder;
    const std::string whole = folder.write("whole.bin", binaryOf(anEDID()));
    // Without its header, a binary is recognised by bytes that no text has.
    auto bytes = anEDID();
    bytes[0] = 0x41;
    const std::string damaged = folder.write("damaged.bin", binaryOf(bytes));
    const auto finished = run(folder, {"edid", "--json", whole, damaged});
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.output, usualLine + usualLine);
}

TEST(EDIDCommand, DecodesBinaryFromStandardInput) {
    const Folder folder;
    EXPECT_EQ(run(folder, {"edid", "--json"}, binaryOf(anEDID())).output, usualLine);
}

TEST(EDIDCommand, ShowsABlockForPeople) {
    const Folder folder;
    const auto finished = run(folder, {"edid"}, "\n" + hexText(anEDID()));
    EXPECT_EQ(finished.output,
              "standard input:2\n"
              "  model name     Vorn K2725QX\n"
              "  PnP ID         VRN2725\n"
              "  serial number  16909060 (0x01020304)\n"
              "  service tag    3CQ4R72\n"
              "  model info     VRN27.01020304.K2725QX.3CQ4R72\n");
}

TEST(EDIDCommand, WritesMissingTextsAsNull) {
    const Folder folder;
    const auto finished = run(folder, {"edid", "--json"}, std::string(256, '0'));
    EXPECT_EQ(finished.status, 0);
    const auto object = jsonLinesOf(finished.output).at(0);
    EXPECT_EQ(keysOf(object), (std::vector<std::string>{"serialNumber", "modelName", "serviceTag",
                                                        "modelInfo", "plugNplayID"}));
    EXPECT_EQ(object["serialNumber"], 0);
    EXPECT_TRUE(object["modelName"].is_null());
    EXPECT_TRUE(object["serviceTag"].is_null());
    EXPECT_EQ(object["plugNplayID"], "@@@0000");
}

TEST(EDIDCommand, GoesOnAfterATextThatIsTooShort) {
    const Folder folder;
    const std::string file =
        folder.write("edids.txt", std::string(31, 'A') + "\n" + hexText(anEDID()) + "\n");
    const auto json = run(folder, {"edid", "--json", file});
    EXPECT_EQ(json.status, 2);
    const auto lines = jsonLinesOf(json.output);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(keysOf(lines[0]), std::vector<std::string>{"error"});
    EXPECT_EQ(lines[1].dump() + "\n", usualLine);
    EXPECT_EQ(json.errors, "");

    const auto human = run(folder, {"edid", file});
    EXPECT_EQ(human.status, 2);
    EXPECT_EQ(human.errors.rfind(file + ":1: ", 0), 0u) << human.errors;
    EXPECT_NE(human.output.find("VRN2725"), std::string::npos);

    EXPECT_EQ(run(folder, {"edid"}, std::string(32, 'A')).status, 0);
}

TEST(EDIDCommand, NamesFilesItCannotUseAndGoesOn) {
    const Folder folder;
    const std::string good = folder.write("good.txt", hexText(anEDID()));
    const std::string empty = folder.write("empty", "");
    const std::string blank = folder.write("blank", " \n\r\n");
    for (const std::string& bad : {empty, blank, folder.path("missing"), folder.path("")}) {
        const auto finished = run(folder, {"edid", "--json", bad, good});
        EXPECT_EQ(finished.status, 2) << bad;
        EXPECT_EQ(finished.output, usualLine);
        EXPECT_EQ(finished.errors.rfind(bad + ": ", 0), 0u) << finished.errors;
    }
}

TEST(EDIDCommand, ReadsWhatDoesNotBeginAsAnEDIDAndWarnsPeople) {
    const Folder folder;
    const std::string zeros(256, '0');
    const auto human = run(folder, {"edid"}, hexText(anEDID()) + "\n" + zeros);
    EXPECT_EQ(human.status, 0);
    EXPECT_EQ(human.errors,
              "standard input:2: does not begin with the EDID header 00FFFFFFFFFFFF00; "
              "decoding it anyway\n");
    EXPECT_NE(human.output.find("@@@0000"), std::string::npos);
    EXPECT_EQ(run(folder, {"edid", "--json"}, zeros).errors, "");
}

TEST(EDIDCommand, ReadsNoEndlessFile) {
    const Folder folder;
    const auto finished = run(folder, {"edid", "/dev/zero"});
    EXPECT_EQ(finished.status, 2);
    EXPECT_EQ(finished.output, "");
    EXPECT_EQ(finished.errors, "/dev/zero: is too large; expected at most 64 MiB\n");
}

TEST(EDIDCommand, SurvivesAnything) {
    const Folder folder;
    std::string garbage;
    for (unsigned at = 0; at < 5000; ++at) garbage += static_cast<char>(at * 7919 >> 3);
    EXPECT_EQ(run(folder, {"edid", "--json"}, garbage).status, 0);
    EXPECT_EQ(run(folder, {"edid"}, "\u6F22\u5B57" + std::string(40, 'z') + "\u6F22").status, 0);
    EXPECT_EQ(run(folder, {"edid"}, "\x01").status, 2);
}

}  // namespace edid_command_test
}  // namespace test
