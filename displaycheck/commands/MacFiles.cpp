#include "displaycheck/commands/MacFiles.h"

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <utility>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/host/PaneCalls.h"
#include "displaycheck/host/StandardError.h"
#include "displaycheck/report/TerminalText.h"
#include "simulated_mac/description/ReadFile.h"
#include "simulated_mac/file/MacFile.h"

namespace displaycheck {

namespace {

simulated_mac::MacFileText textOf(const std::string& path) {
    try {
        return {path, simulated_mac::readFile(path, simulated_mac::YAMLLimits::bytes),
                std::filesystem::path(path).parent_path()};
    } catch (const simulated_mac::UnreadableFile& error) {
        throw simulated_mac::unreadableMacFile(path, error.what());
    }
}

}  // namespace

std::vector<MacFile> readMacFiles(const std::vector<std::string>& paths) {
    std::vector<MacFile> files;
    for (const std::string& path : paths) {
        MacFile file{path, {}, std::nullopt, ""};
        try {
            auto checked = simulated_mac::readMacText(textOf(path), paneMakesCall);
            file.description = std::move(checked.description);
            file.warnings = std::move(checked.warnings);
        } catch (const simulated_mac::MacFileError& error) {
            file.error = error.what();
        }
        files.push_back(std::move(file));
    }
    return files;
}

int checkMacFiles(const std::vector<std::string>& paths) {
    int status = done;
    for (const MacFile& file : readMacFiles(paths)) {
        if (file.error) {
            printError("{}\n", *file.error);
            status = badInput;
        } else {
            fmt::print("{}: ok\n", printable(file.path));
            if (!file.warnings.empty()) {
                std::fflush(stdout);
                printError("{}\n", file.warnings);
            }
        }
    }
    return status;
}

}  // namespace displaycheck
