#include "simulated_mac/description/EDID.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <numeric>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

namespace simulated_mac {
namespace edid_test {

using Descriptor = EDIDFields::Descriptor;

unsigned sum(const Bytes& bytes) {
    return std::accumulate(bytes.begin(), bytes.end(), 0U);
}

Bytes slot(const Bytes& edid, std::ptrdiff_t index) {
    const auto begin = edid.begin() + 54 + 18 * index;
    return Bytes(begin, begin + 18);
}

Bytes fromHex(const std::string& hex) {
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

EDIDFields deskMonitor() {
    EDIDFields fields;
    fields.product = 0x1234;
    fields.serial = 0x12345678;
    fields.name = "VORN K2723QE";
    fields.serialText = "7XYZ123";
    fields.week = 14;
    fields.year = 2023;
    return fields;
}

TEST(MakeEDID, WritesEveryByteOfTheBaseBlock) {
    EDIDFields fields = deskMonitor();
    fields.descriptors = {Descriptor::serial, Descriptor::name, Descriptor::range,
                          Descriptor::timing};
    // VRN: 22, 18, 14 in five bits each are 0x5A4E.
    EXPECT_EQ(makeEDID(fields),
              fromHex("00ffffffffffff005a4e3412785634120e210104b53c227806ee91a3544c99260f5054"
                      "21080001010101010101010101010101010101"
                      "000000ff003758595a3132330a2020202020"
                      "000000fc00564f524e204b3237323351450a"
                      "000000fd00304b1e8c3c010a202020202020"
                      "08e80030f2705a80b0588a0058542100001e"
                      "0035"));
}

TEST(MakeEDID, AddsUpToZero) {
    for (const std::uint32_t serial : {0U, 1U, 0xFFU, 0x12345678U, 0xFFFFFFFFU}) {
        EDIDFields fields = deskMonitor();
        fields.serial = serial;
        const Bytes edid = makeEDID(fields);
        EXPECT_EQ(edid.size(), 128U);
        EXPECT_EQ(sum(edid) % 256, 0U);
    }
}

TEST(MakeEDID, KeepsTheOrderOfDescriptors) {
    EDIDFields fields = deskMonitor();
    fields.descriptors = {Descriptor::name, Descriptor::serial};
    const Bytes edid = makeEDID(fields);
    EXPECT_EQ(slot(edid, 0), fromHex("000000fc00564f524e204b3237323351450a"));
    EXPECT_EQ(slot(edid, 1), fromHex("000000ff003758595a3132330a2020202020"));
    EXPECT_EQ(slot(edid, 2), fromHex("000000100000000000000000000000000000"));
    EXPECT_EQ(slot(edid, 3), fromHex("000000100000000000000000000000000000"));
}

TEST(MakeEDID, WritesADummyWhereATextIsMissing) {
    const Bytes edid = makeEDID(EDIDFields());
    EXPECT_EQ(slot(edid, 1)[3], 0x10);
    EXPECT_EQ(slot(edid, 2)[3], 0x10);
    EXPECT_EQ(slot(edid, 3)[3], 0xFD);
    EXPECT_EQ(sum(edid) % 256, 0U);
}

TEST(MakeEDID, FillsADescriptorWithAThirteenByteText) {
    EDIDFields fields = deskMonitor();
    fields.name = "VORN K2723QEX";
    fields.descriptors = {Descriptor::name};
    const Bytes edid = makeEDID(fields);
    EXPECT_EQ(slot(edid, 0), fromHex("000000fc00564f524e204b32373233514558"));
    EXPECT_EQ(identifyEDID(edid).name, "VORN K2723QEX");
}

TEST(MakeEDID, RefusesWhatNoEDIDCanHold) {
    const auto expectRefused = [](auto change) {
        EDIDFields fields = deskMonitor();
        change(fields);
        EXPECT_THROW(makeEDID(fields), std::invalid_argument);
    };
    expectRefused([](EDIDFields& fields) { fields.manufacturer = "VR"; });
    expectRefused([](EDIDFields& fields) { fields.manufacturer = "vrn"; });
    expectRefused([](EDIDFields& fields) { fields.year = 1989; });
    expectRefused([](EDIDFields& fields) { fields.year = 2246; });
    expectRefused([](EDIDFields& fields) { fields.name = "VORN K2723QE X"; });
    expectRefused([](EDIDFields& fields) { fields.serialText = "7\n"; });
    expectRefused([](EDIDFields& fields) { fields.descriptors.assign(5, Descriptor::name); });
}

TEST(IdentifyEDID, ReadsBackWhatAnEDIDWasMadeFrom) {
    const EDIDIdentity identity = identifyEDID(makeEDID(deskMonitor()));
    EXPECT_EQ(identity.vendorNumber, 0x5A4E);
    EXPECT_EQ(identity.productCode, 0x1234);
    EXPECT_EQ(identity.serialNumber, 0x12345678U);
    EXPECT_EQ(identity.week, 14);
    EXPECT_EQ(identity.year, 2023);
    EXPECT_EQ(identity.widthCm, 60);
    EXPECT_EQ(identity.heightCm, 34);
    EXPECT_EQ(identity.manufacturer, "VRN");
    EXPECT_EQ(identity.name, "VORN K2723QE");
    EXPECT_EQ(identity.serialText, "7XYZ123");
    EXPECT_EQ(identity.uuid, "5A4E3412-0000-0000-0E21-0104B53C2278");
}

TEST(IdentifyEDID, ReadsBackTheLimits) {
    EDIDFields fields;
    fields.manufacturer = "AZA";
    fields.product = 0xFFFF;
    fields.serial = 0xFFFFFFFF;
    fields.week = 255;
    fields.year = 2245;
    fields.widthCm = 255;
    fields.heightCm = 0;
    const EDIDIdentity identity = identifyEDID(makeEDID(fields));
    EXPECT_EQ(identity.manufacturer, "AZA");
    EXPECT_EQ(identity.productCode, 0xFFFF);
    EXPECT_EQ(identity.serialNumber, 0xFFFFFFFF);
    EXPECT_EQ(identity.week, 255);
    EXPECT_EQ(identity.year, 2245);
    EXPECT_EQ(identity.widthCm, 255);
    EXPECT_EQ(identity.heightCm, 0);
    EXPECT_EQ(identity.name, std::nullopt);
    EXPECT_EQ(identity.serialText, std::nullopt);
}

TEST(IdentifyEDID, BuildsTheUUIDWithoutTheSerialNumber) {
    EDIDFields fields;
    fields.week = 14;
    fields.year = 2021;
    fields.serial = 0x11223344;
    Bytes edid = makeEDID(fields);
    edid[8] = 0x5A;
    edid[9] = 0x63;
    edid[10] = 0x39;
    edid[11] = 0xD8;
    EXPECT_EQ(identifyEDID(edid).uuid, "5A6339D8-0000-0000-0E1F-0104B53C2278");
}

TEST(IdentifyEDID, TakesTheFirstOfTwoNames) {
    EDIDFields fields = deskMonitor();
    fields.descriptors = {Descriptor::name, Descriptor::name};
    Bytes edid = makeEDID(fields);
    edid[54 + 18 + 5] = 'X';
    EXPECT_EQ(identifyEDID(edid).name, "VORN K2723QE");
}

TEST(IdentifyEDID, TakesNoTextOutOfATiming) {
    EDIDFields fields = deskMonitor();
    fields.descriptors = {Descriptor::name};
    Bytes edid = makeEDID(fields);
    edid[54] = 1;
    EXPECT_EQ(identifyEDID(edid).name, std::nullopt);
}

TEST(IdentifyEDID, CleansTexts) {
    EDIDFields fields = deskMonitor();
    fields.descriptors = {Descriptor::name};
    const auto nameOf = [&fields](const std::string& text) {
        Bytes edid = makeEDID(fields);
        std::fill_n(edid.begin() + 59, 13, std::uint8_t{' '});
        std::copy(text.begin(), text.end(), edid.begin() + 59);
        return identifyEDID(edid).name;
    };
    EXPECT_EQ(nameOf("VORN  \n"), "VORN");
    EXPECT_EQ(nameOf("VO\x01RN\xFF"), "VORN");
    EXPECT_EQ(nameOf(" VORN"), " VORN");
    EXPECT_EQ(nameOf("VORN\nK27"), "VORN");
    EXPECT_EQ(nameOf("\nVORN"), std::nullopt);
    EXPECT_EQ(nameOf(""), std::nullopt);
    EXPECT_EQ(nameOf("\x80\x81"), std::nullopt);
}

TEST(IdentifyEDID, ReadsZerosBeyondAShortEDID) {
    const Bytes whole = makeEDID(deskMonitor());
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        Bytes padded = cut;
        padded.resize(128, 0);
        const EDIDIdentity identity = identifyEDID(cut);
        EXPECT_EQ(identity.uuid, identifyEDID(padded).uuid) << size;
        EXPECT_EQ(identity.name, identifyEDID(padded).name) << size;
        EXPECT_EQ(identity.serialNumber, identifyEDID(padded).serialNumber) << size;
    }
    EXPECT_EQ(identifyEDID({}).uuid, "00000000-0000-0000-0000-000000000000");
    EXPECT_EQ(identifyEDID({}).manufacturer, "@@@");
}

TEST(EDIDBlocks, AddUpToNothingWithTheRightChecksum) {
    Bytes block(edidBlockSize, 0);
    EXPECT_EQ(edidChecksum(block), 0);
    block[0] = 0x02;
    block[126] = 0xFF;
    block[127] = 0x55;  // doesn't count
    EXPECT_EQ(edidChecksum(block), 0xFF);
    const Bytes edid = makeEDID({});
    EXPECT_EQ(edidChecksum(edid), edid[127]);
}

TEST(EDIDBlocks, AreTheBaseBlockAndTheExtensionsOfByte126) {
    Bytes edid(edidBlockSize, 0);
    EXPECT_EQ(announcedBlocks(edid), 1u);
    edid[126] = 255;
    EXPECT_EQ(announcedBlocks(edid), 256u);
    EXPECT_EQ(announcedBlocks(Bytes(126, 9)), 1u);
}

// A collection of real monitors' EDIDs with what an independent decoder printed for each:
// tab-separated id, manufacturer, product code, product name, EDID in hex, after a header line.
TEST(IdentifyEDID, AgreesWithAnotherDecoderOnRealMonitors) {
    const char* const corpus = std::getenv("EDID_CORPUS");
    if (corpus == nullptr) {
        GTEST_SKIP() << "EDID_CORPUS names no collection of EDIDs";
    }
    std::ifstream file(corpus);
    ASSERT_TRUE(file) << corpus;
    std::string line;
    std::getline(file, line);
    std::size_t monitors = 0;
    while (std::getline(file, line)) {
        std::istringstream columns(line);
        std::string id;
        std::string manufacturer;
        std::string product;
        std::string name;
        std::string hex;
        std::getline(columns, id, '\t');
        std::getline(columns, manufacturer, '\t');
        std::getline(columns, product, '\t');
        std::getline(columns, name, '\t');
        std::getline(columns, hex, '\t');
        const EDIDIdentity identity = identifyEDID(fromHex(hex));
        EXPECT_EQ(identity.manufacturer, manufacturer) << id;
        EXPECT_EQ(std::to_string(identity.productCode), product) << id;
        // That decoder keeps the blanks of a text that no line feed ends.
        name.erase(name.find_last_not_of(' ') + 1);
        EXPECT_EQ(identity.name.value_or(""), name) << id;
        ++monitors;
    }
    EXPECT_GT(monitors, 0U);
}

}  // namespace edid_test
}  // namespace simulated_mac
