#include <fmt/format.h>
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

const std::string paneKeys =
    R"("serialNumber":16909060,"modelName":"Vorn K2725QX","serviceTag":"3CQ4R72",)"
    R"("modelInfo":"VRN27.01020304.K2725QX.3CQ4R72","plugNplayID":"VRN2725")";
const std::string verbatimLine = "{" + paneKeys + "}\n";
const std::string paneBlock =
    "  model name     Vorn K2725QX\n"
    "  PnP ID         VRN2725\n"
    "  serial number  16909060 (0x01020304)\n"
    "  service tag    3CQ4R72\n"
    "  model info     VRN27.01020304.K2725QX.3CQ4R72\n";

/// An EDID whose checksum byte is right again.
simulated_mac::Bytes mended(simulated_mac::Bytes edid) {
    edid[127] = simulated_mac::edidChecksum(edid);
    return edid;
}

/// What the command says of one EDID on standard input.
std::string shown(const simulated_mac::Bytes& edid) {
    const Folder folder;
    return run(folder, {"edid"}, hexText(edid)).output;
}

nlohmann::ordered_json jsonOf(const simulated_mac::Bytes& edid) {
    const Folder folder;
    return jsonLinesOf(run(folder, {"edid", "--json"}, hexText(edid)).output).at(0);
}

TEST(EDIDCommand, ShowsWhatThePaneReadsAndWhatElseTheEDIDSays) {
    const Folder folder;
    const auto finished = run(folder, {"edid"}, "\n" + hexText(anEDID()));
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.output, "standard input:2\n" + paneBlock +
                                   "  manufactured   week 1 of 2021\n"
                                   "  size           60 x 34 cm\n"
                                   "  header         ok\n"
                                   "  length         128 bytes\n"
                                   "  blocks         1 announced, 1 present\n"
                                   "  checksum 0     right\n");
    EXPECT_EQ(finished.errors, "");
}

TEST(EDIDCommand, PrintsOneObjectPerEDID) {
    const Folder folder;
    const std::string file = folder.write("edid.txt", "\n" + hexText(anEDID()) + "\n");
    const auto checksum = std::to_string(anEDID()[127]);
    const auto finished = run(folder, {"edid", "--json", file});
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.output,
              "{" + paneKeys + R"(,"file":")" + file +
                  R"(","line":2,"offset":null,"form":"hex","header":"ok","length":128,)"
                  R"("blocks":{"announced":1,"present":1},"checksums":[{"ok":true,"is":)" +
                  checksum + R"(,"expected":)" + checksum +
                  R"(}],"week":1,"year":2021,"is_model_year":false,"width_cm":60,"height_cm":34})"
                  "\n");
}

TEST(EDIDCommand, ReadsStandardInput) {
    const Folder folder;
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"edid", "--json"}, {"edid", "-", "--json"}, {"edid", "--json", "-"}}) {
        for (const std::string& input : {hexText(anEDID()), binaryOf(anEDID())}) {
            const auto finished = run(folder, arguments, input);
            EXPECT_EQ(finished.status, 0);
            EXPECT_EQ(jsonLinesOf(finished.output).at(0)["modelName"], "Vorn K2725QX");
            EXPECT_EQ(finished.errors, "");
        }
    }
}

TEST(EDIDCommand, TellsAWrongChecksum) {
    auto edid = anEDID();
    const unsigned right = edid[127];
    edid[127] = 0x07;
    EXPECT_NE(shown(edid).find(
                  fmt::format("  checksum 0     wrong: is 0x07, expected 0x{:02X}\n", right)),
              std::string::npos)
        << shown(edid);
    const auto object = jsonOf(edid);
    EXPECT_EQ(object["checksums"][0]["ok"], false);
    EXPECT_EQ(object["checksums"][0]["is"], 7);
    EXPECT_EQ(object["checksums"][0]["expected"], right);
}

TEST(EDIDCommand, ChecksEachBlock) {
    auto edid = anEDID();
    edid[126] = 1;
    edid = mended(edid);
    edid.resize(256, 0x01);
    const std::string text = shown(edid);
    EXPECT_NE(text.find("  checksum 0     right\n"
                        "  checksum 1     wrong: is 0x01, expected 0x81\n"),
              std::string::npos)
        << text;
}

TEST(EDIDCommand, TellsOfMissingAndUnannouncedBlocks) {
    auto edid = anEDID();
    edid[126] = 2;
    edid = mended(edid);
    edid.resize(256, 0x02);
    EXPECT_NE(shown(edid).find("3 announced, only 2 present\n"), std::string::npos) << shown(edid);
    EXPECT_EQ(jsonOf(edid)["blocks"].dump(), R"({"announced":3,"present":2})");
    edid.resize(259, 0x02);
    EXPECT_NE(shown(edid).find("only 2 present and 3 bytes of another\n"), std::string::npos);
    EXPECT_EQ(jsonOf(edid)["length"], 259);
    edid.resize(512, 0x02);
    EXPECT_NE(shown(edid).find("3 announced, 4 present\n"), std::string::npos) << shown(edid);
}

TEST(EDIDCommand, NamesTheDateAsTheEDIDMeansIt) {
    const auto dated = [](std::uint8_t week) {
        EDIDFields fields;
        fields.week = week;
        fields.year = 2020;
        return simulated_mac::makeEDID(fields);
    };
    EXPECT_NE(shown(dated(12)).find("manufactured   week 12 of 2020\n"), std::string::npos);
    EXPECT_NE(shown(dated(0)).find("manufactured   year 2020\n"), std::string::npos);
    EXPECT_NE(shown(dated(55)).find("manufactured   year 2020\n"), std::string::npos);
    EXPECT_NE(shown(dated(255)).find("manufactured   model year 2020\n"), std::string::npos);
    EXPECT_EQ(jsonOf(dated(54))["week"], 54);
    EXPECT_TRUE(jsonOf(dated(0))["week"].is_null());
    EXPECT_TRUE(jsonOf(dated(255))["week"].is_null());
    EXPECT_EQ(jsonOf(dated(255))["year"], 2020);
    EXPECT_EQ(jsonOf(dated(255))["is_model_year"], true);
}

TEST(EDIDCommand, NamesTheSizeOrTheSidesRatio) {
    const auto sized = [](std::uint8_t width, std::uint8_t height) {
        EDIDFields fields;
        fields.widthCm = width;
        fields.heightCm = height;
        return simulated_mac::makeEDID(fields);
    };
    EXPECT_NE(shown(sized(61, 35)).find("size           61 x 35 cm\n"), std::string::npos);
    EXPECT_NE(shown(sized(0, 0)).find("size           (none)\n"), std::string::npos);
    // 16:9 is 79 in hundredths over 0.99.
    EXPECT_NE(shown(sized(79, 0)).find("(none; landscape with sides as 1.78 to 1)\n"),
              std::string::npos);
    EXPECT_NE(shown(sized(0, 79)).find("(none; portrait with sides as 1.78 to 1)\n"),
              std::string::npos);
    EXPECT_TRUE(jsonOf(sized(79, 0))["width_cm"].is_null());
    EXPECT_TRUE(jsonOf(sized(0, 0))["height_cm"].is_null());
}

TEST(EDIDCommand, RefusesWhatIsNoEDID) {
    const Folder folder;
    const auto zeros = run(folder, {"edid"}, std::string(256, '0') + "\n");
    EXPECT_EQ(zeros.status, 2);
    EXPECT_EQ(zeros.output, "");
    EXPECT_EQ(zeros.errors,
              "standard input:1: does not begin with the EDID header 00FFFFFFFFFFFF00\n");

    const auto shortOne = run(folder, {"edid"}, "\n" + hexText(anEDID()).substr(0, 200));
    EXPECT_EQ(shortOne.status, 2);
    EXPECT_EQ(shortOne.output, "");
    EXPECT_EQ(shortOne.errors, "standard input:2: has 100 bytes; an EDID has at least 128\n");

    const auto prose = run(folder, {"edid"}, "My monitor is too dark.\n");
    EXPECT_EQ(prose.status, 2);
    EXPECT_EQ(prose.output, "");
    EXPECT_EQ(prose.errors,
              "standard input: has no EDID; expected 128 bytes or more that begin with "
              "00FFFFFFFFFFFF00, binary, as hex digits, or as base64\n");
}

TEST(EDIDCommand, RefusesABinaryThatIsNoEDID) {
    const Folder folder;
    auto bytes = anEDID();
    bytes[0] = 0x41;
    EXPECT_EQ(run(folder, {"edid"}, binaryOf(bytes)).status, 2);
    const auto cut = run(folder, {"edid"}, binaryOf(anEDID()).substr(0, 127));
    EXPECT_EQ(cut.status, 2);
    EXPECT_EQ(cut.errors, "standard input: has 127 bytes; an EDID has at least 128\n");
}

TEST(EDIDCommand, ShowsTheOthersBesideWhatIsNoEDID) {
    const Folder folder;
    const std::string good = hexText(anEDID());
    const std::string file =
        folder.write("edids.txt", good + "\n" + std::string(256, '0') + "\n" + good + "\n");
    const auto human = run(folder, {"edid", file});
    EXPECT_EQ(human.status, 2);
    EXPECT_EQ(human.errors, file + ":2: does not begin with the EDID header 00FFFFFFFFFFFF00\n");
    EXPECT_NE(human.output.find(file + ":3\n"), std::string::npos);

    const auto json = run(folder, {"edid", "--json", file});
    EXPECT_EQ(json.status, 2);
    EXPECT_EQ(json.errors, "");
    const auto objects = jsonLinesOf(json.output);
    ASSERT_EQ(objects.size(), 3u);
    EXPECT_EQ(objects[0]["line"], 1);
    EXPECT_EQ(keysOf(objects[1]), (std::vector<std::string>{"error", "file", "line", "offset"}));
    EXPECT_EQ(objects[1]["line"], 2);
    EXPECT_EQ(objects[2]["line"], 3);
}

TEST(EDIDCommand, NamesThePlaceInABinaryFileByItsOffset) {
    const Folder folder;
    auto second = anEDID();
    second[12] = 0x05;
    const std::string file = folder.write("two.bin", binaryOf(anEDID()) + binaryOf(mended(second)));
    const auto lines = linesOf(run(folder, {"edid", file}).output);
    EXPECT_EQ(lines.at(0), file);
    EXPECT_EQ(lines.at(12), file + ", offset 128");
    const auto objects = jsonLinesOf(run(folder, {"edid", "--json", file}).output);
    EXPECT_TRUE(objects.at(1)["line"].is_null());
    EXPECT_EQ(objects.at(1)["offset"], 128);
}

/// Inputs that give no EDID at all, by path.
std::vector<std::string> uselessFiles(const Folder& folder) {
    return {folder.write("empty", ""),
            folder.write("blank", " \n\r\n"),
            folder.write("marked", "\xEF\xBB\xBF\n"),
            folder.write("prose", "My monitor is too dark.\n"),
            folder.path("missing"),
            folder.path("")};
}

TEST(EDIDCommand, NamesFilesItCannotUseAndGoesOn) {
    const Folder folder;
    const std::string good = folder.write("good.txt", hexText(anEDID()));
    for (const std::string& bad : uselessFiles(folder)) {
        const auto finished = run(folder, {"edid", bad, good});
        EXPECT_EQ(finished.status, 2) << bad;
        EXPECT_NE(finished.output.find("Vorn K2725QX"), std::string::npos);
        EXPECT_EQ(finished.errors.rfind(bad + ": ", 0), 0u) << finished.errors;
    }
}

TEST(EDIDCommand, HasAnObjectForEveryFile) {
    const Folder folder;
    const std::string good = folder.write("good.txt", hexText(anEDID()));
    for (const std::string& bad : uselessFiles(folder)) {
        const auto finished = run(folder, {"edid", "--json", bad, good});
        EXPECT_EQ(finished.status, 2) << bad;
        EXPECT_EQ(finished.errors, "");
        const auto objects = jsonLinesOf(finished.output);
        ASSERT_EQ(objects.size(), 2u) << bad;
        EXPECT_EQ(keysOf(objects[0]),
                  (std::vector<std::string>{"error", "file", "line", "offset"}));
        EXPECT_EQ(objects[0]["file"], bad);
        EXPECT_TRUE(objects[0]["line"].is_null());
        EXPECT_TRUE(objects[0]["offset"].is_null());
        EXPECT_EQ(objects[1]["file"], good);
    }
    const auto empty = run(folder, {"edid", "--json"}, "");
    EXPECT_EQ(empty.status, 2);
    EXPECT_EQ(empty.output,
              R"({"error":"is empty; expected an EDID, binary or as a line of hex digits",)"
              R"("file":"standard input","line":null,"offset":null})"
              "\n");
    EXPECT_EQ(jsonLinesOf(run(folder, {"edid", "--json", "/dev/zero"}).output).at(0)["error"],
              "is too large; expected at most 64 MiB");
}

TEST(EDIDCommand, ReadsNoEndlessFile) {
    const Folder folder;
    const auto finished = run(folder, {"edid", "/dev/zero"});
    EXPECT_EQ(finished.status, 2);
    EXPECT_EQ(finished.output, "");
    EXPECT_EQ(finished.errors, "/dev/zero: is too large; expected at most 64 MiB\n");
}

// Line by line, as the pane's decoder takes any text.

TEST(EDIDCommandVerbatim, DecodesLinesAsThePaneDoes) {
    const Folder folder;
    const auto finished =
        run(folder, {"edid", "--verbatim", "--json"},
            "\xEF\xBB\xBF\r\n  " + hexText(anEDID()) + " \t\r\n\n\n" + hexText(anEDID()) + "\r\n");
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.output, verbatimLine + verbatimLine);
    EXPECT_EQ(run(folder, {"edid", "--verbatim"}, "\n" + hexText(anEDID())).output,
              "standard input:2\n" + paneBlock);
}

TEST(EDIDCommandVerbatim, DecodesBinaryFilesWithOrWithoutHeader) {
    const Folder folder;
    const std::string whole = folder.write("whole.bin", binaryOf(anEDID()));
    auto bytes = anEDID();
    bytes[0] = 0x41;
    const std::string damaged = folder.write("damaged.bin", binaryOf(bytes));
    const auto finished = run(folder, {"edid", "--verbatim", "--json", whole, damaged});
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.output, verbatimLine + verbatimLine);
    EXPECT_EQ(run(folder, {"edid", "--verbatim", "--json"}, binaryOf(anEDID())).output,
              verbatimLine);
}

TEST(EDIDCommandVerbatim, WritesMissingTextsAsNull) {
    const Folder folder;
    const auto finished = run(folder, {"edid", "--verbatim", "--json"}, std::string(256, '0'));
    EXPECT_EQ(finished.status, 0);
    const auto object = jsonLinesOf(finished.output).at(0);
    EXPECT_EQ(keysOf(object), (std::vector<std::string>{"serialNumber", "modelName", "serviceTag",
                                                        "modelInfo", "plugNplayID"}));
    EXPECT_EQ(object["serialNumber"], 0);
    EXPECT_TRUE(object["modelName"].is_null());
    EXPECT_TRUE(object["serviceTag"].is_null());
    EXPECT_EQ(object["plugNplayID"], "@@@0000");
}

TEST(EDIDCommandVerbatim, GoesOnBehindATextThatIsTooShort) {
    const Folder folder;
    const std::string file =
        folder.write("edids.txt", std::string(31, 'A') + "\n" + hexText(anEDID()) + "\n");
    const auto json = run(folder, {"edid", "--verbatim", "--json", file});
    EXPECT_EQ(json.status, 2);
    const auto lines = jsonLinesOf(json.output);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(keysOf(lines[0]), std::vector<std::string>{"error"});
    EXPECT_EQ(lines[1].dump() + "\n", verbatimLine);
    EXPECT_EQ(json.errors, "");

    const auto human = run(folder, {"edid", "--verbatim", file});
    EXPECT_EQ(human.status, 2);
    EXPECT_EQ(human.errors.rfind(file + ":1: ", 0), 0u) << human.errors;
    EXPECT_NE(human.output.find("VRN2725"), std::string::npos);

    EXPECT_EQ(run(folder, {"edid", "--verbatim"}, std::string(32, 'A')).status, 0);
}

TEST(EDIDCommandVerbatim, HasAnObjectForAFileItCannotUse) {
    const Folder folder;
    const std::string missing = folder.path("missing");
    const auto json = run(folder, {"edid", "--verbatim", "--json", missing});
    EXPECT_EQ(json.status, 2);
    EXPECT_EQ(json.errors, "");
    EXPECT_EQ(jsonLinesOf(json.output).at(0)["file"], missing);
    EXPECT_EQ(run(folder, {"edid", "--verbatim", missing}).errors.rfind(missing + ": ", 0), 0u);
}

TEST(EDIDCommandVerbatim, ReadsWhatDoesNotBeginAsAnEDIDAndTellsPeople) {
    const Folder folder;
    const std::string zeros(256, '0');
    const auto human = run(folder, {"edid", "--verbatim"}, hexText(anEDID()) + "\n" + zeros);
    EXPECT_EQ(human.status, 0);
    EXPECT_EQ(human.errors,
              "standard input:2: does not begin with the EDID header 00FFFFFFFFFFFF00; "
              "decoding it anyway\n");
    EXPECT_NE(human.output.find("@@@0000"), std::string::npos);
    EXPECT_EQ(run(folder, {"edid", "--verbatim", "--json"}, zeros).errors, "");
}

TEST(EDIDCommandVerbatim, SurvivesAnything) {
    const Folder folder;
    std::string garbage;
    for (unsigned at = 0; at < 5000; ++at) garbage += static_cast<char>(at * 7919 >> 3);
    EXPECT_EQ(run(folder, {"edid", "--verbatim", "--json"}, garbage).status, 0);
    EXPECT_EQ(run(folder, {"edid", "--json"}, garbage).status, 2);
    EXPECT_EQ(run(folder, {"edid", "--verbatim"}, "\u6F22\u5B57" + std::string(40, 'z') + "\u6F22")
                  .status,
              0);
    EXPECT_EQ(run(folder, {"edid", "--verbatim"}, "\x01").status, 2);
}

}  // namespace edid_command_test
}  // namespace test
