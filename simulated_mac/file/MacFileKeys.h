#pragma once

#include "simulated_mac/description/FallibleCalls.h"
#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/file/MacFileValues.h"

/// The format of a Mac file: for each structure its keys, what they hold and what they mean.
/// Reading, the key lists in messages and the JSON Schema all come from here; to add a key, add its
/// line.
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

/// One of the words for a kind, or {bytes: hex}.
struct AnswerKind {
    void read(YAMLReader& reader, const YAMLNode& node, DDCAnswer& target) const;
    JSON schema(const DDCAnswer&) const;
};

/// true, false, or {at: seconds}.
struct EDIDListing {
    void read(YAMLReader& reader, const YAMLNode& node, ScreenDescription& target) const;
    JSON schema(const ScreenDescription&) const;
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
          "Manufacturer, three letters.");
    field("product", edid.product, Number{}, "Product code.");
    field("serial", edid.serial, Number{}, "Serial number as a number; 0 says that there is none.");
    field("name", edid.name, descriptorText, "Text of the monitor-name descriptor.");
    field("serial_text", edid.serialText, descriptorText, "Text of the serial-number descriptor.");
    field("week", edid.week, Number{}, "Week of manufacture; 255: the year is a model year.");
    field("year", edid.year, Number{1990, 2245}, "Year of manufacture.");
    field("size_cm", edid, ImageSize{}, "Width and height of the image in cm.");
    field("descriptors", edid.descriptors,
          ListOf<Choice<Descriptor>>{{{{"serial", Descriptor::serial},
                                       {"name", Descriptor::name},
                                       {"range", Descriptor::range},
                                       {"timing", Descriptor::timing}}},
                                     0,
                                     4},
          "What the four descriptor slots hold, in order; slots beyond the list are empty, and so "
          "is one whose text is not given.");
}

template <class Visitor>
void fields(Visitor& field, EDIDForms& edid) {
    field.onlyWith("file", {"patch"});
    field.onlyWith("hex", {"patch"});
    field("file", edid.file, FileContents{},
          "Binary file with the EDID, relative to the Mac file's folder.");
    field("hex", edid.hex, HexBytes{}, "The EDID as hex digits.");
    fields(field, edid.made);
    field("patch", edid.patch, ByNumber<Number>{},
          "Bytes to change at the end, by offset; the checksum is left as it was.");
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
    field("bytes", answer.bytes, HexBytes{}, "What comes back, as hex digits, whatever was asked.",
          Presence::required);
}

template <class Visitor>
void fields(Visitor& field, MonitorDescription& monitor) {
    field("edid", monitor.edid, EDIDBytes{},
          "The EDID: none, hex digits, {file: ...}, {hex: ...}, or the keys to make a valid one.");
    field("vcp", monitor.vcp, ByNumber<VCPValue>{}, "What the monitor answers, by VCP code.");
    field("answers", monitor.answers, ListOf<AnswerKind>{},
          "What it sends when its first, second, ... reply is read; the last one holds for all "
          "later replies.");
    field("needs_reply_delay_ns", monitor.needsReplyDelay, Number{},
          "A request that gives the monitor less time than this (nanoseconds) gets no answer.");
    field("settles_after_clean", monitor.settlesAfterClean, Boolean{},
          "Replies have a bad checksum until VCP code 0 was asked for once.");
}

template <class Visitor>
void fields(Visitor& field, BusDescription& bus) {
    field("leads_to_monitor", bus.leadsToMonitor, Boolean{}, "Whether the monitor is on this bus.");
    field("copy_result", bus.copyResult, IOResult{}, "Result of IOFBCopyI2CInterfaceForBus.");
    field("open_result", bus.openResult, IOResult{}, "Result of IOI2CInterfaceOpen.");
    field("send_result", bus.sendResult, IOResult{},
          "Result of IOI2CSendRequest where it can't take the bus: nothing is sent then.");
    field("release_result", bus.releaseResult, IOResult{},
          "Result of IOI2CSendRequest from giving the bus back, after the transaction.");
    field("request_result", bus.requestResult, IOResult{},
          "Result of the transaction itself, as it stands in the request.");
    field("transaction_types", bus.transactionTypes, NullOr<Number>{},
          "Mask of the transaction types that the bus takes; null leaves the property out, and the "
          "bus takes none.");
    field("has_interface", bus.hasInterface, Boolean{},
          "Whether the registry has an entry for the bus; without one IOFBCopyI2CInterfaceForBus "
          "succeeds with the handle 0.");
}

template <class Visitor>
void fields(Visitor& field, FramebufferDescription& framebuffer) {
    field("dictionary", framebuffer.dictionary, Properties{},
          "Changes to the display information dictionary; null takes a key out.");
    field("buses", framebuffer.buses, ListOf<Mapping>{},
          "The I2C buses; unless given, one that leads to the monitor, none for a built-in panel.");
    field("bus_count", framebuffer.busCount, Number{0, 10'000},
          "Number of buses that IOFBGetI2CInterfaceCount tells, where that differs.");
    field("path", framebuffer.path, Text{}, "Path in the I/O registry's service plane.");
    field("service_port", framebuffer.hasServicePort, Boolean{},
          "Whether CGDisplayIOServicePort knows the framebuffer.");
    field("asleep", framebuffer.asleep, Boolean{},
          "Whether the framebuffer sleeps: requests then succeed and bring back what was sent.");
}

template <class Visitor>
void fields(Visitor& field, ProxyDescription& proxy) {
    field("location", proxy.location, Property{},
          "Property Location; null leaves it out. External, or Embedded for the built-in panel, "
          "unless given.");
    field("name_readable", proxy.nameReadable, Boolean{}, "Whether the entry's name can be read.");
    field("opens", proxy.opens, Boolean{}, "Whether an AV service can be made for it.");
    field("copy_edid_result", proxy.copyEDIDResult, IOResult{}, "Result of IOAVServiceCopyEDID.");
    field("edid", proxy.edid, EDIDBytes{},
          "The EDID that the service gives in place of the monitor's; none for no data.");
}

template <class Visitor>
void fields(Visitor& field, DisplayServiceDescription& service) {
    field("appears_at", service.appearsAt, Seconds{},
          "Seconds after power-on at which the entry joins the registry, behind the other "
          "framebuffers.");
    field(
        "position", service.position, Number{},
        "Place among the framebuffers of the registry, from 0; those without one keep the order of "
        "the screens.");
    field("entry_name", service.entryName, Text{},
          "Name of the framebuffer's entry: AppleCLCD2 or IOMobileFramebufferShim on real Macs.");
    field("name_readable", service.nameReadable, Boolean{},
          "Whether the entry's name can be read.");
    field(
        "properties", service.properties, Properties{},
        "Changes to the entry's properties EDID UUID, DisplayAttributes and Transport; null takes "
        "one out.");
    field("product_attributes", service.productAttributes, Properties{},
          "Changes to the ProductAttributes in its DisplayAttributes; null takes a key out.");
    field("proxies", service.proxies, ListOf<Mapping>{},
          "The AV service proxies below the entry; one unless given.");
}

template <class Visitor>
void fields(Visitor& field, ScreenDescription& screen) {
    field("built_in", screen.builtIn, Boolean{}, "Whether this is the Mac's own panel.");
    field("name", screen.name, Text{}, "The screen's localised name, as macOS shows it.");
    field("display_id", screen.displayID, Number{}, "Core Graphics' number of the display.");
    field("vendor_number", screen.vendorNumber, Number{}, "Result of CGDisplayVendorNumber.");
    field("model_number", screen.modelNumber, Number{}, "Result of CGDisplayModelNumber.");
    field("serial_number", screen.serialNumber, Number{}, "Result of CGDisplaySerialNumber.");
    field("is_screen", screen.isScreen, Boolean{},
          "Whether the device description holds NSDeviceIsScreen.");
    field("appears_at", screen.appearsAt, Seconds{},
          "Seconds after power-on at which the screen joins the screen list.");
    field("edid_listed", screen, EDIDListing{},
          "Whether the system's tools print the EDID; {at: seconds} for one that they print late.");
    field("monitor", screen.monitor, Mapping{}, "The monitor behind the screen.");
    field("framebuffer", screen.framebuffer,
          WordOrMapping<FramebufferDescription>{"none", &FramebufferDescription::present, false},
          "The framebuffer that drives the screen (Intel Macs); none for a screen without one.");
    field("display_service", screen.displayService,
          WordOrMapping<DisplayServiceDescription>{"none", &DisplayServiceDescription::present,
                                                   false},
          "The framebuffer entry and AV service proxies of the screen (Apple silicon); none for a "
          "screen without them.");
    field("info_dictionary", screen, InfoDictionary{},
          "Changes to CoreDisplay's dictionary of the display (Apple silicon); null takes a key "
          "out, none leaves the display without one.");
}

/// The calls that a fault or an event may name.
inline const Word fallibleCall = {"a platform call that can fail",
                                  {fallibleCalls.begin(), fallibleCalls.end()}};

template <class Visitor>
void fields(Visitor& field, USBDeviceDescription& device) {
    field("node_name", device.nodeName, Text{}, "Name of the device's registry node.");
    field("location_id", device.locationID, Number{}, "Property locationID.");
    field("vendor_id", device.vendorID, Number{}, "Property idVendor.");
    field("product_id", device.productID, Number{}, "Property idProduct.");
    field("product", device.product, Text{},
          "Properties kUSBProductString and \"USB Product Name\".");
    field("serial", device.serial, Text{}, "Property kUSBSerialNumberString.");
    field("properties", device.properties, Properties{},
          "Further properties, or other values for those above; null takes one out.");
    field("readable", device.readable, Boolean{}, "Whether its properties can be read.");
    field("parent", device.hasParent, Boolean{}, "Whether the lookup of its parent succeeds.");
}

template <class Visitor>
void fields(Visitor& field, CallUse& use) {
    field("call", use.call, fallibleCall, "Name of the platform's function.", Presence::required);
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
    field("detach", event.detach, Number{}, "locationID of the USB device to detach.");
    field("user", event.user,
          Choice<User>{
              {{"enters the pane", User::entersPane}, {"clicks the warning", User::clicksWarning}}},
          "What the user does.");
    field("installer", event.installer,
          Choice<EventDescription::Installer>{
              {{"releases the pane's view", EventDescription::Installer::releasesView}}},
          "What the installer does.");
}

template <class Visitor>
void fields(Visitor& field, ToolOverride& call) {
    field.onlyWith("prints_file", {"status"});
    field("prints", call.prints, Text{}, "What the tool prints in place of the Mac's state.");
    field("prints_file", call.prints, FileContents{},
          "File with what the tool prints, relative to the Mac file's folder.");
    field("status", call.status, Number{0, 255}, "The tool's exit status.");
}

template <class Visitor>
void fields(Visitor& field, GraphicsDescription& graphics) {
    field("chipset", graphics.chipset, Text{}, "Graphics chip, as system_profiler names it.");
    field("driver", graphics.driver, Text{},
          "Name of the driver's registry node above the framebuffers.");
}

template <class Visitor>
void fields(Visitor& field, FaultDescription& fault) {
    field("call", fault.call, fallibleCall, "Name of the platform's function.", Presence::required);
    field("nth", fault.nth, Number{1, {}}, "Which of its uses fails, counted from 1.");
    field("and_later", fault.andLater, Boolean{}, "Whether all later uses fail too.");
    field("result", fault.result, IOResult{}, "The I/O error that it answers.");
}

template <class Visitor>
void fields(Visitor& field, MacDescription& mac) {
    field("mac", mac.title, Text{}, "A title: what this Mac is meant to show.");
    field("chip", mac.chip, Choice<Chip>{{{"intel", Chip::intel}, {"apple", Chip::apple}}},
          "Whose processor the Mac has.");
    field("model", mac.model, Text{}, "Model identifier of the Mac.");
    field("graphics", mac.graphics, Mapping{}, "The graphics chip and its driver.");
    field("screens", mac.screens,
          ListOf<WordOrMapping<ScreenDescription>>{{"built-in", &ScreenDescription::builtIn, true}},
          "The screens, in the order of the screen list; built-in is short for {built_in: true}.",
          Presence::required);
    field("usb", mac.usb, ListOf<Mapping>{}, "The USB devices that are there from the start.");
    field("events", mac.events, ListOf<Mapping>{}, "What happens during the run, and when.");
    field("tools", mac.tools,
          ByWord<OneOrListOf<Mapping>>{{"ioreg", "system_profiler", "afktool"}, {}},
          "What calls of a system tool do; of a list, the first call takes the first entry and all "
          "later ones the last.");
    field("strings", mac.strings, ByText<NullOr<Text>>{},
          "Changes to the table of localised strings, by key; null takes one out.");
    field("faults", mac.faults, ListOf<Mapping>{}, "Platform calls that fail.");
    field("stray_proxies", mac.strayProxies, ListOf<Mapping>{},
          "AV service proxies that come before every framebuffer in the registry (Apple silicon); "
          "no monitor is behind them.");
    field("other_registry_entries", mac.otherRegistryEntries, Number{0, 1'000'000},
          "Number of registry entries that nobody looks for; 3000 on Apple silicon and none on an "
          "Intel Mac unless given.");
}

}  // namespace simulated_mac
