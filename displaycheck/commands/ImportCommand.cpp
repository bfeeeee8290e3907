#include "displaycheck/commands/ImportCommand.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <optional>

#include "displaycheck/commands/DumpFiles.h"
#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/commands/RunCommand.h"
#include "displaycheck/dumps/DumpError.h"
#include "displaycheck/dumps/ImportedMac.h"
#include "displaycheck/host/WholeFile.h"
#include "displaycheck/report/Terminal.h"
#include "displaycheck/report/TerminalText.h"

namespace displaycheck {

namespace {

/// A number of at most `most`, decimal or hexadecimal with 0x.
std::optional<std::uint32_t> numberIn(std::string_view text, std::uint32_t most) {
    const bool hexadecimal = text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X";
    if (hexadecimal) text.remove_prefix(2);
    std::uint32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number, hexadecimal ? 16 : 10);
    const bool good = result.ec == std::errc() && result.ptr == end && number <= most;
    return good ? std::optional(number) : std::nullopt;
}

void readAnswers(const std::string& text, ImportChoices& choices) {
    if (text.empty()) return;
    if (text == "silent") {
        choices.silent = true;
        return;
    }
    const std::size_t equals = text.find('=');
    if (equals != std::string::npos) {
        const auto code = numberIn(std::string_view(text).substr(0, equals), 0xFF);
        const auto value = numberIn(std::string_view(text).substr(equals + 1), 0xFFFF);
        if (code && value) {
            choices.answer = {static_cast<std::uint8_t>(*code), static_cast<std::uint16_t>(*value)};
            return;
        }
    }
    throw DumpError(
        fmt::format("--answers {}: expected CODE=VALUE, such as 0xF1=0x4000, or \"silent\"", text));
}

ImportChoices choicesOf(const ImportOptions& options) {
    ImportChoices choices;
    readAnswers(options.answers, choices);
    if (!options.withMonitor.empty()) choices.withMonitor = options.withMonitor;
    for (const std::string& text : options.displayIDs) {
        const auto id = numberIn(text, 0xFFFFFFFF);
        if (!id) {
            throw DumpError(fmt::format(
                "--display-ids {}: expected a number of 32 bits, such as 0x042801C0", text));
        }
        choices.displayIDs.push_back(*id);
    }
    return choices;
}

/// The files to write.
struct Output {
    std::filesystem::path macFile;
    std::filesystem::path registry;
};

Output outputOf(const ImportOptions& options, const MacRecord& record) {
    const bool isNamed = !options.output.empty();
    Output output;
    output.macFile = isNamed ? options.output : record.title + ".yaml";
    output.registry = output.macFile;
    output.registry.replace_extension(".registry.txt");
    for (const std::filesystem::path& path : {output.macFile, output.registry}) {
        std::error_code ignored;
        if (!isNamed && std::filesystem::exists(path, ignored)) {
            throw DumpError(
                fmt::format("{} exists; name the Mac file to write with -o", path.string()));
        }
        for (const std::string& dump : options.files) {
            if (!std::filesystem::equivalent(path, dump, ignored)) continue;
            throw DumpError(fmt::format("{} is one of the dumps; name another Mac file with -o",
                                        path.string()));
        }
    }
    return output;
}

/// Both files or none.
void writeFiles(const Output& output, const ImportedMac& imported) {
    std::error_code ignored;
    const bool isNew = !std::filesystem::exists(output.registry, ignored);
    if (!imported.registry.empty()) writeWholeFile(output.registry, imported.registry);
    // The Mac file comes last: it is whole only with the other.
    try {
        writeWholeFile(output.macFile, imported.macFile);
    } catch (...) {
        if (isNew) std::filesystem::remove(output.registry, ignored);
        throw;
    }
}

/// Says what was written, and where it comes from.
void printNotes(const Output& output, const ImportedMac& imported) {
    const Terminal terminal;
    std::string written = "Wrote " + output.macFile.string();
    if (!imported.registry.empty()) written += " and " + output.registry.string();
    std::string text = wholeWords(written + ".", terminal.columns, 0, 4);
    for (const std::string& note : imported.notes) text += wholeWords(note, terminal.columns, 2, 2);
    terminal.print(text);
}

}  // namespace

int importDumps(const ImportOptions& options) {
    Output output;
    try {
        const ImportChoices choices = choicesOf(options);
        const MacRecord record = readMacRecord(options.files);
        output = outputOf(options, record);
        const ImportedMac imported =
            importMac(record, choices, output.registry.filename().string());
        writeFiles(output, imported);
        printNotes(output, imported);
    } catch (const DumpError& error) {
        printMessages("displaycheck: " + printable(error.what()));
        return badInput;
    }
    if (options.onlyImport) return done;
    fmt::print("\n");
    std::fflush(stdout);
    RunOptions run;
    run.files = {output.macFile.string()};
    return runMacFiles(run);
}

}  // namespace displaycheck
