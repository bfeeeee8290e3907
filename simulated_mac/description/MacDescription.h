#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "simulated_mac/description/Expectation.h"

/// The contents of a Mac file as plain data. Everything that is derived (a screen's name from its
/// EDID, a framebuffer's identity dictionary) stays empty here unless the file overrides it.
namespace simulated_mac {

class RecordedRegistry;

using Bytes = std::vector<std::uint8_t>;

/// A property value as the I/O registry can hold it.
struct PropertyValue;
using PropertyList = std::vector<PropertyValue>;
/// In the order of the file, which the tools print.
using PropertyMap = std::vector<std::pair<std::string, PropertyValue>>;
struct PropertyValue {
    /// std::monostate: the property is missing, even if it would be derived.
    std::variant<std::monostate, bool, std::int64_t, double, std::string, Bytes, PropertyList,
                 PropertyMap>
        value;
};

enum class Chip { intel, apple };

/// A valid 128-byte EDID 1.4 base block is made from these (VESA E-EDID 1.4, section 3).
struct EDIDFields {
    enum class Descriptor { serial, name, range, timing };

    std::string manufacturer = "VRN";       ///< three letters A to Z
    std::uint16_t product = 0;              ///< product code, bytes 10 and 11
    std::uint32_t serial = 0;               ///< bytes 12 to 15; 0 means none
    std::uint8_t week = 1;                  ///< week of manufacture, byte 16
    std::uint16_t year = 2021;              ///< year of manufacture, 1990 to 2245
    std::uint8_t widthCm = 60;              ///< image width in cm, byte 21
    std::uint8_t heightCm = 34;             ///< image height in cm, byte 22
    std::optional<std::string> name;        ///< monitor-name descriptor, at most 13 bytes
    std::optional<std::string> serialText;  ///< serial-number descriptor, at most 13 bytes
    /// Order of the four descriptor slots. A slot without its text (no name, no serial text) is
    /// written as a dummy, as are slots that are not listed.
    std::vector<Descriptor> descriptors = {Descriptor::timing, Descriptor::serial, Descriptor::name,
                                           Descriptor::range};
};

/// One VCP code of a monitor (VESA DDC/CI 1.1, Get VCP Feature reply).
struct VCPEntry {
    std::uint16_t current = 0;
    std::uint16_t maximum = 0xFFFF;
    std::uint8_t type = 0;    ///< 0 set parameter, 1 momentary
    std::uint8_t result = 0;  ///< result code of the reply; 0 no error, 1 unsupported code
};

/// What a monitor sends instead of a good reply.
struct DDCAnswer {
    enum class Kind {
        good,
        silent,
        wrongSource,
        wrongOpcode,
        wrongCode,
        wrongLength,
        badChecksum,
        bytes,  ///< `bytes`, whatever was asked
    };
    Kind kind = Kind::good;
    Bytes bytes;
};

using VCPTable = std::map<std::uint8_t, VCPEntry>;

struct MonitorDescription {
    /// Whether what the monitor answers over DDC/CI is described, is something that nobody knows,
    /// or was unknown and is assumed (Assumption.h). No Mac runs with an unknown one.
    enum class Answering { described, unknown, assumed };

    /// The EDID's bytes, whole; empty if the monitor has none.
    Bytes edid;
    Answering answering = Answering::described;
    /// What it answers, by VCP code; any other code is answered as unsupported.
    VCPTable vcp;
    /// One for each reply read, in order; the last one applies to all later replies. Empty: good.
    std::vector<DDCAnswer> answers;
    /// A request that gives the monitor less time than this gets no answer (nanoseconds).
    std::uint64_t needsReplyDelay = 0;
    /// Replies carry a bad checksum until a clean request (a get of VCP code 0) was received.
    bool settlesAfterClean = false;
};

/// One I2C bus of a framebuffer (Intel Macs).
struct BusDescription {
    bool leadsToMonitor = true;
    std::int32_t copyResult = 0;  ///< of IOFBCopyI2CInterfaceForBus
    std::int32_t openResult = 0;  ///< of IOI2CInterfaceOpen
    /// Of IOI2CSendRequest if it can't acquire the bus and thus sends nothing.
    std::optional<std::int32_t> sendResult;
    std::int32_t releaseResult = 0;             ///< of IOI2CSendRequest, from releasing the bus
    std::optional<std::int32_t> requestResult;  ///< the request's result field
    /// IOI2CTransactionTypes of the bus's interface, and the types that the bus takes; not set:
    /// those of the Mac's graphics.
    std::optional<std::uint32_t> transactionTypes;
    /// Whether the interface has that property; without it the bus takes none.
    bool hasTransactionTypes = true;
    /// Whether the registry has an entry for it; without one its interface is the handle 0.
    bool hasInterface = true;
};

/// The framebuffer that drives a screen (Intel Macs).
struct FramebufferDescription {
    bool present = true;
    /// The recorded registry's entry that it is: a path in the service plane or "0x" and an ID.
    std::optional<std::string> entry;
    /// Overrides of the display information dictionary, by key.
    PropertyMap dictionary;
    /// Not set: one, which leads to the monitor and, of a built-in panel, nowhere.
    std::optional<std::vector<BusDescription>> buses;
    /// Of IOFBGetI2CInterfaceCount, where it differs from the number of buses.
    std::optional<std::uint32_t> busCount;
    /// The framebuffer's path in the I/O registry's service plane.
    std::optional<std::string> path;
    /// Whether CGDisplayIOServicePort knows the framebuffer.
    bool hasServicePort = true;
    /// While it sleeps, requests succeed without doing anything.
    bool asleep = false;
};

/// An AV service proxy in the registry (Apple silicon).
struct ProxyDescription {
    /// The recorded registry's entry that it is, as of a framebuffer.
    std::optional<std::string> entry;
    /// "Location"; not set: "External", or "Embedded" for the built-in panel.
    std::optional<PropertyValue> location;
    bool nameReadable = true;
    bool opens = true;                ///< IOAVServiceCreateWithService gives a service
    std::int32_t copyEDIDResult = 0;  ///< of IOAVServiceCopyEDID
    /// The EDID that the service gives, where it is not the monitor's; empty: none.
    std::optional<Bytes> edid;
    bool edidEmpty = false;  ///< it gives data of length 0 instead
};

/// The framebuffer entry that an Apple-silicon Mac's registry has for a screen, and the AV service
/// proxies behind it.
struct DisplayServiceDescription {
    bool present = true;
    /// The recorded registry's entry that it is, as of a framebuffer.
    std::optional<std::string> entry;
    double appearsAt = 0;                  ///< seconds after power-on
    std::optional<double> disappearsAt;    ///< likewise, after `appearsAt`; not set: it stays
    std::optional<std::int64_t> position;  ///< in the registry's order; not set: the screen's own
    std::string entryName = "AppleCLCD2";
    bool nameReadable = true;
    PropertyMap properties;         ///< overrides of the entry's properties
    PropertyMap productAttributes;  ///< overrides in its "ProductAttributes"
    std::vector<ProxyDescription> proxies = {ProxyDescription{}};
};

struct ScreenDescription {
    bool builtIn = false;
    /// Whether the screen's device description holds "NSDeviceIsScreen".
    bool isScreen = true;
    std::optional<std::string> name;  ///< the screen's localised name
    std::optional<std::uint32_t> displayID;
    std::optional<std::uint32_t> vendorNumber;
    std::optional<std::uint32_t> modelNumber;
    std::optional<std::uint32_t> serialNumber;
    /// Seconds after power-on at which the screen joins the screen list.
    double appearsAt = 0;
    /// Seconds after power-on, after `appearsAt`, at which its monitor is unplugged; not set:
    /// never.
    std::optional<double> disappearsAt;
    /// Whether and from when on (seconds) the system's tools print the screen's EDID.
    std::optional<bool> edidListed;
    double edidListedAt = 0;
    bool listedEDIDEmpty = false;  ///< what they print is data of length 0
    MonitorDescription monitor;
    FramebufferDescription framebuffer;
    DisplayServiceDescription displayService;
    /// Overrides of CoreDisplay's information dictionary (Apple silicon).
    PropertyMap infoDictionary;
    bool hasInfoDictionary = true;
};

struct USBDeviceDescription {
    std::string nodeName = "USB Device";
    std::optional<std::uint32_t> locationID;
    std::optional<std::uint16_t> vendorID;
    std::optional<std::uint16_t> productID;
    std::optional<std::string> product;  ///< "kUSBProductString" and "USB Product Name"
    std::optional<std::string> serial;   ///< "kUSBSerialNumberString"
    /// Further properties, or overrides of those above.
    PropertyMap properties;
    bool readable = true;   ///< false: its properties can't be read
    bool hasParent = true;  ///< false: the lookup of its parent fails
    /// As macOS up to 10.14 has it: with a second node, and without "kUSBProductString".
    bool olderForm = false;
};

/// One use of a platform call.
struct CallUse {
    std::string call;       ///< the function's name
    std::uint64_t nth = 1;  ///< counted from 1
};

/// The user, the installer and the machine during a run; exactly one of the actions is set.
struct EventDescription {
    enum class User { entersPane, clicksWarning };
    enum class Installer { releasesView };

    double at = 0;  ///< seconds after the pane was first entered
    /// Instead of at a time, just before this call does its work.
    std::optional<CallUse> atCall = std::nullopt;
    std::optional<USBDeviceDescription> attach;
    std::optional<std::uint32_t> detach;  ///< locationID of the device
    std::optional<User> user;
    std::optional<Installer> installer = std::nullopt;
};

/// The behaviour of one call of a system tool, in place of printing the Mac's state.
struct ToolOverride {
    std::optional<std::string> prints;  ///< missing: what the real state gives
    int status = 0;                     ///< exit status
    double takes = 0;                   ///< seconds that pass before it prints
};

struct GraphicsDescription {
    std::optional<std::string> chipset;  ///< as system_profiler names it
    /// Name of the graphics driver's node, the element of the registry path above framebuffers.
    std::optional<std::string> driver;
    /// IOI2CTransactionTypes of the buses that give none; not set: those usual with the driver.
    std::optional<std::uint32_t> transactionTypes;
    /// There are more if the displays need more; those beyond the displays drive none.
    std::uint32_t framebuffers = 3;
};

/// A platform call that fails.
struct FaultDescription {
    std::string call;                    ///< the function's name
    std::uint64_t nth = 1;               ///< its n-th use, counted from 1
    bool andLater = false;               ///< all later uses too
    std::optional<std::int32_t> result;  ///< the I/O error that it answers, where it answers one
};

struct MacDescription {
    std::string title;
    Chip chip = Chip::intel;
    /// A real Mac's registry, which this Mac has in place of one that is made up.
    std::shared_ptr<const RecordedRegistry> registry;
    std::optional<std::string> model;  ///< "model" of the platform expert
    GraphicsDescription graphics;
    std::vector<ScreenDescription> screens;
    std::vector<USBDeviceDescription> usb;
    std::vector<EventDescription> events;
    /// By tool name: the behaviour of its first, second, ... call; the last one applies to all
    /// later calls.
    std::map<std::string, std::vector<ToolOverride>> tools;
    /// Overrides of the string table; a missing value removes the key.
    std::map<std::string, std::optional<std::string>> strings;
    std::vector<FaultDescription> faults;
    /// AV service proxies that come before every framebuffer in the registry (Apple silicon).
    std::vector<ProxyDescription> strayProxies;
    /// I2C interfaces that come before every framebuffer in the registry and belong to none (Intel
    /// Macs), each by its IOI2CTransactionTypes; a missing value leaves the property out.
    std::vector<std::optional<std::uint32_t>> strayInterfaces;
    /// Registry entries without relevance; not set: some thousands on Apple silicon, none on an
    /// Intel Mac.
    std::optional<std::uint32_t> otherRegistryEntries;
    /// Nothing where the file expects nothing in particular.
    std::optional<MacExpectation> expected;
};

}  // namespace simulated_mac
