#include "simulated_mac/machine/StringsFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <utility>

#include "simulated_mac/description/ReadFile.h"

namespace simulated_mac {

namespace {

class Parser {
  public:
    Parser(std::string path, std::string text) : path_(std::move(path)), text_(std::move(text)) {}

    std::map<std::string, std::string> table() {
        std::map<std::string, std::string> entries;
        for (skipBlanks(); at_ < text_.size(); skipBlanks()) {
            const std::string key = quotedText();
            expect('=');
            std::string text = quotedText();
            expect(';');
            if (!entries.emplace(key, std::move(text)).second) {
                fail(fmt::format("the key \"{}\" stands here again", key));
            }
        }
        return entries;
    }

  private:
    void skipBlanks() {
        while (at_ < text_.size()) {
            if (std::isspace(static_cast<unsigned char>(text_[at_]))) {
                ++at_;
            } else if (text_.compare(at_, 2, "/*") == 0) {
                skipComment();
            } else if (text_.compare(at_, 2, "//") == 0) {
                at_ = std::min(text_.find('\n', at_), text_.size());
            } else {
                return;
            }
        }
    }

    void skipComment() {
        const auto end = text_.find("*/", at_ + 2);
        if (end == std::string::npos) fail("a comment has no end");
        at_ = end + 2;
    }

    void expect(char wanted) {
        skipBlanks();
        if (at_ >= text_.size() || text_[at_] != wanted) fail(fmt::format("expected '{}'", wanted));
        ++at_;
    }

    std::string quotedText() {
        expect('"');
        std::string text;
        while (at_ < text_.size() && text_[at_] != '"') {
            text += text_[at_] == '\\' ? escape() : text_[at_++];
        }
        expect('"');
        return text;
    }

    char escape() {
        const char letter = at_ + 1 < text_.size() ? text_[at_ + 1] : '\0';
        at_ += 2;
        switch (letter) {
            case 'n':
                return '\n';
            case 't':
                return '\t';
            case '"':
            case '\\':
                return letter;
            default:
                fail("expected \\n, \\t, \\\" or \\\\");
        }
    }

    [[noreturn]] void fail(const std::string& what) const {
        const auto end = text_.begin() + static_cast<std::ptrdiff_t>(std::min(at_, text_.size()));
        throw StringsFileError(
            fmt::format("{}:{}: {}", path_, 1 + std::count(text_.begin(), end, '\n'), what));
    }

    std::string path_;
    std::string text_;
    std::size_t at_ = 0;
};

}  // namespace

std::map<std::string, std::string> readStringsFile(const std::filesystem::path& path) {
    try {
        return Parser(path.string(), readFile(path)).table();
    } catch (const UnreadableFile&) {
        throw StringsFileError(fmt::format("{}: can't be read", path.string()));
    }
}

}  // namespace simulated_mac
