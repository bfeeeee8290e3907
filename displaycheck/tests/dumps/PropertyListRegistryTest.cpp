#include "displaycheck/dumps/PropertyListRegistry.h"

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <cstdlib>

#include "displaycheck/dumps/DumpError.h"

namespace displaycheck {
namespace property_list_registry_test {

std::string propertyList(const std::string& root) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n" +
           root + "\n</plist>\n";
}

std::string entry(const std::string& name, const std::string& className,
                  const std::string& otherKeys) {
    return "<dict><key>IORegistryEntryName</key><string>" + name +
           "</string><key>IOObjectClass</key><string>" + className + "</string>" + otherKeys +
           "</dict>";
}

std::string children(const std::string& entries) {
    return "<key>IORegistryEntryChildren</key><array>" + entries + "</array>";
}

std::string binaryOf(const std::string& xml) {
    plist_t list = nullptr;
    plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &list);
    char* bytes = nullptr;
    std::uint32_t size = 0;
    plist_to_bin(list, &bytes, &size);
    std::string binary(bytes, size);
    std::free(bytes);
    plist_free(list);
    return binary;
}

std::string errorOf(const std::string& contents) {
    try {
        registryTextOf(contents);
    } catch (const DumpError& error) {
        return error.what();
    }
    return {};
}

std::string repeated(const std::string& text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i) result += text;
    return result;
}

/// The line of the only entry's only property.
std::string printed(const std::string& value) {
    const auto text =
        registryTextOf(propertyList(entry("a", "IORegistryEntry", "<key>value</key>" + value)));
    const std::string before = "+-o a  <class IORegistryEntry>\n    {\n      \"value\" = ";
    const std::string after = "\n    }\n    \n";
    EXPECT_TRUE(text && text->size() >= before.size() + after.size()) << value;
    EXPECT_EQ(text->substr(0, before.size()), before);
    EXPECT_EQ(text->substr(text->size() - after.size()), after);
    return text->substr(before.size(), text->size() - before.size() - after.size());
}

const std::string tree = propertyList(entry(
    "Root", "IORegistryEntry",
    "<key>IORegistryEntryID</key><integer>4294967552</integer>"
    "<key>IOObjectRetainCount</key><integer>20</integer>"
    "<key>OS Build Version</key><string>18E226</string>" +
        children(entry("Macmini8,1", "IOPlatformExpertDevice",
                       "<key>IORegistryEntryID</key><integer>4294967572</integer>"
                       "<key>IOServiceState</key><integer>30</integer>"
                       "<key>IOServiceBusyState</key><integer>0</integer>"
                       "<key>IOServiceBusyTime</key><integer>4891999999</integer>"
                       "<key>IOObjectRetainCount</key><integer>45</integer>" +
                           children(entry("PCI0", "IOACPIPlatformDevice",
                                          "<key>IORegistryEntryLocation</key><string>1F,2</string>"
                                          "<key>IOServiceState</key><integer>1</integer>"
                                          "<key>IOServiceBusyState</key><integer>2</integer>" +
                                              children(entry("IGPU", "IOPCIDevice", ""))) +
                                    entry("RTC", "IOService", "<key>a</key><true/>"))))));

const std::string treeText = R"(+-o Root  <class IORegistryEntry, id 0x100000100, retain 20>
  | {
  |   "OS Build Version" = "18E226"
  | }
  | 
  +-o Macmini8,1  <class IOPlatformExpertDevice, id 0x100000114, registered, matched, active, busy 0 (4891 ms), retain 45>
    | {
    | }
    | 
    +-o PCI0@1F,2  <class IOACPIPlatformDevice, !registered, !matched, inactive, busy 2>
    | | {
    | | }
    | | 
    | +-o IGPU  <class IOPCIDevice, registered, matched, active, busy 0>
    |     {
    |     }
    |     
    +-o RTC  <class IOService, registered, matched, active, busy 0>
        {
          "a" = Yes
        }
        
)";

TEST(PropertyListRegistry, IsPrintedAsTheToolPrintsItsTree) {
    EXPECT_EQ(registryTextOf(tree), treeText);
}

TEST(PropertyListRegistry, MayBeBinary) {
    EXPECT_EQ(registryTextOf(binaryOf(tree)), treeText);
}

TEST(PropertyListRegistry, MayHaveSeveralRoots) {
    const std::string display = entry("a", "IODisplay", "");
    EXPECT_EQ(registryTextOf(propertyList("<array>" + display + display + "</array>")),
              repeated("+-o a  <class IODisplay, registered, matched, active, busy 0>\n"
                       "    {\n    }\n    \n\n",
                       2));
}

TEST(PropertyListRegistry, PrintsEachKindOfValue) {
    EXPECT_EQ(printed("<true/>"), "Yes");
    EXPECT_EQ(printed("<false/>"), "No");
    EXPECT_EQ(printed("<integer>0</integer>"), "0");
    EXPECT_EQ(printed("<integer>18446744073709551615</integer>"), "18446744073709551615");
    EXPECT_EQ(printed("<integer>-1</integer>"), "18446744073709551615");
    EXPECT_EQ(printed("<string>a \"b\" &lt;c&gt; \u00E9</string>"), "\"a \"b\" <c> \u00E9\"");
    EXPECT_EQ(printed("<string></string>"), "\"\"");
    EXPECT_EQ(printed("<data>AP8Q</data>"), "<00ff10>");
    EXPECT_EQ(printed("<data></data>"), "<>");
    EXPECT_EQ(printed("<data>TWFjbWluaTgsMQA=</data>"), "<\"Macmini8,1\">");
    EXPECT_EQ(printed("<data>YWIAYwA=</data>"), "<\"ab\",\"c\">");
    EXPECT_EQ(printed("<data>YQ==</data>"), "<61>");
    EXPECT_EQ(printed("<array><integer>1</integer><string>b</string></array>"), "(1,\"b\")");
    EXPECT_EQ(printed("<array/>"), "()");
    EXPECT_EQ(printed("<dict><key>k</key><dict><key>x</key><data>/w==</data></dict>"
                      "<key>l</key><array/></dict>"),
              "{\"k\"={\"x\"=<ff>},\"l\"=()}");
    EXPECT_EQ(printed("<date>2024-03-01T12:00:00Z</date>"), "\"2024-03-01T12:00:00Z\"");
    EXPECT_EQ(printed("<real>1.5</real>"), "\"1.5\"");
}

TEST(PropertyListRegistry, IsNothingElse) {
    EXPECT_FALSE(registryTextOf(""));
    EXPECT_FALSE(registryTextOf("+-o Root  <class IORegistryEntry>\n"));
    EXPECT_FALSE(registryTextOf("IOObjectClass"));
    EXPECT_FALSE(registryTextOf("<?xml version=\"1.0\"?><html>IOObjectClass</html>"));
    EXPECT_FALSE(registryTextOf(propertyList("<dict><key>a</key><true/></dict>")));
    EXPECT_FALSE(registryTextOf(propertyList("<string>IOObjectClass</string>")));
    EXPECT_FALSE(registryTextOf(propertyList("<array><string>IOObjectClass</string></array>")));
}

TEST(PropertyListRegistry, IsRefusedWhereItIsDamaged) {
    const std::string mark = "<!-- IOObjectClass -->";
    EXPECT_EQ(errorOf(tree.substr(0, tree.size() / 2)),
              "the property list is damaged: line 4: expected \">\" behind \"<\"");
    EXPECT_EQ(errorOf("<plist>" + mark + "<dict>\n<key>a</key>"),
              "the property list is damaged: it ends inside a dictionary or a list");
    EXPECT_EQ(errorOf("<plist>" + mark + "<dict></dict>"),
              "the property list is damaged: it ends before </plist>");
    EXPECT_EQ(errorOf("<plist>" + mark + "\n<array x=\"></array>\"></array></plist>"),
              "the property list is damaged: line 2: expected a tag without attributes");
    EXPECT_EQ(errorOf("<plist>" + mark + "<dict></array></plist>"), "the property list is damaged");
    EXPECT_EQ(errorOf("<plist>" + mark + "<dict><plist></dict></plist>"),
              "the property list is damaged: line 1: expected a value");
}

TEST(PropertyListRegistry, IsRefusedWhereABinaryOneIsDamaged) {
    const std::string binary = binaryOf(tree);
    for (std::size_t size = 0; size < binary.size(); ++size) {
        try {
            EXPECT_FALSE(registryTextOf(binary.substr(0, size))) << size;
        } catch (const DumpError&) {
            // Which of the two depends on whether the keys are still there.
        }
    }
    EXPECT_EQ(errorOf(binary.substr(0, binary.size() - 1)),
              "the property list is damaged: its table of objects is not where its end says");
}

const char* const tooDeep = "the property list is nested too deeply; expected at most 1000 levels";

TEST(PropertyListRegistry, IsRefusedWhereItIsNestedTooDeeply) {
    const auto nested = [](int levels) {
        return propertyList(entry(
            "a", "b",
            "<key>c</key>" + repeated("<array>", levels - 1) + repeated("</array>", levels - 1)));
    };
    EXPECT_TRUE(registryTextOf(nested(1'000)));
    EXPECT_EQ(errorOf(nested(1'001)), tooDeep);
    EXPECT_EQ(errorOf(nested(1'000'000)), tooDeep);
}

std::string bigEndian(std::size_t value, int size) {
    std::string bytes;
    while (size > 0) bytes += static_cast<char>(value >> 8 * --size & 0xFF);
    return bytes;
}

/// A binary property list of these objects, the first at its top.
std::string binaryWith(const std::vector<std::string>& objects) {
    std::string binary = "bplist00";
    std::string table;
    for (const std::string& object : objects) {
        table += bigEndian(binary.size(), 4);
        binary += object;
    }
    const std::size_t tableAt = binary.size();
    return binary + table + std::string(6, '\0') + "\x04\x04" + bigEndian(objects.size(), 8) +
           bigEndian(0, 8) + bigEndian(tableAt, 8);
}

const std::string mark = "\x5DIOObjectClass";

TEST(PropertyListRegistry, IsRefusedWhereABinaryOneIsNestedTooDeeply) {
    std::vector<std::string> objects;
    while (objects.size() < 100'000) {
        objects.push_back("\xA1" + bigEndian(objects.size() + 1, 4));
    }
    objects.push_back(mark);
    EXPECT_EQ(errorOf(binaryWith(objects)), tooDeep);
}

TEST(PropertyListRegistry, IsRefusedWhereABinaryOneHoldsItself) {
    EXPECT_EQ(errorOf(binaryWith({"\xA2" + bigEndian(1, 4) + bigEndian(0, 4), mark})),
              "the property list is damaged: an object holds itself");
    EXPECT_EQ(errorOf(binaryWith({"\xA2" + bigEndian(1, 4) + bigEndian(2, 4), mark})),
              "the property list is damaged: an object refers to one that is not there");
}

TEST(PropertyListRegistry, IsRefusedWhereABinaryOneUnpacksToTooMuch) {
    // Each holds the next twice.
    std::vector<std::string> objects;
    while (objects.size() < 60) {
        const std::string next = bigEndian(objects.size() + 1, 4);
        objects.push_back("\xA2" + next + next);
    }
    objects.push_back(mark);
    EXPECT_EQ(errorOf(binaryWith(objects)),
              "the property list is too large; expected at most 512 MiB of values");
}

TEST(PropertyListRegistry, IsRefusedWhereADictionaryHasTooManyKeys) {
    EXPECT_EQ(errorOf(propertyList(entry("a", "b", repeated("<key>c</key><true/>", 20'000)))),
              "line 4: the dictionary is too large; expected at most 20000 keys");
}

TEST(PropertyListRegistry, IsRefusedWhereABinaryDictionaryHasTooManyKeys) {
    const auto withKeys = [](int keys) {
        return binaryWith({"\xDF\x12" + bigEndian(static_cast<std::size_t>(keys), 4) +
                               repeated(bigEndian(1, 4), keys) + repeated(bigEndian(2, 4), keys),
                           mark, "\x09"});
    };
    EXPECT_FALSE(registryTextOf(withKeys(20'000)));
    EXPECT_EQ(errorOf(withKeys(20'001)),
              "a dictionary of the property list is too large; expected at most 20000 keys");
}

TEST(PropertyListRegistry, IsRefusedWhereATextHasAZeroByte) {
    const std::string zero(1, '\0');
    EXPECT_EQ(errorOf(propertyList(entry("a", "b" + zero, ""))),
              "the property list is damaged: line 4: it has a zero byte");
    const std::string inBinary = "the property list is damaged: a text has a zero byte";
    const std::string list = "\xA2" + bigEndian(1, 4) + bigEndian(2, 4);
    EXPECT_EQ(errorOf(binaryWith({list, mark,
                                  "\x53"
                                  "a" +
                                      zero + "b"})),
              inBinary);
    EXPECT_EQ(errorOf(binaryWith({list, mark, "\x62" + zero + "a" + zero + zero})), inBinary);
    // Half of a unit is no zero.
    EXPECT_FALSE(registryTextOf(binaryWith({list, mark, "\x62" + zero + "a" + zero + "b"})));
}

TEST(PropertyListRegistry, IsRefusedWhereItsTextIsTooLarge) {
    // Entries without a property, deep down: their lines are little else than what the levels above
    // put in front.
    constexpr int levels = 400;
    std::string xml = repeated(entry("a", "b", ""), 100'000);
    for (int level = 0; level < levels; ++level) xml = entry("a", "b", children(xml));
    EXPECT_EQ(errorOf(propertyList(xml)), "is too large; expected a registry of at most 256 MiB");
}

}  // namespace property_list_registry_test
}  // namespace displaycheck
