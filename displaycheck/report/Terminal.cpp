#include "displaycheck/report/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "displaycheck/host/StandardError.h"

namespace displaycheck {

namespace {

constexpr std::size_t narrowest = 40;
constexpr std::size_t usualColumns = 80;
constexpr std::size_t widest = 100;

std::string_view environment(const char* variable) {
    const char* const value = std::getenv(variable);
    return value != nullptr ? value : "";
}

bool takesControls(int descriptor) {
    return isatty(descriptor) == 1 && environment("TERM") != "dumb";
}

bool wantsColour(int descriptor) {
    return takesControls(descriptor) && environment("NO_COLOR").empty();
}

std::size_t columnsAt(int descriptor) {
    const std::string_view told = environment("COLUMNS");
    std::size_t columns = 0;
    const auto [end, error] = std::from_chars(told.data(), told.data() + told.size(), columns);
    if (error == std::errc() && end == told.data() + told.size() && columns > 0) return columns;
    winsize size{};
    if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return usualColumns;
    return size.ws_col;
}

std::size_t usedColumnsAt(int descriptor) {
    return std::clamp(columnsAt(descriptor), narrowest, widest);
}

/// Whether the locale's encoding is UTF-8; where none is set, it is taken for that.
bool hasUTF8() {
    for (const char* const variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        std::string locale(environment(variable));
        if (locale.empty()) continue;
        std::transform(locale.begin(), locale.end(), locale.begin(),
                       [](unsigned char letter) { return std::tolower(letter); });
        return locale.find("utf-8") != std::string::npos ||
               locale.find("utf8") != std::string::npos;
    }
    return true;
}

}  // namespace

Terminal::Terminal()
    : output(wantsColour(STDOUT_FILENO)),
      errors(wantsColour(STDERR_FILENO)),
      errorsLive(takesControls(STDERR_FILENO)),
      columns(usedColumnsAt(STDOUT_FILENO)),
      takesFrames_(hasUTF8()) {}

void Terminal::print(const std::string& text) const {
    const std::string& shown = takesFrames_ ? text : withASCIIFrames(text);
    std::fwrite(shown.data(), 1, shown.size(), stdout);
}

void printMessages(std::string_view messages) {
    constexpr std::size_t indentOfFurtherLines = 2;
    const std::size_t columns = usedColumnsAt(STDERR_FILENO);
    while (!messages.empty()) {
        const std::size_t end = std::min(messages.find('\n'), messages.size());
        printError("{}", wholeWords(messages.substr(0, end), columns, 0, indentOfFurtherLines));
        messages.remove_prefix(std::min(end + 1, messages.size()));
    }
}

}  // namespace displaycheck
