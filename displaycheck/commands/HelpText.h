#pragma once

#include <string>
#include <string_view>

namespace displaycheck {

/// What the help of a command says of it. `explanation` and `statuses` are paragraphs; a line of
/// `statuses` is one exit status with its meaning.
struct HelpText {
    std::string_view command;
    std::string_view summary;
    std::string_view explanation;
    std::string_view statuses;
};

/// The help of a command that there is.
const HelpText& helpOf(std::string_view command);

/// What follows the options in the help of a command, in lines of at most 80 columns.
std::string footerOf(const HelpText& help);

}  // namespace displaycheck
