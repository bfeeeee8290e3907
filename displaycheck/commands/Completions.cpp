#include "displaycheck/commands/Completions.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <map>
#include <vector>

#include "displaycheck/commands/Languages.h"

namespace displaycheck {

namespace {

/// An option as shells need it.
struct OptionWords {
    std::string name;  ///< without its dashes
    std::string meaning;
    bool takesValue = false;
    bool takesFile = false;
    std::vector<std::string> values;  ///< all that there are; empty where they can't be listed
};

struct CommandWords {
    std::string name;
    std::string meaning;
    std::vector<OptionWords> options;
};

std::string onOneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

/// A backslash before each of these characters.
std::string escaped(std::string_view text, std::string_view characters) {
    std::string result;
    for (const char character : text) {
        if (characters.find(character) != std::string_view::npos) result += '\\';
        result += character;
    }
    return result;
}

/// As a part of a text in single quotes.
std::string inSingleQuotes(std::string text) {
    for (std::size_t at = text.find('\''); at != std::string::npos; at = text.find('\'', at + 4)) {
        text.replace(at, 1, "'\\''");
    }
    return text;
}

std::vector<std::string> valuesOf(const std::string& type) {
    if (type == languageType) {
        const auto known = languages();
        return {known.begin(), known.end()};
    }
    if (type.find('|') == std::string::npos) return {};
    return CLI::detail::split(type, '|');
}

bool isFile(const std::string& type) {
    constexpr std::array<std::string_view, 5> files = {"XML", "HTML", "FILE", "PNG", "MAC.yaml"};
    return std::find(files.begin(), files.end(), type) != files.end();
}

OptionWords wordsOf(const CLI::Option& option, const std::string& name) {
    const std::string type = option.get_type_name();
    return {name, onOneLine(option.get_description()), option.get_items_expected_min() > 0,
            isFile(type), valuesOf(type)};
}

std::vector<OptionWords> optionsOf(const CLI::App& app) {
    std::vector<OptionWords> options;
    for (const CLI::Option* const option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            options.push_back(wordsOf(*option, name));
        }
    }
    return options;
}

std::vector<CommandWords> commandsOf(const CLI::App& app) {
    std::vector<CommandWords> commands;
    for (const CLI::App* const command : app.get_subcommands({})) {
        commands.push_back(
            {command->get_name(), onOneLine(command->get_description()), optionsOf(*command)});
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
    std::map<std::string, std::string> values;
    for (const CommandWords& command : commands) {
        for (const OptionWords& option : command.options) {
            if (option.values.empty()) continue;
            values[option.name] = fmt::format("        --{}) values='{}' ;;\n", option.name,
                                              fmt::join(option.values, " "));
        }
    }
    std::string valueCases;
    for (const auto& [name, text] : values) valueCases += text;
    return fmt::format(
        "_displaycheck() {{\n"
        "    local current=${{COMP_WORDS[COMP_CWORD]}} words= values=\n"
        "    if ((COMP_CWORD == 1)); then\n"
        "        COMPREPLY=($(compgen -W '{0} --help --version' -- \"$current\"))\n"
        "        return\n"
        "    fi\n"
        "    case ${{COMP_WORDS[1]}} in\n"
        "{1}"
        "    esac\n"
        "    case ${{COMP_WORDS[COMP_CWORD-1]}} in\n"
        "{3}"
        "    esac\n"
        "    if [[ $values ]]; then\n"
        "        COMPREPLY=($(compgen -W \"$values\" -- \"$current\"))\n"
        "    elif [[ $current == -* ]]; then\n"
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
        namesOf(commands), cases, fmt::join(shells, " "), valueCases);
}

/// An option in the words of zsh's _arguments.
std::string zshOption(const OptionWords& option) {
    const std::string action = !option.values.empty()
                                   ? fmt::format("({})", fmt::join(option.values, " "))
                               : option.takesFile ? "_files"
                                                  : " ";
    return inSingleQuotes(fmt::format("--{}{}[{}]{}", option.name, option.takesValue ? "=" : "",
                                      escaped(option.meaning, "[]:\\"),
                                      option.takesValue ? ":value:" + action : ""));
}

std::string forZsh(const std::vector<CommandWords>& commands,
                   const std::vector<OptionWords>& options) {
    std::string names;
    std::string cases;
    for (const CommandWords& command : commands) {
        names += fmt::format("        '{}:{}'\n", command.name,
                             inSingleQuotes(escaped(command.meaning, ":\\")));
        cases += fmt::format("        {})\n            _arguments", command.name);
        for (const OptionWords& option : command.options) {
            cases += fmt::format(" \\\n                '{}'", zshOption(option));
        }
        cases += " \\\n                '*:file:_files'\n            ;;\n";
    }
    const std::string ofProgram = joinedWords(
        options, [](const OptionWords& option) { return "'" + zshOption(option) + "'"; });
    return fmt::format(
        "#compdef displaycheck\n"
        "_displaycheck() {{\n"
        "    local -a commands\n"
        "    commands=(\n"
        "{}"
        "    )\n"
        "    if (( CURRENT == 2 )); then\n"
        "        _describe command commands\n"
        "        _arguments {}\n"
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
        names, ofProgram, fmt::join(shells, " "), cases);
}

/// An option in the words of fish's complete.
std::string fishOption(const OptionWords& option, const std::string& condition) {
    const std::string value = !option.takesValue ? ""
                              : option.takesFile ? " -r"
                              : option.values.empty()
                                  ? " -x"
                                  : fmt::format(" -x -a '{}'", fmt::join(option.values, " "));
    return fmt::format("complete -c displaycheck -n '{}' -l {}{} -d '{}'\n", condition, option.name,
                       value, escaped(option.meaning, "'\\"));
}

std::string forFish(const std::vector<CommandWords>& commands,
                    const std::vector<OptionWords>& options) {
    std::string text;
    for (const OptionWords& option : options) text += fishOption(option, "__fish_use_subcommand");
    for (const CommandWords& command : commands) {
        text += fmt::format("complete -c displaycheck -n __fish_use_subcommand -f -a {} -d '{}'\n",
                            command.name, escaped(command.meaning, "'\\"));
        for (const OptionWords& option : command.options) {
            text += fishOption(option, "__fish_seen_subcommand_from " + command.name);
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
           : shell == "zsh" ? forZsh(commands, optionsOf(app))
                            : forFish(commands, optionsOf(app));
}

}  // namespace displaycheck
