#include "simulated_mac/file/MacFile.h"
#include "simulated_mac/file/MacFileFormat.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/HexText.h"
#include "simulated_mac/description/ReadFile.h"
#include "simulated_mac/description/RecordedRegistry.h"

namespace simulated_mac {
namespace mac_file_test {

namespace fs = std::filesystem;

const fs::path projectFolder = PROJECT_SOURCE_DIR;

/// A folder for a test's files, gone at the test's end.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = (fs::temp_directory_path() / "mac-file-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        path = name;
    }
    ~TemporaryFolder() { fs::remove_all(path); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    fs::path write(const std::string& name, const std::string& contents) const {
        const fs::path file = path / name;
        fs::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << contents;
        return file;
    }

    fs::path path;
};

MacDescription read(const std::string& text) {
    const TemporaryFolder folder;
    return readMacFile(folder.write("mac.yaml", text));
}

/// What the reader says of a file, with "FILE:" in front taken off; empty when it reads.
std::string mistakeIn(const fs::path& path) {
    try {
        readMacFile(path);
        return "";
    } catch (const MacFileError& error) {
        const std::string message = error.what();
        EXPECT_TRUE(message.starts_with(path.string() + ":")) << message;
        return message.substr(path.string().size() + 1);
    }
}

std::string mistakeInText(const std::string& text) {
    const TemporaryFolder folder;
    return mistakeIn(folder.write("mac.yaml", text));
}

std::string shown(const PropertyValue& property) {
    struct Visitor {
        std::string operator()(std::monostate) const { return "missing"; }
        std::string operator()(bool value) const { return value ? "true" : "false"; }
        std::string operator()(std::int64_t value) const { return std::to_string(value); }
        std::string operator()(double value) const { return std::to_string(value); }
        std::string operator()(const std::string& value) const { return '"' + value + '"'; }
        std::string operator()(const Bytes& value) const {
            return "<" + std::to_string(value.size()) + " bytes>";
        }
        std::string operator()(const PropertyList& value) const {
            std::string result = "(";
            for (const PropertyValue& item : value) result += shown(item) + ",";
            return result + ")";
        }
        std::string operator()(const PropertyMap& value) const {
            std::string result = "{";
            for (const auto& [key, item] : value) result += key + "=" + shown(item) + ",";
            return result + "}";
        }
    };
    return std::visit(Visitor(), property.value);
}

std::string shown(const PropertyMap& map) {
    return shown(PropertyValue{map});
}

const char* const everyKey = R"(# Every key that a Mac file knows.
mac: Every key
chip: apple
registry: record.txt
model: VornBook1,1
graphics:
  chipset: Vorn Graphics
  driver: VornFramebuffer
  transaction_types: 15
  framebuffers: 5
screens:
  - built-in
  - built_in: true
  - name: VORN K2723QE
    display_id: 0x2b281ac5
    vendor_number: 1
    model_number: 0xFFFFFFFF
    serial_number: 0
    is_screen: false
    appears_at: 1.5
    disappears_at: 60
    edid_listed: {at: 0.25}
    monitor:
      edid:
        manufacturer: ABZ
        product: 0x1234
        serial: 0x12345678
        name: VORN K2723QE
        serial_text: "7123"
        week: 14
        year: 2023
        size_cm: [70, 39]
        descriptors: [serial, name, range, timing]
        patch: {20: 0xFF, 0x7E: 1}
      vcp:
        0xF1: 0x4000
        16: {current: 50, maximum: 100, type: 1, result: 2}
      answers: [good, silent, wrong_source, wrong_opcode, wrong_code, wrong_length, bad_checksum,
                {bytes: 6E 88 02}]
      needs_reply_delay_ns: 18446744073709551615
      settles_after_clean: true
    framebuffer:
      entry: 0x100000102
      dictionary: {DisplaySerialNumber: null, DisplayVendorID: 7}
      buses:
        - leads_to_monitor: false
          copy_result: 0xE00002C0
          open_result: 0xE00002C1
          send_result: 0xE00002C2
          release_result: 0xE00002C3
          request_result: 0
          transaction_types: null
          has_interface: false
        - {transaction_types: 2}
      bus_count: 9
      path: IOService:/Vorn
      service_port: false
      asleep: true
    display_service:
      entry: IOService:/arm-io@1/fb
      appears_at: 7
      disappears_at: 7.5
      position: 2
      entry_name: IOMobileFramebufferShim
      name_readable: false
      properties: {Transport: null}
      product_attributes: {ProductName: Other}
      proxies:
        - {entry: "0x100000103", location: Odd, name_readable: false, opens: false, copy_edid_result: kIOReturnNotFound,
           edid: 00 01}
        - {location: null, edid: none}
        - {edid: empty}
    info_dictionary: {DisplayVendorID: 7}
  - edid_listed: false
    monitor: {edid: {hex: 00 ff}}
    framebuffer: none
    display_service: none
    info_dictionary: none
  - edid_listed: empty
    monitor: {edid: {file: monitors/desk.bin}, vcp: unknown}
usb:
  - node_name: Vorn Camera
    location_id: 0x14200000
    vendor_id: 0x1209
    product_id: 0xA7B1
    product: Vorn Camera 4K
    serial: CAM0001
    properties:
      number: -5
      fraction: -1.5
      flag: true
      text: value
      data: {data: 00 FF}
      list: [1, two, [3]]
      map: {inner: {data: 1, other: 2}}
      gone: null
    readable: false
    parent: false
    older_form: true
events:
  - {at: 12.5, attach: {location_id: 1}}
  - {at: 20, detach: 0x14200000}
  - {at: 30, user: enters the pane}
  - {at: 31, user: clicks the warning}
  - {at_call: {call: IOIteratorNext, nth: 7}, detach: 1}
  - {at: 32, installer: "releases the pane's view"}
tools:
  ioreg: {prints: "text", status: 1, takes: 0.5}
  system_profiler: [{prints: ""}, {}]
  afktool: {prints_file: output.txt}
strings: {here: null, TITLE: "Other"}
faults:
  - {call: IOServiceGetMatchingServices, nth: 2, and_later: true, result: 0xE00002BC}
stray_proxies: [{location: Embedded}]
stray_interfaces: [31, null]
other_registry_entries: 12
expect:
  warning: true
  continue_after: 2.5
  displays: [{state: -1}, {state: 3, supported: false, paired: true}]
  cameras: 2
  if_answers: {warning: false, displays: []}
  if_silent: {continue_after: never}
)";

class EveryKey : public testing::Test {
  protected:
    EveryKey() {
        folder_.write("monitors/desk.bin", std::string("\x01\x02\x00\xFF", 4));
        folder_.write("output.txt", "printed\n");
        folder_.write("record.txt",
                      "+-o Root  <class IORegistryEntry, id 0x100000100, retain 20>\n"
                      "  +-o VornBook1,1  <class IOPlatformExpertDevice, id 0x100000101>\n"
                      "    +-o arm-io@1  <class IOPlatformDevice, id 0x100000103>\n"
                      "      +-o fb  <class AppleCLCD2, id 0x100000102>\n");
        mac = readMacFile(folder_.write("mac.yaml", everyKey));
    }

    TemporaryFolder folder_;
    MacDescription mac;
};

TEST_F(EveryKey, OfTheMac) {
    EXPECT_EQ(mac.title, "Every key");
    EXPECT_EQ(mac.chip, Chip::apple);
    ASSERT_NE(mac.registry, nullptr);
    EXPECT_EQ(mac.registry->entries().size(), 4U);
    EXPECT_EQ(mac.model, "VornBook1,1");
    EXPECT_EQ(mac.graphics.chipset, "Vorn Graphics");
    EXPECT_EQ(mac.graphics.driver, "VornFramebuffer");
    EXPECT_EQ(mac.graphics.transactionTypes, 15U);
    EXPECT_EQ(mac.graphics.framebuffers, 5U);
    EXPECT_EQ(mac.otherRegistryEntries, 12U);
    ASSERT_EQ(mac.strings.size(), 2U);
    EXPECT_EQ(mac.strings.at("here"), std::nullopt);
    EXPECT_EQ(mac.strings.at("TITLE"), "Other");
}

TEST_F(EveryKey, OfAnExpectation) {
    ASSERT_TRUE(mac.expected);
    EXPECT_EQ(mac.expected->warning, true);
    ASSERT_TRUE(mac.expected->continues);
    EXPECT_EQ(mac.expected->continues->after, 2.5);
    ASSERT_EQ(mac.expected->displays.value().size(), 2U);
    EXPECT_EQ(mac.expected->displays->at(0).state, -1);
    EXPECT_EQ(mac.expected->displays->at(0).paired, std::nullopt);
    EXPECT_EQ(mac.expected->displays->at(1).supported, false);
    EXPECT_EQ(mac.expected->displays->at(1).paired, true);
    EXPECT_EQ(mac.expected->cameras, 2U);
    ASSERT_TRUE(mac.expected->ifAnswers);
    EXPECT_EQ(mac.expected->ifAnswers->warning, false);
    EXPECT_TRUE(mac.expected->ifAnswers->displays.value().empty());
    ASSERT_TRUE(mac.expected->ifSilent);
    EXPECT_EQ(mac.expected->ifSilent->continues.value().after, std::nullopt);
}

TEST_F(EveryKey, OfAScreen) {
    ASSERT_EQ(mac.screens.size(), 5U);
    EXPECT_TRUE(mac.screens[0].builtIn);
    EXPECT_TRUE(mac.screens[1].builtIn);
    const ScreenDescription& screen = mac.screens[2];
    EXPECT_FALSE(screen.builtIn);
    EXPECT_EQ(screen.name, "VORN K2723QE");
    EXPECT_EQ(screen.displayID, 0x2B281AC5U);
    EXPECT_EQ(screen.vendorNumber, 1U);
    EXPECT_EQ(screen.modelNumber, 0xFFFFFFFFU);
    EXPECT_EQ(screen.serialNumber, 0U);
    EXPECT_FALSE(screen.isScreen);
    EXPECT_EQ(screen.appearsAt, 1.5);
    EXPECT_EQ(screen.disappearsAt, 60);
    EXPECT_EQ(mac.screens[3].disappearsAt, std::nullopt);
    EXPECT_EQ(screen.edidListed, true);
    EXPECT_FALSE(screen.listedEDIDEmpty);
    EXPECT_EQ(screen.edidListedAt, 0.25);
    EXPECT_EQ(mac.screens[3].edidListed, false);
    EXPECT_EQ(mac.screens[4].edidListed, true);
    EXPECT_EQ(mac.screens[4].edidListedAt, 0);
    EXPECT_TRUE(mac.screens[4].listedEDIDEmpty);
}

TEST_F(EveryKey, OfAnEDID) {
    EDIDFields fields;
    fields.manufacturer = "ABZ";
    fields.product = 0x1234;
    fields.serial = 0x12345678;
    fields.name = "VORN K2723QE";
    fields.serialText = "7123";
    fields.week = 14;
    fields.year = 2023;
    fields.widthCm = 70;
    fields.heightCm = 39;
    fields.descriptors = {EDIDFields::Descriptor::serial, EDIDFields::Descriptor::name,
                          EDIDFields::Descriptor::range, EDIDFields::Descriptor::timing};
    Bytes expected = makeEDID(fields);
    expected[20] = 0xFF;
    expected[126] = 1;
    EXPECT_EQ(mac.screens[2].monitor.edid, expected);
    EXPECT_EQ(mac.screens[3].monitor.edid, (Bytes{0x00, 0xFF}));
    EXPECT_EQ(mac.screens[4].monitor.edid, (Bytes{0x01, 0x02, 0x00, 0xFF}));
    EXPECT_TRUE(mac.screens[0].monitor.edid.empty());
}

TEST_F(EveryKey, OfAMonitor) {
    using Kind = DDCAnswer::Kind;
    const MonitorDescription& monitor = mac.screens[2].monitor;
    ASSERT_EQ(monitor.vcp.size(), 2U);
    EXPECT_EQ(monitor.vcp.at(0xF1).current, 0x4000);
    EXPECT_EQ(monitor.vcp.at(0xF1).maximum, 0xFFFF);
    EXPECT_EQ(monitor.vcp.at(0xF1).type, 0);
    EXPECT_EQ(monitor.vcp.at(0xF1).result, 0);
    EXPECT_EQ(monitor.vcp.at(0x10).current, 50);
    EXPECT_EQ(monitor.vcp.at(0x10).maximum, 100);
    EXPECT_EQ(monitor.vcp.at(0x10).type, 1);
    EXPECT_EQ(monitor.vcp.at(0x10).result, 2);
    std::vector<Kind> kinds;
    for (const DDCAnswer& answer : monitor.answers) kinds.push_back(answer.kind);
    EXPECT_EQ(kinds,
              (std::vector{Kind::good, Kind::silent, Kind::wrongSource, Kind::wrongOpcode,
                           Kind::wrongCode, Kind::wrongLength, Kind::badChecksum, Kind::bytes}));
    EXPECT_EQ(monitor.answers.back().bytes, (Bytes{0x6E, 0x88, 0x02}));
    EXPECT_EQ(monitor.needsReplyDelay, 0xFFFFFFFFFFFFFFFFU);
    EXPECT_TRUE(monitor.settlesAfterClean);
    EXPECT_EQ(monitor.answering, MonitorDescription::Answering::described);
    EXPECT_EQ(mac.screens[4].monitor.answering, MonitorDescription::Answering::unknown);
    EXPECT_TRUE(mac.screens[4].monitor.vcp.empty());
}

TEST_F(EveryKey, OfAFramebuffer) {
    const FramebufferDescription& framebuffer = mac.screens[2].framebuffer;
    EXPECT_TRUE(framebuffer.present);
    EXPECT_EQ(framebuffer.entry, "0x100000102");
    EXPECT_EQ(shown(framebuffer.dictionary), "{DisplaySerialNumber=missing,DisplayVendorID=7,}");
    ASSERT_TRUE(framebuffer.buses.has_value());
    ASSERT_EQ(framebuffer.buses->size(), 2U);
    const BusDescription& bus = framebuffer.buses->at(0);
    EXPECT_FALSE(bus.leadsToMonitor);
    EXPECT_EQ(static_cast<std::uint32_t>(bus.copyResult), 0xE00002C0U);
    EXPECT_EQ(static_cast<std::uint32_t>(bus.openResult), 0xE00002C1U);
    EXPECT_EQ(static_cast<std::uint32_t>(bus.sendResult.value()), 0xE00002C2U);
    EXPECT_EQ(static_cast<std::uint32_t>(bus.releaseResult), 0xE00002C3U);
    EXPECT_EQ(bus.requestResult, 0);
    EXPECT_EQ(bus.transactionTypes, std::nullopt);
    EXPECT_FALSE(bus.hasTransactionTypes);
    EXPECT_FALSE(bus.hasInterface);
    EXPECT_TRUE(framebuffer.buses->at(1).leadsToMonitor);
    EXPECT_EQ(framebuffer.buses->at(1).sendResult, std::nullopt);
    EXPECT_EQ(framebuffer.buses->at(1).transactionTypes, 2U);
    EXPECT_EQ(framebuffer.busCount, 9U);
    EXPECT_EQ(framebuffer.path, "IOService:/Vorn");
    EXPECT_FALSE(framebuffer.hasServicePort);
    EXPECT_TRUE(framebuffer.asleep);
    EXPECT_FALSE(mac.screens[3].framebuffer.present);
    EXPECT_FALSE(mac.screens[4].framebuffer.buses.has_value());
}

TEST_F(EveryKey, OfADisplayService) {
    const DisplayServiceDescription& service = mac.screens[2].displayService;
    EXPECT_TRUE(service.present);
    EXPECT_EQ(service.entry, "IOService:/arm-io@1/fb");
    EXPECT_EQ(service.appearsAt, 7);
    EXPECT_EQ(service.disappearsAt, 7.5);
    EXPECT_EQ(service.position, 2);
    EXPECT_EQ(service.entryName, "IOMobileFramebufferShim");
    EXPECT_FALSE(service.nameReadable);
    EXPECT_EQ(shown(service.properties), "{Transport=missing,}");
    EXPECT_EQ(shown(service.productAttributes), "{ProductName=\"Other\",}");
    EXPECT_FALSE(mac.screens[3].displayService.present);
    EXPECT_TRUE(mac.screens[4].displayService.present);
    EXPECT_EQ(mac.screens[4].displayService.proxies.size(), 1U);
}

TEST_F(EveryKey, OfAProxy) {
    const std::vector<ProxyDescription>& proxies = mac.screens[2].displayService.proxies;
    ASSERT_EQ(proxies.size(), 3U);
    EXPECT_EQ(shown(proxies[0].location.value()), "\"Odd\"");
    EXPECT_FALSE(proxies[0].nameReadable);
    EXPECT_FALSE(proxies[0].opens);
    EXPECT_EQ(static_cast<std::uint32_t>(proxies[0].copyEDIDResult), 0xE00002F0U);
    EXPECT_EQ(proxies[0].edid, (Bytes{0x00, 0x01}));
    EXPECT_EQ(shown(proxies[1].location.value()), "missing");
    EXPECT_EQ(proxies[1].edid, Bytes());
    EXPECT_FALSE(proxies[1].edidEmpty);
    EXPECT_TRUE(proxies[2].edidEmpty);
    EXPECT_FALSE(proxies[2].location.has_value());
    EXPECT_TRUE(proxies[2].nameReadable);
    EXPECT_TRUE(proxies[2].opens);
    EXPECT_EQ(proxies[2].copyEDIDResult, 0);
    EXPECT_EQ(proxies[2].edid, std::nullopt);
    EXPECT_EQ(mac.strayInterfaces, (std::vector<std::optional<std::uint32_t>>{31, std::nullopt}));
    ASSERT_EQ(mac.strayProxies.size(), 1U);
    EXPECT_EQ(shown(mac.strayProxies[0].location.value()), "\"Embedded\"");
}

TEST_F(EveryKey, OfCoreDisplaysDictionary) {
    EXPECT_TRUE(mac.screens[2].hasInfoDictionary);
    EXPECT_EQ(shown(mac.screens[2].infoDictionary), "{DisplayVendorID=7,}");
    EXPECT_FALSE(mac.screens[3].hasInfoDictionary);
    EXPECT_TRUE(mac.screens[4].hasInfoDictionary);
}

TEST_F(EveryKey, OfAUSBDevice) {
    ASSERT_EQ(mac.usb.size(), 1U);
    const USBDeviceDescription& device = mac.usb[0];
    EXPECT_EQ(device.nodeName, "Vorn Camera");
    EXPECT_EQ(device.locationID, 0x14200000U);
    EXPECT_EQ(device.vendorID, 0x1209);
    EXPECT_EQ(device.productID, 0xA7B1);
    EXPECT_EQ(device.product, "Vorn Camera 4K");
    EXPECT_EQ(device.serial, "CAM0001");
    EXPECT_EQ(shown(device.properties),
              "{number=-5,fraction=-1.500000,flag=true,text=\"value\",data=<2 "
              "bytes>,list=(1,\"two\",(3,),),"
              "map={inner={data=1,other=2,},},gone=missing,}");
    EXPECT_FALSE(device.readable);
    EXPECT_FALSE(device.hasParent);
    EXPECT_TRUE(device.olderForm);
}

TEST_F(EveryKey, OfAnEvent) {
    using User = EventDescription::User;
    ASSERT_EQ(mac.events.size(), 6U);
    EXPECT_EQ(mac.events[0].at, 12.5);
    ASSERT_TRUE(mac.events[0].attach.has_value());
    EXPECT_EQ(mac.events[0].attach->locationID, 1U);
    EXPECT_EQ(mac.events[0].detach, std::nullopt);
    EXPECT_EQ(mac.events[0].user, std::nullopt);
    EXPECT_EQ(mac.events[1].detach, 0x14200000U);
    EXPECT_FALSE(mac.events[1].attach.has_value());
    EXPECT_EQ(mac.events[2].user, User::entersPane);
    EXPECT_EQ(mac.events[3].user, User::clicksWarning);
    EXPECT_FALSE(mac.events[3].atCall.has_value());
    ASSERT_TRUE(mac.events[4].atCall.has_value());
    EXPECT_EQ(mac.events[4].atCall->call, "IOIteratorNext");
    EXPECT_EQ(mac.events[4].atCall->nth, 7U);
    EXPECT_EQ(mac.events[4].installer, std::nullopt);
    EXPECT_EQ(mac.events[5].installer, EventDescription::Installer::releasesView);
}

TEST_F(EveryKey, OfATool) {
    ASSERT_EQ(mac.tools.size(), 3U);
    ASSERT_EQ(mac.tools.at("ioreg").size(), 1U);
    EXPECT_EQ(mac.tools.at("ioreg")[0].prints, "text");
    EXPECT_EQ(mac.tools.at("ioreg")[0].status, 1);
    EXPECT_EQ(mac.tools.at("ioreg")[0].takes, 0.5);
    EXPECT_EQ(mac.tools.at("system_profiler")[0].takes, 0);
    ASSERT_EQ(mac.tools.at("system_profiler").size(), 2U);
    EXPECT_EQ(mac.tools.at("system_profiler")[0].prints, "");
    EXPECT_EQ(mac.tools.at("system_profiler")[1].prints, std::nullopt);
    EXPECT_EQ(mac.tools.at("system_profiler")[1].status, 0);
    EXPECT_EQ(mac.tools.at("afktool")[0].prints, "printed\n");
}

TEST_F(EveryKey, OfAFault) {
    ASSERT_EQ(mac.faults.size(), 1U);
    EXPECT_EQ(mac.faults[0].call, "IOServiceGetMatchingServices");
    EXPECT_EQ(mac.faults[0].nth, 2U);
    EXPECT_TRUE(mac.faults[0].andLater);
    EXPECT_EQ(static_cast<std::uint32_t>(mac.faults[0].result.value()), 0xE00002BCU);
}

TEST(MacFile, NeedsScreensOnly) {
    const MacDescription mac = read("screens: []\n");
    EXPECT_EQ(mac.title, "");
    EXPECT_EQ(mac.chip, Chip::intel);
    EXPECT_EQ(mac.model, std::nullopt);
    EXPECT_TRUE(mac.screens.empty());
    EXPECT_TRUE(mac.tools.empty());
    EXPECT_TRUE(mac.faults.empty());
}

TEST(MacFile, GivesAScreenItsDefaults) {
    const MacDescription mac = read("screens: [{}]\n");
    ASSERT_EQ(mac.screens.size(), 1U);
    EXPECT_FALSE(mac.screens[0].builtIn);
    EXPECT_TRUE(mac.screens[0].isScreen);
    EXPECT_EQ(mac.screens[0].edidListed, std::nullopt);
    EXPECT_TRUE(mac.screens[0].framebuffer.present);
    EXPECT_FALSE(mac.screens[0].framebuffer.buses.has_value());
}

TEST(MacFile, GivesABusItsDefaults) {
    const MacDescription mac = read("screens: [{framebuffer: {buses: [{}]}}]\n");
    ASSERT_TRUE(mac.screens[0].framebuffer.buses.has_value());
    ASSERT_EQ(mac.screens[0].framebuffer.buses->size(), 1U);
    const BusDescription& bus = mac.screens[0].framebuffer.buses->front();
    EXPECT_TRUE(bus.leadsToMonitor);
    EXPECT_EQ(bus.copyResult, 0);
    EXPECT_EQ(bus.requestResult, std::nullopt);
    EXPECT_EQ(bus.transactionTypes, std::nullopt);
    EXPECT_TRUE(bus.hasTransactionTypes);
}

TEST(MacFile, GivesAPanelOfAnIntelMacTheUsualEDID) {
    const MacDescription mac = read("screens: [built-in, {built_in: true, monitor: {}}, {}]\n");
    for (const std::size_t panel : {0U, 1U}) {
        const Bytes& edid = mac.screens[panel].monitor.edid;
        const EDIDIdentity identity = identifyEDID(edid);
        EXPECT_EQ(edid.size(), edidBlockSize);
        EXPECT_EQ(edid.back(), edidChecksum(edid));
        EXPECT_EQ(identity.manufacturer, "APP");
        EXPECT_EQ(identity.name, "Color LCD");
        EXPECT_EQ(identity.serialNumber, 0U);
        EXPECT_EQ(identity.serialText, std::nullopt);
    }
    EXPECT_TRUE(mac.screens[2].monitor.edid.empty());
}

TEST(MacFile, LeavesAPanelTheEDIDThatItSays) {
    const MacDescription mac = read(
        "screens:\n"
        "  - {built_in: true, monitor: {edid: none}}\n"
        "  - {built_in: true, monitor: {edid: 00ff}}\n");
    EXPECT_TRUE(mac.screens[0].monitor.edid.empty());
    EXPECT_EQ(mac.screens[1].monitor.edid, (Bytes{0x00, 0xFF}));
}

TEST(MacFile, GivesNoEDIDToAPanelOnAppleSiliconOrOfARecordedRegistry) {
    EXPECT_TRUE(read("chip: apple\nscreens: [built-in]\n").screens[0].monitor.edid.empty());
    TemporaryFolder folder;
    folder.write("record.txt", "+-o Root  <class IORegistryEntry, id 0x100000100>\n");
    const MacDescription recorded =
        readMacFile(folder.write("mac.yaml", "registry: record.txt\nscreens: [built-in]\n"));
    EXPECT_TRUE(recorded.screens[0].monitor.edid.empty());
}

TEST(MacFile, DistinguishesNoBusesFromUnspecifiedOnes) {
    const MacDescription mac = read("screens: [{framebuffer: {buses: []}}, {framebuffer: {}}]\n");
    EXPECT_EQ(mac.screens[0].framebuffer.buses.value().size(), 0U);
    EXPECT_FALSE(mac.screens[1].framebuffer.buses.has_value());
}

TEST(MacFile, ReadsHexOverSeveralLines) {
    const Bytes expected = {0x00, 0xFF, 0x11, 0x22, 0xAB};
    for (const char* const edid :
         {" 00fF1122aB", " 00 ff\n        1122 AB", " |\n        00 ff\n        1122AB\n",
          " >-\n        00 ff\n        1122AB\n", " \"00ff\n\n        1122 AB\"",
          " '00ff 11 22 ab'"}) {
        const MacDescription mac = read("screens:\n  - monitor:\n      edid:" + std::string(edid));
        EXPECT_EQ(mac.screens[0].monitor.edid, expected) << edid;
    }
}

TEST(MacFile, ReadsHexThatLooksLikeANumber) {
    EXPECT_EQ(read("screens: [{monitor: {edid: 0012}}]").screens[0].monitor.edid, (Bytes{0, 0x12}));
    EXPECT_EQ(read("screens: [{monitor: {edid: 1e88}}]").screens[0].monitor.edid,
              (Bytes{0x1E, 0x88}));
}

TEST(MacFile, TakesAnEDIDOfAnyLength) {
    for (const std::size_t size : {1U, 127U, 128U, 129U, 384U, 40000U}) {
        std::string hex;
        for (std::size_t i = 0; i < size; ++i) hex += "a5";
        const MacDescription mac = read("screens: [{monitor: {edid: " + hex + "}}]");
        EXPECT_EQ(mac.screens[0].monitor.edid, Bytes(size, 0xA5));
    }
}

TEST(MacFile, TakesQuotedTextThatLooksLikeSomethingElse) {
    EXPECT_EQ(read("screens: []\nmodel: \"2790\"\n").model, "2790");
    EXPECT_EQ(read("screens: []\nmodel: 'true'\n").model, "true");
    EXPECT_EQ(read("screens: []\nmodel: ''\n").model, "");
    EXPECT_EQ(read("screens: []\nmodel: 'null'\n").model, "null");
    EXPECT_EQ(read("screens: []\nmodel: |\n  1\n").model, "1\n");
    EXPECT_EQ(read("screens: []\nmodel: 0012a\n").model, "0012a");
}

TEST(MacFile, TakesAliases) {
    const MacDescription mac = read(
        "screens:\n  - &desk {name: Desk}\n  - *desk\n  - name: &name Other\n"
        "model: *name\n");
    ASSERT_EQ(mac.screens.size(), 3U);
    EXPECT_EQ(mac.screens[1].name, "Desk");
    EXPECT_EQ(mac.model, "Other");
}

TEST(MacFile, TakesNumbersInQuotesAsKeys) {
    const auto mac = read(
        R"({"screens": [{"monitor": {"vcp": {"0xF1": 16384, "16": {"current": 1}},
                                     "edid": {"hex": "00 00", "patch": {"0x1": 255}}}}]})");
    const MonitorDescription& monitor = mac.screens.at(0).monitor;
    EXPECT_EQ(monitor.vcp.at(0xF1).current, 0x4000);
    EXPECT_EQ(monitor.vcp.at(0x10).current, 1);
    EXPECT_EQ(monitor.edid, (Bytes{0, 0xFF}));
}

TEST(MacFile, TakesAByteOrderMarkAndOtherLineEnds) {
    EXPECT_EQ(read("\xEF\xBB\xBFscreens: []\r\nmodel: \xC3\xA9\r\n").model, "\xC3\xA9");
}

TEST(MacFile, TakesTheLimitsOfSignedProperties) {
    const MacDescription mac = read(
        "screens: []\nusb:\n  - properties: {low: -9223372036854775808, high: "
        "0x7fffffffffffffff}\n");
    EXPECT_EQ(shown(mac.usb[0].properties), "{low=-9223372036854775808,high=9223372036854775807,}");
}

// --- mistakes ------------------------------------------------------------------------------------

struct Mistake {
    const char* text;
    const char* message;  ///< after "FILE:"
    /// Whether the schema refuses the file too, so that an editor marks the mistake.
    bool inSchema = true;
};

std::string keysOfMac() {
    const auto schema = nlohmann::ordered_json::parse(macFileSchema());
    std::string keys;
    std::string last;
    for (const auto& property : schema.at("properties").items()) {
        if (!last.empty()) keys += (keys.empty() ? "" : ", ") + last;
        last = property.key();
    }
    return keys + " or " + last;
}

/// The message, in which KEYS stands for all keys of a Mac.
std::string spelled(std::string message) {
    const std::size_t at = message.find("KEYS");
    return at == std::string::npos ? message : message.replace(at, 4, keysOfMac());
}

const std::vector<Mistake> mistakes = {
    // Keys.
    {"screens: []\nmodle: x\n", "2:1: unknown key \"modle\"; expected KEYS (did you mean model?)"},
    {"screens: []\nStrings: {}\n",
     "2:1: unknown key \"Strings\"; expected KEYS (did you mean strings?)"},
    {"screens: []\nxyzzy: 1\n", "2:1: unknown key \"xyzzy\"; expected KEYS"},
    {"screens: []\n<<: {mac: x}\n", "2:1: unknown key \"<<\"; expected KEYS"},
    {"screens: []\n\"a\\nb\": 1\n", "2:1: unknown key \"a\\nb\"; expected KEYS"},
    {"screens:\n  - framebuffer: {bus-count: 1}\n",
     "2:19: unknown key \"bus-count\"; expected entry, dictionary, buses, bus_count, path, "
     "service_port "
     "or asleep (did you mean bus_count?)"},
    {"screens: []\ntools: {iorge: {}}\n",
     "2:9: unknown key \"iorge\"; expected ioreg, system_profiler or afktool (did you mean "
     "ioreg?)"},
    {"chip: intel\n", "1:1: missing key \"screens\"; expected it in this mapping"},
    {"screens: []\nevents: [{user: enters the pane}]\n",
     "2:10: no key says when it happens; expected exactly one of at or at_call"},
    {"screens: []\nevents: [{at: 1, at_call: {call: IOIteratorNext}, detach: 1}]\n",
     "2:18: \"at_call\" conflicts with \"at\"; expected exactly one of at or at_call"},
    {"screens: []\nfaults:\n  - nth: 1\n",
     "3:5: missing key \"call\"; expected it in this mapping"},
    {"screens: [{edid_listed: {}}]\n", "1:25: missing key \"at\"; expected it in this mapping"},
    {"screens: [{monitor: {answers: [{}]}}]\n",
     "1:32: missing key \"bytes\"; expected it in this mapping"},
    {"screens: []\nchip: intel\nchip: apple\n",
     "3:1: duplicate key \"chip\"; expected it only once (first on line 2)", false},
    {"screens: []\nusb:\n  - properties:\n      a: 1\n      \"a\": 2\n",
     "5:7: duplicate key \"a\"; expected it only once (first on line 4)", false},
    {"screens: []\nstrings:\n  a: x\n  a: y\n",
     "4:3: duplicate key \"a\"; expected it only once (first on line 3)", false},
    {"screens: [{monitor: {vcp: {0x10: 1, 16: 2}}}]\n",
     "1:37: duplicate key \"16\"; expected it only once (first on line 1)", false},
    {"screens: [{monitor: {vcp: {0x10: 1, \"16\": 2}}}]\n",
     "1:37: duplicate key \"16\"; expected it only once (first on line 1)", false},
    {"screens: [{monitor: {vcp: {\"0xG1\": 1}}}]\n",
     "1:28: found the text \"0xG1\"; expected a whole number from 0 to 255 (\"G\" is not a hex "
     "digit)"},
    {"screens: [{monitor: {edid: {patch: {\"1\": 256}}}}]\n",
     "1:42: 256 is out of range; expected a whole number from 0 to 255"},
    {"screens: []\n? [a]\n: b\n", "2:3: found a list; expected the key KEYS", false},
    // Types.
    {"[1]\n", "1:1: found a list; expected a mapping with any of the keys KEYS"},
    {"only text\n",
     "1:1: found the text \"only text\"; expected a mapping with any of the keys KEYS"},
    {"screens: built-in\n", "1:10: found the text \"built-in\"; expected a list"},
    {"screens: [5]\n", "1:11: found the number 5; expected built-in or a mapping"},
    {"screens:\n  -\n  - built-in\n", "2:3: found no value; expected built-in or a mapping"},
    {"screens: [{monitor: {vcp: unknwon}}]\n",
     "1:27: found the text \"unknwon\"; expected unknown or a mapping (did you mean unknown?)"},
    {"screens: [{monitor: {vcp: 0x4000}}]\n",
     "1:27: found the number 0x4000; expected unknown or a mapping"},
    {"screens: [{monitor: {edid: none, vcp: unknown, answers: [silent]}}]\n",
     "1:48: \"answers\" conflicts with \"vcp: unknown\"; expected \"vcp: unknown\" alone or with "
     "edid"},
    {"screens: [{monitor: {settles_after_clean: true, vcp: unknown}}]\n",
     "1:22: \"settles_after_clean\" conflicts with \"vcp: unknown\"; expected \"vcp: unknown\" "
     "alone "
     "or with edid"},
    {"screens: [{framebuffer: non}]\n",
     "1:25: found the text \"non\"; expected none or a mapping (did you mean none?)"},
    {"screens: [build-in]\n",
     "1:11: found the text \"build-in\"; expected built-in or a mapping (did you mean built-in?)"},
    {"screens: [{monitor: {edid: None}}]\n",
     "1:28: found the text \"None\"; expected none, hex digits or a mapping (did you mean none?)"},
    {"chip: apple\nscreens: [{display_service: {proxies: [{edid: emtpy}]}}]\n",
     "2:47: found the text \"emtpy\"; expected empty, none, hex digits or a mapping (did you mean "
     "empty?)"},
    {"screens: [{info_dictionary: nnone}]\n",
     "1:29: found the text \"nnone\"; expected none or a mapping (did you mean none?)"},
    {"screens: [{edid_listed: fasle}]\n",
     "1:25: found the text \"fasle\"; expected true, false, empty or {at: seconds} (did you mean "
     "false?)"},
    {"screens: []\nevents: [{at: 1, user: click the warning}]\n",
     "2:24: found the text \"click the warning\"; expected enters the pane or clicks the warning "
     "(did you mean clicks the warning?)"},
    {"screens: []\nfaults: [{call: IOMasterPort, result: kIOReturnNodevice}]\n",
     "2:39: found the text \"kIOReturnNodevice\"; expected an I/O result by its name or as a "
     "number "
     "(did you mean kIOReturnNoDevice?)"},
    {"screens: []\nmodel: 2790\n",
     "2:8: found the number 2790; expected text (quote it: \"2790\")"},
    {"screens: []\nmodel: 0012\n",
     "2:8: found the number 0012; expected text (quote it: \"0012\")"},
    {"screens: []\nmodel: 1.5e3\n",
     "2:8: found the number 1.5e3; expected text (quote it: \"1.5e3\")"},
    {"screens: []\nmodel: false\n",
     "2:8: found the boolean false; expected text (quote it: \"false\")"},
    {"screens: []\nmodel: null\n", "2:8: found null; expected text"},
    {"screens: []\nmodel:\nchip: intel\n", "2:1: found no value; expected text"},
    {"screens: []\nmodel: [a]\n", "2:8: found a list; expected text"},
    {"screens: []\nmodel: {a: b}\n", "2:8: found a mapping; expected text"},
    {"screens: []\nstrings: {a: 5}\n", "2:14: found the number 5; expected text (quote it: \"5\")"},
    {"screens: []\nstrings: {5: a}\n", "2:11: found the number 5; expected text (quote it: \"5\")",
     false},
    {"screens: [{built_in: yes}]\n",
     "1:22: found the text \"yes\"; expected true or false (did you mean true?)"},
    {"screens: [{built_in: no}]\n",
     "1:22: found the text \"no\"; expected true or false (did you mean false?)"},
    {"screens: [{built_in: True}]\n",
     "1:22: found the boolean True; expected true or false (did you mean true?)", false},
    {"screens: [{built_in: \"true\"}]\n",
     "1:22: found the text \"true\"; expected true or false (without quotes)"},
    {"screens: [{edid_listed: maybe}]\n",
     "1:25: found the text \"maybe\"; expected true, false, empty or {at: seconds}"},
    {"screens: []\nchip: inteel\n",
     "2:7: found the text \"inteel\"; expected intel or apple (did you mean intel?)"},
    {"screens: []\nchip: 5\n", "2:7: found the number 5; expected intel or apple"},
    {"screens: [{monitor: {answers: [bad-checksum]}}]\n",
     "1:32: found the text \"bad-checksum\"; expected good, silent, wrong_source, wrong_opcode, "
     "wrong_code, wrong_length or bad_checksum (did you mean bad_checksum?)"},
    {"screens: [{monitor: {answers: silent}}]\n",
     "1:31: found the text \"silent\"; expected a list"},
    {"screens: []\nusb:\n  - properties: {a: [null]}\n",
     "3:22: found null; expected a number, true, false, text, a list, a mapping or {data: hex "
     "digits}"},
    {"screens: []\nfaults: [{call: IOServiceMatchin}]\n",
     "2:17: found the text \"IOServiceMatchin\"; expected a platform call that can fail "
     "(did you mean IOServiceMatching?)"},
    {"screens: []\nfaults: [{call: NSLog}]\n",
     "2:17: found the text \"NSLog\"; expected a platform call that can fail"},
    // Numbers.
    {"screens: [{display_id: 0x100000000}]\n",
     "1:24: 0x100000000 is out of range; expected a whole number from 0 to 0xFFFFFFFF"},
    {"screens: [{display_id: -1}]\n",
     "1:24: -1 is out of range; expected a whole number from 0 to 0xFFFFFFFF"},
    {"screens: [{display_id: 9999999999999999999999999999999999999999999}]\n",
     "1:24: 9999999999999999999999999999999999999999... is out of range; expected a whole number "
     "from 0 to 0xFFFFFFFF"},
    {"screens: [{display_id: 99999999999999999999}]\n",
     "1:24: 99999999999999999999 is out of range; expected a whole number from 0 to 0xFFFFFFFF"},
    {"screens: [{display_id: 012}]\n",
     "1:24: found the number 012; expected a whole number from 0 to 0xFFFFFFFF, in decimal without "
     "leading zeros or in hexadecimal with a leading 0x",
     false},
    {"screens: [{display_id: 0o17}]\n",
     "1:24: found the number 0o17; expected a whole number from 0 to 0xFFFFFFFF, in decimal "
     "without leading zeros or in hexadecimal with a leading 0x"},
    {"screens: [{display_id: 0x1G}]\n",
     "1:24: found the text \"0x1G\"; expected a whole number from 0 to 0xFFFFFFFF (\"G\" is not a "
     "hex "
     "digit)"},
    {"screens: [{display_id: 1Ah}]\n",
     "1:24: found the text \"1Ah\"; expected a whole number from 0 to 0xFFFFFFFF (did you mean "
     "0x1A?)"},
    {"screens: [{display_id: 1.5}]\n",
     "1:24: found the number 1.5; expected a whole number from 0 to 0xFFFFFFFF"},
    {"screens: [{display_id: \"12\"}]\n",
     "1:24: found the text \"12\"; expected a whole number from 0 to 0xFFFFFFFF (without quotes)"},
    {"screens: []\nusb: [{product_id: 0x10000}]\n",
     "2:20: 0x10000 is out of range; expected a whole number from 0 to 0xFFFF"},
    {"screens: []\nusb:\n  - properties: {a: -9223372036854775809}\n",
     "3:21: -9223372036854775809 is out of range; expected a whole number from "
     "-9223372036854775808 to 9223372036854775807"},
    {"screens: []\nfaults: [{call: IOMasterPort, nth: 0}]\n",
     "2:36: 0 is out of range; expected a whole number from 1 to 0xFFFFFFFFFFFFFFFF"},
    {"screens: []\nfaults: [{call: IOMasterPort, result: 0x100000000}]\n",
     "2:39: 0x100000000 is out of range; expected a whole number from 0 to 0xFFFFFFFF"},
    {"screens: []\ntools: {ioreg: {status: 256}}\n",
     "2:25: 256 is out of range; expected a whole number from 0 to 255"},
    {"screens: [{monitor: {vcp: {0x100: 1}}}]\n",
     "1:28: 0x100 is out of range; expected a whole number from 0 to 255", false},
    {"screens: [{monitor: {vcp: {low: 1}}}]\n",
     "1:28: found the text \"low\"; expected a whole number from 0 to 255"},
    {"screens: [{appears_at: -0.5}]\n",
     "1:24: -0.5 is out of range; expected seconds as a decimal number from 0 to 1000000000"},
    {"screens: [{appears_at: 1000000001}]\n",
     "1:24: 1000000001 is out of range; expected seconds as a decimal number from 0 to 1000000000"},
    {"screens: [{appears_at: .inf}]\n",
     "1:24: found the number .inf; expected seconds as a decimal number from 0 to 1000000000",
     false},
    {"screens: [{appears_at: 2.5, disappears_at: 2.5}]\n",
     "1:44: 2.5 is not later than appears_at; expected seconds after that", false},
    {"screens: [{display_service: {disappears_at: 0}}]\n",
     "1:45: 0 is not later than appears_at; expected seconds after that", false},
    {"screens: [{appears_at: soon}]\n",
     "1:24: found the text \"soon\"; expected seconds as a decimal number from 0 to 1000000000"},
    {"screens: [{appears_at: 1e3}]\n",
     "1:24: found the number 1e3; expected seconds as a decimal number from 0 to 1000000000",
     false},
    // EDIDs and other bytes.
    {"screens: [{monitor: {edid: 00ffg0}}]\n",
     "1:32: \"g\" is not a hex digit; expected 0 to 9 or A to F"},
    {"screens: [{monitor: {edid: 0x00ff}}]\n",
     "1:29: \"x\" is not a hex digit; expected 0 to 9 or A to F", false},
    {"screens:\n  - monitor:\n      edid: 00 ff\n        1122 3x\n",
     "4:15: \"x\" is not a hex digit; expected 0 to 9 or A to F"},
    {"screens:\n  - monitor:\n      edid: |\n        00 ff\n\n        1122 3x\n",
     "6:15: \"x\" is not a hex digit; expected 0 to 9 or A to F"},
    {"screens:\n  - monitor:\n      edid: \"00 ff\n        1122 \xC3\xA9"
     "0\"\n",
     "4:14: \"\xC3\xA9\" is not a hex digit; expected 0 to 9 or A to F"},
    {"screens: [{monitor: {edid: \"00\\x66g\"}}]\n",
     "1:28: \"g\" is not a hex digit; expected 0 to 9 or A to F"},
    {"screens: [{monitor: {edid: 00fff}}]\n",
     "1:32: unpaired hex digit \"f\"; expected two digits per byte"},
    {"screens: [{monitor: {edid: 00 f ff}}]\n",
     "1:31: unpaired hex digit \"f\"; expected two digits per byte"},
    {"screens: [{monitor: {edid: [1]}}]\n",
     "1:28: found a list; expected none, hex digits or a mapping"},
    {"screens: [{monitor: {edid: }}]\n",
     "1:22: found no value; expected none, hex digits or a mapping"},
    {"screens: [{monitor: {edid: {file: missing.bin}}}]\n",
     "1:35: file \"missing.bin\" can't be read: No such file or directory; expected a readable "
     "file, named relative to this file's folder",
     false},
    {"screens: [{monitor: {edid: {file: .}}}]\n",
     "1:35: file \".\" is a directory; expected a readable file, named relative to this file's "
     "folder",
     false},
    {"screens: []\ntools: {ioreg: {prints_file: missing.txt}}\n",
     "2:30: file \"missing.txt\" can't be read: No such file or directory; expected a readable "
     "file, named relative to this file's folder",
     false},
    {"screens: [{monitor: {edid: {file: mac.yaml, name: x}}}]\n",
     "1:45: \"name\" conflicts with \"file\"; expected \"file\" alone or with patch"},
    {"screens: [{monitor: {edid: {hex: 00, file: mac.yaml}}}]\n",
     "1:29: \"hex\" conflicts with \"file\"; expected \"file\" alone or with patch"},
    {"screens: [{monitor: {edid: {hex: 00, week: 1}}}]\n",
     "1:38: \"week\" conflicts with \"hex\"; expected \"hex\" alone or with patch"},
    {"screens: [{monitor: {edid: {hex: 00, patch: {0: 1, 1: 2}}}}]\n",
     "1:52: offset 1 is past the end of the EDID; expected one below 1", false},
    {"screens: [{monitor: {edid: {hex: \"\", patch: {0: 1}}}}]\n",
     "1:46: the EDID has no bytes to patch; expected at least one", false},
    {"screens: [{monitor: {edid: {patch: {1: 256}}}}]\n",
     "1:40: 256 is out of range; expected a whole number from 0 to 255"},
    {"screens: [{monitor: {edid: {manufacturer: vrn}}}]\n",
     "1:43: found the text \"vrn\"; expected 3 letters A to Z"},
    {"screens: [{monitor: {edid: {name: VORN K2723QE X}}}]\n",
     "1:35: found the text \"VORN K2723QE X\"; expected at most 13 printable ASCII characters"},
    {"screens: [{monitor: {edid: {year: 1989}}}]\n",
     "1:35: 1989 is out of range; expected a whole number from 1990 to 2245"},
    {"screens: [{monitor: {edid: {size_cm: [60]}}}]\n",
     "1:38: found a list of 1; expected [width, height] in cm"},
    {"screens: [{monitor: {edid: {descriptors: [name, name, name, name, name]}}}]\n",
     "1:67: too many entries; expected at most 4"},
    // Rules between keys.
    {"screens: []\nevents: [{at: 1}]\n",
     "2:10: no key says what happens; expected exactly one of attach, detach, user or installer"},
    {"screens: []\nevents:\n  - {at: 1, detach: 1, user: enters the pane}\n",
     "3:24: \"user\" conflicts with \"detach\"; expected exactly one of attach, detach, user or "
     "installer"},
    {"screens: []\ntools: {ioreg: {prints: a, prints_file: mac.yaml}}\n",
     "2:17: \"prints\" conflicts with \"prints_file\"; expected \"prints_file\" alone or with "
     "status or takes"},
    {"screens: []\ntools: {ioreg: []}\n", "2:16: too few entries; expected at least 1"},
};

TEST(MacFileMistake, IsReportedWithItsPlace) {
    for (const Mistake& mistake : mistakes) {
        EXPECT_EQ(mistakeInText(mistake.text), spelled(mistake.message)) << mistake.text;
    }
}

TEST(MacFileMistake, InTheTextItselfIsReportedWithItsPlace) {
    const std::vector<Mistake> unreadable = {
        {"", "1:1: the file is empty; expected a mapping of keys"},
        {"# a comment only\n", "1:1: the file is empty; expected a mapping of keys"},
        {"---\n...\n", "1:1: the file is empty; expected a mapping of keys"},
        {"screens: []\n---\nscreens: []\n",
         "2:1: a second YAML document starts here; expected only one"},
        {"screens: []\n...\nscreens: []\n",
         "3:1: not valid YAML: found text after the end of the document; expected none"},
        {"screens: []\nmac: 'it''s\n", "2:6: unterminated quoted text; expected a closing quote"},
        {"screens: []\nmac: \"a\\\"\n", "2:6: unterminated quoted text; expected a closing quote"},
        {"screens: []\nmac: !!str x\n", "2:6: found a YAML tag; expected a value without a tag"},
        {"screens: &a [*a]\n",
         "1:14: alias to a value that contains it; expected an alias to an earlier value"},
        {"screens: []\nmac: \xFF\n", "2:6: byte 0xFF is not valid UTF-8; expected UTF-8 text"},
        {"screens: []\nmac: \xC3\xA9\xC3\n",
         "2:7: byte 0xC3 is not valid UTF-8; expected UTF-8 text"},
        {"mac: \xED\xA0\x80\n", "1:6: byte 0xED is not valid UTF-8; expected UTF-8 text"},
        {"mac: \xC0\x80\n", "1:6: byte 0xC0 is not valid UTF-8; expected UTF-8 text"},
        {"mac: \xF4\x90\x80\x80\n", "1:6: byte 0xF4 is not valid UTF-8; expected UTF-8 text"},
        {"\xFFs", "1:1: byte 0xFF is not valid UTF-8; expected UTF-8 text"},
        {"screens: []\nmac: \"a\x04\"\n",
         "2:8: found control character 0x04; expected printable text"},
    };
    for (const Mistake& mistake : unreadable) {
        EXPECT_EQ(mistakeInText(mistake.text), mistake.message) << mistake.text;
    }
    EXPECT_EQ(mistakeInText(std::string("mac: a\0b\n", 9)),
              "1:7: found control character 0x00; expected printable text");
}

/// The lines of what the reader says of a file with this text, each without "FILE:".
std::vector<std::string> mistakesInText(const std::string& text) {
    const TemporaryFolder folder;
    const fs::path file = folder.write("mac.yaml", text);
    std::vector<std::string> lines;
    try {
        readMacFile(file);
    } catch (const MacFileError& error) {
        std::istringstream stream(error.what());
        for (std::string line; std::getline(stream, line);) {
            EXPECT_TRUE(line.starts_with(file.string() + ":")) << line;
            lines.push_back(line.substr(file.string().size() + 1));
        }
    }
    return lines;
}

using Lines = std::vector<std::string>;

TEST(MacFileMistakes, AreListedInTheOrderOfTheLines) {
    EXPECT_EQ(
        mistakesInText("events:\n"
                       "  - {at: soon, detach: -1}\n"
                       "  - {at: 1}\n"
                       "screens:\n"
                       "  - display_id: x\n"
                       "    monitor: {vcp: {0x100: 1, 0x10: {current: y}}, answers: [good, 5]}\n"
                       "  - 7\n"
                       "chip: 5\n"),
        (Lines{
            "2:10: found the text \"soon\"; expected seconds as a decimal number from 0 to "
            "1000000000",
            "2:24: -1 is out of range; expected a whole number from 0 to 0xFFFFFFFF",
            "3:5: no key says what happens; expected exactly one of attach, detach, user or "
            "installer",
            "5:17: found the text \"x\"; expected a whole number from 0 to 0xFFFFFFFF",
            "6:21: 0x100 is out of range; expected a whole number from 0 to 255",
            "6:47: found the text \"y\"; expected a whole number from 0 to 0xFFFF",
            "6:68: found the number 5; expected good, silent, wrong_source, wrong_opcode, "
            "wrong_code, wrong_length or bad_checksum",
            "7:5: found the number 7; expected built-in or a mapping",
            "8:7: found the number 5; expected intel or apple",
        }));
}

TEST(MacFileMistakes, AreAlsoFoundBelowAMistypedKey) {
    EXPECT_EQ(mistakesInText("screens: [{framebufer: {asleep: 1}}]\n"),
              (Lines{"1:12: unknown key \"framebufer\"; expected built_in, name, display_id, "
                     "vendor_number, model_number, serial_number, is_screen, appears_at, "
                     "disappears_at, edid_listed, monitor, framebuffer, display_service or "
                     "info_dictionary (did you mean framebuffer?)",
                     "1:33: found the number 1; expected true or false (did you mean true?)"}));
}

TEST(MacFileMistakes, AreNoneBecauseOfAnotherMistake) {
    // The key that is mistyped is not missing as well.
    EXPECT_EQ(mistakesInText("screens: []\nfaults: [{cal: IOMasterPort}]\n").size(), 1U);
    EXPECT_EQ(mistakesInText("screens: []\nevents: [{at: 1, atach: {}}]\n").size(), 1U);
    // Nothing is said of the bytes of an EDID that can't be read.
    EXPECT_EQ(mistakesInText("screens: [{monitor: {edid: {hex: 0g, patch: {0: 1}}}}]\n").size(),
              1U);
    EXPECT_EQ(mistakesInText("screens: [{monitor: {edid: {manufacturer: vrn, name: 1}}}]\n").size(),
              2U);
    // Nor of the entries of a registry that can't.
    EXPECT_EQ(mistakesInText("registry: missing.txt\n"
                             "screens: [{framebuffer: {entry: IOService:/x}}]\n")
                  .size(),
              1U);
    // Two keys that conflict do so once.
    EXPECT_EQ(mistakesInText("screens: [{monitor: {edid: {hex: 00, file: mac.yaml}}}]\n").size(),
              1U);
}

TEST(MacFileMistakes, InAValueWithAliasesAreListedOnce) {
    EXPECT_EQ(mistakesInText("screens: [&a {built_in: 5}, *a, *a]\n"),
              (Lines{"1:25: found the number 5; expected true or false"}));
}

std::string screensWithMistakes(std::size_t count) {
    std::string text = "screens:\n";
    for (std::size_t i = 0; i < count; ++i) text += "  - {built_in: 5}\n";
    return text;
}

TEST(MacFileMistakes, AreCountedWhereThereAreTooManyToList) {
    EXPECT_EQ(mistakesInText(screensWithMistakes(20)).size(), 20U);
    EXPECT_EQ(mistakesInText(screensWithMistakes(21)).back(), " and 1 more mistake");
    const auto lines = mistakesInText(screensWithMistakes(32));
    ASSERT_EQ(lines.size(), 21U);
    EXPECT_EQ(lines[19], "21:16: found the number 5; expected true or false");
    EXPECT_EQ(lines[20], " and 12 more mistakes");
}

TEST(HostileMacFile, MayNotHoldMistakesWithoutEnd) {
    EXPECT_EQ(mistakesInText(screensWithMistakes(30'000)).back(), " and 980 more mistakes");
}

TEST(MacFileMistake, CountsCharactersNotBytes) {
    EXPECT_EQ(
        mistakeInText("\xEF\xBB\xBF{mac: \"\xC3\xA9\xF0\x9F\x98\x80\", chip: 5, screens: []}"),
        "1:19: found the number 5; expected intel or apple");
    EXPECT_EQ(mistakeInText("screens: []\r\nchip: 5\r\n"),
              "2:7: found the number 5; expected intel or apple");
}

TEST(MacFileMistake, PointsAfterAnAnchor) {
    EXPECT_EQ(mistakeInText("screens: []\nchip: &a # here\n  5\n"),
              "3:3: found the number 5; expected intel or apple");
}

TEST(MacFileMistake, OfAPathNamesThePathAsGiven) {
    const TemporaryFolder folder;
    EXPECT_EQ(mistakeIn(folder.path / "missing.yaml"),
              "1:1: can't be read: No such file or directory; expected a Mac file");
    EXPECT_EQ(mistakeIn(folder.path), "1:1: is a directory; expected a Mac file");
    const fs::path roundabout = folder.path / "." / "mac.yaml";
    folder.write("mac.yaml", "5\n");
    EXPECT_TRUE(mistakeIn(roundabout).starts_with("1:1: found the number 5"));
}

TEST(MacFileMistake, InAFileThatIsAPipeDoesNotWaitForIt) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder.path / "pipe").c_str(), 0600), 0);
    const fs::path file =
        folder.write("mac.yaml", "screens: []\ntools: {ioreg: {prints_file: pipe}}\n");
    EXPECT_EQ(mistakeIn(file),
              "2:30: file \"pipe\" is a pipe; expected a readable file, named relative to this "
              "file's folder");
}

TEST(MacFileMistake, OfAnUnreadableFileSaysWhy) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "root reads every file";
    }
    const TemporaryFolder folder;
    const fs::path file = folder.write("mac.yaml", "screens: []\n");
    fs::permissions(file, fs::perms::none);
    EXPECT_EQ(mistakeIn(file), "1:1: can't be read: Permission denied; expected a Mac file");
}

std::string repeated(const std::string& text, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i) result += text;
    return result;
}

TEST(HostileMacFile, MayNotNestTooDeeply) {
    EXPECT_EQ(mistakeInText("screens: []\nusb: " + repeated("[", 64) + repeated("]", 64)),
              "2:69: nested too deeply; expected at most 64 levels");
    for (const char* const opening : {"[", "{", "- ", "? ", "[{", "{a: "}) {
        const std::string mistake = mistakeInText(repeated(opening, 100000));
        EXPECT_NE(mistake.find("nested too deeply"), std::string::npos) << mistake;
    }
}

TEST(HostileMacFile, MayNotNestTooDeeplyByAliases) {
    std::string text = "screens: []\na0: &a0 [x]\n";
    for (int i = 1; i < 70; ++i) {
        text += "a" + std::to_string(i) + ": &a" + std::to_string(i) + " [*a" +
                std::to_string(i - 1) + "]\n";
    }
    EXPECT_EQ(mistakeInText(text), "65:12: nested too deeply; expected at most 64 levels");
}

TEST(HostileMacFile, MayNotGrowByAliases) {
    std::string text = "screens: []\na0: &a0 [x,x,x,x,x,x,x,x,x]\n";
    for (int i = 1; i < 12; ++i) {
        const std::string alias = "*a" + std::to_string(i - 1);
        text += "a" + std::to_string(i) + ": &a" + std::to_string(i) + " [" +
                repeated(alias + ",", 8) + alias + "]\n";
    }
    const std::string mistake = mistakeInText(text);
    EXPECT_NE(mistake.find("too much content once aliases are expanded; expected at most 100000 "
                           "values and 8388608 bytes of text"),
              std::string::npos)
        << mistake;
}

TEST(HostileMacFile, MayNotRepeatALongTextByAliases) {
    const std::string mistake = mistakeInText("screens: []\nmac: &a " + std::string(1 << 20, 'x') +
                                              "\nstrings: [" + repeated("*a,", 1000) + "]\n");
    EXPECT_NE(mistake.find("too much content"), std::string::npos) << mistake;
}

TEST(HostileMacFile, MayNotBeTooLong) {
    EXPECT_EQ(mistakeInText(std::string((4 << 20) + 1, '\n')),
              "1:1: is too long; expected a Mac file");
    EXPECT_EQ(mistakeIn("/dev/zero"), "1:1: is too long; expected a Mac file");
}

TEST(HostileMacFile, MayNotNameEndlessFiles) {
    const std::string mistake = mistakeInText("screens: [{monitor: {edid: {file: /dev/zero}}}]\n");
    EXPECT_EQ(mistake,
              "1:35: file \"/dev/zero\" is too long; expected a readable file, named relative to "
              "this file's folder");
}

// --- schema, documentation, examples -------------------------------------------------------------

/// Calls `visit` with each key that a schema knows, at any depth, and with the key's own schema.
void forEachKey(const nlohmann::json& schema,
                const std::function<void(const std::string&, const nlohmann::json&)>& visit) {
    for (const char* const keyword : {"properties", "patternProperties", "definitions"}) {
        if (!schema.contains(keyword)) continue;
        for (const auto& member : schema[keyword].items()) {
            if (keyword == std::string("properties")) visit(member.key(), member.value());
            forEachKey(member.value(), visit);
        }
    }
    for (const char* const keyword : {"items", "additionalProperties"}) {
        if (schema.contains(keyword) && schema[keyword].is_object()) {
            forEachKey(schema[keyword], visit);
        }
    }
    if (schema.contains("anyOf")) {
        for (const auto& alternative : schema["anyOf"]) forEachKey(alternative, visit);
    }
}

std::set<std::string> keysOfSchema() {
    std::set<std::string> keys;
    forEachKey(nlohmann::json::parse(macFileSchema()),
               [&keys](const std::string& key, const nlohmann::json&) { keys.insert(key); });
    return keys;
}

/// Every text that the documentation shows as a Mac file.
std::vector<std::string> filesInDocumentation() {
    std::vector<std::string> files;
    std::istringstream lines(readFile(projectFolder / "docs/mac-files.md"));
    std::string line;
    bool inside = false;
    while (std::getline(lines, line)) {
        if (line == "```yaml") {
            inside = true;
            files.emplace_back();
        } else if (line == "```") {
            inside = false;
        } else if (inside) {
            files.back() += line + '\n';
        }
    }
    return files;
}

std::vector<fs::path> examples() {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(projectFolder / "examples")) {
        if (entry.path().extension() == ".yaml") files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// Whether each file fits the committed schema, says another program; nothing if it lacks a module.
std::optional<std::vector<std::string>> checkAgainstSchema(const std::vector<fs::path>& files) {
    std::string command = "python3 '" +
                          (projectFolder / "simulated_mac/tests/file/check_schema.py").string() +
                          "' '" + (projectFolder / "docs/mac-file.schema.json").string() + "'";
    for (const fs::path& file : files) command += " '" + file.string() + "'";
    FILE* const pipe = popen(command.c_str(), "r");
    EXPECT_NE(pipe, nullptr);
    std::string output;
    std::array<char, 4096> chunk;
    while (const std::size_t count = fread(chunk.data(), 1, chunk.size(), pipe)) {
        output.append(chunk.data(), count);
    }
    const int status = pclose(pipe);
    constexpr int kMissingModule = 3;
    constexpr int kNoPython = 127;
    if (WIFEXITED(status) &&
        (WEXITSTATUS(status) == kMissingModule || WEXITSTATUS(status) == kNoPython)) {
        return std::nullopt;
    }
    EXPECT_EQ(status, 0);
    std::vector<std::string> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

TEST(MacFileSchema, IsTheCommittedOne) {
    EXPECT_TRUE(macFileSchema() == readFile(projectFolder / "docs/mac-file.schema.json"))
        << "write it anew: make keys";
}

TEST(MacFileSchema, DescribesEveryKey) {
    // Their parent keys say what they mean.
    const std::set<std::string> plain = {"data", "ioreg", "system_profiler", "afktool"};
    forEachKey(nlohmann::json::parse(macFileSchema()),
               [&plain](const std::string& key, const nlohmann::json& schema) {
                   EXPECT_TRUE(plain.contains(key) || schema.contains("description")) << key;
               });
}

TEST(MacFileSchema, HasNoKeyThatTheEveryKeyTestLacks) {
    const std::string text = everyKey;
    for (const std::string& key : keysOfSchema()) {
        EXPECT_NE(text.find(key + ":"), std::string::npos) << key;
    }
}

TEST(MacFileDocumentation, ExplainsEveryKey) {
    const std::string text = readFile(projectFolder / "docs/mac-files.md");
    const std::set<std::string> keys = keysOfSchema();
    EXPECT_GT(keys.size(), 70U);
    for (const std::string& key : keys) {
        EXPECT_TRUE(text.find("`" + key + "`") != std::string::npos ||
                    text.find("`{" + key + ": ") != std::string::npos)
            << key;
    }
}

TEST(MacFileDocumentation, ShowsValidFilesOnly) {
    const TemporaryFolder folder;
    folder.write("monitors/desk.bin", "x");
    folder.write("captures/ioreg.txt", "x");
    folder.write("mac.registry.txt", readFile(projectFolder / "tests/dumps/intel.ioreg.txt"));
    const std::vector<std::string> files = filesInDocumentation();
    ASSERT_GT(files.size(), 5U);
    std::vector<fs::path> paths;
    for (const std::string& text : files) {
        paths.push_back(folder.write(std::to_string(paths.size()) + ".yaml", text));
        EXPECT_EQ(mistakeIn(paths.back()), "") << text;
    }
    const auto checked = checkAgainstSchema(paths);
    if (!checked) GTEST_SKIP() << "python3 lacks jsonschema or yaml";
    EXPECT_EQ(*checked, std::vector<std::string>(paths.size(), "fits"));
}

TEST(MacFileExamples, AreValid) {
    ASSERT_FALSE(examples().empty());
    for (const fs::path& file : examples()) EXPECT_EQ(mistakeIn(file), "");
}

TEST(MacFileExamples, FitTheSchema) {
    const TemporaryFolder folder;
    std::vector<fs::path> files = examples();
    files.push_back(folder.write("every-key.yaml", everyKey));
    const auto checked = checkAgainstSchema(files);
    if (!checked) GTEST_SKIP() << "python3 lacks jsonschema or yaml";
    EXPECT_EQ(*checked, std::vector<std::string>(files.size(), "fits"));
}

TEST(MacFileExamples, KeepTheirEDIDsAsHex) {
    std::size_t monitors = 0;
    for (const fs::path& file : examples()) {
        for (const ScreenDescription& screen : readMacFile(file).screens) {
            const Bytes& edid = screen.monitor.edid;
            if (edid.empty()) continue;
            ++monitors;
            const MacDescription again =
                read("screens: [{monitor: {edid: \"" + hexText(edid) + "\"}}]");
            EXPECT_EQ(again.screens[0].monitor.edid, edid) << file;
        }
    }
    EXPECT_GT(monitors, 0U);
}

TEST(MacFileSchema, RefusesWhatTheReaderRefuses) {
    const TemporaryFolder folder;
    std::vector<fs::path> files;
    for (const Mistake& mistake : mistakes) {
        if (mistake.inSchema) {
            files.push_back(folder.write(std::to_string(files.size()) + ".yaml", mistake.text));
        }
    }
    const auto checked = checkAgainstSchema(files);
    if (!checked) GTEST_SKIP() << "python3 lacks jsonschema or yaml";
    ASSERT_EQ(checked->size(), files.size());
    for (std::size_t i = 0; i < files.size(); ++i) {
        EXPECT_TRUE((*checked)[i].starts_with("differs: ")) << readFile(files[i]);
    }
}

}  // namespace mac_file_test
}  // namespace simulated_mac
