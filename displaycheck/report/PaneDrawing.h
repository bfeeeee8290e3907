#pragma once

#include <cstddef>
#include <string>

#include "displaycheck/facts/Report.h"
#include "displaycheck/report/TerminalText.h"

namespace displaycheck {

/// The pane as its user sees it, drawn with box characters: its title, the heading, the warning
/// with its link and the installer's buttons. Continue has a double frame if it is enabled and a
/// dashed one if it is disabled. Every line is `columns` columns wide (40 or more).
std::string drawPane(const PaneFacts& pane, std::size_t columns, const Palette& palette);

}  // namespace displaycheck
