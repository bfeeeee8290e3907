#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "displaycheck/commands/EDIDCommand.h"
#include "displaycheck/commands/ImportCommand.h"
#include "displaycheck/commands/RunCommand.h"
#include "displaycheck/commands/WindowCommand.h"
#include "simulated_mac/description/Assumption.h"

namespace displaycheck {

/// The commands of the program and their options.
class CommandLine {
  public:
    CommandLine();

    /// Runs the command that the arguments name. Returns the exit status.
    int run(int argc, char** argv);

  private:
    CLI::App* addCommand(const std::string& name);
    void addRun();
    void addSweep();
    void addWindow();
    void addCheck();
    void addSchema();
    void addEDID();
    void addModel();
    void addImport();
    void addCompare();
    void addCompletions();
    void addHelp();

    std::string wrongUsage(const CLI::ParseError& error) const;
    std::string strangeArgument();
    std::string unknownCommand(const std::string& name) const;
    int showHelp(const std::string& command);

    CLI::App app_;
    int status_ = 0;
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
    std::string shell_;
    std::string helped_;
};

}  // namespace displaycheck
