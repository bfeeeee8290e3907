#include "displaycheck/dumps/EDIDText.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>

#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/HexText.h"

namespace test {
namespace edid_text_test {

using displaycheck::findEDIDs;
using displaycheck::FoundEDID;
using displaycheck::searchForEDIDs;
using simulated_mac::Bytes;

constexpr std::size_t blockSize = simulated_mac::edidBlockSize;

/// An EDID of a monitor with this serial number, and that many extension blocks.
Bytes anEDID(std::uint32_t serial = 1, std::uint8_t extensions = 0) {
    simulated_mac::EDIDFields fields;
    fields.serial = serial;
    fields.name = "VORN K2725QX";
    Bytes edid = simulated_mac::makeEDID(fields);
    edid[126] = extensions;
    edid[127] = simulated_mac::edidChecksum(edid);
    for (unsigned block = 0; block < extensions; ++block) {
        for (unsigned at = 0; at < blockSize; ++at) {
            edid.push_back(static_cast<std::uint8_t>(at < 40 ? 2 + at * 7 + block : 0));
        }
    }
    return edid;
}

std::string binaryOf(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

std::string upperHex(const Bytes& bytes) {
    return simulated_mac::hexText(bytes);
}

std::string lowerHex(const Bytes& bytes) {
    return fmt::format("{:02x}", fmt::join(bytes, ""));
}

/// A text in lines of that many characters.
std::string wrapped(const std::string& text, std::size_t width, const std::string& before = "") {
    std::string lines;
    for (std::size_t at = 0; at < text.size(); at += width) {
        lines += before + text.substr(at, width) + "\n";
    }
    return lines;
}

/// Calls `line` with the bytes of each line and their address.
std::string inLines(const Bytes& bytes, std::size_t width,
                    const std::function<std::string(std::size_t, const Bytes&)>& line) {
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += width) {
        const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        const auto count = static_cast<std::ptrdiff_t>(std::min(width, bytes.size() - at));
        text += line(at, Bytes(begin, begin + count));
    }
    return text;
}

std::string charactersOf(const Bytes& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
    }
    return text;
}

std::string asXxd(const Bytes& bytes) {
    return inLines(bytes, 16, [](std::size_t at, const Bytes& line) {
        std::string groups;
        for (std::size_t byte = 0; byte < line.size(); ++byte) {
            groups += fmt::format("{:02x}{}", line[byte], byte % 2 == 1 ? " " : "");
        }
        return fmt::format("{:08x}: {:<40} {}\n", at, groups, charactersOf(line));
    });
}

std::string asHexdump(const Bytes& bytes) {
    Bytes last;
    bool repeats = false;
    const std::string lines = inLines(bytes, 16, [&](std::size_t at, const Bytes& line) {
        if (line == last) return std::exchange(repeats, true) ? "" : std::string("*\n");
        last = line;
        repeats = false;
        std::string columns;
        for (std::size_t byte = 0; byte < line.size(); ++byte) {
            columns += fmt::format("{:02x} {}", line[byte], byte == 7 ? " " : "");
        }
        return fmt::format("{:08x}  {:<50}|{}|\n", at, columns, charactersOf(line));
    });
    return lines + fmt::format("{:08x}\n", bytes.size());
}

std::string asCArray(const Bytes& bytes) {
    return "/* 0x00 to 0xff */\nstatic const unsigned char edid[] = {\n" +
           inLines(bytes, 8,
                   [](std::size_t at, const Bytes& line) {
                       return fmt::format("    {:#04x}, // at {}\n", fmt::join(line, ", "), at);
                   }) +
           "};\nunsigned int edid_len = 128;\n";
}

std::string asDecoded(const Bytes& bytes) {
    return "edid-decode (hex):\n\n" +
           inLines(bytes, blockSize,
                   [](std::size_t, const Bytes& block) {
                       return inLines(block, 16,
                                      [](std::size_t, const Bytes& line) {
                                          return fmt::format("{:02x}\n", fmt::join(line, " "));
                                      }) +
                              "\n";
                   }) +
           "----------------\n\nBlock 0, Base EDID:\n  EDID Structure Version & Revision: 1.4\n"
           "  Vendor & Product Identification:\n    Manufacturer: VRN\n    Model: 9999\n"
           "Checksum: 0x7f\n";
}

std::string base64Of(const Bytes& bytes) {
    constexpr auto digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    return inLines(bytes, 3, [](std::size_t, const Bytes& three) {
        unsigned bits = 0;
        for (std::size_t at = 0; at < 3; ++at)
            bits = bits << 8 | (at < three.size() ? three[at] : 0);
        std::string text;
        for (std::size_t at = 0; at < 4; ++at) {
            text += at <= three.size() ? digits[bits >> (18 - 6 * at) & 0x3F] : '=';
        }
        return text;
    });
}

std::string asPropertyList(const Bytes& bytes) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
           "\t<key>IODisplayEDID</key>\n\t<data>\n" +
           wrapped(base64Of(bytes), 52, "\t") +
           "\t</data>\n\t<key>IODisplayPrefsKey</key>\n\t<string>abcdef</string>\n</dict>\n"
           "</plist>\n";
}

std::string asIoreg(const Bytes& bytes) {
    return "+-o AppleDisplay  <class AppleDisplay, id 0x100000345, registered>\n"
           "  {\n"
           "    \"IOClass\" = \"AppleDisplay\"\n"
           "    \"compatible\" = <6469737000000000aabbccdd00112233>\n"
           "    \"IODisplayEDID\" = <" +
           lowerHex(bytes) +
           ">\n"
           "    \"DisplayProductID\" = 4660\n"
           "    \"IODisplayParameters\" = {\"bklt\"={\"max\"=65536,\"min\"=<00ff>}}\n"
           "  }\n";
}

std::string asUTF16(const std::string& text, bool bigEndian) {
    std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char character : text) {
        bytes += bigEndian ? std::string{'\0', character} : std::string{character, '\0'};
    }
    return bytes;
}

std::string withWindowsLineEnds(const std::string& text) {
    std::string lines;
    for (const char character : text) {
        if (character == '\n') lines += '\r';
        lines += character;
    }
    return lines;
}

/// The forms in which one EDID is written.
const std::map<std::string, std::function<std::string(const Bytes&)>>& forms() {
    static const std::map<std::string, std::function<std::string(const Bytes&)>> all = {
        {"binary", binaryOf},
        {"upper-case hex", [](const Bytes& edid) { return upperHex(edid) + "\n"; }},
        {"lower-case hex without a line end", lowerHex},
        {"hex in lines of half a block", [](const Bytes& e) { return wrapped(upperHex(e), 128); }},
        {"hex in lines of 32 digits", [](const Bytes& e) { return wrapped(lowerHex(e), 32, " "); }},
        {"hex in lines of 75 digits", [](const Bytes& e) { return wrapped(lowerHex(e), 75); }},
        {"xxd -p", [](const Bytes& edid) { return wrapped(lowerHex(edid), 60); }},
        {"hex with blanks",
         [](const Bytes& edid) { return fmt::format("{:02X}\n", fmt::join(edid, " ")); }},
        {"hex with colons",
         [](const Bytes& edid) { return fmt::format("{:02x}\n", fmt::join(edid, ":")); }},
        {"hex with prefixes and commas",
         [](const Bytes& edid) { return fmt::format("{:#x}\n", fmt::join(edid, ", ")); }},
        {"a C string",
         [](const Bytes& e) { return fmt::format("\"\\x{:02x}\";\n", fmt::join(e, "\\x")); }},
        {"quoted", [](const Bytes& edid) { return "\"" + upperHex(edid) + "\",\n"; }},
        {"a value in JSON",
         [](const Bytes& e) { return R"({"name": "dead", "edid": ")" + lowerHex(e) + "\"}\n"; }},
        {"a C array", asCArray},
        {"a C array with four bytes a line",
         [](const Bytes& edid) {
             return "unsigned char edid[] = {" +
                    inLines(edid, 4,
                            [](std::size_t, const Bytes& line) {
                                return fmt::format("{:#04x},\n", fmt::join(line, ", "));
                            }) +
                    "};\n";
         }},
        {"a byte a line", [](const Bytes& e) { return wrapped(lowerHex(e), 2); }},
        {"a registry export",
         [](const Bytes& edid) {
             return "[Device Parameters]\n\"EDID\"=hex:" +
                    inLines(edid, 20,
                            [](std::size_t, const Bytes& line) {
                                return fmt::format("{:02x},\\\n  ", fmt::join(line, ","));
                            }) +
                    "\n\"Next\"=dword:00000001\n";
         }},
        {"a C array on one line",
         [](const Bytes& edid) {
             return fmt::format("unsigned char edid[] = {{{:#04x}}};\n", fmt::join(edid, ", "));
         }},
        {"angle brackets", [](const Bytes& edid) { return "<" + lowerHex(edid) + ">\n"; }},
        {"angle brackets over lines",
         [](const Bytes& edid) { return "<" + wrapped(lowerHex(edid), 80) + ">\n"; }},
        {"a dump of ioreg", asIoreg},
        {"xxd", asXxd},
        {"hexdump -C", asHexdump},
        {"edid-decode", asDecoded},
        {"base64", [](const Bytes& edid) { return wrapped(base64Of(edid), 76); }},
        {"a property list", asPropertyList},
        {"a property list's line",
         [](const Bytes& e) {
             return "<key>IODisplayEDID</key><data>" + base64Of(e) + "</data>\n";
         }},
        {"a byte order mark", [](const Bytes& edid) { return "\xEF\xBB\xBF" + upperHex(edid); }},
        {"UTF-16", [](const Bytes& edid) { return asUTF16(asIoreg(edid), false); }},
        {"big-endian UTF-16", [](const Bytes& edid) { return asUTF16(asXxd(edid), true); }},
        {"Windows line ends", [](const Bytes& e) { return withWindowsLineEnds(asHexdump(e)); }},
        {"a list with Windows line ends",
         [](const Bytes& edid) { return withWindowsLineEnds(asPropertyList(edid)); }},
    };
    return all;
}

FoundEDID only(const std::string& text) {
    const auto search = searchForEDIDs(text);
    EXPECT_EQ(search.found.size(), 1u) << text;
    EXPECT_TRUE(search.refused.empty()) << search.refused[0].fault;
    return search.found.empty() ? FoundEDID() : search.found[0];
}

std::vector<std::size_t> linesOf(const std::vector<FoundEDID>& found) {
    std::vector<std::size_t> lines;
    for (const FoundEDID& edid : found) lines.push_back(edid.line);
    return lines;
}

/// What is refused, as "LINE: FAULT".
std::vector<std::string> refusals(const std::string& text) {
    std::vector<std::string> texts;
    for (const auto& refused : searchForEDIDs(text).refused) {
        texts.push_back(fmt::format("{}: {}", refused.line, refused.fault));
    }
    return texts;
}

TEST(EDIDText, IsFoundInEveryForm) {
    for (const auto& [form, write] : forms()) {
        for (const std::uint8_t extensions : Bytes{0, 1, 2}) {
            SCOPED_TRACE(form);
            const Bytes edid = anEDID(0x01020304, extensions);
            EXPECT_EQ(upperHex(only(write(edid)).bytes), upperHex(edid));
        }
    }
}

// A collection of real monitors' EDIDs: tab-separated, in hex in the last column, after a header
// line.
TEST(EDIDText, OfRealMonitorsIsFoundInEveryForm) {
    const char* const path = std::getenv("EDID_CORPUS");
    if (path == nullptr) GTEST_SKIP() << "EDID_CORPUS names no file of real EDIDs";
    std::ifstream file(path);
    ASSERT_TRUE(file) << path;
    std::string line;
    std::getline(file, line);
    std::size_t monitors = 0;
    while (std::getline(file, line)) {
        const std::string hex = line.substr(line.rfind('\t') + 1);
        Bytes edid;
        for (std::size_t at = 0; at < hex.size(); at += 2) {
            edid.push_back(static_cast<std::uint8_t>(std::stoul(hex.substr(at, 2), nullptr, 16)));
        }
        ++monitors;
        for (const auto& [form, write] : forms()) {
            const auto search = searchForEDIDs(write(edid));
            ASSERT_TRUE(search.refused.empty()) << form << ": " << line;
            Bytes all;
            for (const auto& found : search.found) {
                all.insert(all.end(), found.bytes.begin(), found.bytes.end());
            }
            ASSERT_EQ(upperHex(all), upperHex(edid)) << form << ": " << line;
            // One of them has another monitor's first block for an extension.
            const bool isTwo =
                edid.size() > blockSize && edid[blockSize] == 0 && edid[blockSize + 1] == 0xFF &&
                !std::equal(edid.begin(), edid.begin() + blockSize, edid.begin() + blockSize);
            ASSERT_EQ(search.found.size(), isTwo ? 2u : 1u) << form << ": " << line;
        }
    }
    EXPECT_GE(monitors, 1000u);
    RecordProperty("monitors", static_cast<int>(monitors));
}

TEST(EDIDText, SaysItsForm) {
    const Bytes edid = anEDID(1, 1);
    EXPECT_EQ(only(binaryOf(edid)).form, "binary");
    EXPECT_EQ(only(lowerHex(edid)).form, "hex");
    EXPECT_EQ(only(asIoreg(edid)).form, "<hex>");
    EXPECT_EQ(only(asCArray(edid)).form, "C array");
    EXPECT_EQ(only(asXxd(edid)).form, "xxd");
    EXPECT_EQ(only(asHexdump(edid)).form, "hexdump");
    EXPECT_EQ(only(asDecoded(edid)).form, "edid-decode");
    EXPECT_EQ(only(base64Of(edid)).form, "base64");
    EXPECT_EQ(only(asPropertyList(edid)).form, "property list");
}

TEST(EDIDText, SaysWhereItBeginsAndHowItIsWritten) {
    const auto value = only(asIoreg(anEDID()));
    EXPECT_EQ(value.line, 5u);
    EXPECT_EQ(value.givenText, lowerHex(anEDID()));
    const auto lines = only("\n\n" + wrapped(upperHex(anEDID()), 128));
    EXPECT_EQ(lines.line, 3u);
    EXPECT_EQ(lines.givenText + "\n", wrapped(upperHex(anEDID()), 128));
    const auto binary = only(binaryOf(anEDID()));
    EXPECT_EQ(binary.line, 0u);
    EXPECT_EQ(binary.offset, 0u);
    EXPECT_EQ(binary.givenText, "");
    const auto list = only(asPropertyList(anEDID()));
    EXPECT_EQ(list.line, 5u);
    // On one line with another, neither has a text of its own.
    for (const auto& found : findEDIDs(upperHex(anEDID(1)) + upperHex(anEDID(2)))) {
        EXPECT_EQ(found.givenText, "");
    }
}

TEST(EDIDText, HasTheEDIDsOfSeveralMonitors) {
    const Bytes first = anEDID(1, 1);
    const Bytes second = anEDID(2);
    for (const auto& [form, write] : forms()) {
        if (form.find("mark") != std::string::npos || form.find("UTF-16") != std::string::npos) {
            continue;
        }
        SCOPED_TRACE(form);
        const std::string text = write(first) + (form == "binary" ? "" : "\n") + write(second);
        const auto search = searchForEDIDs(text);
        EXPECT_TRUE(search.refused.empty());
        ASSERT_EQ(search.found.size(), 2u) << text;
        EXPECT_EQ(upperHex(search.found[0].bytes), upperHex(first));
        EXPECT_EQ(upperHex(search.found[1].bytes), upperHex(second));
    }
}

TEST(EDIDText, OfTwinsOneALineIsTwoEDIDs) {
    const std::string line = upperHex(anEDID()) + "\n";
    EXPECT_EQ(linesOf(findEDIDs(line + line + "\n" + line)), (std::vector<std::size_t>{1, 2, 4}));
    const std::string lines = wrapped(upperHex(anEDID()), 32);
    EXPECT_EQ(linesOf(findEDIDs(lines + lines)), (std::vector<std::size_t>{1, 9}));
}

TEST(EDIDText, MayMaskZerosInAngleBrackets) {
    std::string hex = lowerHex(anEDID());
    const std::size_t zeros = hex.find("00000000", 16);
    ASSERT_NE(zeros, std::string::npos);
    hex.replace(zeros, 7, "*******");
    EXPECT_EQ(only("\"IODisplayEDID\" = <" + hex + ">").bytes, anEDID());
    EXPECT_EQ(only("<" + hex + ">").bytes, anEDID());
}

TEST(EDIDText, UnderAnyKeyCountsIfItBeginsAsAnEDID) {
    const std::string text =
        "{\"EDID\"=<" + lowerHex(anEDID(1)) + ">,\"copy\"=<" + lowerHex(anEDID(2)) + ">}\n";
    EXPECT_EQ(linesOf(findEDIDs(text)), (std::vector<std::size_t>{1, 1}));
    EXPECT_TRUE(refusals("\"reg\" = <0011223344556677889900>\n").empty());
}

TEST(EDIDText, TakesTheBlocksThatAreThere) {
    Bytes edid = anEDID(1, 1);
    edid[126] = 2;
    for (const auto& [form, write] : forms()) {
        SCOPED_TRACE(form);
        EXPECT_EQ(only(write(edid)).bytes.size(), 256u);
    }
    edid[126] = 0;
    for (const auto& [form, write] : forms()) {
        SCOPED_TRACE(form);
        EXPECT_EQ(upperHex(only(write(edid)).bytes), upperHex(edid));
    }
    edid.resize(250);
    EXPECT_EQ(only(lowerHex(edid)).bytes.size(), 250u);
}

TEST(EDIDText, InLinesOfABlockHasTheAnnouncedOnes) {
    const Bytes edid = anEDID(1, 2);
    EXPECT_EQ(only(wrapped(upperHex(edid), 256)).bytes, edid);
    Bytes unannounced = anEDID(1, 1);
    unannounced[126] = 0;
    const auto search = searchForEDIDs(wrapped(upperHex(unannounced), 256));
    ASSERT_EQ(search.found.size(), 1u);
    EXPECT_EQ(search.found[0].bytes.size(), 128u);
    EXPECT_EQ(search.refused.size(), 1u);
}

TEST(EDIDText, KeepsABlockThatRepeatsTheFirst) {
    Bytes edid = anEDID(7);
    edid[126] = 1;
    const Bytes block = edid;
    edid.insert(edid.end(), block.begin(), block.end());
    for (const auto& [form, write] : forms()) {
        SCOPED_TRACE(form);
        EXPECT_EQ(only(write(edid)).bytes.size(), 256u);
    }
}

TEST(EDIDText, HasAtMost256Blocks) {
    Bytes edid = anEDID(1);
    edid.resize(40000, 0x11);
    EXPECT_EQ(only(binaryOf(edid)).bytes.size(), 32768u);
    EXPECT_EQ(only(lowerHex(edid)).bytes.size(), 32768u);
}

TEST(EDIDText, IsFoundAmongOtherBytes) {
    const Bytes edid = anEDID(1, 1);
    Bytes memory(1000, 0x5A);
    memory.insert(memory.end(), edid.begin(), edid.end());
    memory.resize(3000, 0x5A);
    const auto binary = only(binaryOf(memory));
    EXPECT_EQ(binary.offset, 1000u);
    EXPECT_EQ(binary.bytes, edid);
    EXPECT_EQ(only(asXxd(memory)).bytes, edid);
    const auto dumped = only(asHexdump(memory));
    EXPECT_EQ(dumped.bytes, edid);
    EXPECT_EQ(dumped.givenText, "");
}

TEST(EDIDText, SkipsRepeatedLinesOnlyAsFarAsAnEDIDCouldNeed) {
    const std::string dump = asHexdump(anEDID(1, 1));
    // The extension's last lines are zeros.
    ASSERT_NE(dump.find("*\n"), std::string::npos) << dump;
    EXPECT_EQ(only(dump).bytes, anEDID(1, 1));
    const std::string endless = dump.substr(0, dump.find("*\n")) + "*\nfffffff0\n";
    EXPECT_LE(only(endless).bytes.size(), 256u);
    std::string many;
    for (int i = 0; i < 1000; ++i) {
        many += asHexdump(anEDID(1)).substr(0, 8 * 79) + "*\n00008000\n";
    }
    std::size_t bytes = 0;
    for (const auto& found : findEDIDs(many)) bytes += found.bytes.size();
    EXPECT_LT(bytes, std::size_t{1} << 20);
}

TEST(NotAnEDIDText, IsRefusedWithItsLine) {
    const std::string good = lowerHex(anEDID());
    using Texts = std::vector<std::string>;
    EXPECT_EQ(refusals("\n" + std::string(256, '0')),
              Texts{"2: does not begin with the EDID header 00FFFFFFFFFFFF00"});
    EXPECT_EQ(refusals(good + "\n" + good.substr(0, 254) + "\n"),
              Texts{"2: has 127 bytes; an EDID has at least 128"});
    EXPECT_EQ(refusals(good.substr(0, 255)), Texts{"1: has 255 hex digits; each byte takes two"});
    EXPECT_EQ(refusals("\"IODisplayEDID\" = <>\n"),
              Texts{"1: does not begin with the EDID header 00FFFFFFFFFFFF00"});
    EXPECT_EQ(refusals("\"IODisplayEDID\" = <" + good.substr(0, 100) + ">\n"),
              Texts{"1: has 50 bytes; an EDID has at least 128"});
    EXPECT_EQ(refusals("<aabbccddeeff00112233>"),
              Texts{"1: does not begin with the EDID header 00FFFFFFFFFFFF00"});
    EXPECT_EQ(refusals("<key>IODisplayEDID</key><data>AAAA</data>"),
              Texts{"1: does not begin with the EDID header 00FFFFFFFFFFFF00"});
    EXPECT_EQ(refusals("<key>IODisplayEDID</key>\n<data>\nA?A\n</data>"),
              Texts{"2: is not base64"});
    EXPECT_EQ(refusals("00000000  41 42 43 44 45 46 47 48  |ABCDEFGH|\n00000008\n"),
              Texts{"1: does not begin with the EDID header 00FFFFFFFFFFFF00"});
}

TEST(NotAnEDIDText, IsRefusedBesideTheOthers) {
    const std::string good = lowerHex(anEDID());
    std::string damaged = good;
    damaged[1] = '1';
    const auto search = searchForEDIDs(good + "\n" + damaged + "\n" + good + "\n");
    EXPECT_EQ(linesOf(search.found), (std::vector<std::size_t>{1, 3}));
    ASSERT_EQ(search.refused.size(), 1u);
    EXPECT_EQ(search.refused[0].line, 2u);
}

TEST(NotAnEDIDText, IsAnyOtherText) {
    for (const std::string text :
         {"", "\n", "*", "<", "<data>", "<key>", "A monitor is a bad deed.\n", "cafe\n",
          "\"compatible\" = <6469737000000000aabbccdd00112233>\n", "<key>a</key><data>AAAA</data>",
          "00000000\n", "00\n\n00", "x = 00ff", "\xFF\xFE", "\xFF\xFE\x30", "0x\n\\x\n", "/* 00",
          "{};", "=="}) {
        const auto search = searchForEDIDs(text);
        EXPECT_TRUE(search.found.empty()) << text;
        EXPECT_TRUE(search.refused.empty()) << text;
    }
}

}  // namespace edid_text_test
}  // namespace test
