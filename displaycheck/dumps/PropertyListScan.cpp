#include "displaycheck/dumps/PropertyListScan.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "displaycheck/dumps/DumpError.h"

namespace displaycheck {

namespace {

constexpr std::size_t mostListLevels = 1'000;
constexpr std::size_t mostDictionaryKeys = 20'000;
constexpr std::size_t mostListMemory = 512U << 20;
constexpr std::size_t memoryOfValue = 128;  // besides the bytes of a text or of data

DumpError damagedList(std::string_view how) {
    return DumpError(fmt::format("the property list is damaged: {}", how));
}

void checkListLevels(std::size_t levels) {
    if (levels > mostListLevels) {
        throw DumpError(fmt::format(
            "the property list is nested too deeply; expected at most {} levels", mostListLevels));
    }
}

void checkListMemory(std::size_t bytes) {
    if (bytes > mostListMemory) {
        throw DumpError(
            fmt::format("the property list is too large; expected at most {} MiB of values",
                        mostListMemory >> 20));
    }
}

/// Follows the dictionaries and lists of an XML text by its tags alone. Where it could disagree
/// with the parser about what is a tag, it refuses what no tool writes.
class XMLScan {
  public:
    explicit XMLScan(std::string_view text) : text_(text) {}

    void run() {
        if (const std::size_t zero = text_.find('\0'); zero != std::string_view::npos) {
            at_ = zero;
            throw damagedList(fmt::format("line {}: it has a zero byte", line()));
        }
        while (next()) {
        }
        if (!keys_.empty()) throw damagedList("it ends inside a dictionary or a list");
        if (!hasEnd_) throw damagedList("it ends before </plist>");
    }

  private:
    /// Passes over one tag. False at the end.
    bool next() {
        at_ = text_.find('<', at_);
        if (at_ == std::string_view::npos) return false;
        const auto startsWith = [rest = text_.substr(at_)](std::string_view mark) {
            return rest.substr(0, mark.size()) == mark;
        };
        if (startsWith("<!--")) {
            skipTo("-->", 4);
        } else if (startsWith("<![CDATA[")) {
            skipTo("]]>", 9);
        } else if (startsWith("<!") || startsWith("<?")) {
            if (!keys_.empty()) throw damagedList(fmt::format("line {}: expected a value", line()));
            skipTo(startsWith("<?") ? "?>" : ">", 2);
        } else {
            readTag(skipTo(">", 1));
        }
        return true;
    }

    /// What stands between the mark here, of `length` characters, and the end.
    std::string_view skipTo(std::string_view end, std::size_t length) {
        const std::size_t begin = at_ + length;
        const std::size_t found = text_.find(end, begin);
        if (found == std::string_view::npos) {
            throw damagedList(fmt::format("line {}: expected \"{}\" behind \"{}\"", line(), end,
                                          text_.substr(at_, length)));
        }
        at_ = found + end.size();
        return text_.substr(begin, found - begin);
    }

    void readTag(std::string_view tag) {
        const std::string_view name = tag.substr(0, tag.find_first_of(" \t\r\n"));
        if (name == "plist" || name == "/plist") {
            if (!keys_.empty()) throw damagedList(fmt::format("line {}: expected a value", line()));
            hasEnd_ = name == "/plist";
            return;
        }
        if (tag.find_first_of("\"'") != std::string_view::npos) {
            throw damagedList(fmt::format("line {}: expected a tag without attributes", line()));
        }
        if (name == "/dict" || name == "/array") {
            if (!keys_.empty()) keys_.pop_back();
            return;
        }
        if (tag.substr(0, 1) == "/") return;

        checkListMemory(text_.size() + ++values_ * memoryOfValue);
        if (name == "key" && !keys_.empty() && ++keys_.back() > mostDictionaryKeys) {
            throw DumpError(
                fmt::format("line {}: the dictionary is too large; expected at most {} keys",
                            line(), mostDictionaryKeys));
        }
        if ((name == "dict" || name == "array") && tag.back() != '/') {
            keys_.push_back(0);
            checkListLevels(keys_.size());
        }
    }

    std::ptrdiff_t line() const {
        return 1 +
               std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(at_), '\n');
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::size_t values_ = 0;
    bool hasEnd_ = false;
    std::vector<std::size_t> keys_;  // so far, of each dictionary or list that is open
};

/// Adds up what the objects of a binary property list need once all are unpacked. Objects refer to
/// others by number; a table at the end says where each begins.
class BinaryScan {
  public:
    explicit BinaryScan(std::string_view bytes) : bytes_(bytes) {
        if (bytes.size() < header.size() + trailerSize) throw damagedList("it is cut off");
        const std::size_t trailer = bytes.size() - trailerSize;
        offsetSize_ = byteAt(trailer + 6);
        referenceSize_ = byteAt(trailer + 7);
        const std::uint64_t count = number(trailer + 8, 8);
        top_ = number(trailer + 16, 8);
        table_ = number(trailer + 24, 8);
        if (offsetSize_ == 0 || offsetSize_ > 8 || referenceSize_ == 0 || referenceSize_ > 8 ||
            table_ > trailer || count > (trailer - table_) / offsetSize_ || top_ >= count) {
            throw damagedList("its table of objects is not where its end says");
        }
        checkListMemory(count * memoryOfValue);
        objects_.resize(count);
    }

    void run() {
        enter(top_);
        while (!open_.empty()) {
            Open& last = open_.back();
            Object& parent = objects_[last.object];
            if (last.next == last.count) {
                parent.state = State::done;
                open_.pop_back();
                continue;
            }
            const std::uint64_t child =
                number(last.references + last.next * referenceSize_, referenceSize_);
            if (child >= objects_.size())
                throw damagedList("an object refers to one that is not there");
            const Object& object = objects_[child];
            if (object.state == State::open) throw damagedList("an object holds itself");
            if (object.state == State::unseen) {
                enter(child);
                continue;  // counted when it is done, at the next look
            }
            ++last.next;
            parent.memory += object.memory;
            checkListMemory(parent.memory);
            parent.levels = std::max(parent.levels, object.levels + 1);
            checkListLevels(parent.levels);
        }
    }

  private:
    enum class State : std::uint8_t { unseen, open, done };
    struct Object {
        State state = State::unseen;
        std::uint32_t levels = 0;  // of dictionaries and lists
        std::size_t memory = 0;    // with all that it holds
    };
    /// A dictionary or list whose parts are being added up.
    struct Open {
        std::size_t object;
        std::size_t references;
        std::size_t count;
        std::size_t next;
    };

    static constexpr std::string_view header = "bplist00";
    static constexpr std::size_t trailerSize = 32;

    std::size_t byteAt(std::size_t at) const { return static_cast<unsigned char>(bytes_[at]); }

    std::uint64_t number(std::size_t at, std::size_t size) const {
        if (at > bytes_.size() || size > bytes_.size() - at) throw damagedList("it is cut off");
        std::uint64_t result = 0;
        for (std::size_t i = 0; i < size; ++i) result = result << 8 | byteAt(at + i);
        return result;
    }

    void enter(std::size_t index) {
        std::size_t at = number(table_ + index * offsetSize_, offsetSize_);
        const std::size_t marker = number(at++, 1);
        const std::size_t kind = marker >> 4;
        std::size_t count = marker & 0xF;
        constexpr std::size_t inNumber = 0xF;
        if (kind >= 4 && count == inNumber) {
            const std::size_t sizeMarker = number(at++, 1);
            const std::size_t size = std::size_t{1} << (sizeMarker & 0x3);
            count = number(at, size);
            at += size;
        }
        if (count > bytes_.size()) throw damagedList("an object is longer than the file");

        Object& object = objects_[index];
        object.memory = memoryOfValue;
        object.state = State::done;
        constexpr std::size_t text = 5;
        constexpr std::size_t utf16 = 6;
        constexpr std::size_t list = 0xA;
        constexpr std::size_t set = 0xC;
        constexpr std::size_t dictionary = 0xD;
        if (kind == list || kind == set || kind == dictionary) {
            const std::size_t references = kind == dictionary ? 2 * count : count;
            if (references > (bytes_.size() - at) / referenceSize_) {
                throw damagedList("an object is longer than the file");
            }
            // Each costs at least this: without it, lists that share their bytes would take long.
            references_ += references;
            checkListMemory(references_ * memoryOfValue);
            object.state = State::open;
            object.levels = 1;
            checkListLevels(open_.size() + 1);
            open_.push_back({index, at, references, 0});
            if (kind == dictionary && count > mostDictionaryKeys) {
                throw DumpError(fmt::format(
                    "a dictionary of the property list is too large; expected at most {} keys",
                    mostDictionaryKeys));
            }
        } else if (kind == text || kind == utf16) {
            object.memory += kind == utf16 ? 3 * count : count;
            scanText(at, count, kind == utf16 ? 2 : 1);
        } else if (kind >= 4) {
            object.memory += count;
        }
    }

    /// A text of `count` units, of one or two bytes each.
    void scanText(std::size_t at, std::size_t count, std::size_t unit) {
        // Texts may share their bytes too.
        textBytes_ += count * unit;
        checkListMemory(textBytes_);
        for (; count > 0; --count, at += unit) {
            if (number(at, unit) == 0) throw damagedList("a text has a zero byte");
        }
    }

    std::string_view bytes_;
    std::size_t offsetSize_ = 0;
    std::size_t referenceSize_ = 0;
    std::size_t top_ = 0;
    std::size_t table_ = 0;
    std::size_t references_ = 0;
    std::size_t textBytes_ = 0;
    std::vector<Object> objects_;
    std::vector<Open> open_;
};

}  // namespace

void scanXMLPropertyList(std::string_view contents) {
    XMLScan(contents).run();
}

void scanBinaryPropertyList(std::string_view contents) {
    BinaryScan(contents).run();
}

}  // namespace displaycheck
