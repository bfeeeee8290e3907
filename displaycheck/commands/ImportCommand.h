#pragma once

#include <string>
#include <vector>

namespace displaycheck {

struct ImportOptions {
    std::vector<std::string> files;  ///< dumps and EDIDs; "-" is standard input
    std::string output;              ///< the Mac file; empty: named after the registry's dump
    std::string answers;             ///< "CODE=VALUE" or "silent"; empty: unknown
    std::string withMonitor;         ///< name of a Vorn monitor; empty: as recorded
    std::vector<std::string> displayIDs;
    bool onlyImport = false;  ///< doesn't run the pane on it
};

/// Makes a Mac file and a registry file of dumps, says what was taken from where, and runs the pane
/// on the result. Returns the exit status.
int importDumps(const ImportOptions& options);

}  // namespace displaycheck
