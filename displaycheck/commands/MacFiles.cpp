#include "displaycheck/commands/MacFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/host/PaneCalls.h"
#include "displaycheck/report/Terminal.h"
#include "displaycheck/report/TerminalText.h"
#include "simulated_mac/description/ReadFile.h"
#include "simulated_mac/file/MacFile.h"

namespace displaycheck {

namespace {

namespace fs = std::filesystem;

using simulated_mac::MacFileText;

MacFileText readText(const std::string& path) {
    constexpr auto mostBytes = simulated_mac::YAMLLimits::bytes;
    const bool isInput = path == "-";
    const std::string name = isInput ? "standard input" : path;
    const auto sayWaiting = [&name](std::string_view kind) {
        printMessages(fmt::format("displaycheck: waiting for {}, which is {}", name, kind));
    };
    try {
        // Files that standard input names are looked up in the current folder.
        if (isInput) return {name, simulated_mac::readStandardInput(mostBytes, sayWaiting), ""};
        return {name, simulated_mac::readFile(path, mostBytes, sayWaiting),
                fs::path(path).parent_path()};
    } catch (const simulated_mac::UnreadableFile& error) {
        throw simulated_mac::unreadableMacFile(name, error.what());
    }
}

/// The Mac files in a folder and below, in the order of their paths.
std::vector<std::string> filesBelow(const std::string& folder) {
    std::vector<fs::path> paths;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.path().extension() == ".yaml" && entry.is_regular_file()) {
            paths.push_back(entry.path());
        }
    }
    std::sort(paths.begin(), paths.end());
    return {paths.begin(), paths.end()};
}

std::vector<MacFile> readFolder(const std::string& folder) {
    const auto unreadable = [&folder](const std::string& why) {
        return MacFile{folder, {}, fmt::format("{}: {}", folder, why), ""};
    };
    try {
        std::vector<MacFile> files;
        for (const std::string& path : filesBelow(folder)) files.push_back(readMacFile(path));
        if (!files.empty()) return files;
        return {unreadable("no Mac file in this folder or below; expected at least one *.yaml")};
    } catch (const fs::filesystem_error& error) {
        return {unreadable("can't be read: " + error.code().message() +
                           "; expected a folder with Mac files")};
    }
}

}  // namespace

MacFile readMacFile(const std::string& path) {
    MacFile file{path, {}, std::nullopt, ""};
    try {
        const MacFileText text = readText(path);
        file.path = text.name;
        auto checked = simulated_mac::readMacText(text, paneMakesCall);
        file.description = std::move(checked.description);
        file.warnings = std::move(checked.warnings);
    } catch (const simulated_mac::MacFileError& error) {
        file.error = error.what();
    }
    return file;
}

std::vector<MacFile> readMacFiles(const std::vector<std::string>& paths) {
    std::vector<MacFile> files;
    for (const std::string& path : paths) {
        std::error_code ignored;
        if (fs::is_directory(path, ignored)) {
            for (MacFile& file : readFolder(path)) files.push_back(std::move(file));
        } else {
            files.push_back(readMacFile(path));
        }
    }
    return files;
}

int checkMacFiles(const std::vector<std::string>& paths) {
    const Terminal terminal;
    int status = done;
    for (const MacFile& file : readMacFiles(paths)) {
        if (file.error) {
            printMessages(*file.error);
            status = badInput;
        } else {
            terminal.print(wholeWords(file.path + ": ok", terminal.columns, 0, 2));
            std::fflush(stdout);
            printMessages(file.warnings);
        }
    }
    return status;
}

}  // namespace displaycheck
