#include "simulated_mac/file/YAMLDocument.h"

#include <fmt/format.h>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/parser.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <utility>

#include "simulated_mac/file/MessageText.h"
#include "simulated_mac/file/TextFile.h"
#include "simulated_mac/file/YAMLSyntax.h"

namespace simulated_mac {
namespace {

/// Builds the tree from the parser's events.
class TreeBuilder : public YAML::EventHandler {
  public:
    explicit TreeBuilder(std::string_view text) : text_(text) {}

    YAMLNode takeRoot() { return std::move(root_); }

    void OnDocumentStart(const YAML::Mark& mark) override {
        if (!sawDocument_) {
            sawDocument_ = true;
            return;
        }
        if (text_.substr(offsetOf(mark), 3) == "---") {
            fail(offsetOf(mark), "a second YAML document starts here; expected only one");
        }
        if (root_.kind == YAMLNode::Kind::scalar) {
            fail(root_.offset, fmt::format("found the text {} in place of a key; expected \":\" "
                                           "behind a key, or \"#\" before a comment",
                                           inQuotes(root_.text)));
        }
        const auto columnOf = [this](std::size_t at) { return positionIn(text_, at).column; };
        if (columnOf(offsetOf(mark)) < columnOf(root_.offset)) {
            fail(offsetOf(mark),
                 "the line begins left of the first key; expected it in the same column");
        }
        fail(offsetOf(mark),
             "not valid YAML: found text after the end of the document; expected none");
    }

    void OnDocumentEnd() override {}

    void OnNull(const YAML::Mark& mark, YAML::anchor_t anchor) override {
        YAMLNode node;
        node.offset = offsetOf(mark);
        node.text = nullWordAt(node.offset);
        if (node.text.empty()) {
            // The parser marks the token after the missing value; the key or dash before it helps a
            // reader more.
            node.offset = offsetOfWaiting(node.offset);
        }
        add(std::move(node), anchor);
    }

    void OnScalar(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                  const std::string& value) override {
        requireNoTag(mark, tag);
        YAMLNode node;
        node.kind = YAMLNode::Kind::scalar;
        node.offset = offsetOf(mark);
        node.text = value;
        node.quoted = tag == "!";
        requireClosedQuote(node.offset);
        add(std::move(node), anchor);
    }

    void OnAlias(const YAML::Mark& mark, YAML::anchor_t anchor) override {
        const auto anchored = anchored_.find(anchor);
        if (anchored == anchored_.end()) {
            fail(offsetOf(mark),
                 "alias to a value that contains it; expected an alias to an earlier value");
        }
        checkDepth(offsetOf(mark), open_.size() + depthOf(anchored->second));
        count(offsetOf(mark), anchored->second);
        attach(anchored->second);
    }

    void OnSequenceStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                         YAML::EmitterStyle::value /*style*/) override {
        open(YAMLNode::Kind::list, mark, tag, anchor);
    }

    void OnSequenceEnd() override { close(); }

    void OnMapStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                    YAML::EmitterStyle::value /*style*/) override {
        open(YAMLNode::Kind::mapping, mark, tag, anchor);
    }

    void OnMapEnd() override { close(); }

  private:
    struct Open {
        YAMLNode node;
        YAML::anchor_t anchor;
        bool awaitsValue = false;  ///< of a mapping: its last entry has a key only
    };

    [[noreturn]] void fail(std::size_t offset, const std::string& message) const {
        throw YAMLMistake(offset, message);
    }

    std::size_t offsetOf(const YAML::Mark& mark) const {
        const std::size_t offset =
            std::min(static_cast<std::size_t>(std::max(mark.pos, 0)), text_.size());
        return text_.substr(offset).starts_with('&') ? offsetBehindAnchor(offset) : offset;
    }

    std::size_t offsetBehindAnchor(std::size_t offset) const {
        const auto skipTo = [this](std::size_t result) { return std::min(result, text_.size()); };
        offset = skipTo(text_.find_first_of(" \t\r\n,]}", offset));
        offset = skipTo(text_.find_first_not_of(" \t\r\n", offset));
        while (text_.substr(offset).starts_with('#')) {
            offset = skipTo(text_.find('\n', offset));
            offset = skipTo(text_.find_first_not_of(" \t\r\n", offset));
        }
        return offset;
    }

    /// The parser accepts the end of the text as a closing quote.
    void requireClosedQuote(std::size_t offset) const {
        const char quote = offset < text_.size() ? text_[offset] : ' ';
        if (quote != '"' && quote != '\'') return;
        for (std::size_t at = offset + 1; at < text_.size(); ++at) {
            const bool isDoubled = quote == '\'' && text_.substr(at).starts_with("''");
            const bool isEscape = quote == '"' && text_[at] == '\\';
            if (isDoubled || isEscape) {
                ++at;
            } else if (text_[at] == quote) {
                return;
            }
        }
        fail(offset, "unterminated quoted text; expected a closing quote");
    }

    void requireNoTag(const YAML::Mark& mark, const std::string& tag) const {
        if (tag != "?" && tag != "!" && !tag.empty()) {
            fail(offsetOf(mark), "found a YAML tag; expected a value without a tag");
        }
    }

    std::string nullWordAt(std::size_t offset) const {
        for (const std::string_view word : {"~", "null", "Null", "NULL"}) {
            if (text_.substr(offset, word.size()) == word) return std::string(word);
        }
        return "";
    }

    std::size_t offsetOfWaiting(std::size_t offset) const {
        if (open_.empty()) return offset;
        const Open& parent = open_.back();
        if (parent.awaitsValue) return parent.node.entries.back().key.offset;
        const bool isBlockList = parent.node.kind == YAMLNode::Kind::list &&
                                 text_.substr(parent.node.offset).starts_with('-');
        return isBlockList ? text_.substr(0, offset).rfind('-') : offset;
    }

    void open(YAMLNode::Kind kind, const YAML::Mark& mark, const std::string& tag,
              YAML::anchor_t anchor) {
        requireNoTag(mark, tag);
        checkDepth(offsetOf(mark), open_.size() + 1);
        YAMLNode node;
        node.kind = kind;
        node.offset = offsetOf(mark);
        open_.push_back({std::move(node), anchor});
    }

    void close() {
        Open closed = std::move(open_.back());
        open_.pop_back();
        add(std::move(closed.node), closed.anchor);
    }

    void add(YAMLNode node, YAML::anchor_t anchor) {
        countOne(node.offset, node);
        if (anchor != YAML::NullAnchor) {
            count(node.offset, node);
            anchored_[anchor] = node;
        }
        attach(std::move(node));
    }

    void attach(YAMLNode node) {
        if (open_.empty()) {
            root_ = std::move(node);
            return;
        }
        Open& parent = open_.back();
        if (parent.node.kind == YAMLNode::Kind::list) {
            parent.node.items.push_back(std::move(node));
        } else if (parent.awaitsValue) {
            parent.node.entries.back().value = std::move(node);
            parent.awaitsValue = false;
        } else {
            parent.node.entries.push_back({std::move(node), YAMLNode()});
            parent.awaitsValue = true;
        }
    }

    void checkDepth(std::size_t offset, std::size_t depth) const {
        if (depth > YAMLLimits::depth) {
            fail(offset,
                 fmt::format("nested too deeply; expected at most {} levels", YAMLLimits::depth));
        }
    }

    void countOne(std::size_t offset, const YAMLNode& node) {
        textBytes_ += node.text.size();
        if (++values_ > YAMLLimits::values || textBytes_ > YAMLLimits::textBytes) {
            fail(offset, fmt::format("too much content once aliases are expanded; "
                                     "expected at most {} values and {} bytes of text",
                                     YAMLLimits::values, YAMLLimits::textBytes));
        }
    }

    /// Counts a whole tree; `offset` is the position of its use.
    void count(std::size_t offset, const YAMLNode& node) {
        countOne(offset, node);
        for (const YAMLNode& item : node.items) count(offset, item);
        for (const YAMLEntry& entry : node.entries) {
            count(offset, entry.key);
            count(offset, entry.value);
        }
    }

    static std::size_t depthOf(const YAMLNode& node) {
        if (node.kind != YAMLNode::Kind::list && node.kind != YAMLNode::Kind::mapping) return 0;
        std::size_t depth = 0;
        for (const YAMLNode& item : node.items) depth = std::max(depth, depthOf(item));
        for (const YAMLEntry& entry : node.entries) {
            depth = std::max({depth, depthOf(entry.key), depthOf(entry.value)});
        }
        return depth + 1;
    }

    std::string_view text_;
    YAMLNode root_;
    std::vector<Open> open_;
    std::map<YAML::anchor_t, YAMLNode> anchored_;
    std::size_t values_ = 0;
    std::size_t textBytes_ = 0;
    bool sawDocument_ = false;
};

YAMLNode parse(std::string_view text) {
    TreeBuilder builder(text);
    std::istringstream stream{std::string(text)};
    try {
        YAML::Parser parser(stream);
        while (parser.HandleNextDocument(builder)) {
        }
    } catch (const YAML::Exception& error) {
        const auto offset = static_cast<std::size_t>(std::max(error.mark.pos, 0));
        throw syntaxMistake(text, std::min(offset, text.size()), error.msg);
    } catch (const YAMLMistake&) {
        throw;
    } catch (const std::exception& error) {
        throw YAMLMistake(0, std::string("not valid YAML: ") + error.what());
    }
    requireVisibleBeginnings(text);
    return builder.takeRoot();
}

}  // namespace

YAMLDocument::YAMLDocument(std::string_view text) : text_(text) {
    if (text_.size() > YAMLLimits::bytes) {
        throw YAMLMistake(
            0, fmt::format("the file is too long; expected at most {} bytes", YAMLLimits::bytes));
    }
    requireYAMLText(text_);
    root_ = parse(text_);
    if (root_.kind == YAMLNode::Kind::null) {
        throw YAMLMistake(0, "the file is empty; expected a mapping of keys");
    }
}

}  // namespace simulated_mac
