#pragma once

#include <cstddef>
#include <string>

#include "displaycheck/facts/Report.h"
#include "displaycheck/report/TerminalText.h"

namespace displaycheck {

/// One display for people: its verdict, and the pane's questions with their answers. Lines are at
/// most `columns` columns wide where the words allow it.
std::string displayText(const DisplayFacts& display, std::size_t columns, const Palette& palette);

/// A labelled entry of several lines, such as a reason: the label once, the text wrapped beside it.
std::string labelled(std::string_view label, std::string_view text, std::size_t columns);

}  // namespace displaycheck
