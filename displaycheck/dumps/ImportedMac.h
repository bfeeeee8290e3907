#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "displaycheck/dumps/SystemProfile.h"
#include "simulated_mac/description/RecordedRegistry.h"

namespace displaycheck {

/// An EDID that lies beside a registry, and where it was found.
struct EDIDBeside {
    simulated_mac::Bytes bytes;
    std::string place;
};

/// What was recorded of one Mac.
struct MacRecord {
    std::string title;
    std::unique_ptr<simulated_mac::RecordedRegistry> registry;
    std::string registryPlace;
    std::vector<EDIDBeside> EDIDs;
    std::optional<SystemProfile> profile;
    std::string profilePlace;
    /// Files that tell nothing of the displays, or no more than others. At most ten names.
    std::vector<std::string> passedOver;
};

struct ImportChoices {
    /// What every external monitor answers to a get of a VCP code.
    struct Answer {
        std::uint8_t code;
        std::uint16_t value;
    };

    std::optional<Answer> answer;
    bool silent = false;                     ///< no external monitor answers
    std::optional<std::string> withMonitor;  ///< name of the Vorn monitor in place of each of them
    std::vector<std::uint32_t> displayIDs;   ///< of the screens, in order; the rest is made up
};

/// A Mac file made of a record, and the registry that it refers to.
struct ImportedMac {
    std::string macFile;
    std::string registry;  ///< text of the file beside it
    /// What was taken from where, and what stays unknown; one sentence each.
    std::vector<std::string> notes;
};

/// `registryName` is how the Mac file refers to the registry's file. Throws DumpError where the
/// record has no registry, one with too many displays, or where a monitor's name does not fit into
/// an EDID.
ImportedMac importMac(const MacRecord& record, const ImportChoices& choices,
                      const std::string& registryName);

}  // namespace displaycheck
