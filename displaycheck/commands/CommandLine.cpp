#include "displaycheck/commands/CommandLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "displaycheck/commands/CompareCommand.h"
#include "displaycheck/commands/Completions.h"
#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/commands/HelpText.h"
#include "displaycheck/commands/Languages.h"
#include "displaycheck/commands/MacFiles.h"
#include "displaycheck/commands/ModelCommand.h"
#include "displaycheck/commands/SweepCommand.h"
#include "displaycheck/host/StandardError.h"
#include "displaycheck/report/Embedded.h"
#include "displaycheck/report/Terminal.h"
#include "displaycheck/report/TerminalText.h"
#include "simulated_mac/description/Assumption.h"
#include "simulated_mac/file/MacFileFormat.h"
#include "simulated_mac/file/MessageText.h"
#include "simulated_mac/file/NearestWord.h"

namespace displaycheck {

namespace {

using simulated_mac::Assumption;

constexpr auto description =
    "Runs the installer's display-check pane on simulated Macs,\n"
    "and reports what it showed and why.\n";

constexpr auto footer =
    "\"displaycheck help COMMAND\" describes a command.\n"
    "Try: displaycheck run examples/*.yaml\n";

constexpr auto macFilesText = "Mac files (YAML), folders of them, or \"-\"";

/// Makes what follows the options only where help is asked for: breaking its lines takes longer
/// than many a command.
class HelpFormatter : public CLI::Formatter {
  public:
    std::string make_footer(const CLI::App* app) const override {
        return app->get_parent() == nullptr ? footer : footerOf(helpOf(app->get_name())) + "\n";
    }
};

bool isOption(const std::string& argument) {
    return argument.rfind('-', 0) == 0;
}

std::string unknownOption(const CLI::App& command, const std::string& name,
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

void addAssume(CLI::App* command, const std::string& explanation,
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
                       : "unknown assumption " + printable(name) + "; expected answers or silent";
        });
}

void addLanguage(CLI::App* command, const std::string& explanation, std::string& language) {
    command
        ->add_option_function<std::string>(
            "--lang", [&language](const std::string& name) { language = *languageNamed(name); },
            explanation)
        ->type_name(languageType)
        ->check([](const std::string& name) {
            return languageNamed(name) ? std::string() : unknownLanguage(name);
        });
}

CLI::Validator numbersFrom(double least, double most) {
    const std::string expected = fmt::format("{} to {}", least, most);
    const auto check = [=](const std::string& text) {
        double number = 0;
        const bool isGood =
            CLI::detail::lexical_cast(text, number) && number >= least && number <= most;
        return isGood ? "" : fmt::format("found {}; expected {}", printable(text), expected);
    };
    return {check, expected};
}

void addJobs(CLI::App* command, std::optional<std::size_t>& jobs) {
    command->add_option("--jobs", jobs, "How many runs at a time (default: the cores)")
        ->type_name("N")
        ->check(numbersFrom(1, 1000));
}

}  // namespace

CommandLine::CommandLine() : app_(description, "displaycheck") {
    app_.set_version_flag("--version", "displaycheck " DISPLAYCHECK_VERSION,
                          "Print the version and exit");
    app_.set_help_flag("-h,--help", "Print this help and exit");
    app_.formatter(std::make_shared<HelpFormatter>());
    // Behind one command, the name of another is an argument.
    app_.require_subcommand(0, 1);
    app_.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app_.get_formatter()->label("Positionals", "Arguments");
    app_.get_formatter()->label("REQUIRED", "");
    addRun();
    addSweep();
    addWindow();
    addCheck();
    addSchema();
    addEDID();
    addModel();
    addImport();
    addCompare();
    addCompletions();
    addHelp();
}

int CommandLine::run(int argc, char** argv) {
    try {
        app_.parse(argc, argv);
    } catch (const CLI::ExtrasError&) {
        printMessages("displaycheck: " + strangeArgument());
        return badInput;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app_.exit(error);  // help, or the version
        printMessages("displaycheck: " + wrongUsage(error));
        return badInput;
    }
    if (app_.get_subcommands().empty()) {
        printError("{}", app_.help());
        return badInput;
    }
    return status_;
}

CLI::App* CommandLine::addCommand(const std::string& name) {
    CLI::App* const command = app_.add_subcommand(name, std::string(helpOf(name).summary));
    command->group("Commands");
    return command;
}

/// What is wrong with the arguments of a command, and where their help is.
std::string CommandLine::wrongUsage(const CLI::ParseError& error) const {
    const auto commands = app_.get_subcommands();
    if (commands.empty()) return error.what();
    const std::string name = commands.front()->get_name();
    return fmt::format("{}: {} (see \"displaycheck {} --help\")", name, error.what(), name);
}

/// What is wrong with the first argument that nothing takes.
std::string CommandLine::strangeArgument() {
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

std::string CommandLine::unknownCommand(const std::string& name) const {
    std::vector<std::string> known;
    for (const CLI::App* const command : app_.get_subcommands({})) {
        known.push_back(command->get_name());
    }
    return fmt::format("unknown command {}; expected {}{}", printable(name),
                       simulated_mac::alternatives(known), simulated_mac::suggestion(name, known));
}

void CommandLine::addRun() {
    auto* const command = addCommand("run");
    command->add_option("FILE", run_.files, macFilesText)->type_name("")->required();
    command->add_flag("--json", run_.json, "Print one JSON object per line for each FILE");
    command->add_flag("--details", run_.details,
                      "Print full reports, not a summary,\neven of more than three FILEs");
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
    addAssume(command, "Assume only this of unknown monitors\n(default: each in turn)",
              [this](Assumption assumption) { run_.assume = assumption; });
    addLanguage(command, "Language of the pane, such as de or pt-BR\n(default: English)",
                run_.language);
    command->callback([this, command] {
        // The value of a flag that has none is "true".
        if (command->count("--trace") > 0) run_.trace = trace_ == "true" ? "*" : trace_;
        status_ = runMacFiles(run_);
    });
}

void CommandLine::addSweep() {
    auto* const command = addCommand("sweep");
    command->add_option("FILE", swept_, "Mac file (YAML)")->type_name("")->required();
    addJobs(command, sweepJobs_);
    command->callback([this] { status_ = sweepMacFile(swept_, sweepJobs_); });
}

void CommandLine::addWindow() {
    auto* const command = addCommand("window");
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
        ->check(numbersFrom(0.1, 100));
    addAssume(command, "What unknown monitors do (default: answers)",
              [this](Assumption assumption) { window_.assume = assumption; });
    command->callback([this] { status_ = showWindow(window_); });
}

void CommandLine::addCheck() {
    auto* const command = addCommand("check");
    command->add_option("FILE", checked_, macFilesText)->type_name("")->required();
    command->callback([this] { status_ = checkMacFiles(checked_); });
}

void CommandLine::addSchema() {
    auto* const command = addCommand("schema");
    command->add_flag("--report", showsReportSchema_,
                      "Print the schema of what \"run --json\" prints");
    command->callback([this] {
        fmt::print("{}", showsReportSchema_ ? std::string(reportSchema())
                                            : simulated_mac::macFileSchema());
    });
}

void CommandLine::addEDID() {
    auto* const command = addCommand("edid");
    command->add_option("FILE", EDIDs_.files, "Files with EDIDs")->type_name("");
    command->add_flag("--json", EDIDs_.json, "Print one JSON object per line for each EDID");
    command->add_flag("--verbatim", EDIDs_.verbatim,
                      "Decode each line as the pane would,\nEDID or not");
    command->callback([this] { status_ = showEDIDs(EDIDs_); });
}

void CommandLine::addModel() {
    auto* const command = addCommand("model");
    command->add_option("NAME", models_, "Display names, such as \"VORN K2723QX\"")
        ->type_name("")
        ->required();
    command->add_flag("--json", modelsAsJSON_, "Print one JSON object per line for each NAME");
    command->callback([this] { status_ = showModels(models_, modelsAsJSON_); });
}

void CommandLine::addImport() {
    auto* const command = addCommand("import");
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

void CommandLine::addCompare() {
    auto* const command = addCommand("compare");
    command->add_option("MAC", compared_, "Mac file (YAML)")->type_name("")->required();
    command->add_option("DUMP", comparedDumps_, "Dumps of one Mac")->type_name("")->required();
    command->callback([this] { status_ = compareWithDumps(compared_, comparedDumps_); });
}

void CommandLine::addCompletions() {
    auto* const command = addCommand("completions");
    command->add_option("SHELL", shell_, "bash, zsh or fish")
        ->type_name("")
        ->required()
        ->check([](const std::string& name) -> std::string {
            const bool isKnown = std::find(shells.begin(), shells.end(), name) != shells.end();
            return isKnown ? ""
                           : "unknown shell " + printable(name) + "; expected bash, zsh or fish";
        });
    command->callback([this] { fmt::print("{}", completionsFor(shell_, app_)); });
}

void CommandLine::addHelp() {
    auto* const command = addCommand("help");
    command->add_option("COMMAND", helped_, "The command; none for the program's help")
        ->type_name("");
    command->callback([this] { status_ = showHelp(helped_); });
}

int CommandLine::showHelp(const std::string& command) {
    const auto commands = app_.get_subcommands({});
    const auto named = std::find_if(commands.begin(), commands.end(), [&](const CLI::App* one) {
        return one->get_name() == command;
    });
    if (!command.empty() && named == commands.end()) {
        printMessages("displaycheck: " + unknownCommand(command));
        return badInput;
    }
    // The program's own help() is that of the command that runs, which is this one.
    const auto ofProgram = [this] {
        return app_.get_formatter()->make_help(&app_, "displaycheck", CLI::AppFormatMode::Normal);
    };
    fmt::print("{}", command.empty() ? ofProgram() : (*named)->help("displaycheck"));
    return done;
}

}  // namespace displaycheck
