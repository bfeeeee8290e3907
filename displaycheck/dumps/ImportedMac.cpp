#include "displaycheck/dumps/ImportedMac.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

#include "displaycheck/dumps/DumpError.h"
#include "displaycheck/dumps/RecordedDisplays.h"
#include "displaycheck/dumps/RegistryEdits.h"
#include "displaycheck/dumps/ScreenPairing.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/HexText.h"

namespace displaycheck {

namespace {

using simulated_mac::Bytes;
using simulated_mac::EDIDFields;
using simulated_mac::EDIDIdentity;
using simulated_mac::identifyEDID;
using simulated_mac::RecordedEntry;
using simulated_mac::RecordedRegistry;

/// A text as YAML takes it, whatever is in it.
std::string quoted(const std::string& text) {
    return nlohmann::json(text).dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

/// Whether the EDID is that of a display of which the registry tells these numbers.
bool fits(const Bytes& edid, const RecordedDisplay& display) {
    const EDIDIdentity identity = identifyEDID(edid);
    const auto same = [](const std::optional<std::uint32_t>& told, std::uint32_t number) {
        return !told || *told == number;
    };
    return display.vendor && same(display.vendor, identity.vendorNumber) &&
           same(display.product, identity.productCode) &&
           same(display.serial, identity.serialNumber) && same(display.week, identity.week) &&
           same(display.year, identity.year);
}

/// The fields of an EDID that an Apple-silicon Mac's framebuffer tells; nothing where they don't
/// make one.
std::optional<EDIDFields> fieldsOf(const RecordedDisplay& display) {
    if (!display.manufacturer || !display.product) return std::nullopt;
    EDIDFields fields;
    fields.manufacturer = *display.manufacturer;
    fields.product = static_cast<std::uint16_t>(*display.product);
    fields.serial = display.serial.value_or(0);
    fields.week = static_cast<std::uint8_t>(display.week.value_or(0));
    fields.year = static_cast<std::uint16_t>(display.year.value_or(1990));
    fields.name = display.name;
    fields.serialText = display.serialText;
    // The last groups of the UUID are bytes 16 to 23 of the EDID.
    constexpr std::size_t sizeAt = 30;
    if (display.uuid && display.uuid->size() >= sizeAt + 4) {
        const auto byteAt = [&](std::size_t at) {
            return static_cast<std::uint8_t>(
                std::strtoul(display.uuid->substr(at, 2).c_str(), nullptr, 16));
        };
        fields.widthCm = byteAt(sizeAt);
        fields.heightCm = byteAt(sizeAt + 2);
    }
    try {
        simulated_mac::makeEDID(fields);
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
    return fields;
}

/// The Vorn monitor in the place of the `index`-th external one. Each has a product code of its
/// own, so that none is taken for another.
EDIDFields vornMonitor(const std::string& name, std::size_t index, bool hasSerialNumber) {
    EDIDFields fields;
    fields.name = name;
    fields.product = static_cast<std::uint16_t>(0x2700 + index);
    fields.serial = hasSerialNumber ? static_cast<std::uint32_t>(0x01020304 + index) : 0;
    fields.serialText = fmt::format("7VRN{:03}", index + 1);
    return fields;
}

class Importer {
  public:
    Importer(const MacRecord& record, const ImportChoices& choices)
        : record_(record), choices_(choices) {}

    ImportedMac import(const std::string& registryName) {
        if (record_.registry == nullptr && record_.EDIDs.empty()) {
            throw DumpError("no registry and no EDID found; expected the output of ioreg -l");
        }
        write("# Made by `displaycheck import`.");
        write("mac: {}", quoted(record_.title));
        if (record_.registry != nullptr) {
            importRegistry(registryName);
        } else {
            importEDIDs();
        }
        result_.macFile = std::move(text_);
        return std::move(result_);
    }

  private:
    template <class... Arguments>
    void write(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
        text_ += fmt::format(format, std::forward<Arguments>(arguments)...) + "\n";
    }
    template <class... Arguments>
    void note(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
        result_.notes.push_back(fmt::format(format, std::forward<Arguments>(arguments)...));
    }

    void importRegistry(const std::string& registryName) {
        const RecordedRegistry& registry = *record_.registry;
        auto displays = recordedDisplays(registry);
        apple_ = isAppleSilicon(registry);
        note("Registry: {} entries from {}.", registry.entries().size(), record_.registryPlace);
        if (registry.maskedValues() > 0) {
            note("Asterisks stand for zeros in {} of its values.", registry.maskedValues());
        }
        noteGaps(registry);
        write("chip: {}", apple_ ? "apple" : "intel");
        write("registry: {}", quoted(registryName));
        writeChipset(recordedChipset(registry, displays));

        const ScreenPairing pairing(std::move(displays),
                                    record_.profile ? &*record_.profile : nullptr);
        RegistryEdits edits(registry);
        write("{}", pairing.screens().empty() ? "screens: []" : "screens:");
        if (pairing.screens().empty()) note("No display is connected.");
        for (const Screen& screen : pairing.screens()) writeScreen(screen, edits);
        noteUnknown(pairing);
        result_.registry = edits.apply();
    }

    void writeScreen(const Screen& screen, RegistryEdits& edits) {
        const RecordedRegistry& registry = *record_.registry;
        RecordedDisplay display = screen.display;
        const bool hasFramebuffer = display.framebuffer != RecordedEntry::none;
        note("Screen {}: {} {}.", screens_ + 1,
             display.builtIn ? "the built-in panel" : "an external monitor",
             hasFramebuffer ? "at " + registry.pathOf(display.framebuffer)
                            : "that the registry doesn't have");
        write("  - built_in: {}", display.builtIn);
        writeDisplayID(screens_, screen.profiled);
        const bool isReplaced = choices_.withMonitor && !display.builtIn;
        if (screen.profiled != nullptr && !isReplaced) {
            write("    name: {}", quoted(screen.profiled->name));
        }
        if (isReplaced) {
            putMonitor(display, edits);
        } else {
            writeIdentity(display);
        }
        if (!hasFramebuffer) {
            write("    {}: none", apple_ ? "display_service" : "framebuffer");
        } else if (apple_) {
            writeService(registry, display);
        } else {
            write("    framebuffer:");
            write("      entry: {}", entryName(registry, display.framebuffer));
        }
    }

    /// What the registry lacks that `ioreg` would have printed.
    void noteGaps(const RecordedRegistry& registry) {
        const auto& entries = registry.entries();
        if (registry.cutEntries() > 0) {
            note("Entries whose line is cut: {}; \"ioreg -l -w0\" prints them whole.",
                 registry.cutEntries());
        }
        if (std::none_of(entries.begin(), entries.end(),
                         [](const RecordedEntry& entry) { return !entry.propertyLines.empty(); })) {
            note("It has no properties; \"ioreg -l -w0\" prints them.");
        }
    }

    void importEDIDs() {
        write("screens:");
        note("Registry: none was given; this Mac's is made up.");
        for (std::size_t index = 0; index < record_.EDIDs.size(); ++index) {
            note("Screen {}: an external monitor with the EDID from {}.", index + 1,
                 record_.EDIDs[index].place);
            write("  - built_in: false");
            writeDisplayID(index);
            write("    monitor:");
            writeEDID(record_.EDIDs[index].bytes);
            writeAnswers();
        }
    }

    void writeChipset(const std::optional<std::string>& recorded) {
        const bool profiled = record_.profile && !record_.profile->chipsets.empty();
        if (profiled || recorded) {
            write("graphics: {{chipset: {}}}",
                  quoted(profiled ? record_.profile->chipsets.front() : *recorded));
        } else {
            note("Unknown: the graphics chip; system_profiler names a usual one.");
        }
    }

    void writeDisplayID(std::size_t index, const ProfiledDisplay* profiled = nullptr) {
        if (index < choices_.displayIDs.size()) {
            write("    display_id: 0x{:08X}", choices_.displayIDs[index]);
        } else if (profiled != nullptr && profiled->displayID) {
            write("    display_id: 0x{:08X}", *profiled->displayID);
        } else {
            madeUpIDs_ = true;
        }
    }

    void writeEDID(const Bytes& edid) { write("      edid: \"{}\"", simulated_mac::hexText(edid)); }

    /// The EDID from a file beside the registry that the display fits; each is taken once.
    const EDIDBeside* takeEDIDBeside(const RecordedDisplay& display) {
        for (std::size_t index = 0; index < record_.EDIDs.size(); ++index) {
            if (used_[index] || !fits(record_.EDIDs[index].bytes, display)) continue;
            used_[index] = true;
            return &record_.EDIDs[index];
        }
        return nullptr;
    }

    void writeIdentity(RecordedDisplay& display) {
        const std::size_t screen = ++screens_;
        std::optional<EDIDFields> fields;
        if (display.isEDIDCut && !display.edid.empty()) {
            note("Screen {}: its EDID is cut after {} bytes. Unknown: the rest.", screen,
                 display.edid.size());
        }
        if (display.edid.empty()) {
            if (const EDIDBeside* const beside = takeEDIDBeside(display)) {
                display.edid = beside->bytes;
                note("Screen {}: its EDID is that from {}.", screen, beside->place);
            } else if ((fields = fieldsOf(display))) {
                note(
                    "Screen {}: no EDID is recorded; one is made from its ProductAttributes. "
                    "Unknown: whatever they don't tell.",
                    screen);
            } else if (!display.builtIn || display.isEDIDCut) {
                note("Unknown: the EDID of screen {}; none is recorded whole.", screen);
            }
        }
        // The tools of a real Mac print no part of an EDID.
        if (display.isEDIDCut && display.edid.empty()) write("    edid_listed: false");
        writeNumbers(display, fields);
        const bool hasAnswers = !display.builtIn;
        if (display.edid.empty() && !fields && !hasAnswers) return;
        write("    monitor:");
        if (fields) {
            writeFields(*fields);
        } else if (!display.edid.empty()) {
            writeEDID(display.edid);
        }
        if (hasAnswers) writeAnswers();
    }

    /// The numbers by which the window system knows a display are the registry's, whatever stands
    /// in the EDID.
    void writeNumbers(const RecordedDisplay& display, const std::optional<EDIDFields>& fields) {
        if (!display.vendor) return;
        const Bytes edid = fields ? simulated_mac::makeEDID(*fields) : display.edid;
        const EDIDIdentity identity = identifyEDID(edid);
        if (edid.empty() || *display.vendor != identity.vendorNumber) {
            write("    vendor_number: 0x{:X}", *display.vendor);
        }
        if (display.product && (edid.empty() || *display.product != identity.productCode)) {
            write("    model_number: 0x{:X}", *display.product);
        }
        if (display.serial.value_or(0) != identity.serialNumber) {
            write("    serial_number: 0x{:X}", display.serial.value_or(0));
        }
    }

    void writeFields(const EDIDFields& fields) {
        write("      edid:");
        write("        manufacturer: {}", quoted(fields.manufacturer));
        write("        product: 0x{:04X}", fields.product);
        write("        serial: 0x{:08X}", fields.serial);
        if (fields.name) write("        name: {}", quoted(*fields.name));
        if (fields.serialText) write("        serial_text: {}", quoted(*fields.serialText));
        write("        week: {}", fields.week);
        write("        year: {}", fields.year);
        write("        size_cm: [{}, {}]", fields.widthCm, fields.heightCm);
    }

    void writeAnswers() {
        if (choices_.answer) {
            write("      vcp: {{0x{:02X}: 0x{:04X}}}", choices_.answer->code,
                  choices_.answer->value);
        } else if (choices_.silent) {
            write("      answers: [silent]");
        } else {
            write("      vcp: unknown");
        }
    }

    void putMonitor(const RecordedDisplay& display, RegistryEdits& edits) {
        const std::size_t screen = ++screens_;
        // An older Mac's node has no serial number, and the window system's is 0 then.
        const bool hasSerialNumber = display.serial.has_value();
        const EDIDFields fields = vornMonitor(*choices_.withMonitor, monitors_++, hasSerialNumber);
        try {
            const Bytes edid = simulated_mac::makeEDID(fields);
            if (display.framebuffer != RecordedEntry::none) edits.putMonitor(display, edid);
        } catch (const std::invalid_argument& error) {
            throw DumpError(fmt::format("the monitor's name \"{}\" does not fit an EDID: {}",
                                        *choices_.withMonitor, error.what()));
        }
        note("Screen {}: {} replaces the recorded monitor.", screen, *choices_.withMonitor);
        write("    monitor:");
        writeFields(fields);
        writeAnswers();
    }

    /// An entry by its path, or by its ID where others have the same path.
    static std::string entryName(const RecordedRegistry& registry, std::size_t index) {
        const std::string path = registry.pathOf(index);
        const auto& id = registry.entries()[index].id;
        if (id && registry.find(path).size() > 1) return fmt::format("0x{:x}", *id);
        return quoted(path);
    }

    void writeService(const RecordedRegistry& registry, const RecordedDisplay& display) {
        write("    display_service:");
        write("      entry: {}", entryName(registry, display.framebuffer));
        if (display.proxies.empty()) {
            write("      proxies: []");
            if (!display.builtIn) note("Screen {}: no AV service is recorded for it.", screens_);
            return;
        }
        write("      proxies:");
        for (const std::size_t proxy : display.proxies) {
            write("        - entry: {}", entryName(registry, proxy));
        }
    }

    void noteUnknown(const ScreenPairing& pairing) {
        for (std::size_t index = 0; index < record_.EDIDs.size(); ++index) {
            if (!used_[index]) {
                note("The EDID from {} fits no display whose EDID is missing.",
                     record_.EDIDs[index].place);
            }
        }
        const auto& screens = pairing.screens();
        const bool anyExternal =
            std::any_of(screens.begin(), screens.end(),
                        [](const Screen& screen) { return !screen.display.builtIn; });
        if (record_.profile) note("Display IDs and names: from {}.", record_.profilePlace);
        if (!record_.passedOver.empty()) {
            note("Not needed: {}.", fmt::join(record_.passedOver, ", "));
        }
        if (madeUpIDs_) note("Unknown: display IDs; those that no option gives are made up.");
        if (anyExternal && !choices_.answer && !choices_.silent) {
            note("Unknown: whether the external monitors answer over DDC/CI.");
        }
        if (screens.size() > 1 && !pairing.isOrderKnown())
            note("Unknown: the order of the screens; the registry's is taken.");
    }

    const MacRecord& record_;
    const ImportChoices& choices_;
    ImportedMac result_;
    std::string text_;
    std::map<std::size_t, bool> used_;  ///< EDIDs, by index
    std::size_t screens_ = 0;           ///< so far
    bool apple_ = false;
    std::size_t monitors_ = 0;  ///< Vorn monitors so far
    bool madeUpIDs_ = false;
};

}  // namespace

ImportedMac importMac(const MacRecord& record, const ImportChoices& choices,
                      const std::string& registryName) {
    return Importer(record, choices).import(registryName);
}

}  // namespace displaycheck
