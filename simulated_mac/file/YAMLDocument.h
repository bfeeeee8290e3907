#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "simulated_mac/file/YAMLMistake.h"

/// A YAML text as a tree whose values know their positions in the text.
namespace simulated_mac {

struct YAMLEntry;

struct YAMLNode {
    enum class Kind { null, scalar, list, mapping };

    Kind kind = Kind::null;
    std::size_t offset = 0;  ///< byte of the text at which the value starts
    /// Of a scalar. Of a null: the word that stands for it, empty when there is no value at all.
    std::string text;
    bool quoted = false;             ///< a scalar in quotes or in block form, which is always text
    std::vector<YAMLNode> items;     ///< of a list
    std::vector<YAMLEntry> entries;  ///< of a mapping, in the order of the text
};

struct YAMLEntry {
    YAMLNode key;
    YAMLNode value;
};

/// The most that a text may hold, so that a hostile one neither hangs nor exhausts anything.
struct YAMLLimits {
    static constexpr std::size_t bytes = 4U << 20;      ///< of the text
    static constexpr std::size_t depth = 64;            ///< lists and mappings inside one another
    static constexpr std::size_t values = 100'000;      ///< with aliases expanded
    static constexpr std::size_t textBytes = 8U << 20;  ///< of all scalars, likewise
};

/// One YAML document. Aliases are expanded; keys may occur twice in a mapping.
class YAMLDocument {
  public:
    /// The text, which has no byte-order mark, has to outlive the document. Throws YAMLMistake when
    /// it is empty, over a limit, not UTF-8, not YAML, holds several documents or tags.
    explicit YAMLDocument(std::string_view text);

    const YAMLNode& root() const { return root_; }
    std::string_view text() const { return text_; }

  private:
    std::string_view text_;
    YAMLNode root_;
};

}  // namespace simulated_mac
