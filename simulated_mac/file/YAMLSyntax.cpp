#include "simulated_mac/file/YAMLSyntax.h"

#include <fmt/format.h>
#include <unicode/uchar.h>
#include <yaml-cpp/exceptions.h>

#include <algorithm>
#include <array>
#include <optional>

#include "simulated_mac/file/MessageText.h"
#include "simulated_mac/file/YAMLScan.h"

namespace simulated_mac {
namespace {

namespace Says = YAML::ErrorMsg;

YAMLMistake invisibleMistake(std::string_view text, std::size_t offset) {
    const char32_t character = characterAt(text, offset).value;
    std::array<char, 100> name{};
    UErrorCode ignored = U_ZERO_ERROR;
    u_charName(static_cast<UChar32>(character), U_EXTENDED_CHAR_NAME, name.data(), name.size(),
               &ignored);
    return YAMLMistake(
        offset, fmt::format("found the invisible character U+{:04X} ({}); expected a blank, or "
                            "quotes around a text that begins with it",
                            static_cast<unsigned>(character), name.data()));
}

/// What the parser says, and where, with the text around it.
class Complaint {
  public:
    Complaint(std::string_view text, std::size_t offset, std::string message)
        : text_(text), offset_(offset), message_(std::move(message)), scan_(text, lineEnd()) {}

    YAMLMistake cause() const {
        if (scan_.tab) {
            return YAMLMistake(*scan_.tab, "found a tab in the indentation; expected blanks");
        }
        if (scan_.invisible) return invisibleMistake(text_, *scan_.invisible);
        if (says(Says::END_OF_MAP) || says(Says::END_OF_SEQ)) return strayText();
        if (says(Says::END_OF_MAP_FLOW) || says(Says::END_OF_SEQ_FLOW)) return unclosedBracket();
        if (says(Says::FLOW_END)) return strayBracket();
        if (says(Says::MAP_VALUE)) return strayColon();
        return ofOneKind();
    }

  private:
    bool says(const char* message) const { return message_.starts_with(message); }

    YAMLMistake here(const std::string& message) const { return YAMLMistake(offset_, message); }

    std::size_t lineStart() const { return text_.substr(0, offset_).rfind('\n') + 1; }
    std::size_t lineEnd() const { return std::min(text_.find('\n', offset_), text_.size()); }

    std::size_t lineOf(std::size_t offset) const { return positionIn(text_, offset).line; }

    bool isFirstOfItsLine() const {
        const auto before = text_.substr(lineStart(), offset_ - lineStart());
        return before.find_first_not_of(' ') == std::string_view::npos;
    }

    std::string characterHere() const {
        if (offset_ == text_.size()) return "the end of the file";
        return inQuotes(text_.substr(offset_, characterAt(text_, offset_).bytes));
    }

    /// The word at the parser's place.
    std::string wordHere() const {
        const char first = offset_ < text_.size() ? text_[offset_] : ' ';
        if (first == '"' || first == '\'') return "a text in quotes";
        const std::size_t end = std::min(text_.find_first_of(" \t\r\n,]}", offset_), text_.size());
        return end == offset_ ? characterHere() : inQuotes(text_.substr(offset_, end - offset_));
    }

    /// The first byte of the nearest line above with as many blanks in front.
    std::optional<char> neighbourOf(std::size_t blanks) const {
        std::optional<char> nearest;
        for (std::size_t start = 0; start < lineStart(); start = text_.find('\n', start) + 1) {
            const std::size_t content = text_.find_first_not_of(' ', start);
            if (content - start != blanks || text_[content] == '\n' || text_[content] == '#')
                continue;
            nearest = text_[content];
        }
        return nearest;
    }

    /// Something stands where a key, an entry or the end of the file is due.
    YAMLMistake strayText() const {
        if (!isFirstOfItsLine()) return textBehindValue();
        const auto neighbour = neighbourOf(offset_ - lineStart());
        if (!neighbour) {
            return here(
                "the line is indented like no line above; expected it in the column of its "
                "neighbours");
        }
        const bool isEntry = text_.substr(offset_, 1) == "-";
        if (isEntry && neighbour != '-') {
            return here("found a list entry among keys; expected a key");
        }
        if (!isEntry && neighbour == '-') {
            return here(
                "found a key among list entries; expected an entry, or more or fewer blanks");
        }
        return here(
            fmt::format("found {} where a value is over; expected a key or an entry", wordHere()));
    }

    YAMLMistake textBehindValue() const {
        const auto& quoted = scanBefore().lastQuoted;
        const bool isBehindQuote =
            quoted && text_.find_first_not_of(" \t\r\n", quoted->closing + 1) >= offset_;
        if (!isBehindQuote) {
            return here(
                fmt::format("found {} behind the value; expected the end of the line", wordHere()));
        }
        if (lineOf(quoted->opening) != lineOf(quoted->closing)) {
            return YAMLMistake(quoted->opening,
                               fmt::format("the text in quotes goes on to line {}; expected a "
                                           "closing quote before that",
                                           lineOf(quoted->closing)));
        }
        return here(fmt::format("found {} behind the closing quote; expected the end of the line",
                                wordHere()));
    }

    YAMLMistake unclosedBracket() const {
        const auto brackets = scanBefore().openBrackets;
        if (brackets.empty()) return unexplained();
        const std::size_t opening = brackets.back();
        const char* const closing = text_[opening] == '[' ? "]" : "}";
        const auto neverClosed = YAMLScan(text_, text_.size()).openBrackets;
        if (std::find(neverClosed.begin(), neverClosed.end(), opening) != neverClosed.end()) {
            return YAMLMistake(opening,
                               fmt::format("\"{}\" is never closed; expected \"{}\" behind "
                                           "its last value",
                                           text_[opening], closing));
        }
        return here(
            fmt::format("found {} behind a value; expected \",\" or \"{}\"", wordHere(), closing));
    }

    YAMLMistake strayBracket() const {
        const auto brackets = scanBefore().openBrackets;
        if (brackets.empty()) {
            return here(fmt::format("{} closes nothing; expected it after an opening bracket",
                                    characterHere()));
        }
        return here(fmt::format("{} closes no \"{}\"; expected \"{}\"", characterHere(),
                                text_[brackets.back()], text_[brackets.back()] == '[' ? "]" : "}"));
    }

    YAMLMistake strayColon() const {
        const auto before = text_.substr(lineStart(), offset_ - lineStart());
        if (before.find(": ") != std::string_view::npos) {
            return here(
                "found a second \":\" in a value; expected quotes around a text with "
                "a colon");
        }
        if (before.find_first_not_of(' ') == std::string_view::npos) {
            return here("found \":\" without a key; expected the key before it");
        }
        return here(
            "found \":\" behind a text of several lines; expected \":\" behind each key, "
            "also on the line above");
    }

    YAMLMistake ofOneKind() const {
        if (says(Says::BLOCK_ENTRY)) {
            return here("found a list entry behind a key; expected it on a line of its own");
        }
        if (says(Says::UNKNOWN_TOKEN)) {
            return here(
                fmt::format("a value can't begin with {}; expected it in quotes", characterHere()));
        }
        if (says(Says::CHAR_IN_BLOCK)) {
            return here("found text behind \"|\" or \">\"; expected it on the lines below");
        }
        if (says(Says::INVALID_ESCAPE)) {
            const std::size_t backslash = std::min(text_.substr(0, offset_).rfind('\\'), offset_);
            const auto escaped = characterAt(text_, backslash + 1);
            return YAMLMistake(backslash,
                               fmt::format("\\{} is not an escape sequence; expected \\\\ for a "
                                           "backslash, or the text in single quotes",
                                           text_.substr(backslash + 1, escaped.bytes)));
        }
        if (says(Says::ALIAS_NOT_FOUND) || says(Says::CHAR_IN_ALIAS)) {
            return here(
                "found \"*\" without the name of an anchor; expected quotes around a text "
                "that begins with it");
        }
        if (says(Says::ANCHOR_NOT_FOUND) || says(Says::CHAR_IN_ANCHOR)) {
            return here(
                "found \"&\" without a name for the anchor; expected quotes around a text "
                "that begins with it");
        }
        if (says(Says::UNKNOWN_ANCHOR)) {
            return here(
                "no value before has the anchor of this alias; expected one, or quotes "
                "around a text that begins with \"*\"");
        }
        if (says(Says::EOF_IN_SCALAR) || says(Says::DOC_IN_SCALAR)) {
            const auto opening = scanBefore().openQuote;
            if (opening) {
                return YAMLMistake(*opening, "unterminated quoted text; expected a closing quote");
            }
        }
        return unexplained();
    }

    YAMLMistake unexplained() const { return here("not valid YAML: " + message_); }

    YAMLScan scanBefore() const { return YAMLScan(text_, offset_); }

    std::string_view text_;
    std::size_t offset_;
    std::string message_;
    YAMLScan scan_;  ///< up to the end of the parser's line
};

}  // namespace

YAMLMistake syntaxMistake(std::string_view text, std::size_t offset, const std::string& message) {
    return Complaint(text, offset, message).cause();
}

void requireVisibleBeginnings(std::string_view text) {
    if (const auto offset = YAMLScan(text, text.size()).invisible) {
        throw invisibleMistake(text, *offset);
    }
}

}  // namespace simulated_mac
