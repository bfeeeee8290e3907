#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plugin/Display/NameForms.h"

/// Everything known about one screen while the pane looks for a supported monitor.
struct displayInfo {
    /// displayState's values.
    enum : std::int32_t {
        notJudged = -1,
        supportedAndAnswering = 0,  ///< confirmed over DDC/CI
        supportedByList = 1,        ///< on the list, but not confirmed over DDC/CI
        notSupported = 3,
    };

    std::int32_t idx = 0;                ///< position in the enumeration, from 0
    std::uint32_t screenNumber = 0;      ///< CGDirectDisplayID
    std::optional<std::string> name;     ///< the screen's localised name
    std::optional<NameForms> nameForms;  ///< what forms() made
    std::optional<std::string> modelInfo;
    std::optional<std::string> plugNplayID;  ///< PnP letters and product code, from the EDID
    std::uint32_t serialNumber = 0;          ///< CGDisplaySerialNumber
    bool isConnected = false;                ///< never set; kept for the layout
    bool isDDCCIConnected = false;           ///< likewise
    bool isUSBPassthrough = false;  ///< a USB display entry was matched, USBIdx is its index
    /// Atomic because the end of an earlier run reads it on the main thread while a later run
    /// judges the display.
    std::atomic<std::int32_t> displayState = notJudged;
    std::optional<std::string> serviceTag;  ///< serial-number text of the EDID
    std::int32_t USBIdx = -1;               ///< index of the matched USB display entry, -1 none
    std::optional<std::string>
        EDIDString;  ///< the EDID as hex text that was paired with the screen
    /// IOAVServiceRef through which DDC/CI reaches the monitor on Apple silicon; not owned.
    const void* arm64avService = nullptr;

    /// The forms of `name`, the empty one if there is none; made once for each name.
    const NameForms& forms() {
        const std::string text = name.value_or("");
        if (!nameForms || nameForms->name != text) nameForms.emplace(text);
        return *nameForms;
    }
};

/// The displays of one enumeration, in the order of the screen list.
using DisplayList = std::vector<std::shared_ptr<displayInfo>>;
