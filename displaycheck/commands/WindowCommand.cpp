#include "displaycheck/commands/WindowCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/commands/Languages.h"
#include "displaycheck/commands/MacFiles.h"
#include "displaycheck/report/Terminal.h"
#include "displaycheck/report/TerminalText.h"
#include "simulated_mac/machine/Installation.h"

namespace displaycheck {

namespace {

namespace Installation = simulated_mac::Installation;

bool isSet(const char* variable) {
    const char* const value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

int complain(int status, const std::string& message) {
    printMessages("displaycheck: " + message);
    return status;
}

/// Whether the file can be read once only, if at all.
bool isStream(const std::string& file) {
    std::error_code ignored;
    const auto type = std::filesystem::status(file, ignored).type();
    using std::filesystem::file_type;
    return file == "-" || type == file_type::fifo || type == file_type::character ||
           type == file_type::socket;
}

/// Says what is assumed of the Mac's unknown monitors, if it has any.
void sayAssumption(const MacFile& file, simulated_mac::Assumption assumption) {
    const std::size_t unknown = simulated_mac::countUnknownMonitors(file.description);
    if (unknown == 0) return;
    const bool answers = assumption == simulated_mac::Assumption::answers;
    const Terminal terminal;
    terminal.print(wholeWords(
        fmt::format(
            "{}: assumed of {}: {} (--assume {})", file.path,
            unknown == 1 ? "the unknown monitor" : fmt::format("{} unknown monitors", unknown),
            answers ? "an answer over DDC/CI as of a supported monitor" : "no answer over DDC/CI",
            nameOf(assumption)),
        terminal.columns, 0, 2));
    std::fflush(stdout);
}

}  // namespace

int showWindow(const WindowOptions& options) {
    if (isStream(options.file)) {
        return complain(badInput,
                        fmt::format("{} can be read only once; expected a regular file, which the "
                                    "window's program reads again",
                                    options.file == "-" ? "standard input" : options.file));
    }
    const MacFile file = readMacFile(options.file);
    if (file.error) {
        printMessages(*file.error);
        return badInput;
    }
    const std::string language = options.language.empty() ? languageOfUser() : options.language;
    sayAssumption(file, options.assume);
    const std::string program = Installation::window();
    if (!std::filesystem::exists(program)) {
        return complain(unfinished,
                        "the window is unavailable: this build lacks GNUstep; run 'make window'");
    }
    if (!isSet("DISPLAY")) {
        return complain(unfinished,
                        "no display to show a window on: DISPLAY is not set; try "
                        "'xvfb-run displaycheck window ...'");
    }
    execl(program.c_str(), program.c_str(), options.file.c_str(), language.c_str(),
          options.screenshot.c_str(), fmt::format("{}", options.speed).c_str(),
          std::string(nameOf(options.assume)).c_str(), options.dark ? "dark" : "light",
          static_cast<char*>(nullptr));
    return complain(unfinished, fmt::format("{}: {}", program, std::strerror(errno)));
}

}  // namespace displaycheck
