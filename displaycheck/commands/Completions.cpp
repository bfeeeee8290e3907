#include "displaycheck/commands/Completions.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <vector>

namespace displaycheck {

namespace {

/// An option as shells need it.
struct OptionWords {
    std::string name;  ///< without its dashes
    std::string meaning;
    bool takesValue = false;
};

struct CommandWords {
    std::string name;
    std::string meaning;
    std::vector<OptionWords> options;
};

/// On one line, without what shells would read as syntax.
std::string plainWords(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    const auto isSyntax = [](char letter) {
        return std::string_view("'\"`$[]\\:").find(letter) != std::string_view::npos;
    };
    text.erase(std::remove_if(text.begin(), text.end(), isSyntax), text.end());
    return text;
}

std::vector<CommandWords> commandsOf(const CLI::App& app) {
    std::vector<CommandWords> commands;
    for (const CLI::App* const command : app.get_subcommands({})) {
        CommandWords words{command->get_name(), plainWords(command->get_description()), {}};
        for (const CLI::Option* const option : command->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                words.options.push_back({name, plainWords(option->get_description()),
                                         option->get_items_expected_min() > 0});
            }
        }
        commands.push_back(std::move(words));
    }
    return commands;
}

template <class Thing, class Text>
std::string joinedWords(const std::vector<Thing>& things, Text text) {
    std::string all;
    for (const Thing& thing : things) all += (all.empty() ? "" : " ") + text(thing);
    return all;
}

std::string namesOf(const std::vector<CommandWords>& commands) {
    return joinedWords(commands, [](const CommandWords& command) { return command.name; });
}

std::string forBash(const std::vector<CommandWords>& commands) {
    std::string cases;
    for (const CommandWords& command : commands) {
        const std::string words = joinedWords(
            command.options, [](const OptionWords& option) { return "--" + option.name; });
        cases += fmt::format("        {}) words='{}' ;;\n", command.name, words);
    }
    return fmt::format(
        "_displaycheck() {{\n"
        "    local current=${{COMP_WORDS[COMP_CWORD]}} words=\n"
        "    if ((COMP_CWORD == 1)); then\n"
        "        COMPREPLY=($(compgen -W '{0} --help --version' -- \"$current\"))\n"
        "        return\n"
        "    fi\n"
        "    case ${{COMP_WORDS[1]}} in\n"
        "{1}"
        "    esac\n"
        "    if [[ $current == -* ]]; then\n"
        "        COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n"
        "    elif [[ ${{COMP_WORDS[1]}} == help ]]; then\n"
        "        COMPREPLY=($(compgen -W '{0}' -- \"$current\"))\n"
        "    elif [[ ${{COMP_WORDS[1]}} == completions ]]; then\n"
        "        COMPREPLY=($(compgen -W '{2}' -- \"$current\"))\n"
        "    else\n"
        "        compopt -o filenames 2> /dev/null\n"
        "        mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
        "    fi\n"
        "}}\n"
        "complete -F _displaycheck displaycheck\n",
        namesOf(commands), cases, fmt::join(shells, " "));
}

std::string forZsh(const std::vector<CommandWords>& commands) {
    std::string names;
    std::string cases;
    for (const CommandWords& command : commands) {
        names += fmt::format("        '{}:{}'\n", command.name, command.meaning);
        cases += fmt::format("        {})\n            _arguments", command.name);
        for (const OptionWords& option : command.options) {
            cases += fmt::format(" \\\n                '--{}{}[{}]{}'", option.name,
                                 option.takesValue ? "=" : "", option.meaning,
                                 option.takesValue ? ":value:_files" : "");
        }
        cases += " \\\n                '*:file:_files'\n            ;;\n";
    }
    return fmt::format(
        "#compdef displaycheck\n"
        "_displaycheck() {{\n"
        "    local -a commands\n"
        "    commands=(\n"
        "{}"
        "    )\n"
        "    if (( CURRENT == 2 )); then\n"
        "        _describe command commands\n"
        "        return\n"
        "    fi\n"
        "    shift words\n"
        "    (( CURRENT-- ))\n"
        "    case $words[1] in\n"
        "        help) _describe command commands ;;\n"
        "        completions) _values shell {} ;;\n"
        "{}"
        "    esac\n"
        "}}\n"
        "_displaycheck \"$@\"\n",
        names, fmt::join(shells, " "), cases);
}

std::string forFish(const std::vector<CommandWords>& commands) {
    std::string text;
    for (const CommandWords& command : commands) {
        text += fmt::format("complete -c displaycheck -n __fish_use_subcommand -f -a {} -d '{}'\n",
                            command.name, command.meaning);
        for (const OptionWords& option : command.options) {
            text += fmt::format(
                "complete -c displaycheck -n '__fish_seen_subcommand_from {}' -l {}{} -d '{}'\n",
                command.name, option.name, option.takesValue ? " -r" : "", option.meaning);
        }
    }
    text += fmt::format(
        "complete -c displaycheck -n '__fish_seen_subcommand_from help' -f -a '{}'\n"
        "complete -c displaycheck -n '__fish_seen_subcommand_from completions' -f -a '{}'\n",
        namesOf(commands), fmt::join(shells, " "));
    return text;
}

}  // namespace

std::string completionsFor(std::string_view shell, const CLI::App& app) {
    const auto commands = commandsOf(app);
    return shell == "bash"  ? forBash(commands)
           : shell == "zsh" ? forZsh(commands)
                            : forFish(commands);
}

}  // namespace displaycheck
