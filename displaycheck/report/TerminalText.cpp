#include "displaycheck/report/TerminalText.h"

#include <fmt/format.h>
#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <memory>
#include <set>

namespace displaycheck {

namespace {

constexpr UChar32 zeroWidthNonJoiner = 0x200C;
constexpr UChar32 zeroWidthJoiner = 0x200D;

/// The unit that stays together on a line: a character with the marks that combine with it, or an
/// escape.
struct Cell {
    std::string text;
    std::size_t width = 0;
    int begin = 0;  ///< in UTF-16 units
    int end = 0;
    bool blank = false;
    bool lineEnd = false;
};

bool actsOnTerminal(UChar32 character) {
    switch (u_charType(character)) {
        case U_CONTROL_CHAR:
        case U_LINE_SEPARATOR:
        case U_PARAGRAPH_SEPARATOR:
            return true;
        case U_FORMAT_CHAR:
            return character != zeroWidthJoiner && character != zeroWidthNonJoiner;
        default:
            return false;
    }
}

/// Whether a character changes an adjacent pictograph: terminals disagree about the width of the
/// two.
bool changesPictograph(UChar32 character, UChar32 next) {
    constexpr UChar32 emojiPresentation = 0xFE0F;
    return character == emojiPresentation || u_hasBinaryProperty(character, UCHAR_EMOJI_MODIFIER) ||
           (character == zeroWidthJoiner && u_hasBinaryProperty(next, UCHAR_EXTENDED_PICTOGRAPHIC));
}

/// Columns of a character that does not control the terminal.
std::size_t columnsOf(UChar32 character) {
    switch (u_charType(character)) {
        case U_NON_SPACING_MARK:
        case U_ENCLOSING_MARK:
        case U_FORMAT_CHAR:
            return 0;
        default:
            break;
    }
    // Vowels and final consonants of decomposed Hangul join the syllable before them.
    const auto syllable = u_getIntPropertyValue(character, UCHAR_HANGUL_SYLLABLE_TYPE);
    if (syllable == U_HST_VOWEL_JAMO || syllable == U_HST_TRAILING_JAMO) return 0;
    const auto width = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

std::string escapeOf(UChar32 character) {
    switch (character) {
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            break;
    }
    const auto number = static_cast<std::uint32_t>(character);
    return number < 0x80 ? fmt::format("\\x{:02X}", number) : fmt::format("\\u{{{:04X}}}", number);
}

bool endsLine(UChar32 character) {
    return character == '\n' || character == '\r' || character == 0x85 || character == 0x2028 ||
           character == 0x2029;
}

icu::UnicodeString decode(std::string_view text) {
    return icu::UnicodeString::fromUTF8({text.data(), static_cast<int>(text.size())});
}

std::vector<Cell> cellsOf(const icu::UnicodeString& text) {
    std::vector<Cell> cells;
    bool canCombine = false;
    for (int at = 0; at < text.length();) {
        const UChar32 character = text.char32At(at);
        const int next = text.moveIndex32(at, 1);
        const UChar32 following = next < text.length() ? text.char32At(next) : 0;
        const bool acts = actsOnTerminal(character) || changesPictograph(character, following);
        const std::size_t width = acts ? 0 : columnsOf(character);
        if (!acts && width == 0 && canCombine) {
            icu::UnicodeString(character).toUTF8String(cells.back().text);
            cells.back().end = next;
        } else if (acts || width == 0) {
            Cell cell{escapeOf(character), 0, at, next, false, endsLine(character)};
            cell.width = cell.text.size();
            cells.push_back(std::move(cell));
            canCombine = false;
        } else {
            Cell cell{{}, width, at, next, character == ' ', false};
            icu::UnicodeString(character).toUTF8String(cell.text);
            cells.push_back(std::move(cell));
            canCombine = true;
        }
        at = next;
    }
    return cells;
}

/// Where a line may end, in UTF-16 units.
std::set<int> breaksOf(const icu::UnicodeString& text) {
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> breaks(
        icu::BreakIterator::createLineInstance(icu::Locale::getRoot(), error));
    std::set<int> found;
    if (U_FAILURE(error)) return found;
    breaks->setText(text);
    for (int at = breaks->first(); at != icu::BreakIterator::DONE; at = breaks->next()) {
        found.insert(at);
    }
    return found;
}

/// Puts the marks of a link into its cells where colours can't show it.
void markLink(std::vector<Cell>& cells, int begin, int end) {
    const auto inside = [&](const Cell& cell) { return cell.begin < end && cell.end > begin; };
    const auto first = std::find_if(cells.begin(), cells.end(), inside);
    if (first == cells.end()) return;
    const auto last = std::find_if(cells.rbegin(), cells.rend(), inside);
    first->text.insert(0, "_");
    ++first->width;
    last->text += "_";
    ++last->width;
}

/// Fills lines with cells.
class LineFiller {
  public:
    LineFiller(std::size_t columns, int linkBegin, int linkEnd, const Palette& palette)
        : columns_(columns), linkBegin_(linkBegin), linkEnd_(linkEnd), palette_(palette) {}

    /// Cells between which no line may end, unless they are too many for one.
    void addWord(std::vector<Cell> word) {
        std::size_t width = 0;
        std::size_t widthWithBlanks = 0;
        for (const Cell& cell : word) {
            widthWithBlanks += cell.width;
            if (!cell.blank) width = widthWithBlanks;
        }
        if (width_ + width > columns_) endLine();
        for (Cell& cell : word) {
            if (width_ + cell.width > columns_) {
                // Blanks at the end of a full line are dropped.
                if (cell.blank) continue;
                endLine();
            }
            width_ += cell.width;
            line_.push_back(std::move(cell));
        }
    }

    /// Ends the line, unless it is empty.
    void endLine() {
        if (!line_.empty()) breakLine();
    }

    void breakLine() {
        while (!line_.empty() && line_.back().blank) {
            width_ -= line_.back().width;
            line_.pop_back();
        }
        lines_.push_back({paintedLine(), width_});
        line_.clear();
        width_ = 0;
    }

    std::vector<TerminalLine> takeLines() { return std::move(lines_); }

  private:
    bool inLink(const Cell& cell) const { return cell.begin < linkEnd_ && cell.end > linkBegin_; }

    std::string paintedLine() const {
        std::string text;
        for (auto from = line_.begin(); from != line_.end();) {
            const bool link = inLink(*from);
            const auto to = std::find_if(from, line_.end(),
                                         [&](const Cell& cell) { return inLink(cell) != link; });
            std::string piece;
            for (; from != to; ++from) piece += from->text;
            text += link ? palette_.link(piece) : piece;
        }
        return text;
    }

    const std::size_t columns_;
    const int linkBegin_;
    const int linkEnd_;
    const Palette& palette_;
    std::vector<Cell> line_;
    std::size_t width_ = 0;
    std::vector<TerminalLine> lines_;
};

}  // namespace

std::string Palette::painted(std::string_view code, std::string_view text) const {
    if (!colour_ || text.empty()) return std::string(text);
    return fmt::format("\x1B[{}m{}\x1B[0m", code, text);
}

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    for (const Cell& cell : cellsOf(decode(text))) width += cell.width;
    return width;
}

std::string printable(std::string_view text) {
    // Most texts are plain ASCII, which needs no Unicode properties.
    const auto isPlain = [](char byte) { return byte >= ' ' && byte <= '~'; };
    if (std::all_of(text.begin(), text.end(), isPlain)) return std::string(text);
    std::string line;
    for (const Cell& cell : cellsOf(decode(text))) line += cell.text;
    return line;
}

std::string padded(std::string_view text, std::size_t columns) {
    const std::size_t width = displayWidth(text);
    return printable(text) + std::string(columns > width ? columns - width : 0, ' ');
}

std::string utf16Part(std::string_view text, TextRange range) {
    const icu::UnicodeString units = decode(text);
    const auto length = static_cast<std::size_t>(units.length());
    const std::size_t start = std::min(range.start, length);
    std::string part;
    units
        .tempSubString(static_cast<int>(start),
                       static_cast<int>(std::min(range.length, length - start)))
        .toUTF8String(part);
    return part;
}

std::vector<TerminalLine> wrapText(std::string_view text, std::size_t columns,
                                   const std::optional<TextRange>& link, const Palette& palette) {
    const icu::UnicodeString units = decode(text);
    const auto length = static_cast<std::size_t>(units.length());
    const std::size_t linkBegin = link ? std::min(link->start, length) : 0;
    const std::size_t linkEnd = link ? linkBegin + std::min(link->length, length - linkBegin) : 0;
    auto cells = cellsOf(units);
    if (!palette.hasColour()) {
        markLink(cells, static_cast<int>(linkBegin), static_cast<int>(linkEnd));
    }

    const auto breaks = breaksOf(units);
    LineFiller filler(columns, static_cast<int>(linkBegin), static_cast<int>(linkEnd), palette);
    std::vector<Cell> word;
    for (std::size_t at = 0; at < cells.size(); ++at) {
        Cell& cell = cells[at];
        if (cell.lineEnd) {
            filler.addWord(std::move(word));
            word.clear();
            const bool pair =
                units.char32At(cell.begin) == '\r' && units.char32At(cell.end) == '\n';
            if (pair) ++at;
            filler.breakLine();
            continue;
        }
        const int end = cell.end;
        word.push_back(std::move(cell));
        if (breaks.count(end) != 0) {
            filler.addWord(std::move(word));
            word.clear();
        }
    }
    filler.addWord(std::move(word));
    filler.endLine();
    return filler.takeLines();
}

std::string paragraph(std::string_view text, std::size_t columns, std::size_t indent,
                      std::size_t further, const Paint& paint) {
    std::string all;
    std::size_t blanks = indent;
    // All lines have the room of those that are indented most.
    const std::size_t room = columns - indent - further;
    for (const TerminalLine& line : wrapText(printable(text), room, {}, Palette(false))) {
        all += std::string(blanks, ' ') + (paint ? paint(line.text) : line.text) + "\n";
        blanks = indent + further;
    }
    return all;
}

std::string wholeWords(std::string_view text, std::size_t columns, std::size_t indent,
                       std::size_t further) {
    const std::string line = printable(text);
    const std::size_t blanks = indent + further;
    std::string all(indent, ' ');
    std::size_t taken = blanks;
    for (std::size_t at = 0; at < line.size();) {
        const std::size_t wordAt = std::min(line.find_first_not_of(' ', at), line.size());
        const std::size_t end = std::min(line.find(' ', wordAt), line.size());
        const std::string_view word = std::string_view(line).substr(wordAt, end - wordAt);
        if (word.empty()) break;
        // Blanks that stand together, such as in a name, are the text's own.
        const std::size_t gap = at == 0 ? 0 : wordAt - at;
        const std::size_t width = displayWidth(word);
        if (at != 0 && taken + gap + width > columns) {
            all += "\n" + std::string(blanks, ' ');
            taken = blanks;
        } else {
            all.append(gap, ' ');
            taken += gap;
        }
        all += word;
        taken += width;
        at = end;
    }
    return all + "\n";
}

std::string labelledWords(std::string_view label, std::size_t indent, std::string_view text,
                          std::size_t columns) {
    std::size_t longestWord = 0;
    const std::string line = printable(text);
    for (std::size_t at = 0; at < line.size();) {
        const std::size_t end = std::min(line.find(' ', at), line.size());
        longestWord = std::max(longestWord, displayWidth(line.substr(at, end - at)));
        at = end + 1;
    }
    if (indent + longestWord > columns) {
        return "  " + printable(label) + "\n" + wholeWords(text, columns, 4);
    }
    // The label stands in the place of the first line's blanks.
    return "  " + padded(label, indent - 2) + wholeWords(text, columns, indent).substr(indent);
}

std::string withASCIIFrames(std::string text) {
    constexpr std::array<std::pair<std::string_view, char>, 22> drawn = {{
        {"─", '-'}, {"│", '|'}, {"┌", '+'}, {"┐", '+'},  {"└", '+'}, {"┘", '+'},
        {"├", '+'}, {"┤", '+'}, {"═", '='}, {"║", '#'},  {"╔", '#'}, {"╗", '#'},
        {"╚", '#'}, {"╝", '#'}, {"╌", '.'}, {"╎", ':'},  {"✓", '+'}, {"✗", 'x'},
        {"–", '-'}, {"…", '~'}, {"×", 'x'}, {"’", '\''},
    }};
    for (const auto& [from, to] : drawn) {
        for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
            text.replace(at, from.size(), 1, to);
        }
    }
    return text;
}

}  // namespace displaycheck
