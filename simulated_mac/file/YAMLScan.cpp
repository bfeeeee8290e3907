#include "simulated_mac/file/YAMLScan.h"

#include <algorithm>

#include "simulated_mac/file/MessageText.h"

namespace simulated_mac {
namespace {

bool isYAMLBlank(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

class Scanner {
  public:
    Scanner(YAMLScan& scan, std::string_view text) : scan_(scan), text_(text) {}

    void run() {
        while (at_ < text_.size()) step();
    }

  private:
    void step() {
        const char character = text_[at_];
        if (character == '\n') {
            ++at_;
            beginLine();
        } else if (isYAMLBlank(character)) {
            ++at_;
        } else if (character == '#' && (beginsValue_ || isYAMLBlank(text_[at_ - 1]))) {
            at_ = std::min(text_.find('\n', at_), text_.size());
        } else if (character == '&' && beginsValue_) {
            // A value with an anchor begins behind it.
            at_ = std::min(text_.find_first_of(" \t\r\n,]}", at_), text_.size());
        } else if (beginsValue_ && (character == '"' || character == '\'')) {
            passQuoted(character);
        } else if (beginsValue_ && (character == '|' || character == '>') && !isInFlow()) {
            passBlockScalar();
        } else {
            noteInvisible();
            passCharacter(character);
        }
    }

    bool isInFlow() const { return !scan_.openBrackets.empty(); }

    void beginLine() {
        if (isInFlow()) return;
        beginsValue_ = true;
        const std::size_t content = text_.find_first_not_of(" \t", at_);
        const std::size_t tab = text_.find('\t', at_);
        const bool isEmpty = content == std::string_view::npos || text_[content] == '\n' ||
                             text_[content] == '\r' || text_[content] == '#';
        if (!scan_.tab && !isEmpty && tab < content) scan_.tab = tab;
    }

    void passCharacter(char character) {
        const std::size_t next = ++at_;
        const bool endsWord =
            next == text_.size() || isYAMLBlank(text_[next]) || isInvisibleAt(next);
        if ((character == '[' || character == '{') && (beginsValue_ || isInFlow())) {
            scan_.openBrackets.push_back(next - 1);
            beginsValue_ = true;
        } else if ((character == ']' || character == '}') && isInFlow()) {
            scan_.openBrackets.pop_back();
            beginsValue_ = false;
        } else if (character == ',' && isInFlow()) {
            beginsValue_ = true;
        } else if (character == ':' && (endsWord || isBehindQuote(next - 1))) {
            beginsValue_ = true;
        } else if ((character == '-' || character == '?') && beginsValue_ && endsWord) {
            // What follows begins a value, too.
        } else {
            beginsValue_ = false;
        }
    }

    /// There, in brackets, a colon needs no blank behind it.
    bool isBehindQuote(std::size_t offset) const {
        return isInFlow() && scan_.lastQuoted && scan_.lastQuoted->closing + 1 == offset;
    }

    void passQuoted(char quote) {
        const std::size_t opening = at_++;
        beginsValue_ = false;
        for (; at_ < text_.size(); ++at_) {
            const bool isDoubled = quote == '\'' && text_.substr(at_).starts_with("''");
            const bool isEscape = quote == '"' && text_[at_] == '\\';
            if (isDoubled || isEscape) {
                ++at_;
            } else if (text_[at_] == quote) {
                scan_.lastQuoted = {opening, at_++};
                return;
            }
        }
        at_ = text_.size();
        scan_.openQuote = opening;
    }

    std::size_t indentationOf(std::size_t lineStart) const {
        return std::min(text_.find_first_not_of(' ', lineStart), text_.size()) - lineStart;
    }

    /// The lines below that are empty or indented further.
    void passBlockScalar() {
        const std::size_t lineStart = text_.substr(0, at_).rfind('\n') + 1;  // npos + 1 is 0
        const std::size_t indentation = indentationOf(lineStart);
        while (true) {
            at_ = std::min(text_.find('\n', at_), text_.size());
            if (at_ == text_.size()) return;
            const std::size_t next = at_ + 1;
            const std::size_t content = next + indentationOf(next);
            const bool isEmpty = content == text_.size() || isYAMLBlank(text_[content]);
            if (!isEmpty && content - next <= indentation) return;
            at_ = next;
        }
    }

    bool isInvisibleAt(std::size_t offset) const {
        return characterAt(text_, offset).isInvisible();
    }

    void noteInvisible() {
        if (beginsValue_ && !scan_.invisible && isInvisibleAt(at_)) scan_.invisible = at_;
    }

    YAMLScan& scan_;
    std::string_view text_;
    std::size_t at_ = 0;
    bool beginsValue_ = true;
};

}  // namespace

YAMLScan::YAMLScan(std::string_view text, std::size_t end) {
    Scanner(*this, text.substr(0, end)).run();
}

}  // namespace simulated_mac
