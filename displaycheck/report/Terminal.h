#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "displaycheck/report/TerminalText.h"

namespace displaycheck {

/// How output may look, by what this process's standard streams are connected to and by the
/// environment. Colours: on a terminal, unless NO_COLOR is set or TERM is "dumb". Width: COLUMNS,
/// else the terminal's, else 80; from 40 to 100. Frames and marks are drawn in ASCII where the
/// locale is C or has another encoding than UTF-8.
struct Terminal {
    Terminal();

    Palette output;
    Palette errors;
    bool errorsLive;  ///< standard error is a terminal on which a line can be drawn anew
    std::size_t columns;

    /// Prints to standard output.
    void print(const std::string& text) const;

  private:
    bool takesFrames_;
};

/// Prints messages to standard error, one for each line of the text, as `wholeWords` of its width.
void printMessages(std::string_view messages);

}  // namespace displaycheck
