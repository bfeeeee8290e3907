#include "displaycheck/dumps/SystemProfile.h"

#include <gtest/gtest.h>

#include "displaycheck/dumps/DumpError.h"

namespace displaycheck {
namespace system_profile_test {

const std::string text = R"(Hardware:

    Hardware Overview:

      Model Name: Mac mini
      Model Identifier: Macmini8,1

Graphics/Displays:

    Intel UHD Graphics 630:

      Chipset Model: Intel UHD Graphics 630
      Type: GPU
      Vendor ID: 0x8086
      Displays:
        Color LCD:
          Display Type: Built-In Retina LCD
          Resolution: 2880 x 1800 Retina
          Online: Yes
        VORN P27: left:
          Resolution: 2560 x 1440
          Display Serial Number: VR4711
          Vendor ID: 0x5a4e
          Product ID: 2701
          Online: Yes
          Connection Type: DisplayPort
        Asleep:
          Online: No
        Display Connector:
          Status: No Display Connected

    Vorn Card:

      Chipset Model: Vorn Card
      Displays:
        VORN P24:
          Display Serial Number: 0x1234ABCD
          Connection Type: Internal

Memory:

    Model Identifier: none
)";

TEST(SystemProfile, ReadsAText) {
    const auto profile = readSystemProfile(text);
    ASSERT_TRUE(profile);
    EXPECT_EQ(profile->model, "Macmini8,1");
    EXPECT_EQ(profile->chipsets, std::vector<std::string>({"Intel UHD Graphics 630", "Vorn Card"}));
    ASSERT_EQ(profile->displays.size(), 3u);

    EXPECT_EQ(profile->displays[0].name, "Color LCD");
    EXPECT_TRUE(profile->displays[0].builtIn);
    EXPECT_EQ(profile->displays[0].vendor, std::nullopt);

    EXPECT_EQ(profile->displays[1].name, "VORN P27: left");
    EXPECT_FALSE(profile->displays[1].builtIn);
    EXPECT_EQ(profile->displays[1].vendor, 0x5A4Eu);
    EXPECT_EQ(profile->displays[1].product, 0x2701u);
    EXPECT_EQ(profile->displays[1].serial, std::nullopt);

    EXPECT_EQ(profile->displays[2].name, "VORN P24");
    EXPECT_TRUE(profile->displays[2].builtIn);
    EXPECT_EQ(profile->displays[2].serial, 0x1234ABCDu);
}

TEST(SystemProfile, ReadsATextWithWindowsLineEndsBelowItsCommand) {
    std::string other = "$ system_profiler SPDisplaysDataType\n" + text;
    for (std::size_t at = 0; (at = other.find('\n', at)) != std::string::npos; at += 2) {
        other.replace(at, 1, "\r\n");
    }
    const auto profile = readSystemProfile(other);
    ASSERT_TRUE(profile);
    EXPECT_EQ(profile->model, "Macmini8,1");
    EXPECT_EQ(profile->displays.size(), 3u);
}

/// What both of the formats below say.
void expectTheProfile(const std::optional<SystemProfile>& profile) {
    ASSERT_TRUE(profile);
    EXPECT_EQ(profile->model, "MacBookPro17,1");
    EXPECT_EQ(profile->chipsets, std::vector<std::string>({"Apple M1"}));
    ASSERT_EQ(profile->displays.size(), 2u);

    const ProfiledDisplay& panel = profile->displays[0];
    EXPECT_EQ(panel.name, "Color LCD");
    EXPECT_TRUE(panel.builtIn);
    EXPECT_EQ(panel.displayID, 1u);
    EXPECT_EQ(panel.serial, 0xFD626D62u);

    const ProfiledDisplay& monitor = profile->displays[1];
    EXPECT_EQ(monitor.name, "VORN P27");
    EXPECT_FALSE(monitor.builtIn);
    EXPECT_EQ(monitor.displayID, 0x2B28100Cu);
    EXPECT_EQ(monitor.vendor, 0x5A4Eu);
    EXPECT_EQ(monitor.product, 0x2701u);
    EXPECT_EQ(monitor.serial, std::nullopt);  // no hex number
    EXPECT_EQ(monitor.week, 22);
    EXPECT_EQ(monitor.year, 2024);
}

const std::string json = R"({
  "SPApplicationsDataType" : [ { "_name" : "x", "list" : [ [ 1 ], { "a" : null } ] } ],
  "SPDisplaysDataType" : [
    {
      "_name" : "kHW_AppleM1Item",
      "spdisplays_ndrvs" : [
        {
          "_name" : "Color LCD",
          "_spdisplays_display-serial-number" : "fd626d62",
          "_spdisplays_displayID" : "1",
          "spdisplays_connection_type" : "spdisplays_internal",
          "spdisplays_online" : "spdisplays_yes"
        },
        {
          "_name" : "VORN P27",
          "_spdisplays_display-product-id" : "2701",
          "_spdisplays_display-serial-number" : "VR4711",
          "_spdisplays_display-vendor-id" : "5a4e",
          "_spdisplays_display-week" : "22",
          "_spdisplays_display-year" : 2024,
          "_spdisplays_displayID" : "2b28100c"
        },
        { "_name" : "spdisplays_display_connector", "spdisplays_status" : "spdisplays_not_connected" }
      ],
      "sppci_model" : "Apple M1"
    }
  ],
  "SPHardwareDataType" : [ { "machine_model" : "MacBookPro17,1" } ]
}
)";

TEST(SystemProfile, ReadsJSON) {
    expectTheProfile(readSystemProfile(json));
}

std::string pair(const std::string& key, const std::string& value) {
    return "<key>" + key + "</key><string>" + value + "</string>";
}

std::string section(const std::string& type, const std::string& items) {
    return "<dict>" + pair("_dataType", type) + "<key>_items</key><array>" + items +
           "</array></dict>";
}

std::string propertyList(const std::string& root) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + root +
           "</plist>\n";
}

TEST(SystemProfile, ReadsAPropertyList) {
    const std::string panel =
        "<dict>" + pair("_name", "Color LCD") + pair("_spdisplays_displayID", "0x1") +
        pair("_spdisplays_display-serial-number", "fd626d62") +
        pair("spdisplays_display_type", "spdisplays_built-in_retinaLCD") + "</dict>";
    const std::string monitor =
        "<dict>" + pair("_name", "VORN P27") + pair("_spdisplays_displayID", "2b28100c") +
        pair("_spdisplays_display-product-id", "2701") +
        pair("_spdisplays_display-vendor-id", "5a4e") + pair("_spdisplays_display-week", "22") +
        "<key>_spdisplays_display-year</key><integer>2024</integer>" + "</dict>";
    const std::string asleep =
        "<dict>" + pair("_name", "Asleep") + pair("spdisplays_online", "spdisplays_no") + "</dict>";
    expectTheProfile(readSystemProfile(propertyList(
        "<array>" +
        section("SPDisplaysDataType", "<dict>" + pair("sppci_model", "Apple M1") +
                                          "<key>spdisplays_ndrvs</key><array>" + panel + monitor +
                                          asleep + "</array></dict>") +
        section("SPHardwareDataType",
                "<dict>" + pair("machine_model", "MacBookPro17,1") + "</dict>") +
        "</array>")));
}

TEST(SystemProfile, MayHaveNoDisplay) {
    for (const std::string& report :
         {std::string("Graphics/Displays:\n"), std::string("{\"SPDisplaysDataType\":[]}"),
          propertyList("<array>" + section("SPDisplaysDataType", "") + "</array>")}) {
        const auto profile = readSystemProfile(report);
        ASSERT_TRUE(profile) << report;
        EXPECT_EQ(profile->model, std::nullopt);
        EXPECT_TRUE(profile->chipsets.empty());
        EXPECT_TRUE(profile->displays.empty());
    }
}

TEST(SystemProfile, IsNothingElse) {
    for (const std::string& contents :
         {std::string(), std::string("{}"), std::string("[\"SPDisplaysDataType\"]"),
          std::string("{\"a\":\"SPDisplaysDataType\"}"), std::string("SPDisplaysDataType"),
          std::string("Model Identifier: Macmini8,1\n"), std::string("  Graphics/Displays:\n"),
          propertyList("<string>SPDisplaysDataType</string>")}) {
        EXPECT_FALSE(readSystemProfile(contents)) << contents;
    }
}

TEST(SystemProfile, PassesOverValuesOfOtherKinds) {
    const auto profile = readSystemProfile(
        R"({"SPDisplaysDataType":[1,{"sppci_model":true,"spdisplays_ndrvs":[null,{"_name":2,)"
        R"("_spdisplays_displayID":-1,"_spdisplays_display-week":"4711471147","_spdisplays_display-year":1.5,)"
        R"("_spdisplays_display-vendor-id":"100000000"}]}],"SPHardwareDataType":{}})");
    ASSERT_TRUE(profile);
    ASSERT_EQ(profile->displays.size(), 1u);
    EXPECT_EQ(profile->displays[0].name, "");
    EXPECT_EQ(profile->displays[0].displayID, std::nullopt);
    EXPECT_EQ(profile->displays[0].vendor, std::nullopt);
    EXPECT_EQ(profile->displays[0].week, std::nullopt);
    EXPECT_EQ(profile->displays[0].year, std::nullopt);
}

std::string errorOf(const std::string& contents) {
    try {
        readSystemProfile(contents);
    } catch (const DumpError& error) {
        return error.what();
    }
    return {};
}

TEST(SystemProfile, IsRefusedWhereItIsDamagedOrTooLarge) {
    EXPECT_EQ(errorOf(json.substr(0, json.find("\"sppci_model\""))),
              "line 25: the report is damaged; expected JSON");
    EXPECT_EQ(errorOf("{\"SPDisplaysDataType\":[1e999]}"),
              "the report is damaged; expected numbers of at most 64 bits");
    EXPECT_EQ(errorOf("{\"SPDisplaysDataType\":" + std::string(100'000, '[')),
              "the report has too many values; expected at most 100000, in 100 levels");
    EXPECT_EQ(errorOf("<plist><array><string>SPDisplaysDataType</string></plist>"),
              "the property list is damaged: line 1: expected a value");
}

TEST(SystemProfile, HasAtMostAThousandDisplaysAndGPUs) {
    const auto times = [](int count, const std::string& part) {
        std::string result;
        for (int i = 0; i < count; ++i) result += part;
        return result;
    };
    const std::string tooMuch =
        "the report lists too much; expected at most 1000 displays and as many GPUs";
    const auto texts = [&](int GPUs, int displays) {
        return "Graphics/Displays:\n" + times(GPUs, "  Chipset Model: a\n") + "  Displays:\n" +
               times(displays, "    b:\n      Online: Yes\n");
    };
    EXPECT_EQ(readSystemProfile(texts(1'000, 1'000))->displays.size(), 1'000u);
    EXPECT_EQ(errorOf(texts(1'001, 0)), tooMuch);
    EXPECT_EQ(errorOf(texts(0, 1'001)), tooMuch);

    const auto inJSON = [&](int GPUs, int displays) {
        return R"({"SPDisplaysDataType":[)" + times(GPUs, R"({"sppci_model":"a"},)") +
               R"({"spdisplays_ndrvs":[)" + times(displays, "{},") + "1]}]}";
    };
    EXPECT_EQ(readSystemProfile(inJSON(1'000, 1'000))->chipsets.size(), 1'000u);
    EXPECT_EQ(errorOf(inJSON(1'001, 0)), tooMuch);
    EXPECT_EQ(errorOf(inJSON(0, 1'001)), tooMuch);
}

TEST(SystemProfile, SkipsOtherSectionsHoweverDeep) {
    const auto profile =
        readSystemProfile("{\"a\":" + std::string(100'000, '[') + std::string(100'000, ']') +
                          ",\"SPDisplaysDataType\":[]}");
    EXPECT_TRUE(profile);
}

}  // namespace system_profile_test
}  // namespace displaycheck
