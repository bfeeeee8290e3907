#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "simulated_mac/description/MacDescription.h"

namespace simulated_mac {

/// One property as `ioreg` prints it: `text` is what stands behind the equals sign.
struct RecordedProperty {
    std::string_view key;
    std::string_view text;
};

/// One entry of a recorded I/O registry. Its texts are parts of the registry's text.
struct RecordedEntry {
    static constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

    std::string_view name;
    std::string_view location;  ///< what follows "@" in a path; may be empty
    /// Empty where the line is cut before it and the name doesn't tell it.
    std::string_view className;
    std::optional<std::uint64_t> id;
    std::string_view state;      ///< such as "registered, matched, active, busy 0 (1 ms), retain 8"
    std::size_t parent = none;   ///< index of the entry above; none for a root
    std::size_t lineNumber = 0;  ///< counted from 1
    bool isCut = false;          ///< its line ends before the closing bracket
    std::string_view propertyLines;  ///< whole lines, bars and blanks in front included
    std::size_t margin = 0;          ///< how many characters stand in front of each of these
    bool hasDisplayParts = false;    ///< an I2C interface or a display's connection is below it

    /// In the order of the record. A text may go on over several lines.
    std::vector<RecordedProperty> properties() const;
    /// Whether the text stands anywhere in the properties.
    bool mentions(std::string_view text) const;
    /// Whether it is an Apple-silicon Mac's framebuffer, by its class or its name.
    bool isMobileFramebuffer() const;
    /// The property's text; nothing for one that is not there.
    std::optional<std::string_view> property(std::string_view key) const;
    /// The property's value; nothing for one that is not there or can't be read.
    std::optional<PropertyValue> value(std::string_view key) const;
};

/// What a text holds is no registry, or more than can be handled; what() begins with "line N: "
/// where there is one.
class RecordedRegistryError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The I/O registry of a real Mac as `ioreg` printed it, with or without its properties. Also what
/// `ioreg -r` prints, which has several roots; text before and after the tree is passed over.
class RecordedRegistry {
  public:
    static constexpr std::size_t mostBytes = 64U << 20;  ///< as a Mac file takes
    static constexpr std::size_t mostEntries = 500'000;
    static constexpr std::size_t mostLevels = 1'000;

    /// Zeros that the record's owner masked with asterisks are put back, Windows line ends are
    /// dropped. Throws RecordedRegistryError.
    explicit RecordedRegistry(std::string text);
    RecordedRegistry(const RecordedRegistry&) = delete;
    RecordedRegistry& operator=(const RecordedRegistry&) = delete;

    const std::string& text() const { return text_; }
    /// A parent stands before its children.
    const std::vector<RecordedEntry>& entries() const { return entries_; }
    /// The entry's path in the service plane. The root and the platform expert have no part in it.
    std::string pathOf(std::size_t entry) const;
    /// The entries of this path, or of the ID that a reference such as "0x1000002ab" gives, in
    /// order: paths are not unique.
    std::vector<std::size_t> find(const std::string& reference) const;
    /// Whether the entry is an Intel Mac's framebuffer, of whatever class: what all of them publish
    /// or have below them shows it.
    bool isFramebuffer(std::size_t entry) const;
    /// Whether the entry stands for an Intel Mac's display, with its EDID and identity.
    bool isDisplayNode(std::size_t entry) const;
    /// How many values had masked zeros.
    std::size_t maskedValues() const { return maskedValues_; }
    /// How many entries' lines are cut, as in a terminal that is not wide enough.
    std::size_t cutEntries() const { return cutEntries_; }

  private:
    void unmaskZeros();
    void readLines();
    bool readHeader(std::string_view line, std::size_t number);
    bool isInPaths(const RecordedEntry& entry) const;
    bool hasPath(std::size_t entry, std::string_view path) const;

    std::string text_;
    std::vector<RecordedEntry> entries_;
    std::size_t maskedValues_ = 0;
    std::size_t cutEntries_ = 0;
};

}  // namespace simulated_mac
