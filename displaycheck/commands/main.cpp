#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "displaycheck/commands/CompareCommand.h"
#include "displaycheck/commands/EDIDCommand.h"
#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/commands/ImportCommand.h"
#include "displaycheck/commands/Languages.h"
#include "displaycheck/commands/MacFiles.h"
#include "displaycheck/commands/ModelCommand.h"
#include "displaycheck/commands/RunCommand.h"
#include "displaycheck/commands/SweepCommand.h"
#include "displaycheck/commands/WindowCommand.h"
#include "displaycheck/host/StandardError.h"
#include "displaycheck/report/Embedded.h"
#include "displaycheck/report/TerminalText.h"
#include "simulated_mac/description/Assumption.h"
#include "simulated_mac/file/MacFile.h"
#include "simulated_mac/file/MacFileFormat.h"
#include "simulated_mac/file/MessageText.h"
#include "simulated_mac/file/NearestWord.h"

namespace {

using namespace displaycheck;
using simulated_mac::Assumption;

constexpr auto description =
    "Runs the installer's display-check pane on simulated Macs,\n"
    "and reports what it showed and why.\n";

constexpr auto runText =
    "Runs the pane on the Mac that each FILE describes until the file's last event and the\n"
    "pane's last step are over, and reports what the user sees and why. The clock is\n"
    "virtual, so waits take no time. All files are checked before the first one runs.\n"
    "A folder stands for all *.yaml in it and below, \"-\" for standard input.\n"
    "\n"
    "A Mac with monitors of which nobody knows whether they answer over DDC/CI\n"
    "(\"vcp: unknown\") is run twice: once all of them answer, once all are silent.";

constexpr auto sweepText =
    "Runs the Mac that FILE describes as an Intel Mac and as an Apple-silicon Mac, each\n"
    "with external monitors that answer over DDC/CI, stay silent, send a bad checksum, send\n"
    "a reply for another code, or answer only at the third try. Prints what the pane shows\n"
    "in each case.";

constexpr auto windowText =
    "Shows the pane in a window like the installer's, on the Mac that FILE describes, in\n"
    "real time. Continue is disabled while the pane looks for devices; Continue and Go Back\n"
    "leave and re-enter the pane; a click on the warning opens the support article. Standard\n"
    "output gets a timeline of these events, together with what the pane prints.";

constexpr auto checkText =
    "Prints \"FILE: ok\" for a valid file. For an invalid one, prints a line for each mistake:\n"
    "its line and column, what is wrong there and what was expected. Warns of what has no effect\n"
    "on the Mac, such as keys for the other kind of Mac. A folder stands for all *.yaml in it\n"
    "and below, \"-\" for standard input.";

constexpr auto schemaText = "With the schema, editors complete and check Mac files as you type.";

constexpr auto EDIDText =
    "Finds the EDIDs in each FILE: binary, as hex digits, in the output of ioreg, xxd,\n"
    "hexdump -C and edid-decode, as a C array, or as base64 in a property list. Shows what\n"
    "the pane reads from each, its checksums and blocks, and when it was made. With no FILE,\n"
    "or with \"-\", reads standard input.";

constexpr auto modelText =
    "For each NAME, prints whether it is a supported model, whether its display chip needs\n"
    "special treatment, its bare model name, and whether its model year is 25 or later;\n"
    "and with each answer what matched, or what nearly did and why it does not.";

constexpr auto importText =
    "Reads what a real Mac's tools printed: ioreg -l or ioreg -a, system_profiler\n"
    "SPDisplaysDataType, afktool -r all registry, and EDIDs in any form. What a file\n"
    "is shows in its contents; the order doesn't matter, and \"-\" is standard input.\n"
    "Writes a Mac file whose registry is the recorded one, says what it took from\n"
    "where and what stays unknown, and reports what the pane would do on that Mac.";

constexpr auto compareText =
    "Says where the Mac that MAC describes shows something else than the real Mac of\n"
    "the dumps, for what the pane reads: framebuffers, I2C interfaces, displays, AV\n"
    "service proxies and USB devices, by path, class, property and order, and what\n"
    "system_profiler prints. The exit status is 1 where they differ.";

constexpr auto macFilesText = "Mac files (YAML), folders of them, or \"-\"";

constexpr auto exitStatuses =
    "Exit status:\n"
    "  0  success, whatever the pane's verdict\n"
    "  1  a run failed (it crashed, got stuck, timed out, left Continue disabled or misused the\n"
    "     platform), a comparison found differences, the window can't be shown, or the output\n"
    "     can't be written\n"
    "  2  wrong usage, or an invalid or unreadable file\n"
    "  3  a run shows something else than its file expects";

/// The commands and options; each command leaves its exit status in `status`.
class CommandLine {
  public:
    CommandLine() {
        app_.set_version_flag("--version", "displaycheck " DISPLAYCHECK_VERSION,
                              "Print the version and exit");
        app_.set_help_flag("-h,--help", "Print this help and exit");
        app_.get_formatter()->label("SUBCOMMAND", "COMMAND");
        app_.get_formatter()->label("Positionals", "Arguments");
        app_.get_formatter()->label("REQUIRED", "");
        app_.footer(std::string("\"displaycheck COMMAND --help\" describes a command.\n"
                                "Try: displaycheck run examples/*.yaml\n\n") +
                    exitStatuses);
        addRun();
        addSweep();
        addWindow();
        addCheck();
        addSchema();
        addEDID();
        addModel();
        addImport();
        addCompare();
    }

    int run(int argc, char** argv) {
        try {
            app_.parse(argc, argv);
        } catch (const CLI::ExtrasError&) {
            printError("displaycheck: {}\n", strangeArgument());
            return badInput;
        } catch (const CLI::ParseError& error) {
            return app_.exit(error) == 0 ? done : badInput;
        }
        if (app_.get_subcommands().empty()) {
            printError("{}", app_.help());
            return badInput;
        }
        return status_;
    }

  private:
    CLI::App* addCommand(const std::string& name, const std::string& summary,
                         const std::string& explanation) {
        CLI::App* const command = app_.add_subcommand(name, summary);
        command->group("Commands");
        command->footer(explanation + "\n\n" + exitStatuses);
        return command;
    }

    /// What is wrong with the first argument that nothing takes.
    std::string strangeArgument() {
        if (const auto strange = app_.remaining(); !strange.empty()) {
            return isOption(strange.front()) ? unknownOption(app_, strange.front(), "a command")
                                             : unknownCommand(strange.front());
        }
        const std::string strange = app_.remaining(true).front();
        const CLI::App& command = *app_.get_subcommands().front();
        const std::string name = command.get_name();
        if (isOption(strange)) {
            return name + ": " +
                   unknownOption(command, strange,
                                 "one that \"displaycheck " + name + " --help\" lists");
        }
        return fmt::format("{}: unexpected argument {}; expected none behind the others", name,
                           printable(strange));
    }

    static bool isOption(const std::string& argument) { return argument.rfind('-', 0) == 0; }

    std::string unknownCommand(const std::string& name) const {
        std::vector<std::string> known;
        for (const CLI::App* const command : app_.get_subcommands({})) {
            known.push_back(command->get_name());
        }
        return fmt::format("unknown command {}; expected {}{}", printable(name),
                           simulated_mac::alternatives(known),
                           simulated_mac::suggestion(name, known));
    }

    static std::string unknownOption(const CLI::App& command, const std::string& name,
                                     const std::string& expected) {
        std::vector<std::string> known;
        for (const CLI::Option* const option : command.get_options()) {
            for (const std::string& longName : option->get_lnames()) {
                known.push_back("--" + longName);
            }
        }
        return fmt::format("unknown option {}; expected {}{}", printable(name), expected,
                           simulated_mac::suggestion(name.substr(0, name.find('=')), known));
    }

    static void addAssume(CLI::App* command, const std::string& explanation,
                          const std::function<void(Assumption)>& take) {
        command
            ->add_option_function<std::string>(
                "--assume",
                [take](const std::string& name) { take(*simulated_mac::assumptionNamed(name)); },
                explanation)
            ->type_name("answers|silent")
            ->check([](const std::string& name) -> std::string {
                return simulated_mac::assumptionNamed(name)
                           ? ""
                           : "unknown assumption " + printable(name) +
                                 "; expected answers or silent";
            });
    }

    static void addJobs(CLI::App* command, std::optional<std::size_t>& jobs) {
        command->add_option("--jobs", jobs, "How many runs at a time (default: the cores)")
            ->type_name("N")
            ->check(CLI::Range(1, 1000, "1 to 1000"));
    }

    static void addLanguage(CLI::App* command, const std::string& explanation,
                            std::string& language) {
        command
            ->add_option_function<std::string>(
                "--lang", [&language](const std::string& name) { language = *languageNamed(name); },
                explanation)
            ->type_name("LANGUAGE")
            ->check([](const std::string& name) {
                return languageNamed(name) ? std::string() : unknownLanguage(name);
            });
    }

    void addRun() {
        auto* const command =
            addCommand("run", "Run the pane on Macs and report what it showed", runText);
        command->add_option("FILE", run_.files, macFilesText)->type_name("")->required();
        command->add_flag("--json", run_.json, "Print one JSON object per line for each FILE");
        command->add_flag("--details", run_.details,
                          "Print whole reports on more than three FILEs\ntoo, not a summary");
        addJobs(command, run_.jobs);
        command->add_option("--junit", run_.junit, "Write the outcomes to this file as JUnit's XML")
            ->type_name("XML");
        command->add_option("--html", run_.html, "Write the reports to this file as a page")
            ->type_name("HTML");
        command->add_flag("--log", run_.log,
                          "Include the system log and the pane's standard\n"
                          "output (JSON always includes them)");
        command->add_flag("--trace", trace_,
                          "Include every platform call: time, thread,\n"
                          "call(arguments) = result; or with =PATTERN\n"
                          "those that match, such as --trace=IOI2C*");
        command->add_option("--trace-file", run_.traceFile, "Write the platform calls to this file")
            ->type_name("FILE");
        command->add_flag("--realtime", run_.realtime,
                          "Run in real time, with progress on standard error");
        addAssume(command, "Play only this of Macs with unknown monitors\n(default: both)",
                  [this](Assumption assumption) { run_.assume = assumption; });
        addLanguage(command, "Language of the pane, such as de or pt-BR\n(default: English)",
                    run_.language);
        command->callback([this, command] {
            // The value of a flag that has none is "true".
            if (command->count("--trace") > 0) run_.trace = trace_ == "true" ? "*" : trace_;
            status_ = runMacFiles(run_);
        });
    }

    void addSweep() {
        auto* const command = addCommand(
            "sweep", "Run a Mac under all answers that its monitors can give", sweepText);
        command->add_option("FILE", swept_, "Mac file (YAML)")->type_name("")->required();
        addJobs(command, sweepJobs_);
        command->callback([this] { status_ = sweepMacFile(swept_, sweepJobs_); });
    }

    void addWindow() {
        auto* const command =
            addCommand("window", "Show the pane in an installer window", windowText);
        command->add_option("FILE", window_.file, "Mac file (YAML)")->type_name("")->required();
        addLanguage(command, "Language of the pane, such as de or pt-BR\n(default: the locale's)",
                    window_.language);
        command
            ->add_option("--screenshot", window_.screenshot,
                         "Skip to the end, write the window\nto this PNG file and exit")
            ->type_name("PNG");
        command->add_flag("--dark", window_.dark, "Use the Mac's dark appearance");
        command->add_option("--speed", window_.speed, "Run the Mac's clock this many times faster")
            ->type_name("FACTOR")
            ->check(CLI::Range(0.1, 100.0, "0.1 to 100"));
        addAssume(command, "What unknown monitors do (default: answers)",
                  [this](Assumption assumption) { window_.assume = assumption; });
        command->callback([this] { status_ = showWindow(window_); });
    }

    void addCheck() {
        auto* const command =
            addCommand("check", "Check Mac files without running them", checkText);
        command->add_option("FILE", checked_, macFilesText)->type_name("")->required();
        command->callback([this] { status_ = checkMacFiles(checked_); });
    }

    void addSchema() {
        auto* const command =
            addCommand("schema", "Print the JSON Schema of Mac files", schemaText);
        command->add_flag("--report", showsReportSchema_,
                          "Print that of the objects that \"run --json\"\nprints instead");
        command->callback([this] {
            fmt::print("{}", showsReportSchema_ ? std::string(reportSchema())
                                                : simulated_mac::macFileSchema());
        });
    }

    void addEDID() {
        auto* const command =
            addCommand("edid", "Decode the EDIDs in files as the pane does", EDIDText);
        command->add_option("FILE", EDIDs_.files, "Files with EDIDs")->type_name("");
        command->add_flag("--json", EDIDs_.json, "Print one JSON object per line for each EDID");
        command->add_flag("--verbatim", EDIDs_.verbatim,
                          "Decode each line as the pane would,\nEDID or not");
        command->callback([this] { status_ = showEDIDs(EDIDs_); });
    }

    void addModel() {
        auto* const command =
            addCommand("model", "Show how the pane classifies display names", modelText);
        command->add_option("NAME", models_, "Display names, such as \"VORN K2723QX\"")
            ->type_name("")
            ->required();
        command->add_flag("--json", modelsAsJSON_, "Print one JSON object per line for each NAME");
        command->callback([this] { status_ = showModels(models_, modelsAsJSON_); });
    }

    void addImport() {
        auto* const command = addCommand(
            "import", "Make a Mac file of a real Mac's dumps, and run the pane on it", importText);
        command->add_option("FILE", import_.files, "Dumps of one Mac, EDIDs, archives of them")
            ->type_name("")
            ->required();
        command->add_option("-o,--output", import_.output, "The Mac file to write")
            ->type_name("MAC.yaml");
        command
            ->add_option("--answers", import_.answers,
                         "What each external monitor answers: CODE=VALUE,\n"
                         "such as 0xF1=0x4000, or silent (default: unknown)")
            ->type_name("ANSWER");
        command
            ->add_option("--with-monitor", import_.withMonitor,
                         "Put a Vorn monitor of this name in the place of\neach external one")
            ->type_name("NAME");
        command
            ->add_option("--display-ids", import_.displayIDs,
                         "Core Graphics' IDs of the screens, in order")
            ->type_name("ID")
            ->delimiter(',');
        command->add_flag("--no-run", import_.onlyImport, "Don't run the pane on it");
        command->callback([this] { status_ = importDumps(import_); });
    }

    void addCompare() {
        auto* const command =
            addCommand("compare", "Compare a Mac file with a real Mac's dumps", compareText);
        command->add_option("MAC", compared_, "Mac file (YAML)")->type_name("")->required();
        command->add_option("DUMP", comparedDumps_, "Dumps of one Mac")->type_name("")->required();
        command->callback([this] { status_ = compareWithDumps(compared_, comparedDumps_); });
    }

    CLI::App app_{description, "displaycheck"};
    int status_ = done;
    RunOptions run_;
    std::string trace_;
    std::string swept_;
    std::optional<std::size_t> sweepJobs_;
    bool showsReportSchema_ = false;
    WindowOptions window_;
    std::vector<std::string> checked_;
    EDIDOptions EDIDs_;
    ImportOptions import_;
    std::string compared_;
    std::vector<std::string> comparedDumps_;
    std::vector<std::string> models_;
    bool modelsAsJSON_ = false;
};

/// Keeps files that the program opens from becoming a standard stream that it was started
/// without. Such a stream stays unusable.
void keepStandardStreamsApart() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) != -1) continue;
        // The lowest descriptor that is free is this one.
        open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

int outputFailed(int error, int status) {
    printError("displaycheck: can't write the output: {}\n", std::strerror(error));
    return status == done ? unfinished : status;
}

/// The program's exit status, once all of its output is written.
int finishOutput(int status) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    return outputFailed(errno, status);
}

}  // namespace

int main(int argc, char** argv) {
    keepStandardStreamsApart();
    try {
        return finishOutput(CommandLine().run(argc, argv));
    } catch (const std::system_error& error) {
        if (std::ferror(stdout) != 0) return outputFailed(error.code().value(), done);
        printError("displaycheck: {}\n", error.what());
        return unfinished;
    } catch (const std::exception& error) {
        printError("displaycheck: {}\n", error.what());
        return unfinished;
    }
}
