#include "displaycheck/commands/MacFiles.h"

#include <fmt/format.h>

#include <cstdio>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/host/StandardError.h"
#include "displaycheck/report/TerminalText.h"
#include "simulated_mac/file/MacFile.h"

namespace displaycheck {

std::vector<MacFile> readMacFiles(const std::vector<std::string>& paths) {
    std::vector<MacFile> files;
    for (const std::string& path : paths) {
        MacFile file{path, {}, std::nullopt};
        try {
            file.description = simulated_mac::readMacFile(path);
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
        }
    }
    return status;
}

}  // namespace displaycheck
