#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "displaycheck/facts/TextRange.h"

/// Text as a terminal shows it. Texts come from untrusted files and monitors; invalid UTF-8 reads
/// as U+FFFD.
namespace displaycheck {

/// Colours for a terminal that supports them; plain text otherwise.
class Palette {
  public:
    explicit Palette(bool colour) : colour_(colour) {}

    bool hasColour() const { return colour_; }

    std::string bold(std::string_view text) const { return painted("1", text); }
    std::string dim(std::string_view text) const { return painted("2", text); }
    std::string green(std::string_view text) const { return painted("32", text); }
    std::string yellow(std::string_view text) const { return painted("33", text); }
    std::string alarm(std::string_view text) const { return painted("1;31", text); }
    /// A link, as windows show it: blue and underlined.
    std::string link(std::string_view text) const { return painted("4;34", text); }

  private:
    std::string painted(std::string_view code, std::string_view text) const;

    bool colour_;
};

/// One line ready to be written, and the columns that it takes.
struct TerminalLine {
    std::string text;
    std::size_t width = 0;
};

/// The width of a text in columns, by Unicode's East Asian Width: wide characters take two,
/// combining ones none. Characters that would control the terminal count as their escapes.
std::size_t displayWidth(std::string_view text);

/// The text on one line. Text that would control the terminal or reorder its line (control and
/// format characters, line ends, a combining mark with nothing to combine with) or whose width
/// differs between terminals (joined pictographs) is written as an escape: "\n", "\x1B",
/// "\u{202E}".
std::string printable(std::string_view text);

/// `printable`, padded with blanks to a number of columns.
std::string padded(std::string_view text, std::size_t columns);

/// The part of a text that a range covers.
std::string utf16Part(std::string_view text, TextRange range);

/// Breaks a text into lines of at most `columns` (12 or more), at its own line ends and where
/// Unicode allows a break; longer words are cut. `link` is painted as a link, or put between "_"
/// without colours.
std::vector<TerminalLine> wrapText(std::string_view text, std::size_t columns,
                                   const std::optional<TextRange>& link, const Palette& palette);

/// How a line's text is painted, such as Palette::bold.
using Paint = std::function<std::string(std::string_view)>;

/// `printable` text on lines of at most `columns` that begin with `indent` blanks, those after the
/// first with `further` more.
std::string paragraph(std::string_view text, std::size_t columns, std::size_t indent = 0,
                      std::size_t further = 0, const Paint& paint = {});

/// `printable` text on lines likewise, but broken at blanks alone: what people copy (paths, names,
/// bytes) stays whole, and a word that is too long has a line of its own.
std::string wholeWords(std::string_view text, std::size_t columns, std::size_t indent = 0,
                       std::size_t further = 0);

/// "  LABEL  TEXT": `wholeWords`, with a label in the place of the first line's `indent` blanks; or
/// below the label where a word would not fit behind it.
std::string labelledWords(std::string_view label, std::size_t indent, std::string_view text,
                          std::size_t columns);

/// The text with the frames and marks of this program drawn in ASCII.
std::string withASCIIFrames(std::string text);

}  // namespace displaycheck
