#include "displaycheck/dumps/EDIDText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "displaycheck/dumps/Base64.h"
#include "displaycheck/dumps/HexLine.h"
#include "displaycheck/dumps/PlainText.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/HexText.h"

namespace displaycheck {
namespace {

using simulated_mac::announcedBlocks;
using simulated_mac::Bytes;
using simulated_mac::edidBlockSize;
using simulated_mac::edidHeader;
using simulated_mac::maxEDIDSize;

constexpr auto npos = std::string_view::npos;
constexpr std::string_view blanks = " \t\r";
constexpr std::string_view headerDigits = "00ffffffffffff00";
/// Base64 of the header; the last character also holds bits of the maker's letters, the first of
/// which is always clear.
constexpr std::string_view headerInBase64 = "AP///////w";
/// Fewer digits than a header's may be a word.
constexpr std::size_t fewestDigits = headerDigits.size();
constexpr std::size_t digitsOfBlock = 2 * edidBlockSize;

std::string_view trimmed(std::string_view line) {
    const std::size_t begin = line.find_first_not_of(blanks);
    if (begin == npos) return {};
    return line.substr(begin, line.find_last_not_of(blanks) - begin + 1);
}

bool isHex(std::string_view text) {
    return std::all_of(text.begin(), text.end(), isHexDigit);
}

unsigned digitValue(char digit) {
    return static_cast<unsigned>(digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10);
}

std::uint8_t byteAt(std::string_view digits, std::size_t at) {
    return static_cast<std::uint8_t>(digitValue(digits[at]) << 4 | digitValue(digits[at + 1]));
}

Bytes bytesOfHex(std::string_view digits) {
    Bytes bytes;
    bytes.reserve(digits.size() / 2);
    for (std::size_t at = 0; at + 1 < digits.size(); at += 2) bytes.push_back(byteAt(digits, at));
    return bytes;
}

/// Where the digits of a header begin a byte.
std::size_t headerIn(std::string_view digits) {
    std::size_t at = digits.find(headerDigits);
    while (at != npos && at % 2 != 0) at = digits.find(headerDigits, at + 1);
    return at;
}

/// Whether digits are a header's first: the rest may be in the next lines.
bool mayBeginHeader(std::string_view digits) {
    return !digits.empty() && headerDigits.starts_with(digits);
}

/// Data that a text or a binary file gives as one, such as a value or successive lines of hex.
struct SearchedText {
    /// A part of the text and the byte that it begins with.
    struct Part {
        std::size_t firstByte = 0;
        std::size_t line = 0;
        std::size_t begin = 0;  ///< its characters in the text
        std::size_t end = 0;
    };

    Bytes bytes;
    std::vector<Part> parts;  ///< none for a binary file
    std::string form;
    bool isMeantAsEDID = true;    ///< is refused if it is none
    bool mayBeginBefore = false;  ///< EDIDs may have other data before them
};

/// Takes the EDIDs out of sources.
class Cutter {
  public:
    explicit Cutter(std::string_view text) : text_(text) {}

    void refuse(std::size_t line, std::size_t offset, std::string fault) {
        search_.refused.push_back({line, offset, std::move(fault)});
    }

    void cut(const SearchedText& source) {
        const Bytes& bytes = source.bytes;
        std::size_t start = headerFrom(bytes, 0);
        if (start == bytes.size() || (start != 0 && !source.mayBeginBefore)) {
            if (source.isMeantAsEDID) {
                refuse(lineAt(source, 0), 0,
                       fmt::format("does not begin with the EDID header {}",
                                   simulated_mac::hexText(edidHeader)));
            }
            return;
        }
        // What begins with an EDID is nothing but EDIDs, so they get all of it.
        const bool takesAll = start == 0;
        while (start < bytes.size()) {
            const std::size_t end = endOf(bytes, start, takesAll);
            take(source, start, end);
            start = headerFrom(bytes, end);
        }
    }

    EDIDSearch finish() { return std::move(search_); }

  private:
    static std::size_t headerFrom(const Bytes& bytes, std::size_t start) {
        const auto found = std::search(bytes.begin() + static_cast<std::ptrdiff_t>(start),
                                       bytes.end(), edidHeader.begin(), edidHeader.end());
        return static_cast<std::size_t>(found - bytes.begin());
    }

    static bool hasHeaderAt(const Bytes& bytes, std::size_t at) {
        return bytes.size() - at >= edidHeader.size() &&
               std::equal(edidHeader.begin(), edidHeader.end(),
                          bytes.begin() + static_cast<std::ptrdiff_t>(at));
    }

    /// Whether a block equals the EDID's first.
    static bool repeatsFirst(const Bytes& bytes, std::size_t start, std::size_t at) {
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(start);
        const auto block = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        return bytes.size() - at >= edidBlockSize &&
               std::equal(first, first + edidBlockSize, block);
    }

    static std::size_t endOf(const Bytes& bytes, std::size_t start, bool takesAll) {
        const auto edid = std::span(bytes).subspan(start);
        const std::size_t announced =
            start + std::min(announcedBlocks(edid) * edidBlockSize, edid.size());
        const std::size_t limit = takesAll ? start + std::min(maxEDIDSize, edid.size()) : announced;
        std::size_t end = start;
        while (end < limit) {
            if (end != start && hasHeaderAt(bytes, end) && !repeatsFirst(bytes, start, end)) {
                return end;
            }
            // Behind the announced blocks, a header need not be where a block would begin.
            if (end >= announced && !hasHeaderAt(bytes, end)) {
                const auto block = std::span(bytes).subspan(
                    end, std::min(edidBlockSize + edidHeader.size() - 1, limit - end));
                const auto next =
                    std::search(block.begin(), block.end(), edidHeader.begin(), edidHeader.end());
                const auto distance = static_cast<std::size_t>(next - block.begin());
                if (next != block.end() && distance < edidBlockSize) return end + distance;
            }
            end += edidBlockSize;
        }
        return limit;
    }

    static std::vector<SearchedText::Part>::const_iterator partAt(const SearchedText& source,
                                                                  std::size_t byte) {
        const auto behind = std::upper_bound(
            source.parts.begin(), source.parts.end(), byte,
            [](std::size_t at, const SearchedText::Part& part) { return at < part.firstByte; });
        return behind == source.parts.begin() ? behind : behind - 1;
    }

    static std::size_t lineAt(const SearchedText& source, std::size_t byte) {
        return source.parts.empty() ? 0 : partAt(source, byte)->line;
    }

    std::string textOf(const SearchedText& source, std::size_t start, std::size_t end) const {
        if (source.parts.empty()) return {};
        const auto first = partAt(source, start);
        const auto last = partAt(source, end - 1);
        const bool isShared = first->firstByte != start ||
                              (end != source.bytes.size() && partAt(source, end) == last);
        return std::string(isShared ? "" : text_.substr(first->begin, last->end - first->begin));
    }

    void take(const SearchedText& source, std::size_t start, std::size_t end) {
        const std::size_t line = lineAt(source, start);
        const std::size_t offset = source.parts.empty() ? start : 0;
        if (end - start < edidBlockSize) {
            refuse(
                line, offset,
                fmt::format("has {} bytes; an EDID has at least {}", end - start, edidBlockSize));
            return;
        }
        const auto begin = source.bytes.begin();
        search_.found.push_back({Bytes(begin + static_cast<std::ptrdiff_t>(start),
                                       begin + static_cast<std::ptrdiff_t>(end)),
                                 line, offset, source.form, textOf(source, start, end)});
    }

    std::string_view text_;
    EDIDSearch search_;
};

struct Line {
    std::string_view text;
    std::size_t begin;
};

/// Hex digits that may go on in the next line.
struct Run {
    std::string digits;
    std::vector<SearchedText::Part> parts;
    std::string form;
    /// Of a dump with addresses.
    bool isDump = false;
    std::uint64_t nextAddress = 0;
    std::size_t addressWidth = 0;
    std::size_t lastLine = 0;  ///< where its digits begin
    bool repeats = false;      ///< "*": the last line repeats up to the next address

    /// Whether there are as many blocks as announced.
    bool isComplete() const {
        constexpr std::size_t countAt = digitsOfBlock - 4;
        return digits.size() >= digitsOfBlock &&
               digits.size() >= digitsOfBlock * (1U + byteAt(digits, countAt));
    }
};

/// Base64 that may go on in the next line.
struct Base64Run {
    std::string characters;
    SearchedText::Part part;
    std::size_t lineWidth = 0;
};

/// Data of a property list.
struct ListData {
    std::string characters;
    SearchedText::Part part;
    bool isMeantAsEDID = false;
};

/// Reads a text line by line.
class TextSearch {
  public:
    explicit TextSearch(std::string_view text) : text_(text), cutter_(text) {}

    EDIDSearch run() {
        std::size_t begin = 0;
        while (begin < text_.size()) {
            const std::size_t end = std::min(text_.find('\n', begin), text_.size());
            ++number_;
            takeLine({text_.substr(begin, end - begin), begin});
            begin = end + 1;
        }
        if (list_) closeList();
        if (base64_) closeBase64();
        closeRun();
        return cutter_.finish();
    }

  private:
    void takeLine(const Line& line) {
        const std::string_view text = trimmed(line.text);
        if (list_ || text.find("<data>") != npos || text.find("<key>") != npos) {
            takeList(line);
        } else if (base64_ && continuesBase64(text)) {
            addBase64(line, text);
        } else if (const std::size_t at = text.find(headerInBase64); at != npos) {
            startBase64(line, text, at);
        } else if (text.empty()) {
            if (base64_) closeBase64();
        } else {
            if (base64_) closeBase64();
            takeHex(line, text);
        }
    }

    // Property lists.

    void takeList(const Line& line) {
        closeRun();
        constexpr std::string_view keyBegin = "<key>";
        constexpr std::string_view dataBegin = "<data>";
        constexpr std::string_view dataEnd = "</data>";
        std::size_t at = 0;
        while (true) {
            if (list_) {
                const std::size_t end = std::min(line.text.find(dataEnd, at), line.text.size());
                list_->characters += line.text.substr(at, end - at);
                list_->characters += '\n';
                list_->part.end = line.begin + end;
                if (end == line.text.size()) return;
                closeList();
                at = end + dataEnd.size();
            }
            const std::size_t data = line.text.find(dataBegin, at);
            // From here on: one line may hold many.
            const std::string_view before = line.text.substr(at, data == npos ? npos : data - at);
            if (const std::size_t key = before.rfind(keyBegin); key != npos) {
                const std::string_view name = before.substr(key + keyBegin.size());
                keyNamesEDID_ = name.substr(0, name.find('<')).find("EDID") != npos;
            }
            if (data == npos) return;
            at = data + dataBegin.size();
            list_.emplace();
            list_->part = {0, number_, line.begin + at, line.begin + at};
            list_->isMeantAsEDID = std::exchange(keyNamesEDID_, false);
        }
    }

    void closeList() {
        cutBase64(list_->characters, list_->part, "property list", list_->isMeantAsEDID);
        list_.reset();
    }

    void cutBase64(std::string_view characters, const SearchedText::Part& part, const char* form,
                   bool isMeantAsEDID) {
        auto bytes = bytesOfBase64(characters);
        if (bytes) {
            cutter_.cut({std::move(*bytes), {part}, form, isMeantAsEDID, false});
        } else if (isMeantAsEDID) {
            cutter_.refuse(part.line, 0, "is not base64");
        }
    }

    // Base64 by itself.

    /// Lines are equally long but for the last.
    bool continuesBase64(std::string_view text) const {
        const std::size_t padding = std::min(text.find('='), text.size());
        return !text.empty() && text.size() <= base64_->lineWidth &&
               std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(padding),
                           isBase64) &&
               text.find_first_not_of('=', padding) == npos;
    }

    void startBase64(const Line& line, std::string_view text, std::size_t at) {
        if (base64_) closeBase64();
        closeRun();
        while (at != npos) {
            const auto* const first = text.begin() + at;
            const auto* const end = std::find_if_not(first, text.end(), isBase64);
            const auto begin = line.begin + static_cast<std::size_t>(first - line.text.begin());
            const auto size = static_cast<std::size_t>(end - first);
            base64_.emplace();
            base64_->characters = std::string(first, end);
            base64_->part = {0, number_, begin, begin + size};
            base64_->lineWidth = text.size();
            // Anything behind it but more base64 ends it.
            if (end == text.end()) return;
            closeBase64();
            at = text.find(headerInBase64, at + size);
        }
    }

    void addBase64(const Line& line, std::string_view text) {
        base64_->characters += text;
        base64_->part.end = line.begin + static_cast<std::size_t>(text.end() - line.text.begin());
        if (text.size() < base64_->lineWidth || text.ends_with('=')) closeBase64();
    }

    void closeBase64() {
        cutBase64(base64_->characters, base64_->part, "base64", true);
        base64_.reset();
    }

    // Hex.

    void takeHex(const Line& line, std::string_view text) {
        if (run_.isDump && (text == "*" || isEndOfDump(text))) {
            if (text == "*") {
                run_.repeats = true;
            } else {
                repeatUpTo(*addressOf(text));
                closeRun();
            }
        } else if (const auto dump = dumpLineOf(text)) {
            takeDumpLine(line, *dump);
        } else if (!takeValues(line)) {
            takeLoose(line);
        }
        if (text.starts_with("edid-decode (hex)")) {
            formOfNext_ = "edid-decode";
        } else if (!run_.digits.empty() || text.starts_with("---")) {
            formOfNext_.clear();
        }
    }

    bool isEndOfDump(std::string_view text) const {
        if (text.size() != run_.addressWidth || !isHex(text)) return false;
        const auto address = addressOf(text);
        return address &&
               (run_.repeats ? *address >= run_.nextAddress : *address == run_.nextAddress);
    }

    void takeDumpLine(const Line& line, const DumpLine& dump) {
        if (run_.isDump && run_.repeats) repeatUpTo(dump.address);
        if (!run_.isDump || run_.nextAddress != dump.address) {
            closeRun();
            run_.isDump = true;
            run_.form = dump.hasColon ? "xxd" : "hexdump";
            run_.nextAddress = dump.address;
            run_.addressWidth = dump.writtenAddress.size();
        }
        run_.lastLine = run_.digits.size();
        addToRun(dump.digits, wholeLine(line));
        run_.nextAddress += dump.digits.size() / 2;
    }

    void repeatUpTo(std::uint64_t address) {
        run_.repeats = false;
        const std::uint64_t bytes = address - run_.nextAddress;
        // An EDID has few such lines. Without a limit, a short text could ask for any memory.
        if (address < run_.nextAddress || bytes > repeatable_) return;
        repeatable_ -= static_cast<std::size_t>(bytes);
        const std::string pattern = run_.digits.substr(run_.lastLine);
        run_.lastLine = run_.digits.size();
        for (std::size_t left = 2 * static_cast<std::size_t>(bytes); left != 0;) {
            const std::size_t piece = std::min(left, pattern.size());
            run_.digits.append(pattern, 0, piece);
            left -= piece;
        }
        run_.nextAddress = address;
    }

    /// Takes the values between angle brackets that end in the line they begin in. Whether there
    /// were any.
    bool takeValues(const Line& line) {
        bool any = false;
        std::size_t at = line.text.find('<');
        while (at != npos) {
            const std::size_t begin = at + 1;
            const std::size_t end = std::min(
                line.text.find_first_not_of("0123456789abcdefABCDEF* \t", begin), line.text.size());
            if (end < line.text.size() && line.text[end] == '>') {
                any = takeValue(line, begin, end) || any;
            }
            at = line.text.find('<', end);
        }
        if (any) closeRun();
        return any;
    }

    bool takeValue(const Line& line, std::size_t begin, std::size_t end) {
        std::string digits;
        for (const char character : line.text.substr(begin, end - begin)) {
            if (character == '*') digits += '0';
            if (isHexDigit(character)) digits += static_cast<char>(character | 0x20);
        }
        const bool isEDID = isUnderEDIDKey(line.text.substr(0, begin - 1));
        const bool isAlone = trimmed(line.text).size() == end - begin + 2;
        if (!isEDID && digits.size() < fewestDigits) return false;
        // A run that is open ended before this line.
        closeRun();
        Run value;
        value.digits = std::move(digits);
        value.parts = {{0, number_, line.begin + begin, line.begin + end}};
        value.form = "<hex>";
        cutRun(std::move(value), isEDID || isAlone, false);
        return true;
    }

    /// Whether a text ends with the key of a value, and the key names an EDID: `"IODisplayEDID" =
    /// `.
    static bool isUnderEDIDKey(std::string_view before) {
        constexpr std::size_t longestKey = 64;
        const std::size_t last = before.find_last_not_of(" \t=");
        if (last == npos || last + 1 == before.size() || before[last] != '"') return false;
        before = before.substr(0, last);
        if (before.size() > longestKey) before.remove_prefix(before.size() - longestKey);
        const std::size_t quote = before.rfind('"');
        return before.substr(quote == npos ? 0 : quote).find("EDID") != npos;
    }

    void takeLoose(const Line& line) {
        HexLine hex = hexLineOf(line.text);
        if (!hex.hasWords && hex.pieces.size() == 1) {
            takeOnlyHex(line, hex.pieces[0]);
        } else if (!hex.hasWords) {
            // Punctuation alone: an opening brace, or the end of an array.
            if (!hex.closes) return;
        } else {
            closeRun();
            for (HexPiece& piece : hex.pieces) {
                std::size_t header = headerIn(piece.digits);
                if (header == npos && isLast(line, piece) && mayBeginHeader(piece.digits)) {
                    header = 0;
                }
                if (header == npos) continue;
                closeRun();
                start(line, piece, header);
            }
            // Behind words, an EDID goes on in the next line only if something is missing.
            if (run_.isComplete() || hex.pieces.empty() || !isLast(line, hex.pieces.back())) {
                closeRun();
            }
        }
        if (hex.closes) closeRun();
    }

    static bool isLast(const Line& line, const HexPiece& piece) {
        return line.text.find_first_not_of(" \t\r,;\"'{}()<>\\", piece.end) == npos;
    }

    /// A line that has nothing else.
    void takeOnlyHex(const Line& line, const HexPiece& piece) {
        const bool isBlock = piece.digits.size() >= digitsOfBlock;
        if (run_.isDump) closeRun();
        if (!run_.digits.empty()) {
            const bool begins = piece.digits.starts_with(headerDigits);
            const bool mayRepeat =
                !isBlock && run_.digits.size() % digitsOfBlock == 0 && !run_.isComplete();
            if (begins ? !mayRepeat : isBlock && run_.isComplete()) closeRun();
        }
        if (!run_.digits.empty()) {
            addToRun(piece.digits, partOf(line, piece));
            return;
        }
        const std::size_t header = headerIn(piece.digits);
        if (header == npos && piece.digits.size() < fewestDigits && !mayBeginHeader(piece.digits)) {
            return;
        }
        start(line, piece, header == npos ? 0 : header);
    }

    void start(const Line& line, const HexPiece& piece, std::size_t firstDigit) {
        run_.form = piece.hasPrefixes ? "C array" : "hex";
        if (!formOfNext_.empty()) run_.form = formOfNext_;
        addToRun(std::string_view(piece.digits).substr(firstDigit), partOf(line, piece));
    }

    SearchedText::Part partOf(const Line& line, const HexPiece& piece) const {
        return {0, number_, line.begin + piece.begin, line.begin + piece.end};
    }

    SearchedText::Part wholeLine(const Line& line) const {
        return {0, number_, line.begin, line.begin + line.text.size()};
    }

    void addToRun(std::string_view digits, SearchedText::Part part) {
        part.firstByte = run_.digits.size() / 2;
        run_.parts.push_back(part);
        run_.digits += digits;
    }

    void closeRun() {
        if (!run_.digits.empty()) {
            const bool isDump = run_.isDump;
            const bool isMeantAsEDID = isDump || run_.digits.size() >= fewestDigits;
            cutRun(std::move(run_), isMeantAsEDID, isDump);
        }
        run_ = Run();
    }

    void cutRun(Run run, bool isMeantAsEDID, bool mayBeginBefore) {
        const bool begins = std::string_view(run.digits).starts_with(headerDigits);
        if (run.digits.size() % 2 != 0 && (isMeantAsEDID || begins)) {
            cutter_.refuse(
                run.parts[0].line, 0,
                fmt::format("has {} hex digits; each byte takes two", run.digits.size()));
            return;
        }
        cutter_.cut({bytesOfHex(run.digits), std::move(run.parts), std::move(run.form),
                     isMeantAsEDID, mayBeginBefore});
    }

    std::string_view text_;
    Cutter cutter_;
    std::size_t number_ = 0;
    Run run_;
    std::string formOfNext_;
    std::optional<Base64Run> base64_;
    std::optional<ListData> list_;
    bool keyNamesEDID_ = false;
    std::size_t repeatable_ = 16 * maxEDIDSize;
};

bool isBinary(std::string_view contents) {
    // No text has an EDID's header in it.
    return contents.find(std::string_view(reinterpret_cast<const char*>(edidHeader.data()),
                                          edidHeader.size())) != npos;
}

}  // namespace

EDIDSearch searchForEDIDs(std::string_view contents) {
    if (!isBinary(contents)) return TextSearch(plainText(contents)).run();
    Cutter cutter({});
    cutter.cut({Bytes(contents.begin(), contents.end()), {}, "binary", true, true});
    return cutter.finish();
}

std::vector<FoundEDID> findEDIDs(std::string_view contents) {
    return searchForEDIDs(contents).found;
}

}  // namespace displaycheck
