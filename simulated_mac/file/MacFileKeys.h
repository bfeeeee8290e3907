#pragma once

#include "simulated_mac/description/FallibleCalls.h"
#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/file/MacFileValues.h"

/// The format of a Mac file: for each structure its keys, what they hold and what they mean.
/// Reading, the key lists in messages, the JSON Schema and the tables of docs/mac-files.md all come
/// from here; to add a key, add its line and run `make keys`. In a description, `...` marks what
/// stands in a file as it is.
namespace simulated_mac {

/// `edid` in its mapping forms; which one it is shows in the keys that are there.
struct EDIDForms {
    std::optional<Bytes> file;
    std::optional<Bytes> hex;
    EDIDFields made;
    std::map<std::uint16_t, std::uint8_t> patch;  ///< bytes to put in last, by offset
};

/// none, hex digits, or a mapping as in EDIDForms.
struct EDIDBytes {
    void read(YAMLReader& reader, const YAMLNode& node, Bytes& target) const;
    JSON schema(const Bytes&) const;
};

/// The file of a recorded registry, which names of its entries refer to from there on.
struct RegistryRecord {
    using Target = std::shared_ptr<const RecordedRegistry>;

    void read(YAMLReader& reader, const YAMLNode& node, Target& target) const;
    JSON schema(const Target&) const;
};

/// The path or ID of an entry of the recorded registry.
struct EntryOfRecord {
    void read(YAMLReader& reader, const YAMLNode& node, std::string& target) const;
    JSON schema(const std::string&) const;
};

/// [width, height] of the image in cm.
struct ImageSize {
    void read(YAMLReader& reader, const YAMLNode& node, EDIDFields& target) const;
    JSON schema(const EDIDFields&) const;
};

/// The current value alone, or a mapping.
struct VCPValue {
    void read(YAMLReader& reader, const YAMLNode& node, VCPEntry& target) const;
    JSON schema(const VCPEntry&) const;
};

/// `unknown`, or the answers by VCP code.
struct VCPAnswers {
    void read(YAMLReader& reader, const YAMLNode& node, MonitorDescription& target) const;
    JSON schema(const MonitorDescription& initial) const;

    static constexpr const char* unknown = "unknown";
};

/// A mask of transaction types, or null for an interface without one.
struct TransactionTypes {
    void read(YAMLReader& reader, const YAMLNode& node, BusDescription& target) const;
    JSON schema(const BusDescription&) const;
};

/// One of the words for a kind, or {bytes: hex}.
struct AnswerKind {
    void read(YAMLReader& reader, const YAMLNode& node, DDCAnswer& target) const;
    JSON schema(const DDCAnswer&) const;
};

/// `empty`, or as in EDIDBytes.
struct ProxyEDID {
    void read(YAMLReader& reader, const YAMLNode& node, ProxyDescription& target) const;
    JSON schema(const ProxyDescription& initial) const;
};

/// Seconds later than those of another key, which was read before.
template <class Structure>
struct LaterSeconds {
    double Structure::*earlier;
    const char* earlierKey;
    std::optional<double> Structure::*member;

    void read(YAMLReader& reader, const YAMLNode& node, Structure& target) const {
        double seconds = 0;
        Seconds{}.read(reader, node, seconds);
        if (seconds <= target.*earlier) {
            reader.fail(node, node.text + " is not later than " + earlierKey +
                                  "; expected seconds after that");
        }
        target.*member = seconds;
    }
    JSON schema(const Structure&) const { return Seconds{}.schema(0); }
};

/// true, false, empty, or {at: seconds}.
struct EDIDListing {
    void read(YAMLReader& reader, const YAMLNode& node, ScreenDescription& target) const;
    JSON schema(const ScreenDescription&) const;
};

/// One of the states that the pane gives a display.
struct DisplayState {
    void read(YAMLReader& reader, const YAMLNode& node, std::int64_t& target) const;
    JSON schema(std::int64_t) const;
};

/// Seconds, or never.
struct TimeOfContinue {
    void read(YAMLReader& reader, const YAMLNode& node, ContinueExpectation& target) const;
    JSON schema(const ContinueExpectation&) const;
};

/// Changes to CoreDisplay's dictionary, or none for a display without one.
struct InfoDictionary {
    void read(YAMLReader& reader, const YAMLNode& node, ScreenDescription& target) const;
    JSON schema(const ScreenDescription&) const;
};

template <class Visitor>
void fields(Visitor& field, EDIDFields& edid) {
    using Descriptor = EDIDFields::Descriptor;
    const LimitedText descriptorText = {0, 13, ' ', '~'};
    field("manufacturer", edid.manufacturer, LimitedText{3, 3, 'A', 'Z'},
          "Manufacturer, bytes 8 and 9.");
    field("product", edid.product, Number{}, "Product code, bytes 10 and 11.");
    field("serial", edid.serial, Number{},
          "Serial number, bytes 12 to 15; 0 says that there is none.");
    field("name", edid.name, descriptorText, "Text of the monitor-name descriptor.");
    field("serial_text", edid.serialText, descriptorText, "Text of the serial-number descriptor.");
    field("week", edid.week, Number{}, "Week of manufacture; 255: the year is a model year.");
    field("year", edid.year, Number{1990, 2245}, "Year of manufacture.");
    field("size_cm", edid, ImageSize{}, "Size of the image in cm.");
    field(
        "descriptors", edid.descriptors,
        ListOf<Choice<Descriptor>>{{{{"serial", Descriptor::serial},
                                     {"name", Descriptor::name},
                                     {"range", Descriptor::range},
                                     {"timing", Descriptor::timing}}},
                                   0,
                                   4},
        "What the descriptor slots hold, in order. Slots beyond the list are empty, and so is one "
        "whose text is not given.");
}

template <class Visitor>
void fields(Visitor& field, EDIDForms& edid) {
    field.onlyWith("file", {"patch"});
    field.onlyWith("hex", {"patch"});
    field("file", edid.file, FileContents{},
          "Binary file with the EDID, relative to the Mac file's folder.");
    field("hex", edid.hex, HexBytes{}, "The EDID's bytes.");
    fields(field, edid.made);
    field(
        "patch", edid.patch, ByNumber<Number>{},
        "Bytes to change at the end, by offset. The checksum stays as it was: a patched EDID has a "
        "wrong one unless the patch puts it right (offset 127).");
}

template <class Visitor>
void fields(Visitor& field, VCPEntry& entry) {
    field("current", entry.current, Number{}, "Current value.");
    field("maximum", entry.maximum, Number{}, "Maximum value.");
    field("type", entry.type, Number{}, "Type byte: 0 set parameter, 1 momentary.");
    field("result", entry.result, Number{}, "Result byte: 0 no error, 1 unsupported code.");
}

/// The mapping form of an answer.
template <class Visitor>
void fields(Visitor& field, DDCAnswer& answer) {
    field("bytes", answer.bytes, HexBytes{}, "What comes back, whatever was asked.",
          Presence::required);
}

template <class Visitor>
void fields(Visitor& field, MonitorDescription& monitor) {
    field.onlyWith("vcp", VCPAnswers::unknown, {"edid"});
    field(
        "edid", monitor.edid, EDIDBytes{},
        "The EDID that the Mac reads: `none`, hex digits, or a mapping with `file`, `hex` or the "
        "keys to make a valid one. None unless given; the built-in panel of an Intel Mac without a "
        "recorded `registry` then has a usual one.");
    field("vcp", monitor, VCPAnswers{},
          "What the monitor answers, by VCP code (0 to 255). It answers any other code as "
          "unsupported. `unknown` if nobody knows whether it answers over DDC/CI.");
    field("answers", monitor.answers, ListOf<AnswerKind>{},
          "What it sends when its first, second, ... reply is read; the last entry holds for all "
          "later replies. Unless given, all replies are good.");
    field("needs_reply_delay_ns", monitor.needsReplyDelay, Number{},
          "A request that gives the monitor less time than this (nanoseconds) gets no answer.");
    field("settles_after_clean", monitor.settlesAfterClean, Boolean{},
          "Replies have a bad checksum until VCP code 0 was asked for once.");
}

template <class Visitor>
void fields(Visitor& field, BusDescription& bus) {
    field("leads_to_monitor", bus.leadsToMonitor, Boolean{}, "Whether the monitor is on this bus.");
    field("copy_result", bus.copyResult, IOResult{}, "Result of `IOFBCopyI2CInterfaceForBus`.");
    field("open_result", bus.openResult, IOResult{}, "Result of `IOI2CInterfaceOpen`.");
    field("send_result", bus.sendResult, IOResult{},
          "Result of `IOI2CSendRequest` when it can't take the bus; nothing is sent then. Unless "
          "given, it takes the bus.");
    field("release_result", bus.releaseResult, IOResult{},
          "Result of `IOI2CSendRequest` from giving the bus back, after the transaction.");
    field("request_result", bus.requestResult, IOResult{},
          "Result of the transaction itself, as it stands in the request. Unless given, it "
          "says what happened.");
    field("transaction_types", bus, TransactionTypes{},
          "Mask of the transaction types that the bus takes (19: types 0, 1 and 4), property "
          "`IOI2CTransactionTypes`; `null` leaves the property out, and the bus takes none. Unless "
          "given, that of `graphics`.");
    field("has_interface", bus.hasInterface, Boolean{},
          "Whether the registry has an entry for the bus; without one `IOFBCopyI2CInterfaceForBus` "
          "succeeds with the handle 0.");
}

inline constexpr auto recordedEntry =
    "The entry of the recorded `registry` that it is: its path, `IOService:/...`, or its ID, "
    "`0x...`. Unless given, one is added.";

template <class Visitor>
void fields(Visitor& field, FramebufferDescription& framebuffer) {
    field("entry", framebuffer.entry, EntryOfRecord{}, recordedEntry);
    field("dictionary", framebuffer.dictionary, Properties{},
          "Changes to the display information dictionary; `null` takes a key out.");
    field("buses", framebuffer.buses, ListOf<Mapping>{},
          "The I2C buses; unless given, one, which leads to the monitor and, of a built-in panel, "
          "nowhere.");
    field("bus_count", framebuffer.busCount, Number{0, 10'000},
          "Number of buses that `IOFBGetI2CInterfaceCount` tells, where it differs from `buses`.");
    field("path", framebuffer.path, Text{},
          "Path in the I/O registry's service plane. Unless given, it follows from the registry.");
    field("service_port", framebuffer.hasServicePort, Boolean{},
          "Whether `CGDisplayIOServicePort` knows the framebuffer.");
    field("asleep", framebuffer.asleep, Boolean{},
          "Whether the framebuffer sleeps: requests then succeed and bring back what was sent.");
}

template <class Visitor>
void fields(Visitor& field, ProxyDescription& proxy) {
    field("entry", proxy.entry, EntryOfRecord{}, recordedEntry);
    field(
        "location", proxy.location, Property{},
        "Property `Location`; `null` leaves it out. Unless given, it is `External`, and `Embedded` "
        "for the built-in panel.");
    field("name_readable", proxy.nameReadable, Boolean{}, "Whether the entry's name can be read.");
    field("opens", proxy.opens, Boolean{}, "Whether an AV service can be made for it.");
    field("copy_edid_result", proxy.copyEDIDResult, IOResult{}, "Result of `IOAVServiceCopyEDID`.");
    field(
        "edid", proxy, ProxyEDID{},
        "The EDID that the service gives in place of the monitor's; with `none` the call succeeds "
        "without data, with `empty` it gives data of length 0.");
}

template <class Visitor>
void fields(Visitor& field, DisplayServiceDescription& service) {
    field("entry", service.entry, EntryOfRecord{}, recordedEntry);
    field("appears_at", service.appearsAt, Seconds{},
          "Seconds after power-on at which the entry joins the registry, behind the other "
          "framebuffers.");
    field(
        "disappears_at", service,
        LaterSeconds<DisplayServiceDescription>{&DisplayServiceDescription::appearsAt, "appears_at",
                                                &DisplayServiceDescription::disappearsAt},
        "Seconds after power-on at which the entry and its proxies leave the registry; calls on "
        "a service that was made before then fail with 0xE00002C0. It stays unless given.");
    field(
        "position", service.position, Number{},
        "Place among the framebuffers of the registry, from 0; those without one keep the order of "
        "the screens.");
    field("entry_name", service.entryName, Text{},
          "Name of the framebuffer's entry. Real Macs have `AppleCLCD2` or "
          "`IOMobileFramebufferShim`.");
    field("name_readable", service.nameReadable, Boolean{},
          "Whether the entry's name can be read.");
    field("properties", service.properties, Properties{},
          "Changes to the entry's properties `EDID UUID`, `DisplayAttributes`, `external` and "
          "`Transport`; `null` takes one out.");
    field("product_attributes", service.productAttributes, Properties{},
          "Changes to the `ProductAttributes` in its `DisplayAttributes`; `null` takes a key out.");
    field("proxies", service.proxies, ListOf<Mapping>{},
          "The AV service proxies behind the entry; one unless given.");
}

template <class Visitor>
void fields(Visitor& field, ScreenDescription& screen) {
    field("built_in", screen.builtIn, Boolean{}, "Whether this is the Mac's own panel.");
    field("name", screen.name, Text{},
          "The screen's localised name. Unless given, it comes from the EDID, and twins get "
          "\" (1)\" and \" (2)\" behind it.");
    field("display_id", screen.displayID, Number{},
          "Core Graphics' number of the display; unless given, one of its own.");
    field("vendor_number", screen.vendorNumber, Number{},
          "Result of `CGDisplayVendorNumber`. Unless given, that of the EDID; 0x756E6B6E without "
          "one.");
    field("model_number", screen.modelNumber, Number{},
          "Result of `CGDisplayModelNumber`. Unless given, that of the EDID; 0x717 without one.");
    field("serial_number", screen.serialNumber, Number{},
          "Result of `CGDisplaySerialNumber`. Unless given, that of the EDID; 0 without one.");
    field("is_screen", screen.isScreen, Boolean{},
          "Whether the device description holds `NSDeviceIsScreen`.");
    field("appears_at", screen.appearsAt, Seconds{},
          "Seconds after power-on at which the screen joins the screen list.");
    field("disappears_at", screen,
          LaterSeconds<ScreenDescription>{&ScreenDescription::appearsAt, "appears_at",
                                          &ScreenDescription::disappearsAt},
          "Seconds after power-on at which the monitor is unplugged: the screen, its EDID and its "
          "display service go, and its display ID is no longer known. It stays unless given.");
    field(
        "edid_listed", screen, EDIDListing{},
        "Whether the system's tools print the EDID; with `at`, from that second after power-on; "
        "with `empty`, it is data of length 0. Unless given, they do, except for a built-in panel "
        "on Apple silicon.");
    field("monitor", screen.monitor, Mapping{}, "The monitor behind the screen.");
    field("framebuffer", screen.framebuffer,
          WordOrMapping<FramebufferDescription>{"none", &FramebufferDescription::present, false},
          "The framebuffer that drives the screen (Intel Macs); `none` for a screen without one.");
    field(
        "display_service", screen.displayService,
        WordOrMapping<DisplayServiceDescription>{"none", &DisplayServiceDescription::present,
                                                 false},
        "The framebuffer entry and AV service proxies of the screen (Apple silicon); `none` for a "
        "screen without them.");
    field("info_dictionary", screen, InfoDictionary{},
          "Changes to CoreDisplay's dictionary of the display (Apple silicon); `null` takes a key "
          "out, `none` leaves the display without a dictionary.");
}

/// The calls that a fault or an event may name.
inline const Word fallibleCall = {"a platform call that can fail",
                                  {fallibleCalls.begin(), fallibleCalls.end()}};

template <class Visitor>
void fields(Visitor& field, USBDeviceDescription& device) {
    field("node_name", device.nodeName, Text{}, "Name of the device's registry node.");
    field("location_id", device.locationID, Number{},
          "Property `locationID`; the registry extends it by its sign to 64 bits.");
    field("vendor_id", device.vendorID, Number{}, "Property `idVendor`.");
    field("product_id", device.productID, Number{}, "Property `idProduct`.");
    field("product", device.product, Text{},
          "Properties `kUSBProductString` and `USB Product Name`.");
    field("serial", device.serial, Text{}, "Property `kUSBSerialNumberString`.");
    field("properties", device.properties, Properties{},
          "Further properties, or other values for those above; `null` takes one out.");
    field("readable", device.readable, Boolean{}, "Whether its properties can be read.");
    field("parent", device.hasParent, Boolean{}, "Whether the lookup of its parent succeeds.");
    field("older_form", device.olderForm, Boolean{},
          "Whether it stands in the registry as with macOS 10.14 and older: without "
          "`kUSBProductString`, and with a second node, of class `AppleUSBDevice`, below an "
          "`AppleUSBHostLegacyClient`.");
}

template <class Visitor>
void fields(Visitor& field, CallUse& use) {
    field("call", use.call, fallibleCall,
          "Name of the platform's function, such as `IOIteratorNext`.", Presence::required);
    field("nth", use.nth, Number{1, {}}, "Which of its uses, counted from 1.");
}

template <class Visitor>
void fields(Visitor& field, EventDescription& event) {
    using User = EventDescription::User;
    field.exactlyOne("when it happens", {"at", "at_call"});
    field.exactlyOne("what happens", {"attach", "detach", "user", "installer"});
    field("at", event.at, Seconds{}, "Seconds after the pane was first entered.");
    field("at_call", event.atCall, Mapping{},
          "The use of a platform call before which it happens, whatever the time.");
    field("attach", event.attach, Mapping{}, "A USB device to attach.");
    field("detach", event.detach, Number{}, "The `location_id` of the USB device to detach.");
    field("user", event.user,
          Choice<User>{
              {{"enters the pane", User::entersPane}, {"clicks the warning", User::clicksWarning}}},
          "What the user does.");
    field("installer", event.installer,
          Choice<EventDescription::Installer>{
              {{"releases the pane's view", EventDescription::Installer::releasesView}}},
          "What the installer does; the pane's labels are gone then.");
}

template <class Visitor>
void fields(Visitor& field, ToolOverride& call) {
    field.onlyWith("prints_file", {"status", "takes"});
    field("prints", call.prints, Text{}, "What the tool prints; the Mac's state unless given.");
    field("prints_file", call.prints, FileContents{},
          "File with what the tool prints, relative to the Mac file's folder.");
    field("status", call.status, Number{0, 255}, "The tool's exit status.");
    field("takes", call.takes, Seconds{},
          "Seconds that pass while the tool runs. It prints the Mac's state at their end.");
}

template <class Visitor>
void fields(Visitor& field, GraphicsDescription& graphics) {
    field("chipset", graphics.chipset, Text{},
          "The chip, as `system_profiler` names it; a usual one unless given.");
    field(
        "driver", graphics.driver, Text{},
        "Name of the driver's registry node, which stands in the framebuffers' paths; a usual one "
        "unless given.");
    field("transaction_types", graphics.transactionTypes, Number{},
          "Mask of the transaction types that I2C buses take (Intel Macs) whose own is not given. "
          "Unless given, 19 with the usual driver and 31 with another.");
    field("framebuffers", graphics.framebuffers, Number{0, 64},
          "Number of framebuffers (Intel Macs), with those of the screens, which all have theirs. "
          "One without a screen has an I2C bus that leads nowhere.");
}

template <class Visitor>
void fields(Visitor& field, FaultDescription& fault) {
    field("call", fault.call, fallibleCall,
          "Name of the platform's function, such as `IOServiceGetMatchingServices`; `operator new` "
          "for the plug-in's memory.",
          Presence::required);
    field("nth", fault.nth, Number{1, {}}, "Which of its uses fails, counted from 1.");
    field("and_later", fault.andLater, Boolean{}, "Whether all later uses fail too.");
    field("result", fault.result, IOResult{},
          "The error that it answers, where it answers one; a usual one unless given.");
}

template <class Visitor>
void fields(Visitor& field, DisplayExpectation& expected) {
    field(
        "state", expected.state, DisplayState{},
        "`displayState`: -1 not judged, 0 supported and confirmed over DDC/CI, 1 supported by the "
        "model list alone, 3 not supported.");
    field("supported", expected.supported, Boolean{}, "Whether it is supported: in state 0 or 1.");
    field("paired", expected.paired, Boolean{}, "Whether an EDID is paired with it.");
}

template <class Visitor>
void fields(Visitor& field, Expectation& expected) {
    field("warning", expected.warning, Boolean{}, "Whether the pane warns at the end.");
    field("continue_after", expected.continues, TimeOfContinue{},
          "Seconds after the pane was first entered at which Continue is enabled for the first "
          "time, exact to a microsecond.");
    field("displays", expected.displays, ListOf<Mapping>{},
          "The displays that the pane lists at the end, in the order of the screens: as many, and "
          "each as described.");
    field("cameras", expected.cameras, Number{},
          "How many cameras the pane has seen since it was last entered.");
}

template <class Visitor>
void fields(Visitor& field, MacExpectation& expected) {
    fields(field, static_cast<Expectation&>(expected));
    field("if_answers", expected.ifAnswers, Mapping{},
          "Of a Mac with unknown monitors: what is expected besides, or otherwise, where they "
          "answer. It has the keys above.");
    field("if_silent", expected.ifSilent, Mapping{}, "Likewise where they stay silent.");
}

template <class Visitor>
void fields(Visitor& field, MacDescription& mac) {
    field("mac", mac.title, Text{}, "A title: what this Mac is meant to show.");
    field("chip", mac.chip, Choice<Chip>{{{"intel", Chip::intel}, {"apple", Chip::apple}}},
          "Whose processor the Mac has.");
    field("registry", mac.registry, RegistryRecord{},
          "File with the registry of a real Mac as `ioreg -l -w0` prints it, relative to the Mac "
          "file's folder: this Mac's registry is that one. Unless given, it is made up.");
    field("model", mac.model, Text{},
          "Model identifier, such as `MacBookPro16,1`; a usual one unless given.");
    field("graphics", mac.graphics, Mapping{}, "The graphics chip and its driver.");
    field("screens", mac.screens,
          ListOf<WordOrMapping<ScreenDescription>>{{"built-in", &ScreenDescription::builtIn, true}},
          "The screens in the order of the screen list; may be empty. `built-in` is short for "
          "`{built_in: true}`.",
          Presence::required);
    field("usb", mac.usb, ListOf<Mapping>{}, "The USB devices that are there from the start.");
    field("events", mac.events, ListOf<Mapping>{}, "What happens during the run, and when.");
    field("tools", mac.tools,
          ByWord<OneOrListOf<Mapping>>{{"ioreg", "system_profiler", "afktool"}, {}},
          "System tools that print something else than the Mac's state. Of a list, each call takes "
          "the next entry, and the last one holds for all later calls.");
    field("strings", mac.strings, ByText<NullOr<Text>>{},
          "Changes to the table of localised strings, by key: a text, or `null` to take the key "
          "out.");
    field("faults", mac.faults, ListOf<Mapping>{}, "Platform calls that fail.");
    field("stray_proxies", mac.strayProxies, ListOf<Mapping>{},
          "AV service proxies that come before every framebuffer in the registry (Apple silicon); "
          "no monitor is behind them.");
    field("stray_interfaces", mac.strayInterfaces, ListOf<NullOr<Number>>{},
          "I2C interfaces that come before every framebuffer in the registry and belong to none "
          "(Intel Macs): the mask of transaction types of each, or `null` for one without it.");
    field("other_registry_entries", mac.otherRegistryEntries, Number{0, 1'000'000},
          "Number of registry entries that nobody looks for; unless given, 3000 on Apple silicon "
          "and none on an Intel Mac.");
    field("expect", mac.expected, Mapping{},
          "What a run is expected to show; `displaycheck run` says what it shows otherwise.");
}

}  // namespace simulated_mac
