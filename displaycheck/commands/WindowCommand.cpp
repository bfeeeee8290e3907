#include "displaycheck/commands/WindowCommand.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string_view>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/commands/MacFiles.h"
#include "displaycheck/host/StandardError.h"
#include "displaycheck/report/TerminalText.h"
#include "simulated_mac/machine/Installation.h"

namespace displaycheck {

namespace {

namespace Installation = simulated_mac::Installation;

bool isSet(const char* variable) {
    const char* const value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

/// The languages of the pane's string tables.
std::set<std::string> languages() {
    std::set<std::string> known;
    for (const auto& entry : std::filesystem::directory_iterator(Installation::resource(""))) {
        if (entry.path().extension() == ".lproj") known.insert(entry.path().stem());
    }
    return known;
}

/// The known language that a locale such as "pt_BR.UTF-8" asks for, or English.
std::string languageOf(std::string_view locale, const std::set<std::string>& known) {
    std::string name(locale.substr(0, locale.find_first_of(".@")));
    std::replace(name.begin(), name.end(), '_', '-');
    if (name == "zh-CN" || name == "zh-SG") return "zh-Hans";
    if (name == "zh-TW" || name == "zh-HK") return "zh-Hant";
    if (known.contains(name)) return name;
    const std::string language = name.substr(0, name.find('-'));
    return known.contains(language) ? language : "en";
}

std::string languageOfUser(const std::set<std::string>& known) {
    for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* const locale = std::getenv(variable);
        if (locale != nullptr && *locale != '\0') return languageOf(locale, known);
    }
    return "en";
}

int complain(int status, const std::string& message) {
    printError("displaycheck: {}\n", message);
    return status;
}

/// Says what is assumed of the Mac's unknown monitors, if it has any.
void sayAssumption(const MacFile& file, simulated_mac::Assumption assumption) {
    const std::size_t unknown = simulated_mac::countUnknownMonitors(file.description);
    if (unknown == 0) return;
    const bool answers = assumption == simulated_mac::Assumption::answers;
    fmt::print(
        "{}: assumed of {}: {} (--assume {})\n", printable(file.path),
        unknown == 1 ? "the unknown monitor" : fmt::format("{} unknown monitors", unknown),
        answers ? "an answer over DDC/CI as of a supported monitor" : "no answer over DDC/CI",
        nameOf(assumption));
    std::fflush(stdout);
}

}  // namespace

int showWindow(const WindowOptions& options) {
    const MacFile file = readMacFiles({options.file}).front();
    if (file.error) {
        printError("{}\n", *file.error);
        return badInput;
    }
    const auto known = languages();
    if (!options.language.empty() && !known.contains(options.language)) {
        return complain(badInput, fmt::format("--lang: unknown language {}; expected one of {}",
                                              printable(options.language), fmt::join(known, ", ")));
    }
    const std::string language =
        options.language.empty() ? languageOfUser(known) : options.language;
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
