#pragma once

#include <array>
#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace displaycheck {

/// The shells for which there are completions.
inline constexpr std::array<std::string_view, 3> shells = {"bash", "zsh", "fish"};

/// The type of an option whose value is a language.
inline constexpr auto languageType = "LANGUAGE";

/// What a shell needs to complete the commands and options of the program.
std::string completionsFor(std::string_view shell, const CLI::App& app);

}  // namespace displaycheck
