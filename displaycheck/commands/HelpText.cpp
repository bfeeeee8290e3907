#include "displaycheck/commands/HelpText.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <vector>

#include "displaycheck/report/TerminalText.h"

namespace displaycheck {

namespace {

constexpr std::size_t helpColumns = 80;

constexpr std::array helpTexts = {
    HelpText{
        "run", "Run the pane on Macs and report what it showed",
        "Runs the pane on the Mac that each FILE describes until the file's last event and the "
        "pane's last step are over, and reports what the user sees and why. The clock is virtual, "
        "so waits take no time. All files are checked before the first one runs. A folder stands "
        "for all *.yaml in it and below, \"-\" for standard input. More than three files get a "
        "summary.\n"
        "A Mac with monitors of which nobody knows whether they answer over DDC/CI (\"vcp: "
        "unknown\") is run twice: once as if all of them answered, once as if all were silent.",
        "0  success, whatever the pane's verdict\n"
        "1  a run failed (it crashed, got stuck, timed out, left Continue disabled or misused the "
        "platform), or the output can't be written\n"
        "2  wrong usage, or an invalid or unreadable file\n"
        "3  a run is not as its file expects\n"},
    HelpText{
        "sweep", "Run a Mac with every answer of its monitors",
        "Runs the Mac that FILE describes as an Intel Mac and as an Apple-silicon Mac, each with "
        "external monitors that answer over DDC/CI, stay silent, send a bad checksum, send a reply "
        "for another code, or answer only at the third try. Prints what the pane shows in each "
        "case.",
        "0  success, whatever the pane's verdicts\n"
        "1  a run failed, or the output can't be written\n"
        "2  wrong usage, or an invalid or unreadable file\n"},
    HelpText{
        "window", "Show the pane in an installer window",
        "Shows the pane in a window like the installer's, on the Mac that FILE describes, in real "
        "time. Continue is disabled while the pane looks for devices; Continue and Go Back leave "
        "and re-enter the pane; a click on the warning opens the support article. Standard output "
        "gets a timeline of these events, together with what the pane prints.",
        "0  success, whatever the pane's verdict\n"
        "1  Continue was left disabled, the pane misused the platform, or the window can't be "
        "shown\n"
        "2  wrong usage, or an invalid or unreadable file\n"},
    HelpText{
        "check", "Check Mac files without running them",
        "Prints \"FILE: ok\" for a valid file. For an invalid one, prints a line for each mistake: "
        "its line and column, what is wrong there and what was expected. Warns of what has no "
        "effect on the Mac, such as keys for the other kind of Mac. A folder stands for all *.yaml "
        "in it and below, \"-\" for standard input.",
        "0  all files are valid\n"
        "2  wrong usage, or an invalid or unreadable file\n"},
    HelpText{"schema", "Print the JSON Schema of Mac files or reports",
             "Editors use the schema of Mac files to complete and check them as you type.",
             "0  success\n"
             "2  wrong usage\n"},
    HelpText{
        "edid", "Decode the EDIDs in files as the pane does",
        "Finds the EDIDs in each FILE: binary, as hex digits, in the output of ioreg, xxd, hexdump "
        "-C and edid-decode, as a C array, or as base64 in a property list. Shows what the pane "
        "reads from each, its checksums and blocks, and when it was made. With no FILE, or with "
        "\"-\", reads standard input.",
        "0  success\n"
        "2  wrong usage, an unreadable file, or something that is not an EDID\n"},
    HelpText{
        "model", "Show how the pane classifies display names",
        "For each NAME, prints whether it is a supported model, whether its display chip needs "
        "special treatment, its bare model name, and whether its model year is 25 or later. Each "
        "answer says what matched, or what nearly did and what prevented it.",
        "0  success\n"
        "2  wrong usage\n"},
    HelpText{"import", "Turn a real Mac's dumps into a Mac file and run it",
             "Reads what a real Mac's tools printed: ioreg -l or ioreg -a, system_profiler "
             "SPDisplaysDataType, afktool -r all registry, and EDIDs in any form. Files are "
             "recognised by "
             "their contents and may come in any order; \"-\" is standard input. Writes a Mac file "
             "whose registry is the recorded one, says where each part comes from and what stays "
             "unknown, and reports what the pane would do on that Mac.",
             "0  success, whatever the pane's verdict\n"
             "1  the run failed, or a file can't be written\n"
             "2  wrong usage, or dumps that are unreadable or tell nothing\n"},
    HelpText{
        "compare", "Compare a Mac file with a real Mac's dumps",
        "Says where the Mac that MAC describes differs from the real Mac of the dumps in what the "
        "pane reads: framebuffers, I2C interfaces, displays, AV service proxies and USB devices, "
        "by path, class, property and order, and what system_profiler prints.",
        "0  they show the same\n"
        "1  they differ\n"
        "2  wrong usage, or an invalid or unreadable file\n"},
    HelpText{
        "completions", "Print the completions for a shell",
        "Prints the completions for bash, zsh or fish. For bash: displaycheck completions bash "
        "> ~/.local/share/bash-completion/completions/displaycheck",
        "0  success\n"
        "2  wrong usage\n"},
    HelpText{"help", "Print the help of a command", "Prints the same as COMMAND --help.",
             "0  success\n"
             "2  wrong usage\n"},
};

std::vector<std::string_view> linesOfHelp(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

}  // namespace

const HelpText& helpOf(std::string_view command) {
    const auto found =
        std::find_if(helpTexts.begin(), helpTexts.end(),
                     [command](const HelpText& text) { return text.command == command; });
    if (found == helpTexts.end()) throw std::logic_error("a command without help");
    return *found;
}

std::string footerOf(const HelpText& help) {
    std::string text;
    for (const std::string_view one : linesOfHelp(help.explanation)) {
        text += paragraph(one, helpColumns) + "\n";
    }
    text += "Exit status:\n";
    for (const std::string_view one : linesOfHelp(help.statuses)) {
        text += paragraph(one, helpColumns, 2, 3);
    }
    text.pop_back();
    return text;
}

}  // namespace displaycheck
