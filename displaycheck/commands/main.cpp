#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <system_error>

#include "displaycheck/commands/EDIDCommand.h"
#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/commands/MacFiles.h"
#include "displaycheck/commands/ModelCommand.h"
#include "displaycheck/commands/RunCommand.h"
#include "displaycheck/commands/WindowCommand.h"
#include "displaycheck/host/StandardError.h"
#include "simulated_mac/file/MacFile.h"
#include "simulated_mac/file/MacFileFormat.h"

namespace {

using namespace displaycheck;

constexpr auto description =
    "Enters the display-check pane of the installer on simulated Macs,\n"
    "and tells what it showed and why.\n";

constexpr auto runText =
    "Enters the pane on the Mac that each FILE describes, lets the run and the file's\n"
    "events play out on a virtual clock, and reports what the user sees and why. All\n"
    "files are checked before the first one runs.";

constexpr auto windowText =
    "The pane in a window like the installer's, on the Mac that FILE describes, by the wall\n"
    "clock: Continue greys while the pane looks for devices, Go Back and Continue leave and\n"
    "enter it, a click on the warning opens the support article. What the pane writes to its\n"
    "standard output goes to this program's, between what happens and when.";

constexpr auto checkText =
    "Prints \"FILE: ok\" for a good file, and for a bad one the place of its first mistake,\n"
    "what was found there and what was expected.";

constexpr auto schemaText = "With it, editors complete and check Mac files while they are written.";

constexpr auto EDIDText =
    "A FILE is a binary EDID, or a text with one EDID in hex on each line. \"-\", and no\n"
    "FILE at all, stand for standard input.";

constexpr auto modelText =
    "For each NAME: whether it is a supported model, whether its display chip needs the\n"
    "special treatment, its bare model name, and whether its model year is 25 or later.";

constexpr auto exitStatuses =
    "Exit status:\n"
    "  0  done, whatever the pane's verdict\n"
    "  1  a run did not finish: it crashed, got stuck, ran out of time, left Continue greyed or\n"
    "     misused the platform; or the output could not be written\n"
    "  2  wrong usage, or a file that can't be used";

/// The commands and options; each command leaves its exit status in `status`.
class CommandLine {
  public:
    CommandLine() {
        app_.set_version_flag("--version", "displaycheck " DISPLAYCHECK_VERSION,
                              "Print the version and leave");
        app_.set_help_flag("-h,--help", "Print this help and leave");
        app_.get_formatter()->label("SUBCOMMAND", "COMMAND");
        app_.get_formatter()->label("Subcommands", "Commands");
        app_.footer(std::string("\"displaycheck COMMAND --help\" explains a command.\n"
                                "Try: displaycheck run examples/*.yaml\n\n") +
                    exitStatuses);
        addRun();
        addWindow();
        addCheck();
        addSchema();
        addEDID();
        addModel();
    }

    int run(int argc, char** argv) {
        try {
            app_.parse(argc, argv);
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
        command->footer(explanation + "\n\n" + exitStatuses);
        return command;
    }

    void addRun() {
        auto* const command =
            addCommand("run", "Enter the pane on Macs and report what it showed", runText);
        command->add_option("FILE", run_.files, "Mac files (YAML)")->required();
        command->add_flag("--json", run_.json, "One JSON object on a line for each FILE");
        command->add_flag("--log", run_.log,
                          "Add the system log and the pane's standard output\n"
                          "(JSON always has them)");
        command->add_flag("--trace", run_.trace,
                          "Add every platform call: time, thread,\ncall(arguments) = result");
        command->add_flag("--realtime", run_.realtime,
                          "Go by the wall clock, with progress on standard error");
        command->callback([this] { status_ = runMacFiles(run_); });
    }

    void addWindow() {
        auto* const command =
            addCommand("window", "Show the pane in a window, as the installer does", windowText);
        command->add_option("FILE", window_.file, "Mac file (YAML)")->required();
        command->add_option(
            "--lang", window_.language,
            "Language of the texts, such as de or pt-BR;\nthe user's own otherwise");
        command->add_option(
            "--screenshot", window_.screenshot,
            "Write what the window shows when all is quiet\nto this PNG file, and end");
        command
            ->add_option("--speed", window_.speed, "Let so many of the Mac's seconds pass in one")
            ->check(CLI::Range(0.1, 100.0));
        command->callback([this] { status_ = showWindow(window_); });
    }

    void addCheck() {
        auto* const command = addCommand(
            "check", "Tell whether Mac files are valid, without running them", checkText);
        command->add_option("FILE", checked_, "Mac files (YAML)")->required();
        command->callback([this] { status_ = checkMacFiles(checked_); });
    }

    void addSchema() {
        auto* const command =
            addCommand("schema", "Print the JSON Schema of Mac files", schemaText);
        command->callback([] { fmt::print("{}", simulated_mac::macFileSchema()); });
    }

    void addEDID() {
        auto* const command = addCommand("edid", "Decode EDIDs as the pane does", EDIDText);
        command->add_option("FILE", EDIDs_, "Binary EDIDs or texts of hex EDIDs");
        command->add_flag("--json", EDIDsAsJSON_, "One JSON object on a line for each EDID");
        command->callback([this] { status_ = showEDIDs(EDIDs_, EDIDsAsJSON_); });
    }

    void addModel() {
        auto* const command =
            addCommand("model", "Tell what the pane makes of display names", modelText);
        command->add_option("NAME", models_, "Display names, such as \"VORN K2723QX\"")->required();
        command->add_flag("--json", modelsAsJSON_, "One JSON object on a line for each NAME");
        command->callback([this] { status_ = showModels(models_, modelsAsJSON_); });
    }

    CLI::App app_{description, "displaycheck"};
    int status_ = done;
    RunOptions run_;
    WindowOptions window_;
    std::vector<std::string> checked_;
    std::vector<std::string> EDIDs_;
    bool EDIDsAsJSON_ = false;
    std::vector<std::string> models_;
    bool modelsAsJSON_ = false;
};

/// Keeps what the program opens from taking the place of a standard stream that it was started
/// without. Such a stream stays one that can't be used.
void keepStandardStreamsApart() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) != -1) continue;
        // The lowest descriptor that is free is this one.
        open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

int outputFailed(int error, int status) {
    printError("displaycheck: the output can't be written: {}\n", std::strerror(error));
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
