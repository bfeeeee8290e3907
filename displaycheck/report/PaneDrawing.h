#pragma once

#include <cstddef>
#include <string>

#include "displaycheck/facts/Report.h"
#include "displaycheck/report/TerminalText.h"

namespace displaycheck {

/// The pane as its user sees it, drawn with box characters: its title, the heading, the warning
/// with its link and the installer's buttons. Continue has a double frame when it is enabled and a
/// dashed one when it is greyed. Every line takes `columns` columns (40 or more).
std::string drawPane(const PaneFacts& pane, std::size_t columns, const Palette& palette);

}  // namespace displaycheck
