#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/file/MessageText.h"
#include "simulated_mac/file/YAMLDocument.h"

namespace simulated_mac {

/// An entry of a mapping, by the known key that its own is or was meant to be.
struct NamedEntry {
    std::string name;
    const YAMLEntry* entry;
};

/// Typed access to the values of a YAML document. A value of another type is a YAMLMistake, with
/// what was found and what was expected. It is thrown up to the next `attempt`, which keeps it and
/// lets the reading go on behind it; what was read counts only if `mistakes` is empty in the end.
class YAMLReader {
  public:
    /// Files that the document names are looked up from `folder`.
    YAMLReader(const YAMLDocument& document, std::filesystem::path folder);

    /// Runs `read` and keeps the mistake that ends it. False if there are any in what it read, or
    /// so many already that it wasn't run.
    template <class Read>
    bool attempt(const Read& read) {
        const std::size_t before = mistakes_.size();
        if (before == mostMistakes) return false;
        try {
            read();
        } catch (const YAMLMistake& mistake) {
            keep(mistake);
        }
        return mistakes_.size() == before;
    }
    /// Keeps a mistake that doesn't end the reading.
    void report(const YAMLNode& node, const std::string& message);
    /// What was kept, in the order of the text, each mistake once.
    std::vector<YAMLMistake> mistakes() const;

    [[noreturn]] void fail(const YAMLNode& node, const std::string& message) const;
    /// "found the number 7, expected `expected`", with the one of `words` that a text is close to.
    [[noreturn]] void failFound(const YAMLNode& node, const std::string& expected,
                                const std::vector<std::string>& words = {}) const;

    /// Text; unquoted scalars that YAML reads as numbers or booleans are rejected.
    std::string text(const YAMLNode& node) const;
    /// true or false.
    bool boolean(const YAMLNode& node) const;
    /// Decimal or, with 0x in front, hexadecimal.
    std::uint64_t number(const YAMLNode& node, std::uint64_t min, std::uint64_t max) const;
    /// A whole 64-bit number, decimal (negative ones too) or hexadecimal.
    std::int64_t signedNumber(const YAMLNode& node) const;
    /// A decimal number from 0 to `max`, a fraction allowed.
    double seconds(const YAMLNode& node, double max) const;
    /// A decimal number, negative ones and a fraction allowed.
    double realNumber(const YAMLNode& node) const;
    /// Pairs of hex digits; blanks and line breaks may stand between bytes. All-digit bytes need no
    /// quotes.
    Bytes hexBytes(const YAMLNode& node) const;
    /// One of `words`, as an index into them. `expected` is for the message.
    std::size_t word(const YAMLNode& node, const std::vector<std::string>& words,
                     const std::string& expected) const;
    /// The bytes of the file that a text names.
    std::string fileContents(const YAMLNode& node);

    const std::vector<YAMLNode>& list(const YAMLNode& node) const;
    const std::vector<YAMLEntry>& mapping(const YAMLNode& node) const;
    /// As `mapping`, for one whose keys are `known` words. Reports those that are not or occur
    /// twice. A mistyped key stands for the known one that it is close to, so that its value is
    /// checked.
    std::vector<NamedEntry> mapping(const YAMLNode& node, const std::vector<std::string>& known);
    /// Reports that a key means the same as an earlier one.
    [[noreturn]] void failDuplicate(const YAMLNode& key, const YAMLNode& earlier) const;

    /// What YAML 1.2's core schema takes the value for.
    enum class Type { null, text, boolean, number, list, mapping };
    static Type typeOf(const YAMLNode& node);
    /// Whether the value is an unquoted or quoted scalar with that very text.
    static bool isWord(const YAMLNode& node, std::string_view word);

    /// The registry that the document has named so far; entries of it are named by other values.
    std::shared_ptr<const RecordedRegistry> registry;
    bool namesRegistry = false;  ///< also if it can't be read

  private:
    static constexpr std::size_t mostMistakes = 1000;

    void keep(const YAMLMistake& mistake);
    std::uint64_t magnitude(const YAMLNode& node, const std::string& expected) const;
    double decimal(const YAMLNode& node, const std::string& expected) const;
    [[noreturn]] void failOutOfRange(const YAMLNode& node, const std::string& expected) const;
    std::size_t offsetInScalar(const YAMLNode& node, std::size_t index) const;

    const YAMLDocument& document_;
    std::filesystem::path folder_;
    std::size_t fileBytesLeft_;  ///< of all files that the document names
    std::vector<YAMLMistake> mistakes_;
};

}  // namespace simulated_mac
