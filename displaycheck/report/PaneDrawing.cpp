#include "displaycheck/report/PaneDrawing.h"

#include <array>

namespace displaycheck {

namespace {

constexpr std::size_t margin = 3;  // columns between the frame and the text

std::string repeat(std::string_view text, std::size_t times) {
    std::string all;
    for (; times != 0; --times) all += text;
    return all;
}

/// Text rows inside a frame of a fixed width.
class Frame {
  public:
    explicit Frame(std::size_t columns) : inner_(columns - 2) {}

    std::size_t textColumns() const { return inner_ - 2 * margin; }

    void rule(std::string_view left, std::string_view right) {
        text_ += std::string(left) + repeat("─", inner_) + std::string(right) + "\n";
    }
    void row(std::size_t blanks, const TerminalLine& line) {
        text_ += "│" + std::string(blanks, ' ') + line.text +
                 std::string(inner_ - blanks - line.width, ' ') + "│\n";
    }
    void row(const TerminalLine& line) { row(margin, line); }
    void centred(const TerminalLine& line) { row((inner_ - line.width) / 2, line); }
    void right(const TerminalLine& line) { row(inner_ - margin - line.width, line); }
    void blank() { row({}); }

    std::string take() { return std::move(text_); }

  private:
    const std::size_t inner_;
    std::string text_;
};

/// The three lines of a button.
std::array<std::string, 3> button(std::string_view label,
                                  const std::array<std::string_view, 6>& frame) {
    const std::string across = repeat(frame[4], label.size() + 2);
    return {std::string(frame[0]) + across + std::string(frame[1]),
            std::string(frame[5]) + " " + std::string(label) + " " + std::string(frame[5]),
            std::string(frame[2]) + across + std::string(frame[3])};
}

void drawButtons(Frame& frame, bool nextEnabled, const Palette& palette) {
    constexpr std::string_view back = "Go Back";
    constexpr std::string_view next = "Continue";
    const auto left = button(back, {"┌", "┐", "└", "┘", "─", "│"});
    const auto right = nextEnabled ? button(next, {"╔", "╗", "╚", "╝", "═", "║"})
                                   : button(next, {"┌", "┐", "└", "┘", "╌", "╎"});
    const std::size_t width = back.size() + next.size() + 8 + 2;
    for (std::size_t line = 0; line < left.size(); ++line) {
        const std::string shown =
            nextEnabled ? palette.bold(right[line]) : palette.dim(right[line]);
        frame.right({left[line] + "  " + shown, width});
    }
}

}  // namespace

std::string drawPane(const PaneFacts& pane, std::size_t columns, const Palette& palette) {
    Frame frame(columns);
    frame.rule("┌", "┐");
    for (const auto& line : wrapText(pane.title, frame.textColumns(), {}, palette)) {
        frame.centred({palette.bold(line.text), line.width});
    }
    frame.rule("├", "┤");
    frame.blank();
    for (const auto& line : wrapText(pane.lbTitle, frame.textColumns(), {}, palette)) {
        frame.row({palette.bold(line.text), line.width});
    }
    frame.blank();
    for (const auto& line : wrapText(pane.lbWarnings, frame.textColumns(), pane.link, palette)) {
        frame.row(line);
    }
    frame.blank();
    drawButtons(frame, pane.nextEnabled, palette);
    frame.rule("└", "┘");
    return frame.take();
}

}  // namespace displaycheck
