#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "displaycheck/facts/Report.h"
#include "displaycheck/report/TerminalText.h"

namespace displaycheck {

/// The display's verdict in words, such as "supported: its answer over DDC/CI confirms it".
std::string verdictText(const DisplayFacts& display);

/// One of the pane's questions about a display, such as "model list", and the answer in words.
struct Reason {
    std::string question;
    std::string answer;
};

/// The questions that the pane had, in its order.
std::vector<Reason> reasonsOf(const DisplayFacts& display);

/// One display for people: its verdict, and the pane's questions with their answers. Lines are at
/// most `columns` columns wide where the words allow it.
std::string displayText(const DisplayFacts& display, std::size_t columns, const Palette& palette);

/// A labelled entry of several lines, such as a reason: the label once, the text wrapped beside it.
std::string labelled(std::string_view label, std::string_view text, std::size_t columns);

}  // namespace displaycheck
